// Tree_Node::GetRelativeSubTree and GetRelativeSubTreeByRef, by path and by index.

#include <gtest/gtest.h>

#include <string>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

const char kPlain[] = "Tree_Node::GetRelativeSubTree";
const char kByRef[] = "Tree_Node::GetRelativeSubTreeByRef";

// All texts of the index forms begin alike, those of the ByRef form included.
LogLine Line(int level, const char* function, const std::string& before, const std::string& after) {
  return TreeLine(level, function,
                  before +
                      "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)" +
                      after + "\n");
}

LogLine Start(const char* function) {
  return Line(7, function, "Start ", "");
}
LogLine End() {
  return Line(7, kPlain, "End ", "");
}
LogLine BelowZero(const char* function) {
  return Line(7, function, "", " : index less then 0 , return null Tree_NodePtr");
}
LogLine NoPath(const char* function, const std::string& path) {
  return Line(7, function, "", " : path does not exist : " + path + " , return null Tree_NodePtr");
}
LogLine TooHigh() {
  return Line(7, kPlain, "", " : index must be less then child count , return null Tree_NodePtr");
}
LogLine TooHighByRef(const std::string& under, const std::string& path, int index) {
  return Line(3, kByRef, "",
              " under <" + under + "> path <" + path + "> index <" + std::to_string(index) +
                  ">: index must be less then child count , return null Tree_NodePtr");
}
LogLine NoSubTree(const char* function, int index) {
  return Line(7, function, "",
              " : index not exist : " + std::to_string(index) + " , return null Tree_NodePtr");
}

// cfg(net(v=, s(deep=), t, w=, u=inner with a value), x=)
class NodeSubTree : public testing::Test {
 protected:
  NodeSubTree()
      : s(Inner("s", {Leaf("deep", "1")})),
        t(Inner("t")),
        u(Inner("u")),
        net(Inner("net", {Leaf("v", "1"), s, t, LeafWithoutValue("w"), u})),
        x(Leaf("x", "3")),
        top(Inner("cfg", {net, x})) {
    u->SetTreeValue(new Tree_Value("valued", 0));
  }

  Tree_NodePtr s, t, u, net, x, top;
};

TEST_F(NodeSubTree, ByPathYieldsOnlyWhatIsNoLeaf) {
  struct Row {
    const char* path;
    Tree_NodePtr* expected;
  };
  Tree_NodePtr null;
  const Row rows[] = {
      {"", &top},        {"net", &net},          {"net\\s", &s},
      {"net\\t", &t},    {"net\\u", &u},         {"net\\", &net},
      {"\\net", &top},   {"x", &null},           {"x\\", &null},
      {"net\\v", &null}, {"net\\w", &null},      {"net\\s\\deep", &null},
      {"z", &null},      {"net\\z", &null},      {"NET", &null},
      {"x\\z", &null},   {"net\\s\\\\deep", &s},
  };
  LogCapture log;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    Tree_Path plain(row.path);
    EXPECT_EQ(row.expected->get(), top->GetRelativeSubTree(plain, top).get());
    Tree_Path by_ref(row.path);
    Tree_NodePtr& slot = top->GetRelativeSubTreeByRef(by_ref, top);
    EXPECT_EQ(row.expected->get(), slot.get());
    if (row.expected == &null) {
      EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &slot);
    } else if (row.expected == &top) {
      EXPECT_EQ(&top, &slot);
    } else {
      EXPECT_EQ(&slot->GetParent()->GetChildAt(slot->GetParent()->GetIndex(slot)), &slot);
    }
  }
  EXPECT_NO_LOG(log);
}

TEST_F(NodeSubTree, ByPathStartsAtThisPtrNotAtTheNodeAsked) {
  Tree_NodePtr inner = Inner("only here");
  Tree_NodePtr elsewhere = Inner("elsewhere", {inner});
  for (const char* text : {"only here", "only here\\"}) {
    Tree_Path plain(text);
    EXPECT_EQ(inner.get(), top->GetRelativeSubTree(plain, elsewhere).get());
    Tree_Path by_ref(text);
    EXPECT_EQ(&elsewhere->GetChildAt(0), &top->GetRelativeSubTreeByRef(by_ref, elsewhere));
  }
  Tree_Path net_path("net");
  EXPECT_TRUE(top->GetRelativeSubTree(net_path, elsewhere).isNull());
  Tree_Path net_again("net");
  EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeSubTreeByRef(net_again, elsewhere));

  Tree_Path here("");
  EXPECT_EQ(elsewhere.get(), top->GetRelativeSubTree(here, elsewhere).get());
  Tree_Path here_again("");
  EXPECT_EQ(&elsewhere, &top->GetRelativeSubTreeByRef(here_again, elsewhere));
}

TEST_F(NodeSubTree, ByPathOfALeafItselfIsNull) {
  Tree_Path plain("");
  EXPECT_TRUE(top->GetRelativeSubTree(plain, x).isNull());
  Tree_Path by_ref("");
  EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeSubTreeByRef(by_ref, x));
}

TEST_F(NodeSubTree, ByPathGoesOnWhereAUsedPathStopped) {
  Tree_Path path("z\\net\\s");
  path.GetRootAsCharPtr();
  EXPECT_EQ(s.get(), top->GetRelativeSubTree(path, top).get());
  // Exhausted, it repeats `s`.
  EXPECT_EQ(s.get(), top->GetRelativeSubTree(path, net).get());
  EXPECT_EQ(&net->GetChildAt(1), &top->GetRelativeSubTreeByRef(path, net));
}

TEST_F(NodeSubTree, ByIndexCountsSubTreesOnly) {
  RWCString path("net");
  LogCapture log;
  int i = 0;
  for (Tree_NodePtr* expected : {&s, &t, &u}) {
    SCOPED_TRACE(i);
    EXPECT_EQ(expected->get(), top->GetRelativeSubTree(path, i, top).get());
    EXPECT_LOG(log, Start(kPlain), End());
    Tree_NodePtr& slot = top->GetRelativeSubTreeByRef(path, i, top);
    EXPECT_EQ(&net->GetChildAt(net->GetIndex(*expected)), &slot);
    EXPECT_LOG(log, Start(kByRef));
    ++i;
  }
  EXPECT_EQ("net", Text(path));
}

TEST_F(NodeSubTree, ByIndexBetweenTheTwoCountsDoesNotExist) {
  RWCString path("net");
  LogCapture log;
  for (int index : {3, 4}) {
    EXPECT_TRUE(top->GetRelativeSubTree(path, index, top).isNull());
    EXPECT_LOG(log, Start(kPlain), NoSubTree(kPlain, index));
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeSubTreeByRef(path, index, top));
    EXPECT_LOG(log, Start(kByRef), NoSubTree(kByRef, index));
  }
}

TEST_F(NodeSubTree, ByIndexNotBelowTheChildCountIsRefused) {
  RWCString path("net");
  LogCapture log;
  for (int index : {5, 6, 2147483647}) {
    EXPECT_TRUE(top->GetRelativeSubTree(path, index, top).isNull());
    EXPECT_LOG(log, Start(kPlain), TooHigh());
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeSubTreeByRef(path, index, top));
    EXPECT_LOG(log, Start(kByRef), TooHighByRef("cfg", "net", index));
  }
}

// The line names the node that was asked, not the one at the path or this_ptr.
TEST_F(NodeSubTree, ByIndexNamesTheNodeAskedWhenItRefuses) {
  RWCString path("s\\");
  RWCString here;
  LogCapture log(3);
  EXPECT_TRUE(net->GetRelativeSubTreeByRef(path, 1, top).isNull());
  EXPECT_LOG(log, TooHighByRef("cfg\\net", "s\\", 1));
  EXPECT_TRUE(net->GetRelativeSubTreeByRef(here, 9, s).isNull());
  EXPECT_LOG(log, TooHighByRef("cfg\\net", "", 9));
  RWCString virtual_path("sys");
  top->SetVirtualParentPath(virtual_path);
  EXPECT_TRUE(top->GetRelativeSubTreeByRef(here, 2, top).isNull());
  EXPECT_LOG(log, TooHighByRef("sys\\cfg", "", 2));
  // The plain form refuses at a level that is not accepted here.
  EXPECT_TRUE(top->GetRelativeSubTree(here, 2, top).isNull());
  EXPECT_NO_LOG(log);
}

TEST_F(NodeSubTree, ByIndexBelowZeroIsRefusedBeforeThePathIsRead) {
  LogCapture log;
  for (const char* text : {"net", "no such path", ""}) {
    RWCString path(text);
    for (int index : {-1, -2147483647 - 1}) {
      EXPECT_TRUE(top->GetRelativeSubTree(path, index, top).isNull());
      EXPECT_LOG(log, Start(kPlain), BelowZero(kPlain));
      EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeSubTreeByRef(path, index, top));
      EXPECT_LOG(log, Start(kByRef), BelowZero(kByRef));
    }
  }
}

TEST_F(NodeSubTree, ByIndexUnderAMissingPathIsRefused) {
  LogCapture log;
  for (const char* text : {"z", "net\\z", "x\\z", "%s%n"}) {
    RWCString path(text);
    EXPECT_TRUE(top->GetRelativeSubTree(path, 0, top).isNull());
    EXPECT_LOG(log, Start(kPlain), NoPath(kPlain, text));
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeSubTreeByRef(path, 0, top));
    EXPECT_LOG(log, Start(kByRef), NoPath(kByRef, text));
  }
}

TEST_F(NodeSubTree, ByIndexUnderANodeWithoutChildrenIsRefused) {
  LogCapture log;
  for (const char* text : {"x", "net\\t"}) {
    RWCString path(text);
    EXPECT_TRUE(top->GetRelativeSubTree(path, 0, top).isNull());
    EXPECT_LOG(log, Start(kPlain), TooHigh());
    EXPECT_TRUE(top->GetRelativeSubTreeByRef(path, 0, top).isNull());
    EXPECT_LOG(log, Start(kByRef), TooHighByRef("cfg", text, 0));
  }
  RWCString only_leaves("net\\s");
  EXPECT_TRUE(top->GetRelativeSubTree(only_leaves, 0, top).isNull());
  EXPECT_LOG(log, Start(kPlain), NoSubTree(kPlain, 0));
}

TEST_F(NodeSubTree, ByIndexStartsAtTheNodeAskedNotAtThisPtr) {
  RWCString path("net");
  RWCString here;
  EXPECT_EQ(s.get(), top->GetRelativeSubTree(path, 0, s).get());
  EXPECT_EQ(&net->GetChildAt(1), &top->GetRelativeSubTreeByRef(path, 0, s));
  // But an empty path yields this_ptr, and its sub-trees are counted.
  EXPECT_EQ(s.get(), top->GetRelativeSubTree(here, 0, net).get());
  EXPECT_EQ(&net->GetChildAt(2), &top->GetRelativeSubTreeByRef(here, 1, net));
  EXPECT_EQ(net.get(), top->GetRelativeSubTree(here, 0, top).get());
  Tree_NodePtr null;
  LogCapture log;
  EXPECT_TRUE(top->GetRelativeSubTree(here, 0, null).isNull());
  EXPECT_LOG(log, Start(kPlain), NoPath(kPlain, ""));
  EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeSubTreeByRef(here, 0, null));
  EXPECT_LOG(log, Start(kByRef), NoPath(kByRef, ""));
}

TEST_F(NodeSubTree, TheSmallestCaseOfTheThreeAnswers) {
  Tree_NodePtr sub = Inner("sub");
  Tree_NodePtr small = Inner("small", {Leaf("v", "1"), sub});
  RWCString here;
  LogCapture log;
  EXPECT_EQ(sub.get(), small->GetRelativeSubTree(here, 0, small).get());
  EXPECT_LOG(log, Start(kPlain), End());
  EXPECT_TRUE(small->GetRelativeSubTree(here, 1, small).isNull());
  EXPECT_LOG(log, Start(kPlain), NoSubTree(kPlain, 1));
  EXPECT_TRUE(small->GetRelativeSubTree(here, 2, small).isNull());
  EXPECT_LOG(log, Start(kPlain), TooHigh());
}

TEST_F(NodeSubTree, PlainFormsCountTheNode) {
  RWCString path("net");
  Tree_NodePtr by_index = top->GetRelativeSubTree(path, 0, top);
  Tree_Path to_s("net\\s");
  Tree_NodePtr by_path = top->GetRelativeSubTree(to_s, top);
  s = net = top = Tree_NodePtr();
  EXPECT_EQ(by_index.get(), by_path.get());
  EXPECT_EQ("deep", Text(by_index->GetChildAt(0)->GetKeyName()));
  EXPECT_EQ(nullptr, by_index->GetParent());
}

TEST_F(NodeSubTree, WritesOnlyTheRefusalOfLevelThreeWhenNotTraced) {
  RWCString path("net");
  RWCString missing("z");
  LogCapture log(6);
  for (int index : {-1, 0, 3, 5}) {
    top->GetRelativeSubTree(path, index, top);
    top->GetRelativeSubTree(missing, index, top);
    top->GetRelativeSubTreeByRef(missing, index, top);
    top->GetRelativeSubTreeByRef(path, index, top);
  }
  EXPECT_LOG(log, TooHighByRef("cfg", "net", 5));
}

}  // namespace
