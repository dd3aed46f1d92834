// Tree_Node::GetValueNum, GetSubTreeNum, GetTreeNodeEntriesCount and
// GetSubTreeEntriesCount.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

const char kValues[] = "Tree_Node::GetValueNum";
const char kSubTrees[] = "Tree_Node::GetSubTreeNum";
const char kNodeEntries[] = "Tree_Node::GetTreeNodeEntriesCount";
const char kEntries[] = "Tree_Node::GetSubTreeEntriesCount";

LogLine Line(const char* function, const std::string& text) {
  return TreeLine(7, function, text + "\n");
}

LogLine Start(const char* function) {
  if (function == kValues) {
    return Line(function, "Start GetValueNum(RWCString path,Tree_NodePtr& this_ptr");
  }
  if (function == kNodeEntries) {
    return Line(function, "Start GetTreeNodeEntriesCount(Tree_NodePtr & tree_node)");
  }
  const std::string method = std::string(function).substr(std::string("Tree_Node::").size());
  return Line(function, "Start " + method + "(RWCString  path,Tree_NodePtr & this_node)");
}

LogLine Missing(const char* function, const std::string& path) {
  if (function == kValues) {
    return Line(
        function,
        "GetValueNum(RWCString path,Tree_NodePtr& this_ptr) : path not exist, return -1: " + path);
  }
  if (function == kSubTrees) {
    return Line(function,
                "GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) path not exist : " + path +
                    " , return -1");
  }
  return Line(function,
              "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) path not exist "
              ": " +
                  path + " , return 0");
}

LogLine NullNode() {
  return Line(kNodeEntries,
              "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) empty node: "
              "return 0");
}

// Three of the four borrow the end line of GetSubTreeNum.
LogLine End(const char* function, int count) {
  if (function == kValues) {
    return Line(function, "End GetValueNum(RWCString path,Tree_NodePtr& this_ptr) return " +
                              std::to_string(count));
  }
  return Line(function, "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return " +
                            std::to_string(count));
}

// cfg(net(x=, s(deep=, t), y=), z=, u=inner with a value, gone=)
class NodeCounts : public testing::Test {
 protected:
  NodeCounts()
      : t(Inner("t")),
        s(Inner("s", {Leaf("deep", "2"), t})),
        net(Inner("net", {Leaf("x", "1"), s, Leaf("y", "3")})),
        u(Inner("u")),
        top(Inner("cfg", {net, Leaf("z", "4"), u, LeafWithoutValue("gone")})) {
    u->SetTreeValue(new Tree_Value("valued", 0));
  }

  int Count(const char* function, const RWCString& path) { return Count(function, path, top); }
  int Count(const char* function, const RWCString& path, Tree_NodePtr& this_ptr) {
    if (function == kValues) return top->GetValueNum(path, this_ptr);
    if (function == kSubTrees) return top->GetSubTreeNum(path, this_ptr);
    return top->GetSubTreeEntriesCount(path, this_ptr);
  }

  Tree_NodePtr t, s, net, u, top;
};

TEST_F(NodeCounts, TellLeavesFromSubTrees) {
  struct Row {
    const char* path;
    int values;
    int sub_trees;
  };
  const Row rows[] = {
      {"", 2, 2},  {"net", 2, 1}, {"net\\s", 1, 1}, {"net\\s\\t", 0, 0}, {"net\\x", 0, 0},
      {"z", 0, 0}, {"u", 0, 0},   {"gone", 0, 0},   {"net\\", 2, 1},     {"\\net", 2, 2},
  };
  LogCapture log;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(row.values, Count(kValues, row.path));
    EXPECT_LOG(log, Start(kValues), End(kValues, row.values));
    EXPECT_EQ(row.sub_trees, Count(kSubTrees, row.path));
    EXPECT_LOG(log, Start(kSubTrees), End(kSubTrees, row.sub_trees));
  }
}

TEST_F(NodeCounts, OfAMissingPathAreZeroThoughTheLineSaysOtherwise) {
  LogCapture log;
  for (const char* function : {kValues, kSubTrees, kEntries}) {
    for (const char* path : {"y", "net\\z", "net\\x\\z", "%s%n"}) {
      EXPECT_EQ(0, Count(function, path));
      EXPECT_LOG(log, Start(function), Missing(function, path));
    }
  }
}

TEST_F(NodeCounts, UnderAnEmptyPathAskThisPtr) {
  Tree_NodePtr null;
  LogCapture log;
  EXPECT_EQ(2, Count(kValues, "", net));
  EXPECT_EQ(1, Count(kSubTrees, "", net));
  EXPECT_EQ(2, Count(kValues, "net", t));
  EXPECT_EQ(1, Count(kSubTrees, "net", t));
  EXPECT_LOG(log, Start(kValues), End(kValues, 2), Start(kSubTrees), End(kSubTrees, 1),
             Start(kValues), End(kValues, 2), Start(kSubTrees), End(kSubTrees, 1));
  for (const char* function : {kValues, kSubTrees, kEntries}) {
    EXPECT_EQ(0, Count(function, "", null));
    EXPECT_LOG(log, Start(function), Missing(function, ""));
  }
}

TEST_F(NodeCounts, OfEntriesIncludeEverythingBelowButTheNode) {
  struct Row {
    Tree_NodePtr* node;
    int entries;
  };
  Tree_NodePtr leaf = Leaf("leaf", "1");
  const Row rows[] = {{&top, 9}, {&net, 5}, {&s, 2}, {&t, 0}, {&u, 0}, {&leaf, 0}};
  for (const Row& row : rows) {
    SCOPED_TRACE(Text((*row.node)->GetKeyName()));
    EXPECT_EQ(row.entries, top->GetTreeNodeEntriesCount(*row.node));
    // Which node is asked does not matter.
    EXPECT_EQ(row.entries, leaf->GetTreeNodeEntriesCount(*row.node));
    EXPECT_EQ(row.entries, Count(kEntries, "", *row.node));
  }
  EXPECT_EQ(9, Count(kEntries, ""));
  EXPECT_EQ(5, Count(kEntries, "net"));
  EXPECT_EQ(2, Count(kEntries, "net\\s"));
  EXPECT_EQ(0, Count(kEntries, "net\\x"));
}

TEST_F(NodeCounts, OfEntriesOfTwoSubTreesOfThreeLeavesAreEight) {
  Tree_NodePtr two = Inner("two", {Inner("a", {Leaf("1", ""), Leaf("2", ""), Leaf("3", "")}),
                                   Inner("b", {Leaf("1", ""), Leaf("2", ""), Leaf("3", "")})});
  LogCapture log;
  EXPECT_EQ(8, two->GetTreeNodeEntriesCount(two));
  EXPECT_LOG(log, Start(kNodeEntries), Start(kNodeEntries), End(kNodeEntries, 3),
             Start(kNodeEntries), End(kNodeEntries, 3), End(kNodeEntries, 8));
}

TEST_F(NodeCounts, OfEntriesWriteAPairOfLinesForEverySubTreeEntered) {
  const std::vector<LogLine> inside = {Start(kNodeEntries),                         // cfg
                                       Start(kNodeEntries),                         // net
                                       Start(kNodeEntries),                         // s
                                       Start(kNodeEntries),  End(kNodeEntries, 0),  // t
                                       End(kNodeEntries, 2), End(kNodeEntries, 5),  // s, net
                                       Start(kNodeEntries),  End(kNodeEntries, 0),
                                       End(kNodeEntries, 9)};  // u, cfg
  LogCapture log;
  EXPECT_EQ(9, top->GetTreeNodeEntriesCount(top));
  EXPECT_EQ(inside, log.Take());

  EXPECT_EQ(9, Count(kEntries, ""));
  std::vector<LogLine> all = {Start(kEntries)};
  all.insert(all.end(), inside.begin(), inside.end());
  all.push_back(End(kEntries, 9));
  EXPECT_EQ(all, log.Take());

  EXPECT_EQ(0, Count(kEntries, "net\\x"));
  EXPECT_LOG(log, Start(kEntries), Start(kNodeEntries), End(kNodeEntries, 0), End(kEntries, 0));
}

TEST_F(NodeCounts, OfEntriesOfNoNodeAreZero) {
  Tree_NodePtr null;
  LogCapture log;
  EXPECT_EQ(0, top->GetTreeNodeEntriesCount(null));
  EXPECT_LOG(log, Start(kNodeEntries), NullNode());
  EXPECT_EQ(0, top->GetTreeNodeEntriesCount(Tree_Node::NULL_TREE_NODE_PTR));
  EXPECT_LOG(log, Start(kNodeEntries), NullNode());
}

TEST_F(NodeCounts, FollowChanges) {
  EXPECT_EQ(1, net->Remove("s"));
  EXPECT_EQ(0, Count(kSubTrees, "net"));
  EXPECT_EQ(6, Count(kEntries, ""));
  Tree_NodePtr leaf = net->GetChildAt(0);
  Tree_Value* const value = leaf->GetTreeValue();
  leaf->SetTreeValue(nullptr);
  delete value;
  // Without its value it is no leaf any more.
  EXPECT_EQ(1, Count(kValues, "net"));
  EXPECT_EQ(1, Count(kSubTrees, "net"));
}

TEST_F(NodeCounts, OfAHundredThousandSiblings) {
  Tree_NodePtr wide = Inner("wide");
  for (int i = 0; i < 100000; ++i) {
    Tree_NodePtr child = i % 4 == 0 ? Inner("s") : Leaf("v", "1");
    wide->Insert(child, i, 100000);
  }
  EXPECT_EQ(75000, wide->GetValueNum("", wide));
  EXPECT_EQ(25000, wide->GetSubTreeNum("", wide));
  EXPECT_EQ(100000, wide->GetTreeNodeEntriesCount(wide));
}

TEST_F(NodeCounts, OfAMillionNodesBelowOneAnotherNestTheirLines) {
  constexpr int kNodes = 1000000;
  Tree_NodePtr bottom;
  Tree_NodePtr deep = Chain(kNodes, "n", bottom);
  EXPECT_EQ(kNodes - 1, deep->GetTreeNodeEntriesCount(deep));
  EXPECT_EQ(kNodes - 1, deep->GetSubTreeEntriesCount("", deep));

  constexpr int kTraced = 100000;
  deep = Chain(kTraced, "n", bottom);
  LogCapture log;
  EXPECT_EQ(kTraced - 1, deep->GetTreeNodeEntriesCount(deep));
  const std::vector<LogLine> written = log.Take();
  ASSERT_EQ(2u * kTraced, written.size());
  for (std::size_t i = 0; i < kTraced; ++i) {
    ASSERT_EQ(Start(kNodeEntries), written[i]);
    ASSERT_EQ(End(kNodeEntries, static_cast<int>(i)), written[kTraced + i]);
  }
}

TEST_F(NodeCounts, WriteNothingWhenNotTraced) {
  Tree_NodePtr null;
  LogCapture log(6);
  for (const char* path : {"", "net", "no such path"}) {
    for (const char* function : {kValues, kSubTrees, kEntries}) Count(function, path);
  }
  top->GetTreeNodeEntriesCount(null);
  EXPECT_NO_LOG(log);
}

}  // namespace
