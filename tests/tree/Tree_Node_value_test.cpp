// Tree_Node::GetValue, by path and by index, and GetValueName.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeMaking.h"

namespace {

const char kValue[] = "Tree_Node::GetValue";
const char kName[] = "Tree_Node::GetValueName";

// The texts of the index forms differ in the operation's name and in the start line.
LogLine Line(const char* function, const std::string& before, const std::string& after) {
  const std::string method = std::string(function).substr(std::string("Tree_Node::").size());
  return TreeLine(
      7, function,
      before + method + "(RWCString & path,int index,Tree_NodePtr & this_ptr)" + after + "\n");
}

LogLine Start(const char* function, const std::string& path) {
  return Line(function, "Start ", function == kValue ? " " + path : "");
}
LogLine BelowZero(const char* function) {
  return Line(function, "", ": index is less then 0, return empty string");
}
LogLine NoPath(const char* function, const std::string& path) {
  return Line(function, "", ": path " + path + " does not exist, return ");
}
LogLine TooHigh(const char* function) {
  return Line(function, "", ": index is more then child num, return empty string");
}
LogLine NoLeaf(const char* function, int index) {
  return Line(function, "", ": index " + std::to_string(index) + " does not exist, return ");
}
LogLine IsSubTree() {
  return TreeLine(7, kValue,
                  "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path represent a sub "
                  "tree,return empty string\n");
}
LogLine IsWithoutValue() {
  return TreeLine(7, kValue,
                  "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path tree value is "
                  "NULL,return empty string\n");
}

// cfg(net(x=1, s(deep=2), y=two), gone=, empty="", u=inner with a value)
class NodeValue : public testing::Test {
 protected:
  NodeValue()
      : net(Inner("net", {Leaf("x", "1"), Inner("s", {Leaf("deep", "2")}), Leaf("y", "two")})),
        gone(LeafWithoutValue("gone")),
        top(Inner("cfg", {net, gone, Leaf("empty", ""), Inner("u")})) {
    top->GetChildAt(3)->SetTreeValue(new Tree_Value("valued", 0));
  }

  std::string At(const char* text) { return At(text, top); }
  std::string At(const char* text, Tree_NodePtr& this_ptr) {
    RWCString path(text);
    return Text(top->GetValue(path, this_ptr));
  }

  // Value or name, as `function` says.
  std::string At(const char* function, const char* text, int index) {
    return At(function, text, index, top);
  }
  std::string At(const char* function, const char* text, int index, Tree_NodePtr& this_ptr) {
    RWCString path(text);
    return Text(function == kValue ? top->GetValue(path, index, this_ptr)
                                   : top->GetValueName(path, index, this_ptr));
  }

  Tree_NodePtr net, gone, top;
};

TEST_F(NodeValue, OfALeafIsItsStringAndWritesNothing) {
  LogCapture log;
  EXPECT_EQ("1", At("net\\x"));
  EXPECT_EQ("two", At("net\\y"));
  EXPECT_EQ("2", At("net\\s\\deep"));
  EXPECT_EQ("", At("empty"));
  EXPECT_EQ("1", At("net\\x\\"));
  EXPECT_EQ("1", At("net\\x\\\\z"));
  EXPECT_NO_LOG(log);
}

TEST_F(NodeValue, OfAMissingPathIsEmpty) {
  LogCapture log;
  for (const char* path : {"z", "net\\z", "net\\X", "net\\x\\z", "cfg", "%s%n"}) {
    EXPECT_EQ("", At(path));
    EXPECT_LOG(log, NoPath(kValue, path));
  }
}

TEST_F(NodeValue, OfASubTreeIsEmptyWhateverItCarries) {
  LogCapture log;
  for (const char* path : {"net", "net\\s", "net\\", "u", "", "\\net\\x"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ("", At(path));
    EXPECT_LOG(log, IsSubTree());
  }
}

TEST_F(NodeValue, OfALeafWhoseValueIsGoneIsEmpty) {
  LogCapture log;
  EXPECT_EQ("", At("gone"));
  EXPECT_LOG(log, lines::NoValue(), IsWithoutValue());
}

TEST_F(NodeValue, OfAnEmptyPathIsThatOfThisPtr) {
  Tree_NodePtr leaf = Leaf("elsewhere", "far away");
  Tree_NodePtr null;
  LogCapture log;
  EXPECT_EQ("far away", At("", leaf));
  EXPECT_EQ("far away", At("\\net\\x", leaf));
  EXPECT_EQ("1", At("net\\x", leaf));
  EXPECT_EQ("1", At("net\\x", null));
  EXPECT_NO_LOG(log);
  EXPECT_EQ("", At("", null));
  EXPECT_LOG(log, NoPath(kValue, ""));

  RWCString here;
  EXPECT_EQ("far away", Text(leaf->GetValue(here, leaf)));
}

TEST_F(NodeValue, IsThatOfTheFirstOfEqualNames) {
  Tree_NodePtr first = Leaf("x", "first");
  Tree_NodePtr sub = Inner("y");
  net->Insert(first, 0, -1);
  net->Insert(sub, 0, -1);
  EXPECT_EQ("first", At("net\\x"));
  EXPECT_EQ("", At("net\\y"));
}

TEST_F(NodeValue, HoldsItsBytesWhateverTheyAre) {
  Tree_NodePtr bytes = Leaf("bytes", Bytes("a\0b\\c"));
  const std::string long_value(10000, 'v');
  Tree_NodePtr wide = Leaf("wide", RWCString(long_value.data(), long_value.size()));
  top->Add(bytes);
  top->Add(wide);
  EXPECT_EQ(std::string("a\0b\\c", 5), At("bytes"));
  EXPECT_EQ(long_value, At("wide"));
  EXPECT_EQ(std::string("a\0b\\c", 5), At(kValue, "", 2));
}

TEST_F(NodeValue, LeavesTheCallersPathAsItIs) {
  RWCString path("net\\x");
  top->GetValue(path, top);
  top->GetValue(path, 0, top);
  top->GetValueName(path, 0, top);
  EXPECT_EQ("net\\x", Text(path));
}

TEST_F(NodeValue, ByIndexCountsLeavesOnly) {
  LogCapture log;
  EXPECT_EQ("1", At(kValue, "net", 0));
  EXPECT_EQ("two", At(kValue, "net", 1));
  EXPECT_EQ("2", At(kValue, "net\\s", 0));
  EXPECT_LOG(log, Start(kValue, "net"), Start(kValue, "net"), Start(kValue, "net\\s"));
  EXPECT_EQ("x", At(kName, "net", 0));
  EXPECT_EQ("y", At(kName, "net", 1));
  EXPECT_EQ("deep", At(kName, "net\\s", 0));
  EXPECT_LOG(log, Start(kName, "net"), Start(kName, "net"), Start(kName, "net\\s"));
}

TEST_F(NodeValue, ByIndexOfALeafWhoseValueIsGoneIsEmpty) {
  LogCapture log;
  EXPECT_EQ("", At(kValue, "", 0));
  EXPECT_LOG(log, Start(kValue, ""), lines::NoValue());
  EXPECT_EQ("gone", At(kName, "", 0));
  EXPECT_EQ("", At(kValue, "", 1));
  EXPECT_LOG(log, Start(kName, ""), Start(kValue, ""));
}

TEST_F(NodeValue, ByIndexBetweenTheTwoCountsDoesNotExist) {
  LogCapture log;
  for (const char* function : {kValue, kName}) {
    EXPECT_EQ("", At(function, "net", 2));
    EXPECT_LOG(log, Start(function, "net"), NoLeaf(function, 2));
    EXPECT_EQ("", At(function, "", 2));
    EXPECT_LOG(log, Start(function, ""), NoLeaf(function, 2));
    EXPECT_EQ("", At(function, "", 3));
    EXPECT_LOG(log, Start(function, ""), NoLeaf(function, 3));
  }
}

TEST_F(NodeValue, ByIndexNotBelowTheChildCountIsRefused) {
  LogCapture log;
  for (const char* function : {kValue, kName}) {
    for (int index : {3, 4, 2147483647}) {
      EXPECT_EQ("", At(function, "net", index));
      EXPECT_LOG(log, Start(function, "net"), TooHigh(function));
    }
    // Nodes without children, leaf or not.
    for (const char* path : {"net\\x", "u", "gone"}) {
      EXPECT_EQ("", At(function, path, 0));
      EXPECT_LOG(log, Start(function, path), TooHigh(function));
    }
  }
}

TEST_F(NodeValue, ByIndexBelowZeroIsRefusedBeforeThePathIsRead) {
  LogCapture log;
  for (const char* function : {kValue, kName}) {
    for (const char* path : {"net", "no such path", ""}) {
      EXPECT_EQ("", At(function, path, -1));
      EXPECT_LOG(log, Start(function, path), BelowZero(function));
      EXPECT_EQ("", At(function, path, -2147483647 - 1));
      EXPECT_LOG(log, Start(function, path), BelowZero(function));
    }
  }
}

TEST_F(NodeValue, ByIndexUnderAMissingPathIsEmpty) {
  LogCapture log;
  for (const char* function : {kValue, kName}) {
    for (const char* path : {"z", "net\\z", "net\\x\\z", "%s%n"}) {
      EXPECT_EQ("", At(function, path, 0));
      EXPECT_LOG(log, Start(function, path), NoPath(function, path));
    }
  }
}

TEST_F(NodeValue, ByIndexUnderAnEmptyPathAsksThisPtr) {
  Tree_NodePtr null;
  LogCapture log;
  EXPECT_EQ("1", At(kValue, "", 0, net));
  EXPECT_EQ("y", At(kName, "", 1, net));
  EXPECT_EQ("two", At(kValue, "net", 1, gone));
  EXPECT_LOG(log, Start(kValue, ""), Start(kName, ""), Start(kValue, "net"));
  for (const char* function : {kValue, kName}) {
    EXPECT_EQ("", At(function, "", 0, null));
    EXPECT_LOG(log, Start(function, ""), NoPath(function, ""));
  }
}

TEST_F(NodeValue, NamesComeOutWhole) {
  Tree_NodePtr odd = Inner("odd", {Leaf(Bytes("a\0b"), "1"), Leaf("", "2"), Leaf(" c ", "3")});
  RWCString here;
  EXPECT_EQ(std::string("a\0b", 3), Text(odd->GetValueName(here, 0, odd)));
  EXPECT_EQ("", Text(odd->GetValueName(here, 1, odd)));
  EXPECT_EQ(" c ", Text(odd->GetValueName(here, 2, odd)));
}

TEST_F(NodeValue, PrintsPathsOfAnyLength) {
  const std::string long_path(20000, 'p');
  LogCapture log;
  EXPECT_EQ("", At(kValue, long_path.c_str(), 0));
  EXPECT_LOG(log, Start(kValue, long_path), NoPath(kValue, long_path));
}

TEST_F(NodeValue, WritesNothingWhenNotTraced) {
  LogCapture log(6);
  for (const char* path : {"", "z", "net", "gone", "net\\x"}) {
    At(path);
    for (int index : {-1, 0, 2, 5}) {
      At(kValue, path, index);
      At(kName, path, index);
    }
  }
  EXPECT_NO_LOG(log);
}

// A path is read where it stands here and from a Tree_Path there.
TEST(NodeValuePath, IsReadAsATreePathReadsIt) {
  Tree_NodePtr top = Inner("cfg");
  const std::string names[] = {"a", "bb", "name_of_some_length", "another_name_of_24_bytes"};
  for (const std::string& first : names) {
    for (const std::string& second : names) {
      Tree_Path path(RWCString((first + "\\" + second).c_str()));
      Tree_NodePtr parent = top->GetOrCreateRelativeNode(path, top);
      for (const std::string& third : names) {
        Tree_NodePtr leaf =
            Leaf(RWCString(third.c_str()), RWCString((first + second + third).c_str()));
        parent->Add(leaf);
      }
    }
  }

  std::mt19937 random(11);
  int found = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (int i = 0; i < 3; ++i) {
      const char separator = random() % 20 == 0 ? '\0' : '\\';
      if (i > 0 || random() % 20 == 0) text += separator;
      text += names[random() % 4];
      if (random() % 20 == 0) text.resize(text.size() - random() % (text.size() + 1));
    }
    if (random() % 5 == 0) text += "\\x";
    if (random() % 5 == 0) text += '\\';
    SCOPED_TRACE(testing::PrintToString(text));
    RWCString path(text.data(), text.size());
    Tree_Path copied(path);
    Tree_NodePtr& node = top->GetRelativeNodeByRef(copied, top);
    const bool is_leaf = !node.isNull() && node->IsLeaf();
    found += is_leaf ? 1 : 0;
    ASSERT_EQ(is_leaf ? Text(node->GetTreeValue()->GetValue()) : "",
              Text(top->GetValue(path, top)));
  }
  EXPECT_GT(found, 5000);
  EXPECT_LT(found, 18000);
}

}  // namespace
