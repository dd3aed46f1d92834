// Tree_Node::ConvertTreeNodeToVec and ConvertTreeToSimpleVec: trees into records.

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/SmallStackThread.h"
#include "support/TreeMaking.h"
#include "support/TreeRecords.h"

namespace {

using PlainList = std::vector<Tree_NodeInfo*>;

// Both lists that a tree is converted into, with the records.
class Lists {
 public:
  Lists() = default;
  ~Lists() {
    DeleteRecords(sorted, sorted.entries());
    DeleteRecords(plain, plain.size());
  }
  Lists(const Lists&) = delete;
  Lists& operator=(const Lists&) = delete;

  void Hold(const Texts& texts) {
    for (const std::string& text : texts) {
      sorted.insert(NewRecord(text));
      plain.push_back(NewRecord(text));
    }
  }

  void Convert(Tree_NodePtr& node, const RWCString& parent_path = RWCString()) {
    RWCString path = parent_path;
    Tree_Node::ConvertTreeNodeToVec(node, path, &sorted);
    Tree_Node::ConvertTreeToSimpleVec(node, path, &plain);
    EXPECT_EQ(Text(parent_path), Text(path));
  }

  Texts Sorted() const { return TextsOf(sorted); }
  Texts Plain() const { return TextsOf(plain); }

  RecordList sorted;
  PlainList plain;
};

// --- Which records, and in which order ---------------------------------------------

struct ConvertCase {
  Tree_NodePtr (*tree)();
  const char* parent_path;
  Texts plain;
  Texts sorted;
};

const ConvertCase kConvertCases[] = {
    // Pre-order beside the order of paths.
    {[] {
       return Inner("r", {Leaf("b", "2"), Leaf("a", "1")});
     },
     "",
     {"r", "r|b=2", "r|a=1"},
     {"r", "r|a=1", "r|b=2"}},
    {[] {
       return Inner("r", {Leaf("a", "1"), Leaf("B", "2")});
     },
     "",
     {"r", "r|a=1", "r|B=2"},
     {"r", "r|B=2", "r|a=1"}},
    {[] {
       return Inner("cfg", {Inner("net", {Leaf("port", "80"), Inner("eth", {Leaf("ip", "::1")})}),
                            Leaf("a", "1")});
     },
     "",
     {"cfg", "cfg|net", "cfg\\net|port=80", "cfg\\net|eth", "cfg\\net\\eth|ip=::1", "cfg|a=1"},
     {"cfg", "cfg|a=1", "cfg|net", "cfg\\net|eth", "cfg\\net\\eth|ip=::1", "cfg\\net|port=80"}},

    // A sibling whose name continues with a byte below the separator comes in between.
    {[] {
       return Inner("r", {Inner("a", {Leaf("x", "1")}), Leaf("a!", "2"), Leaf("ab", "3")});
     },
     "",
     {"r", "r|a", "r\\a|x=1", "r|a!=2", "r|ab=3"},
     {"r", "r|a", "r|a!=2", "r\\a|x=1", "r|ab=3"}},
    {[] {
       return Inner("r", {Leaf("\xff", "3"), Leaf("\x7f", "1"), Leaf("\x80", "2")});
     },
     "",
     {"r", "r|\xff=3", "r|\x7f=1", "r|\x80=2"},
     {"r", "r|\x7f=1", "r|\x80=2", "r|\xff=3"}},

    // Equal paths stay in pre-order.
    {[] {
       return Inner("r", {Leaf("a", "1"), Leaf("b", "2"), Leaf("a", "3"),
                          Inner("a", {Leaf("x", "4")}), Inner("a", {Leaf("x", "5")})});
     },
     "",
     {"r", "r|a=1", "r|b=2", "r|a=3", "r|a", "r\\a|x=4", "r|a", "r\\a|x=5"},
     {"r", "r|a=1", "r|a=3", "r|a", "r|a", "r\\a|x=4", "r\\a|x=5", "r|b=2"}},

    // One node.
    {[] { return Leaf("a", "1"); }, "", {"a=1"}, {"a=1"}},
    {[] { return Inner("a"); }, "", {"a"}, {"a"}},

    // Below a parent path, which need not be that of any node.
    {[] { return Leaf("a", "1"); }, "p", {"p|a=1"}, {"p|a=1"}},
    {[] {
       return Inner("r", {Leaf("b", "2"), Leaf("a", "1")});
     },
     "p\\q",
     {"p\\q|r", "p\\q\\r|b=2", "p\\q\\r|a=1"},
     {"p\\q|r", "p\\q\\r|a=1", "p\\q\\r|b=2"}},
    {[] { return Inner("r", {Leaf("a", "1")}); },
     "\\",
     {"\\|r", "\\\\r|a=1"},
     {"\\|r", "\\\\r|a=1"}},
    {[] { return Inner("r", {Leaf("a", "1")}); },
     "p\\",
     {"p\\|r", "p\\\\r|a=1"},
     {"p\\|r", "p\\\\r|a=1"}},

    // Change flags are those of values.
    {[] {
       return Inner("r", {Leaf("a", "1", 1), Leaf("b", "2", -5), Leaf("c", "", 1), Leaf("d", "")});
     },
     "",
     {"r", "r|a=1*", "r|b=2*-5", "r|c=*", "r|d"},
     {"r", "r|a=1*", "r|b=2*-5", "r|c=*", "r|d"}},

    // Names are taken as they are.
    {[] {
       return Inner("r", {Leaf(" a ", " 1 "), Leaf("b\\c", "2"), Leaf("", "3")});
     },
     "",
     {"r", "r| a = 1 ", "r|b\\c=2", "r|=3"},
     {"r", "r|=3", "r| a = 1 ", "r|b\\c=2"}},

    // Below an empty path names stand alone again.
    {[] {
       return Inner("", {Inner("a", {Leaf("x", "1")}), Inner("", {Leaf("y", "2")})});
     },
     "",
     {"", "a", "a|x=1", "", "y=2"},
     {"", "", "a", "a|x=1", "y=2"}},
    {[] { return Inner("", {Inner("a")}); }, "p", {"p|", "p\\|a"}, {"p|", "p\\|a"}},
};

TEST(NodeConvert, MakesOneRecordForEveryNode) {
  for (const ConvertCase& c : kConvertCases) {
    SCOPED_TRACE(testing::PrintToString(c.plain) + " below " + c.parent_path);
    Tree_NodePtr tree = c.tree();
    Lists lists;
    lists.Convert(tree, c.parent_path);
    EXPECT_EQ(c.plain, lists.Plain());
    EXPECT_EQ(c.sorted, lists.Sorted());
  }
}

TEST(NodeConvert, TakesZeroBytesInNamesAsBytes) {
  Tree_NodePtr top = Inner(Bytes("r\0"), {Leaf(Bytes("a\0b"), Bytes("v\0w"))});
  Lists lists;
  lists.Convert(top);
  for (const Tree_NodeInfo* leaf : {lists.sorted.at(1), lists.plain.at(1)}) {
    EXPECT_EQ(std::string("r\0\\a\0b", 6), Text(leaf->GetPath()));
    EXPECT_EQ(std::string("r\0", 2), Text(leaf->GetParentPath()));
    EXPECT_EQ(std::string("v\0w", 3), Text(leaf->GetValue()));
  }
}

TEST(NodeConvert, JoinsPathsWithTheSeparatorOfTheTree) {
  Tree_NodePtr top = Inner("r", {Inner("a", {Leaf("x", "1")})});
  struct {
    const char* separator;
    Texts expected;
  } const kCases[] = {
      {"::", {"p::r@1", "p::r::a@4", "p::r::a::x@7=1"}},
      {"", {"pr@1", "pra@2", "prax@3=1"}},
      {"/", {"p/r@1", "p/r/a@3", "p/r/a/x@5=1"}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.separator);
    const SeparatorGuard separator(c.separator);
    Lists lists;
    lists.Convert(top, "p");
    EXPECT_EQ(c.expected, lists.Plain());
    EXPECT_EQ(c.expected, lists.Sorted());
  }
  Lists lists;
  lists.Convert(top, "p");
  EXPECT_EQ((Texts{"p|r", "p\\r|a", "p\\r\\a|x=1"}), lists.Plain());
}

// --- Lists that hold something already ------------------------------------------------

TEST(NodeConvert, AddsToWhatTheListHolds) {
  Tree_NodePtr top = Inner("r", {Leaf("b", "2"), Leaf("a", "1")});
  Lists lists;
  lists.Hold({"a=0", "r|a=0", "r|b", "z=0"});
  lists.Convert(top);
  EXPECT_EQ((Texts{"a=0", "r|a=0", "r|b", "z=0", "r", "r|b=2", "r|a=1"}), lists.Plain());

  // Behind its equals, whoever they are.
  EXPECT_EQ((Texts{"a=0", "r", "r|a=0", "r|a=1", "r|b", "r|b=2", "z=0"}), lists.Sorted());
}

TEST(NodeConvert, AddsTheSameTreeAgainBehindItself) {
  Tree_NodePtr top = Inner("r", {Leaf("b", "2"), Leaf("a", "1")});
  Tree_NodePtr other = Inner("r", {Leaf("a", "3"), Leaf("A", "4")});
  Lists lists;
  lists.Convert(top);
  lists.Convert(other);
  EXPECT_EQ((Texts{"r", "r|b=2", "r|a=1", "r", "r|a=3", "r|A=4"}), lists.Plain());
  EXPECT_EQ((Texts{"r", "r", "r|A=4", "r|a=1", "r|a=3", "r|b=2"}), lists.Sorted());
}

TEST(NodeConvert, LeavesTheRecordsOfTheListWhereTheyAre) {
  Tree_NodePtr top = Inner("m", {Leaf("a", "1")});
  Lists lists;
  lists.Hold({"a", "z"});
  const Tree_NodeInfo* const first = lists.sorted[0];
  const Tree_NodeInfo* const last = lists.sorted[1];
  lists.Convert(top);
  ASSERT_EQ(4u, lists.sorted.entries());
  EXPECT_EQ(first, lists.sorted[0]);
  EXPECT_EQ(last, lists.sorted[3]);
}

// --- Values ---------------------------------------------------------------------------

TEST(NodeConvert, SharesTheInternedValue) {
  Tree_NodePtr leaf = Leaf("a", "a value that is shared");
  Lists lists;
  lists.Convert(leaf);
  const char* const text = leaf->GetTreeValue()->GetValue().data();
  EXPECT_EQ(text, lists.sorted[0]->GetValue().data());
  EXPECT_EQ(text, lists.plain[0]->GetValue().data());
}

TEST(NodeConvert, KeepsEveryNumberOfAChangeFlag) {
  for (int flag : {0, 1, 2, -1, INT_MAX, INT_MIN}) {
    Tree_NodePtr leaf = Leaf("a", "1", flag);
    Lists lists;
    lists.Convert(leaf);
    EXPECT_EQ(flag, lists.sorted[0]->IsChange());
    EXPECT_EQ(flag, lists.plain[0]->IsChange());
  }
}

TEST(NodeConvert, ReadsALeafWithoutValueAsEmpty) {
  Tree_NodePtr top = Inner("r", {LeafWithoutValue("gone"), Leaf("a", "1")});
  Lists lists;
  lists.Convert(top);
  EXPECT_EQ((Texts{"r", "r|gone", "r|a=1"}), lists.Plain());
  EXPECT_EQ((Texts{"r", "r|a=1", "r|gone"}), lists.Sorted());
}

TEST(NodeConvert, TakesNoValueFromInnerNodes) {
  Tree_NodePtr top = Inner("r", {Inner("a", {Leaf("x", "1")}), Leaf("b", "2", 1)});
  top->SetTreeValue(new Tree_Value("not shown", 1));
  top->GetChildAt(0)->SetTreeValue(new Tree_Value("not shown", 1));

  // A leaf that was made an inner node.
  const std::unique_ptr<Tree_Value> old(top->GetChildAt(1)->GetTreeValue());
  top->GetChildAt(1)->SetTreeValue(nullptr);
  Lists lists;
  lists.Convert(top);
  EXPECT_EQ((Texts{"r", "r|a", "r\\a|x=1", "r|b"}), lists.Plain());
  EXPECT_EQ((Texts{"r", "r|a", "r\\a|x=1", "r|b"}), lists.Sorted());
}

// --- What is not looked at, and not touched ---------------------------------------------

TEST(NodeConvert, BeginsAtTheNodeWhereverItStands) {
  Tree_NodePtr top = Inner("top", {Inner("r", {Leaf("a", "1")})});
  RWCString above("sys\\main");
  top->SetVirtualParentPath(above);
  top->GetChildAt(0)->SetVirtualParentPath(above);
  Lists lists;
  lists.Convert(top->GetChildAt(0));
  lists.Convert(top);
  EXPECT_EQ((Texts{"r", "r|a=1", "top", "top|r", "top\\r|a=1"}), lists.Plain());
  EXPECT_EQ((Texts{"r", "r|a=1", "top", "top|r", "top\\r|a=1"}), lists.Sorted());
}

TEST(NodeConvert, AddsNothingForANullNode) {
  Tree_NodePtr null;
  Lists lists;
  lists.Hold({"a=1"});
  lists.Convert(null);
  lists.Convert(null, "p");
  lists.Convert(Tree_Node::NULL_TREE_NODE_PTR);
  EXPECT_EQ(Texts{"a=1"}, lists.Plain());
  EXPECT_EQ(Texts{"a=1"}, lists.Sorted());
}

TEST(NodeConvert, LeavesTheTreeAloneAndTheRecordsToTheCaller) {
  Tree_NodePtr top = Inner("r", {Leaf("b", "2", 1), Inner("a")});
  Lists lists;
  lists.Convert(top);
  EXPECT_EQ(2, top->GetChildCount());
  EXPECT_EQ("b", Text(top->GetChildAt(0)->GetKeyName()));
  EXPECT_EQ("2", Text(top->GetChildAt(0)->GetTreeValue()->GetValue()));
  EXPECT_EQ(top.get(), top->GetChildAt(1)->GetParent());

  // The records are not tied to the tree.
  top->GetChildAt(0)->GetTreeValue()->SetValue(RWCString("3"));
  top->GetChildAt(0)->GetTreeValue()->SetIsChange(0);
  top->GetChildAt(0)->SetKeyName("renamed");
  top = Tree_NodePtr();
  EXPECT_EQ((Texts{"r", "r|b=2*", "r|a"}), lists.Plain());
  EXPECT_EQ((Texts{"r", "r|a", "r|b=2*"}), lists.Sorted());
}

TEST(NodeConvert, MakesARecordOfItsOwnForEveryList) {
  Tree_NodePtr leaf = Leaf("a", "1");
  Lists lists;
  lists.Convert(leaf);
  lists.Convert(leaf);
  lists.sorted[0]->SetIsChange(1);
  lists.plain[1]->SetIsChange(1);
  EXPECT_EQ((Texts{"a=1*", "a=1"}), lists.Sorted());
  EXPECT_EQ((Texts{"a=1", "a=1*"}), lists.Plain());
}

TEST(NodeConvert, TakesTheParentPathFromARecordOfTheList) {
  // A path that shares its text with a record.
  Tree_NodePtr leaf = Leaf("a", "1");
  Lists lists;
  lists.Hold({"r"});
  lists.Convert(leaf, lists.sorted[0]->GetPath());
  EXPECT_EQ((Texts{"r", "r|a=1"}), lists.Sorted());
  EXPECT_EQ((Texts{"r", "r|a=1"}), lists.Plain());
}

TEST(NodeConvert, WritesNoLine) {
  Tree_NodePtr top =
      Inner("r", {Leaf("b", "2"), LeafWithoutValue("gone"), Inner("", {Inner("a")})});
  Tree_NodePtr null;
  LogCapture log;
  Lists lists;
  lists.Convert(top);
  lists.Convert(top, "p");
  lists.Convert(null);
  EXPECT_NO_LOG(log);
}

// --- Memory that runs out ----------------------------------------------------------------

TEST(NodeConvert, AddsAllOrNothingToASortedListWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top =
      Inner("r", {Leaf("b", "2"), Inner("a", {Leaf("x", "3"), Leaf("y", "4")}), Leaf("c", "5")});
  RWCString parent("p");
  Lists lists;
  lists.Hold({"a", "p|z"});
  const int failures =
      FailEveryAllocation([&] { Tree_Node::ConvertTreeNodeToVec(top, parent, &lists.sorted); },
                          [&] {
                            EXPECT_EQ((Texts{"a", "p|z"}), lists.Sorted());
                          });
  EXPECT_GT(failures, 6);
  EXPECT_EQ(
      (Texts{"a", "p|r", "p\\r|a", "p\\r\\a|x=3", "p\\r\\a|y=4", "p\\r|b=2", "p\\r|c=5", "p|z"}),
      lists.Sorted());
}

TEST(NodeConvert, LeavesAWholeListBehindWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Inner("r", {Leaf("b", "2"), Inner("a", {Leaf("x", "3")}), Leaf("c", "5")});
  RWCString parent("p");
  const Texts all = {"p|r", "p\\r|b=2", "p\\r|a", "p\\r\\a|x=3", "p\\r|c=5"};
  PlainList plain;
  const auto forget = [&] {
    DeleteRecords(plain, plain.size());
    PlainList().swap(plain);
  };
  const int failures = FailEveryAllocation(
      [&] { Tree_Node::ConvertTreeToSimpleVec(top, parent, &plain); },
      [&] {
        // What was added is the beginning of the whole.
        const Texts some = TextsOf(plain);
        ASSERT_LE(some.size(), all.size());
        EXPECT_EQ(Texts(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(some.size())), some);
        forget();
      });
  EXPECT_GT(failures, 5);
  EXPECT_EQ(all, TextsOf(plain));
  forget();
}

// --- Deep and wide -------------------------------------------------------------------------

constexpr int kWidth = 100'000;
constexpr int kDepth = 1'000'000;

std::string Padded(int number) {
  const std::string digits = std::to_string(number);
  return std::string(6 - digits.size(), '0') + digits;
}

void ExpectWide(bool ascending) {
  Tree_NodePtr top = Inner("r");
  for (int i = 0; i < kWidth; ++i) {
    Tree_NodePtr leaf = Leaf(Bytes(Padded(ascending ? i : kWidth - 1 - i)), "1");
    top->Insert(leaf, i, kWidth);
  }
  Lists lists;
  lists.Convert(top);
  ASSERT_EQ(std::size_t{kWidth} + 1, lists.sorted.entries());
  ASSERT_EQ(std::size_t{kWidth} + 1, lists.plain.size());
  for (int i = 0; i < kWidth; ++i) {
    const std::size_t place = static_cast<std::size_t>(i) + 1;
    ASSERT_EQ("r|" + Padded(i) + "=1", TextOf(*lists.sorted[place]));
    ASSERT_EQ("r|" + Padded(ascending ? i : kWidth - 1 - i) + "=1", TextOf(*lists.plain[place]));
  }
}

TEST(NodeConvert, TakesAWideNodeInOrder) {
  ExpectWide(true);
}

TEST(NodeConvert, TakesAWideNodeAgainstTheOrder) {
  ExpectWide(false);
}

TEST(NodeConvert, DoesNotRecurseOverAMillionLevels) {
  // Names are empty, or a million paths would fill the memory.
  RunOnSmallStack([] {
    for (const char* separator : {"\\", ""}) {
      SCOPED_TRACE(separator);
      const SeparatorGuard guard(separator);
      const bool has_paths = *separator == '\0';
      Tree_NodePtr bottom;
      Tree_NodePtr top = Chain(kDepth, "", bottom);
      if (has_paths) top->SetKeyName("t");
      Tree_NodePtr end = Leaf("", "reached", 1);
      bottom->Add(end);
      end = bottom = Tree_NodePtr();
      Lists lists;
      lists.Convert(top);
      ASSERT_EQ(std::size_t{kDepth} + 1, lists.sorted.entries());
      ASSERT_EQ(std::size_t{kDepth} + 1, lists.plain.size());
      EXPECT_EQ(has_paths ? "t" : "", TextOf(*lists.sorted[0]));
      EXPECT_EQ(has_paths ? "t@1" : "", TextOf(*lists.sorted[kDepth / 2]));
      EXPECT_EQ(has_paths ? "t@1" : "", TextOf(*lists.plain[kDepth / 2]));
      EXPECT_EQ(has_paths ? "t@1=reached*" : "=reached*", TextOf(*lists.sorted[kDepth]));
      EXPECT_EQ(has_paths ? "t@1=reached*" : "=reached*", TextOf(*lists.plain[kDepth]));
    }
  });
}

TEST(NodeConvert, DoesNotRecurseOverNamedLevels) {
  constexpr int kNamedDepth = 6000;
  RunOnSmallStack([] {
    Tree_NodePtr bottom;
    Tree_NodePtr top = Chain(kNamedDepth, "x", bottom);
    Lists lists;
    lists.Convert(top);
    ASSERT_EQ(std::size_t{kNamedDepth}, lists.sorted.entries());
    for (std::size_t i = 0; i < kNamedDepth; ++i) {
      ASSERT_EQ(2 * i + 1, lists.sorted[i]->GetPath().length());
      ASSERT_EQ(i == 0 ? 0 : 2 * i - 1, lists.sorted[i]->GetParentPath().length());
      ASSERT_TRUE(*lists.sorted[i] == *lists.plain[i]);
    }
    EXPECT_EQ("x\\x|x", TextOf(*lists.plain[2]));
  });
}

}  // namespace
