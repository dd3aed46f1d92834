// Tree_Node::Search.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

using Strings = std::vector<std::string>;

LogLine Line(int level, const std::string& text) {
  return TreeLine(level, "Tree_Node::Search", text + "\n");
}
LogLine Start() {
  return Line(7, "Start Search(RWCString & path,Tree_NodePtr & this_ptr)");
}
LogLine End() {
  return Line(7, "End Search(RWCString & path,Tree_NodePtr & this_ptr)");
}
LogLine EmptyPath() {
  return Line(3, "Search(RWCString & path,Tree_NodePtr & this_ptr): path is NULL, return NULL");
}
LogLine NoResult() {
  return Line(7,
              "Search(RWCString & path,Tree_NodePtr & this_ptr): Search(path,this_ptr,ret) return "
              "empty vec (empty search result), return NULL");
}

Strings Take(String_Arr* result) {
  if (result == nullptr) return {"(null)"};
  const std::unique_ptr<String_Arr> owner(result);
  EXPECT_GT(result->GetArrLen(), 0);
  EXPECT_EQ(result->GetArrLen(), result->GetInsertedNum());
  Strings texts;
  for (int i = 0; i < result->GetArrLen(); ++i) texts.emplace_back(result->GetStr(i));
  return texts;
}

Strings Search(Tree_NodePtr& node, const RWCString& path, int strip_top = 0) {
  return Take(node->Search(path, node, strip_top));
}

const Strings kNone = {"(null)"};

TEST(NodeSearch, FindsEveryNodeOfAName) {
  Tree_NodePtr top =
      Inner("cfg", {Inner("a", {Leaf("x", "1"), Inner("b", {Leaf("x", "2")})}), Leaf("x", "3")});
  EXPECT_EQ((Strings{"cfg\\x", "cfg\\a\\x", "cfg\\a\\b\\x"}), Search(top, "x"));
  EXPECT_EQ((Strings{"cfg\\a\\b"}), Search(top, "b"));
  EXPECT_EQ(kNone, Search(top, "z"));
  EXPECT_EQ(kNone, Search(top, "cfg"));
  EXPECT_EQ(kNone, Search(top, "X"));
  EXPECT_EQ(kNone, Search(top, " x"));
}

// A node is asked before its children, and those in their order.
TEST(NodeSearch, ListsResultsInPreOrderOfTheNodesAsked) {
  Tree_NodePtr deep = Inner("deep", {Inner("p", {Leaf("q", "1")})});
  Tree_NodePtr top = Inner("cfg", {deep, Inner("p", {Leaf("q", "2")}), Inner("late", {})});
  Tree_NodePtr again = Inner("p", {Leaf("q", "3")});
  top->GetChildAt(2)->Add(again);
  EXPECT_EQ((Strings{"cfg\\p\\q", "cfg\\deep\\p\\q", "cfg\\late\\p\\q"}), Search(top, "p\\q"));
  EXPECT_EQ((Strings{"cfg\\deep\\p\\q"}), Search(deep, "p\\q"));
}

TEST(NodeSearch, FindsOnlyTheFirstOfEqualNamesFromEachNode) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("x", "1")}), Inner("a", {Leaf("x", "2")})});
  EXPECT_EQ((Strings{"cfg\\a"}), Search(top, "a"));
  EXPECT_EQ((Strings{"cfg\\a\\x"}), Search(top, "a\\x"));
  EXPECT_EQ((Strings{"cfg\\a\\x", "cfg\\a\\x"}), Search(top, "x"));
}

TEST(NodeSearch, AsksBelowWhatItFinds) {
  Tree_NodePtr top = Inner("a", {Inner("a", {Inner("a", {Leaf("a", "1")})})});
  EXPECT_EQ((Strings{"a\\a", "a\\a\\a", "a\\a\\a\\a"}), Search(top, "a"));
  EXPECT_EQ((Strings{"a\\a\\a", "a\\a\\a\\a"}), Search(top, "a\\a"));
  EXPECT_EQ((Strings{"a\\a\\a\\a"}), Search(top, "a\\a\\a"));
  EXPECT_EQ(kNone, Search(top, "a\\a\\a\\a"));
}

TEST(NodeSearch, EndsAPathAtAnEmptySegment) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("b", "1")})});
  EXPECT_EQ((Strings{"cfg\\a"}), Search(top, "a\\"));
  EXPECT_EQ((Strings{"cfg\\a"}), Search(top, "a\\\\z"));
  // A path that begins with one reaches every node from itself.
  EXPECT_EQ((Strings{"cfg", "cfg\\a", "cfg\\a\\b"}), Search(top, "\\"));
  EXPECT_EQ((Strings{"cfg", "cfg\\a", "cfg\\a\\b"}), Search(top, "\\z"));
}

TEST(NodeSearch, StartsAtTheNodeAskedAndTakesThisPtrForItsEmptyPath) {
  Tree_NodePtr elsewhere = Inner("elsewhere", {Leaf("x", "1")});
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("y", "1")})});
  EXPECT_EQ(kNone, Take(top->Search("x", elsewhere, 0)));
  EXPECT_EQ((Strings{"cfg\\a\\y"}), Take(top->Search("y", elsewhere, 0)));
  EXPECT_EQ((Strings{"elsewhere", "cfg\\a", "cfg\\a\\y"}), Take(top->Search("\\", elsewhere, 0)));
  Tree_NodePtr null;
  EXPECT_EQ((Strings{"cfg\\a", "cfg\\a\\y"}), Take(top->Search("\\", null, 0)));
  EXPECT_EQ((Strings{"cfg\\a"}), Take(top->Search("a", null, 0)));
}

TEST(NodeSearch, FromALeafFindsOnlyTheLeafItself) {
  Tree_NodePtr leaf = Leaf("v", "1");
  EXPECT_EQ(kNone, Search(leaf, "v"));
  EXPECT_EQ((Strings{"v"}), Search(leaf, "\\v"));
}

TEST(NodeSearch, DropsTheFirstNameOfEachResultOnRequest) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("b", "1")})});
  for (int strip_top : {1, 2, -1}) {
    SCOPED_TRACE(strip_top);
    EXPECT_EQ((Strings{"a\\b"}), Search(top, "b", strip_top));
    EXPECT_EQ((Strings{"a"}), Search(top, "a", strip_top));
    // Without a separator there is nothing to drop.
    EXPECT_EQ((Strings{"cfg", "a", "a\\b"}), Search(top, "\\", strip_top));
  }
  RWCString above("sys\\main");
  top->SetVirtualParentPath(above);
  EXPECT_EQ((Strings{"sys\\main\\cfg\\a\\b"}), Search(top, "b"));
  EXPECT_EQ((Strings{"main\\cfg\\a\\b"}), Search(top, "b", 1));
}

TEST(NodeSearch, StartedBelowTheTopStillPrintsPathsFromTheTop) {
  Tree_NodePtr a = Inner("a", {Leaf("b", "1")});
  Tree_NodePtr top = Inner("cfg", {a});
  EXPECT_EQ((Strings{"cfg\\a\\b"}), Search(a, "b"));
  EXPECT_EQ((Strings{"a\\b"}), Search(a, "b", 1));
}

TEST(NodeSearch, BelowANamelessTopDropsTheLeadingSeparator) {
  Tree_NodePtr top = Inner("", {Inner("a", {Leaf("b", "1")})});
  EXPECT_EQ((Strings{"\\a\\b"}), Search(top, "b"));
  EXPECT_EQ((Strings{"a\\b"}), Search(top, "b", 1));
  EXPECT_EQ((Strings{"", "a", "a\\b"}), Search(top, "\\", 1));
}

TEST(NodeSearch, JoinsAndDropsWithWhateverTheSeparatorIs) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("b", "1")})});
  {
    SeparatorGuard guard("::");
    // The path that is searched is cut at the backslash all the same.
    EXPECT_EQ((Strings{"cfg::a::b"}), Search(top, "a\\b"));
    EXPECT_EQ((Strings{"a::b"}), Search(top, "a\\b", 1));
    EXPECT_EQ(kNone, Search(top, "a::b", 1));
    RWCString above("sys\\main");
    top->SetVirtualParentPath(above);
    EXPECT_EQ((Strings{"cfg::a::b"}), Search(top, "b", 1));
  }
  {
    SeparatorGuard guard("");
    RWCString nothing;
    top->SetVirtualParentPath(nothing);
    EXPECT_EQ((Strings{"cfgab"}), Search(top, "b"));
    EXPECT_EQ((Strings{"cfgab"}), Search(top, "b", 1));
  }
}

TEST(NodeSearch, CutsAResultAtTheWidthOfASlot) {
  const std::string long_name(300, 'l');
  const RWCString name(long_name.data(), long_name.size());
  Tree_NodePtr top = Inner("cfg", {Inner(name, {Leaf("x", "1")})});
  EXPECT_EQ((Strings{("cfg\\" + long_name).substr(0, 255)}), Search(top, "x"));
  EXPECT_EQ((Strings{long_name.substr(0, 255)}), Search(top, "x", 1));

  // Exactly as long as fits, and one longer.
  top->GetChildAt(0)->SetKeyName(RWCString(long_name.data(), 255 - 6));
  EXPECT_EQ((Strings{"cfg\\" + std::string(249, 'l') + "\\x"}), Search(top, "x"));
  top->GetChildAt(0)->SetKeyName(RWCString(long_name.data(), 255 - 5));
  EXPECT_EQ((Strings{"cfg\\" + std::string(250, 'l') + "\\"}), Search(top, "x"));
  // What is dropped makes room.
  EXPECT_EQ((Strings{std::string(250, 'l') + "\\x"}), Search(top, "x", 1));
}

TEST(NodeSearch, ComparesAndPrintsNamesUpToAZeroByte) {
  Tree_NodePtr top = Inner("cfg", {Inner(Bytes("a\0b"), {Leaf("x", "1")})});
  EXPECT_EQ((Strings{"cfg\\a"}), Search(top, "a"));
  EXPECT_EQ((Strings{"cfg\\a"}), Search(top, "a\\x"));
}

TEST(NodeSearch, FindsAmongManySiblings) {
  Tree_NodePtr top = Inner("cfg");
  Strings expected;
  for (int i = 0; i < 100; ++i) {
    const std::string name = "n" + std::to_string(i);
    Tree_NodePtr child = Inner(RWCString(name.c_str()));
    if (i % 10 == 0) {
      Tree_NodePtr hit = Leaf("hit", "1");
      child->Add(hit);
      expected.push_back("cfg\\" + name + "\\hit");
    }
    top->Add(child);
  }
  EXPECT_EQ(expected, Search(top, "hit"));
  EXPECT_EQ((Strings{"cfg\\n70\\hit"}), Search(top, "n70\\hit"));
}

TEST(NodeSearch, WritesItsLines) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("a", "1")})});
  LogCapture log;
  Search(top, "a", 1);
  EXPECT_LOG(log, Start(), End());
  Search(top, "z");
  EXPECT_LOG(log, Start(), NoResult());
  EXPECT_EQ(kNone, Search(top, ""));
  EXPECT_LOG(log, Start(), EmptyPath());
  EXPECT_EQ(kNone, Search(top, "", 1));
  EXPECT_LOG(log, Start(), EmptyPath());
}

TEST(NodeSearch, WritesOnlyTheRefusalWhenNotTraced) {
  Tree_NodePtr top = Inner("cfg", {Inner("a")});
  LogCapture log(6);
  Search(top, "a");
  Search(top, "z");
  EXPECT_NO_LOG(log);
  Search(top, "");
  EXPECT_LOG(log, EmptyPath());
}

TEST(NodeSearch, ResultsOutliveTheTree) {
  Tree_NodePtr top = Inner("cfg", {Leaf("a", "1")});
  const std::unique_ptr<String_Arr> result(top->Search("a", top, 0));
  top = Tree_NodePtr();
  ASSERT_NE(nullptr, result);
  EXPECT_STREQ("cfg\\a", result->GetStr(0));
  EXPECT_EQ(nullptr, result->GetStr(1));
}

TEST(NodeSearch, WalksAMillionNodesBelowOneAnother) {
  Tree_NodePtr bottom;
  Tree_NodePtr top = Chain(1000000, "n", bottom);
  Tree_NodePtr hit = Leaf("hit", "1");
  bottom->Add(hit);
  std::string start;
  while (start.size() < 255) start += "n\\";
  EXPECT_EQ((Strings{start.substr(0, 255)}), Search(top, "hit"));
  EXPECT_EQ(kNone, Search(top, "n\\miss"));
}

// In full, the paths of these places would take 10 GB.
TEST(NodeSearch, FindsANameOnEveryLevelOfADeepTree) {
  constexpr int kDepth = 100000;
  Tree_NodePtr bottom;
  Tree_NodePtr top = Chain(kDepth, "n", bottom);
  const std::unique_ptr<String_Arr> places(top->Search("n", top, 0));
  ASSERT_NE(nullptr, places);
  const int count = places->GetArrLen();
  EXPECT_EQ(top->GetNodeNum() - 1, count);
  EXPECT_STREQ("n\\n", places->GetStr(0));
  EXPECT_STREQ("n\\n\\n", places->GetStr(1));
  std::string longest;
  while (longest.size() < 255) longest += "n\\";
  longest.resize(255);
  EXPECT_EQ(longest, places->GetStr(127));
  EXPECT_EQ(longest, places->GetStr(count - 1));
}

TEST(NodeSearch, LosesNothingWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Inner("cfg");
  for (int i = 0; i < 20; ++i) {
    Tree_NodePtr child = Inner("a", {Leaf("hit", "1")});
    top->Add(child);
  }
  const RWCString path("hit");
  const int failures = FailEveryAllocation([&] { delete top->Search(path, top, 1); }, [] {});
  EXPECT_LT(0, failures);
}

}  // namespace
