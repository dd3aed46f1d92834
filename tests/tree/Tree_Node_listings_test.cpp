// Tree_Node::GetSubTreePaths and GetSubTreeValues.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeMaking.h"

namespace {

using Names = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

const char kPaths[] = "Tree_Node::GetSubTreePaths";
const char kValues[] = "Tree_Node::GetSubTreeValues";

LogLine Line(int level, const char* function, const std::string& before, const std::string& after) {
  const std::string method = std::string(function).substr(std::string("Tree_Node::").size());
  return TreeLine(level, function,
                  before + method + "(RWCString & path,Tree_NodePtr & this_ptr)" + after + "\n");
}
LogLine Start(const char* function) {
  return Line(7, function, "Start ", "");
}
LogLine End(const char* function) {
  return Line(7, function, "End ", "");
}

LogLine Missing(const char* function, const std::string& under, const std::string& path) {
  if (function == kPaths) {
    return Line(5, function, "",
                " : under <" + under + "> path <" + path + "> tree_node  is null, return NULL");
  }
  return Line(5, function, "",
              " :under <" + under + "> path <" + path + "> tree_node is null, return NULL");
}
LogLine NoSubTrees(const std::string& under, const std::string& path) {
  return Line(7, kPaths, "",
              " : no sub trees in path <" + under + "><" + path + "> under this node, return NULL");
}
LogLine NoValues() {
  return Line(7, kValues, "", " : no values under thos node, return NULL");
}

// What the counts inside the listings write.
LogLine CountStart(const char* function) {
  return function == kPaths ? TreeLine(7, "Tree_Node::GetSubTreeNum",
                                       "Start GetSubTreeNum(RWCString  path,Tree_NodePtr & "
                                       "this_node)\n")
                            : TreeLine(7, "Tree_Node::GetValueNum",
                                       "Start GetValueNum(RWCString path,Tree_NodePtr& this_ptr\n");
}
LogLine CountEnd(const char* function, int count) {
  const std::string result = std::to_string(count) + "\n";
  return function == kPaths
             ? TreeLine(
                   7, "Tree_Node::GetSubTreeNum",
                   "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return " + result)
             : TreeLine(7, "Tree_Node::GetValueNum",
                        "End GetValueNum(RWCString path,Tree_NodePtr& this_ptr) return " + result);
}

const Names kNoNames = {"(null)"};
const Pairs kNoPairs = {{"(null)", "(null)"}};

Names SubTrees(Tree_NodePtr& node, const RWCString& path, Tree_NodePtr& this_ptr) {
  const std::unique_ptr<String_Arr> result(node->GetSubTreePaths(path, this_ptr));
  if (result == nullptr) return kNoNames;
  EXPECT_EQ(result->GetArrLen(), result->GetInsertedNum());
  Names names;
  for (int i = 0; i < result->GetArrLen(); ++i) names.emplace_back(result->GetStr(i));
  return names;
}
Names SubTrees(Tree_NodePtr& node, const RWCString& path) {
  return SubTrees(node, path, node);
}

// A field up to its zero byte, or whole when it has none.
std::string Field(const char* field, int width) {
  const void* end = std::memchr(field, 0, static_cast<std::size_t>(width));
  return end == nullptr ? std::string(field, static_cast<std::size_t>(width)) : std::string(field);
}

Pairs Values(Tree_NodePtr& node, const RWCString& path, Tree_NodePtr& this_ptr) {
  const std::unique_ptr<Tree_PathAndValueArray> result(node->GetSubTreeValues(path, this_ptr));
  if (result == nullptr) return kNoPairs;
  Pairs pairs;
  for (int i = 0; i < result->GetArrLen(); ++i) {
    Tree_ValueAndPath* const pair = result->GetPV(i);
    pairs.emplace_back(Field(pair->GetPath(), Tree_ValueAndPath::kPathWidth),
                       Field(pair->GetValue(), Tree_ValueAndPath::kValueWidth));
  }
  return pairs;
}
Pairs Values(Tree_NodePtr& node, const RWCString& path) {
  return Values(node, path, node);
}

// cfg(net(x=1, s(deep=2), y=two, t, u=inner with a value), v=3, none)
class NodeListings : public testing::Test {
 protected:
  NodeListings()
      : s(Inner("s", {Leaf("deep", "2")})),
        net(Inner("net", {Leaf("x", "1"), s, Leaf("y", "two"), Inner("t"), Inner("u")})),
        top(Inner("cfg", {net, Leaf("v", "3"), Inner("none")})) {
    net->GetChildAt(4)->SetTreeValue(new Tree_Value("valued", 0));
  }

  Tree_NodePtr s, net, top;
};

TEST_F(NodeListings, GiveBareNamesInChildOrder) {
  EXPECT_EQ((Names{"net", "none"}), SubTrees(top, ""));
  EXPECT_EQ((Names{"s", "t", "u"}), SubTrees(top, "net"));
  EXPECT_EQ((Names{"s", "t", "u"}), SubTrees(top, "net\\"));
  EXPECT_EQ((Names{"net", "none"}), SubTrees(top, "\\net"));
  EXPECT_EQ((Pairs{{"v", "3"}}), Values(top, ""));
  EXPECT_EQ((Pairs{{"x", "1"}, {"y", "two"}}), Values(top, "net"));
  EXPECT_EQ((Pairs{{"deep", "2"}}), Values(top, "net\\s"));
}

TEST_F(NodeListings, WriteTheLinesOfTheCountInside) {
  LogCapture log;
  SubTrees(top, "net");
  EXPECT_LOG(log, Start(kPaths), CountStart(kPaths), CountEnd(kPaths, 3), End(kPaths));
  Values(top, "net");
  EXPECT_LOG(log, Start(kValues), CountStart(kValues), CountEnd(kValues, 2), End(kValues));
}

TEST_F(NodeListings, AreNullWhereThereIsNothingToList) {
  LogCapture log;
  for (const char* path : {"net\\s", "none", "v", "net\\x"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(kNoNames, SubTrees(top, path));
    EXPECT_LOG(log, Start(kPaths), CountStart(kPaths), CountEnd(kPaths, 0),
               NoSubTrees("cfg", path));
  }
  for (const char* path : {"net\\t", "net\\u", "none", "v", "net\\x"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(kNoPairs, Values(top, path));
    EXPECT_LOG(log, Start(kValues), CountStart(kValues), CountEnd(kValues, 0), NoValues());
  }
}

// Those lines name the node that was asked, not the one at the path.
TEST_F(NodeListings, NameTheNodeAsked) {
  RWCString above("sys");
  top->SetVirtualParentPath(above);
  LogCapture log;
  EXPECT_EQ(kNoNames, SubTrees(net, "s", top));
  EXPECT_LOG(log, Start(kPaths), CountStart(kPaths), CountEnd(kPaths, 0),
             NoSubTrees("sys\\cfg\\net", "s"));
  EXPECT_EQ(kNoNames, SubTrees(net, "", s));
  EXPECT_LOG(log, Start(kPaths), CountStart(kPaths), CountEnd(kPaths, 0),
             NoSubTrees("sys\\cfg\\net", ""));
  EXPECT_EQ(kNoNames, SubTrees(net, "z"));
  EXPECT_LOG(log, Start(kPaths), Missing(kPaths, "sys\\cfg\\net", "z"));
  EXPECT_EQ(kNoPairs, Values(s, "z", top));
  EXPECT_LOG(log, Start(kValues), Missing(kValues, "sys\\cfg\\net\\s", "z"));
}

TEST_F(NodeListings, AreNullForAMissingPath) {
  LogCapture log;
  for (const char* path : {"z", "net\\z", "net\\x\\z", "net\\S", "%s%n"}) {
    EXPECT_EQ(kNoNames, SubTrees(top, path));
    EXPECT_LOG(log, Start(kPaths), Missing(kPaths, "cfg", path));
    EXPECT_EQ(kNoPairs, Values(top, path));
    EXPECT_LOG(log, Start(kValues), Missing(kValues, "cfg", path));
  }
}

TEST_F(NodeListings, UnderAnEmptyPathAskThisPtr) {
  Tree_NodePtr null;
  EXPECT_EQ((Names{"s", "t", "u"}), SubTrees(top, "", net));
  EXPECT_EQ((Pairs{{"deep", "2"}}), Values(top, "", s));
  EXPECT_EQ((Names{"s", "t", "u"}), SubTrees(top, "net", s));
  EXPECT_EQ((Pairs{{"x", "1"}, {"y", "two"}}), Values(top, "net", null));
  LogCapture log;
  EXPECT_EQ(kNoNames, SubTrees(top, "", null));
  EXPECT_LOG(log, Start(kPaths), Missing(kPaths, "cfg", ""));
  EXPECT_EQ(kNoPairs, Values(top, "\\net", null));
  EXPECT_LOG(log, Start(kValues), Missing(kValues, "cfg", "\\net"));
}

TEST_F(NodeListings, WriteOnlyTheMissingPathWhenNotTraced) {
  for (int level : {6, 5}) {
    LogCapture log(level);
    for (const char* path : {"net", "none", "z"}) {
      SubTrees(top, path);
      Values(top, path);
    }
    EXPECT_LOG(log, Missing(kPaths, "cfg", "z"), Missing(kValues, "cfg", "z"));
  }
  LogCapture quiet(4);
  SubTrees(top, "z");
  Values(top, "z");
  EXPECT_NO_LOG(quiet);
}

TEST_F(NodeListings, GiveEqualAndEmptyNamesAsOftenAsTheyStandThere) {
  Tree_NodePtr odd = Inner("odd", {Inner("a"), Leaf("a", "1"), Inner("a"), Leaf("", "2"), Inner(""),
                                   Leaf("a", "3"), Leaf("", "")});
  EXPECT_EQ((Names{"a", "a", ""}), SubTrees(odd, ""));
  EXPECT_EQ((Pairs{{"a", "1"}, {"", "2"}, {"a", "3"}, {"", ""}}), Values(odd, ""));
}

TEST_F(NodeListings, OfALeafWhoseValueIsGoneHaveAnEmptyValue) {
  Tree_NodePtr odd = Inner("odd", {Leaf("a", "1"), LeafWithoutValue("gone"), Leaf("b", "2")});
  LogCapture log;
  EXPECT_EQ((Pairs{{"a", "1"}, {"gone", ""}, {"b", "2"}}), Values(odd, ""));
  EXPECT_LOG(log, Start(kValues), CountStart(kValues), CountEnd(kValues, 3), lines::NoValue(),
             End(kValues));
}

TEST_F(NodeListings, CutNamesAtTheWidthOfASlot) {
  const std::string name(1000, 'n');
  Tree_NodePtr wide = Inner("wide");
  for (std::size_t length : {254u, 255u, 256u, 1000u}) {
    Tree_NodePtr child = Inner(RWCString(name.data(), length));
    wide->Add(child);
  }
  EXPECT_EQ(
      (Names{name.substr(0, 254), name.substr(0, 255), name.substr(0, 255), name.substr(0, 255)}),
      SubTrees(wide, ""));
}

TEST_F(NodeListings, CutNamesAndValuesAtTheWidthOfTheirFields) {
  const std::string text(5000, 't');
  Tree_NodePtr wide = Inner("wide");
  for (std::size_t length : {599u, 600u, 601u, 5000u}) {
    Tree_NodePtr child = Leaf(RWCString(text.data(), length), "1");
    wide->Add(child);
  }
  for (std::size_t length : {3071u, 3072u, 3073u, 5000u}) {
    Tree_NodePtr child = Leaf("v", RWCString(text.data(), length));
    wide->Add(child);
  }
  EXPECT_EQ((Pairs{{text.substr(0, 599), "1"},
                   {text.substr(0, 600), "1"},
                   {text.substr(0, 600), "1"},
                   {text.substr(0, 600), "1"},
                   {"v", text.substr(0, 3071)},
                   {"v", text.substr(0, 3072)},
                   {"v", text.substr(0, 3072)},
                   {"v", text.substr(0, 3072)}}),
            Values(wide, ""));
}

TEST_F(NodeListings, CutNamesAndValuesAtAZeroByte) {
  Tree_NodePtr odd = Inner("odd", {Inner(Bytes("a\0b")), Leaf(Bytes("c\0d"), Bytes("e\0f"))});
  EXPECT_EQ((Names{"a"}), SubTrees(odd, ""));
  EXPECT_EQ((Pairs{{"c", "e"}}), Values(odd, ""));
}

// Whatever a list before it left in the same memory.
TEST_F(NodeListings, FillValuesUpWithZeroBytes) {
  for (int round = 0; round < 2; ++round) {
    const std::unique_ptr<Tree_PathAndValueArray> values(top->GetSubTreeValues("net", top));
    ASSERT_TRUE(values != nullptr);
    ASSERT_EQ(2, values->GetArrLen());
    for (int i = 0; i < 2; ++i) {
      Tree_ValueAndPath& pair = *values->GetPV(i);
      Tree_ValueAndPath expected(std::string(pair.GetPath()).c_str(),
                                 std::string(pair.GetValue()).c_str());
      EXPECT_EQ(0, std::memcmp(expected.GetPath(), pair.GetPath(), 600));
      EXPECT_EQ(0, std::memcmp(expected.GetValue(), pair.GetValue(), 3072));
      std::memset(pair.GetPath(), 'p', 600);
      std::memset(pair.GetValue(), 'v', 3072);
    }
  }
}

TEST_F(NodeListings, OutliveTheTree) {
  const std::unique_ptr<String_Arr> names(top->GetSubTreePaths("net", top));
  const std::unique_ptr<Tree_PathAndValueArray> values(top->GetSubTreeValues("net", top));
  s = net = top = Tree_NodePtr();
  ASSERT_TRUE(names != nullptr && values != nullptr);
  EXPECT_STREQ("u", names->GetStr(2));
  EXPECT_EQ(nullptr, names->GetStr(3));
  EXPECT_STREQ("y", values->GetPV(1)->GetPath());
  EXPECT_STREQ("two", values->GetPV(1)->GetValue());
  EXPECT_EQ(nullptr, values->GetPV(2));
}

TEST_F(NodeListings, OfAHundredThousandSubTrees) {
  constexpr int kWidth = 100000;
  Tree_NodePtr wide = Inner("wide");
  for (int i = 0; i < kWidth; ++i) {
    Tree_NodePtr child = Inner(RWCString(("n" + std::to_string(i % 500)).c_str()));
    wide->Insert(child, i, kWidth);
  }
  const Names names = SubTrees(wide, "");
  ASSERT_EQ(static_cast<std::size_t>(kWidth), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    ASSERT_EQ("n" + std::to_string(i % 500), names[i]);
  }
}

TEST_F(NodeListings, OfTenThousandValues) {
  constexpr int kWidth = 10000;
  Tree_NodePtr wide = Inner("wide");
  for (int i = 0; i < kWidth; ++i) {
    const RWCString number(std::to_string(i % 500).c_str());
    Tree_NodePtr child = Leaf(RWCString("n") + number, number);
    wide->Insert(child, i, kWidth);
  }
  const std::unique_ptr<Tree_PathAndValueArray> values(wide->GetSubTreeValues("", wide));
  ASSERT_TRUE(values != nullptr);
  ASSERT_EQ(kWidth, values->GetArrLen());
  for (int i = 0; i < kWidth; ++i) {
    ASSERT_EQ("n" + std::to_string(i % 500), values->GetPV(i)->GetPath());
    ASSERT_EQ(std::to_string(i % 500), values->GetPV(i)->GetValue());
  }
}

TEST_F(NodeListings, LoseNothingWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  const RWCString path("net");
  const int of_paths = FailEveryAllocation([&] { delete top->GetSubTreePaths(path, top); }, [] {});
  EXPECT_LT(0, of_paths);
  const int of_values =
      FailEveryAllocation([&] { delete top->GetSubTreeValues(path, top); }, [] {});
  EXPECT_LT(0, of_values);
}

}  // namespace
