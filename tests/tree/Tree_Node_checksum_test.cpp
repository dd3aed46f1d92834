// GetChecksumIgnoreOrder: known values, values put together here from the bytes that are
// fed, the order of children, and very wide and very deep trees.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_CRC.h"
#include "property/settings.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/SmallStackThread.h"
#include "support/TreeMaking.h"

namespace {

// CRC-32 bit by bit, without a table and without the library.
std::uint32_t Crc(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
  }
  return ~crc;
}

// The letters that a parent is fed for a child's checksum.
std::string Letters(std::uint32_t checksum) {
  std::string letters;
  for (; checksum != 0; checksum >>= 4) letters += static_cast<char>('A' + (checksum & 0xFu));
  return letters;
}

// Checksum of a node by its name, its value and its children's checksums in their order.
std::uint32_t Sum(const std::string& name, const std::string& value,
                  const std::vector<std::uint32_t>& children = {}) {
  std::string fed;
  for (const std::uint32_t child : children) fed += Letters(child);
  return Crc(fed + " " + name + " " + value);
}

// --- Known values -----------------------------------------------------------------------

TEST(Checksum, HasItsKnownValues) {
  struct Case {
    Tree_NodePtr tree;
    unsigned long checksum;
  };
  const Case cases[] = {
      {Leaf("a", "1"), 0x0C39F5ADul},
      {Leaf("b", "2"), 0x97761A4Eul},
      // An empty value and no value feed nothing.
      {Leaf("a", ""), 0x8084E5DCul},
      {Inner("a"), 0x8084E5DCul},
      // Children of different names in either order.
      {Inner("r", {Leaf("a", "1"), Leaf("b", "2")}), 0x758CABD3ul},
      {Inner("r", {Leaf("b", "2"), Leaf("a", "1")}), 0x758CABD3ul},
      // Children of one name in theirs.
      {Inner("r", {Leaf("a", "1"), Leaf("a", "2")}), 0xC2C42EB0ul},
      {Inner("r", {Leaf("a", "2"), Leaf("a", "1")}), 0x2DD90E97ul},
      // Capitals come before small letters.
      {Inner("r", {Leaf("a", "1"), Leaf("B", "2")}), 0xB70D8AEAul},
      {Inner("r", {Leaf("B", "2"), Leaf("a", "1")}), 0xB70D8AEAul},
      {Inner("cfg", {Inner("net", {Leaf("host", "h1"), Leaf("port", "80")}), Leaf("z", "")}),
       0xDD94CC8Cul},
      {Inner("cfg", {Leaf("z", ""), Inner("net", {Leaf("port", "80"), Leaf("host", "h1")})}),
       0xDD94CC8Cul},
  };
  for (std::size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    SCOPED_TRACE(i);
    LogCapture log;
    EXPECT_EQ(cases[i].checksum, cases[i].tree->GetChecksumIgnoreOrder());
    EXPECT_EQ(cases[i].checksum, cases[i].tree->GetChecksumIgnoreOrder()) << "the second time";
    EXPECT_NO_LOG(log);
  }
}

TEST(Checksum, OfALeafIsThatOfItsNameBetweenBlanksAndItsValue) {
  const char* const kNames[] = {"a", "a b", " a ", "", "\x80\xff", "undefined_tree1"};
  const char* const kValues[] = {"", "1", " ", "a longer value with blanks", "\xff"};
  for (const char* name : kNames) {
    for (const char* value : kValues) {
      SCOPED_TRACE(std::string(name) + "=" + value);
      const std::string fed = std::string(" ") + name + " " + value;
      EXPECT_EQ(Crc(fed), Leaf(name, value)->GetChecksumIgnoreOrder());
      Zel_CRC crc;
      crc.AddString(fed.c_str());
      EXPECT_EQ(crc.Finish(), Leaf(name, value)->GetChecksumIgnoreOrder());
    }
  }
}

TEST(Checksum, FeedsChildrenBeforeTheNameAsLettersLowestNibbleFirst) {
  // A checksum of five nibbles feeds five letters.
  ASSERT_EQ(0x16858u, Sum("s", "1546"));
  EXPECT_EQ(Crc("IFIGB r "), Inner("r", {Leaf("s", "1546")})->GetChecksumIgnoreOrder());
  EXPECT_EQ(Crc(Letters(0x0C39F5ADu) + " r "),
            Inner("r", {Leaf("a", "1")})->GetChecksumIgnoreOrder());
  EXPECT_EQ("NKFPJDM", Letters(0x0C39F5ADu));
  EXPECT_EQ(Crc("NKFPJDM r "), Inner("r", {Leaf("a", "1")})->GetChecksumIgnoreOrder());
  // One level more.
  EXPECT_EQ(Sum("t", "", {Sum("r", "", {Sum("a", "1")})}),
            Inner("t", {Inner("r", {Leaf("a", "1")})})->GetChecksumIgnoreOrder());
}

TEST(Checksum, FeedsNothingForAChildWhoseChecksumIsZero) {
  ASSERT_EQ(0ul, Leaf("z", "178UnKU")->GetChecksumIgnoreOrder());
  ASSERT_EQ(0u, Crc(" z 178UnKU"));
  EXPECT_EQ(Inner("r")->GetChecksumIgnoreOrder(),
            Inner("r", {Leaf("z", "178UnKU")})->GetChecksumIgnoreOrder());
  EXPECT_EQ(Inner("r", {Leaf("a", "1")})->GetChecksumIgnoreOrder(),
            Inner("r", {Leaf("z", "178UnKU"), Leaf("a", "1"), Leaf("z", "440Owvv")})
                ->GetChecksumIgnoreOrder());
}

// --- What it sees and what it does not ------------------------------------------------

TEST(Checksum, SeesNamesValuesAndWhereTheyStand) {
  const unsigned long known =
      Inner("r", {Inner("n", {Leaf("a", "1")}), Leaf("b", "2")})->GetChecksumIgnoreOrder();
  const std::vector<Tree_NodePtr> others = {
      Inner("R", {Inner("n", {Leaf("a", "1")}), Leaf("b", "2")}),
      Inner("r", {Inner("m", {Leaf("a", "1")}), Leaf("b", "2")}),
      Inner("r", {Inner("n", {Leaf("A", "1")}), Leaf("b", "2")}),
      Inner("r", {Inner("n", {Leaf("a", "2")}), Leaf("b", "2")}),
      Inner("r", {Inner("n", {Leaf("a", "1")}), Leaf("b", "")}),
      Inner("r", {Inner("n", {Leaf("a", "1")})}),
      Inner("r", {Inner("n"), Leaf("a", "1"), Leaf("b", "2")}),
      Inner("r", {Inner("n", {Leaf("a", "1"), Leaf("b", "2")})}),
      Inner("r", {Inner("n", {Leaf("a", "1")}), Leaf("b", "2"), Inner("c")}),
  };
  for (std::size_t i = 0; i < others.size(); ++i) {
    EXPECT_NE(known, others[i]->GetChecksumIgnoreOrder()) << i;
  }
}

TEST(Checksum, DoesNotSeeFlagsIdsVirtualParentPathsAndWhatIsAbove) {
  Tree_NodePtr tree = Inner("r", {Leaf("b", "2"), Leaf("a", "1")});
  tree->GetChildAt(0)->GetTreeValue()->SetIsChange(1);
  tree->GetChildAt(1)->SetId(7);
  RWCString above("sys\\main");
  tree->SetVirtualParentPath(above);
  EXPECT_EQ(0x758CABD3ul, tree->GetChecksumIgnoreOrder());
  Tree_NodePtr top = Inner("zz", {Leaf("other", "1"), tree});
  EXPECT_EQ(0x758CABD3ul, tree->GetChecksumIgnoreOrder());
  EXPECT_EQ(0x758CABD3ul, tree->DuplicateFromHereDown(true)->GetChecksumIgnoreOrder());
}

TEST(Checksum, CountsTheValueOfAnInnerNode) {
  Tree_NodePtr tree = Inner("r", {Leaf("a", "1")});
  tree->SetTreeValue(new Tree_Value("v", 0));
  EXPECT_EQ(Sum("r", "v", {Sum("a", "1")}), tree->GetChecksumIgnoreOrder());
}

TEST(Checksum, TakesALeafWithoutAValueForOneWithAnEmptyValue) {
  Tree_NodePtr tree = Inner("r", {LeafWithoutValue("a"), Leaf("b", "2")});
  LogCapture log;
  EXPECT_EQ(Sum("r", "", {Sum("a", ""), Sum("b", "2")}), tree->GetChecksumIgnoreOrder());
  EXPECT_EQ(0x8084E5DCul, tree->GetChildAt(0)->GetChecksumIgnoreOrder());
  EXPECT_NO_LOG(log);
}

// Texts are fed up to their first zero byte; children are sorted by all of it.
TEST(Checksum, FeedsTextsUpToAZeroByteAndSortsByWholeNames) {
  EXPECT_EQ(0x0C39F5ADul, Leaf(Bytes("a\0b"), Bytes("1\0002"))->GetChecksumIgnoreOrder());
  EXPECT_EQ(0x8084E5DCul, Leaf("a", Bytes("\0x"))->GetChecksumIgnoreOrder());
  const RWCString first = Bytes("a\0b");
  const RWCString second = Bytes("a\0c");
  EXPECT_EQ(0xC2C42EB0ul,
            Inner("r", {Leaf(first, "1"), Leaf(second, "2")})->GetChecksumIgnoreOrder());
  EXPECT_EQ(0xC2C42EB0ul,
            Inner("r", {Leaf(second, "2"), Leaf(first, "1")})->GetChecksumIgnoreOrder());
  EXPECT_EQ(0x2DD90E97ul,
            Inner("r", {Leaf(first, "2"), Leaf(second, "1")})->GetChecksumIgnoreOrder());
  EXPECT_EQ(0x2DD90E97ul,
            Inner("r", {Leaf(second, "1"), Leaf(first, "2")})->GetChecksumIgnoreOrder());
  // "a" comes before "a" with a zero byte behind it.
  EXPECT_EQ(0xC2C42EB0ul, Inner("r", {Leaf(first, "2"), Leaf("a", "1")})->GetChecksumIgnoreOrder());
}

// --- The order of children -----------------------------------------------------------

TEST(Checksum, SortsChildrenByTheBytesOfTheirNames) {
  // Each in ascending order.
  const std::vector<std::vector<RWCString>> kAscending = {
      {"", "a"},
      {"a", "ab", "abc", "b"},
      {"A", "B", "a", "b"},
      {" ", "!", "0", "A", "[", "\\", "]", "a", "~"},
      {"a", "a ", "a!", "a\\", "a\\b", "a]", "aa"},
      {"z", "\x7f", "\x80", "\xc3\xa4", "\xff", "\xff\x01"},
      {"1", "10", "2"},
      {"", Bytes("\0"), Bytes("\0\0"), Bytes("\0a"), "\x01"},
  };
  for (const std::vector<RWCString>& names : kAscending) {
    std::vector<Tree_NodePtr> children;
    std::vector<std::uint32_t> sums;
    for (std::size_t i = 0; i < names.size(); ++i) {
      SCOPED_TRACE(Text(names[i]));
      children.push_back(Leaf(names[i], std::to_string(i).c_str()));
      sums.push_back(static_cast<std::uint32_t>(children.back()->GetChecksumIgnoreOrder()));
      EXPECT_EQ(Sum(names[i].data(), std::to_string(i)), sums.back());
    }
    const std::uint32_t expected = Sum("r", "", sums);
    // In every rotation, forwards and backwards.
    for (int turn = 0; turn < 2; ++turn) {
      for (std::size_t shift = 0; shift < names.size(); ++shift) {
        Tree_NodePtr top = Inner("r", children);
        EXPECT_EQ(expected, top->GetChecksumIgnoreOrder());
        while (top->GetChildCount() > 0) top->Remove(0);
        std::rotate(children.begin(), children.begin() + 1, children.end());
      }
      std::reverse(children.begin(), children.end());
    }
  }
}

TEST(Checksum, KeepsChildrenOfOneNameInTheirOrder) {
  const std::uint32_t a1 = Sum("a", "1");
  const std::uint32_t a2 = Sum("a", "2");
  const std::uint32_t a3 = Sum("a", "3");
  const std::uint32_t b = Sum("b", "0");
  EXPECT_EQ(Sum("r", "", {a3, a1, a2, b}),
            Inner("r", {Leaf("a", "3"), Leaf("b", "0"), Leaf("a", "1"), Leaf("a", "2")})
                ->GetChecksumIgnoreOrder());
  EXPECT_EQ(Sum("r", "", {a2, a1, a3, b}),
            Inner("r", {Leaf("b", "0"), Leaf("a", "2"), Leaf("a", "1"), Leaf("a", "3")})
                ->GetChecksumIgnoreOrder());
}

// Children are sorted by their full paths.  Those begin alike while every child names
// this node as its parent, which SetParent can change.
TEST(Checksum, SortsByThePathThatAChildHas) {
  Tree_NodePtr first = Inner("aa");
  Tree_NodePtr last = Inner("zz");
  Tree_NodePtr nameless = Inner("");
  const std::uint32_t a = Sum("a", "1");
  const std::uint32_t b = Sum("b", "2");
  Tree_NodePtr tree = Inner("r", {Leaf("a", "1"), Leaf("b", "2")});
  Tree_NodePtr child_a = tree->GetChildAt(0);
  Tree_NodePtr child_b = tree->GetChildAt(1);
  ASSERT_EQ(Sum("r", "", {a, b}), tree->GetChecksumIgnoreOrder());

  child_a->SetParent(last.get());  // "zz\a" behind "r\b"
  EXPECT_EQ(Sum("r", "", {b, a}), tree->GetChecksumIgnoreOrder());
  child_b->SetParent(last.get());
  EXPECT_EQ(Sum("r", "", {a, b}), tree->GetChecksumIgnoreOrder());
  child_a->SetParent(tree.get());
  child_b->SetParent(first.get());  // "aa\b" before "r\a"
  EXPECT_EQ(Sum("r", "", {b, a}), tree->GetChecksumIgnoreOrder());
  child_b->SetParent(nullptr);  // "b" before "r\a"
  EXPECT_EQ(Sum("r", "", {b, a}), tree->GetChecksumIgnoreOrder());
  RWCString above("z");
  child_b->SetVirtualParentPath(above);  // "z\b"
  EXPECT_EQ(Sum("r", "", {a, b}), tree->GetChecksumIgnoreOrder());
  child_b->SetParent(nameless.get());  // "\b" before "r\a"
  EXPECT_EQ(Sum("r", "", {b, a}), tree->GetChecksumIgnoreOrder());
  tree->SetKeyName("A");  // "\b" behind "A\a"
  EXPECT_EQ(Sum("A", "", {a, b}), tree->GetChecksumIgnoreOrder());

  child_a->SetParent(tree.get());
  child_b->SetParent(tree.get());
}

TEST(Checksum, SortsByPathsJoinedWithTheSeparator) {
  const std::uint32_t a = Sum("a", "1");
  const std::uint32_t b = Sum("b", "2");
  Tree_NodePtr other = Inner("r ");
  Tree_NodePtr tree = Inner("r", {Leaf("a", "1"), Leaf("b", "2")});
  tree->GetChildAt(1)->SetParent(other.get());
  // "r\a" is behind "r \b" because a backslash is behind a blank.
  EXPECT_EQ(Sum("r", "", {b, a}), tree->GetChecksumIgnoreOrder());
  {
    SeparatorGuard separator("!");
    EXPECT_EQ(Sum("r", "", {b, a}), tree->GetChecksumIgnoreOrder());
  }
  {
    SeparatorGuard separator("\x1f");  // before the blank
    EXPECT_EQ(Sum("r", "", {a, b}), tree->GetChecksumIgnoreOrder());
  }
  {
    SeparatorGuard separator("");  // "ra" and "r b"
    EXPECT_EQ(Sum("r", "", {b, a}), tree->GetChecksumIgnoreOrder());
  }
  tree->GetChildAt(1)->SetParent(tree.get());
}

// --- Beside the same, step by step -------------------------------------------------------

unsigned long LiteralChecksum(Tree_Node& node) {
  Zel_CRC crc;
  std::vector<std::pair<std::string, Tree_Node*>> sorted;
  for (int i = 0; i < node.GetChildCount(); ++i) {
    Tree_Node* const child = node.GetChildAt(i).get();
    const std::string path = Text(child->GetPath());
    std::size_t at = 0;  // behind all whose path is not greater
    while (at < sorted.size() && sorted[at].first.compare(path) <= 0) ++at;
    sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(at), {path, child});
  }
  for (const auto& [path, child] : sorted) {
    crc.AddString(Letters(static_cast<std::uint32_t>(LiteralChecksum(*child))).c_str());
  }
  crc.AddString(" ");
  crc.AddString(node.GetKeyName().data());
  crc.AddString(" ");
  if (Tree_Value* const value = node.GetTreeValue()) crc.AddString(value->GetValue().data());
  return crc.Finish();
}

int Below(std::mt19937& random, int n) {
  return static_cast<int>(random() % static_cast<std::uint32_t>(n));
}

RWCString RandomName(std::mt19937& random) {
  static const RWCString kOdd[] = {"",   " ",    "a ",          "a!",         "a\\",       "A",
                                   "ab", "\x80", "\xff",        "ab",         Bytes("\0"), "a\\b",
                                   "]",  "z",    Bytes("a\0b"), Bytes("a\0c")};
  if (Below(random, 2) == 0) return kOdd[Below(random, 16)];
  if (Below(random, 3) == 0) return RWCString(("n" + std::to_string(Below(random, 80))).c_str());
  const char letter = static_cast<char>('a' + Below(random, 5));
  return RWCString(&letter, 1);
}

Tree_NodePtr RandomTree(std::mt19937& random) {
  std::vector<Tree_NodePtr> nodes = {Inner(RandomName(random))};
  const int size = 1 + Below(random, Below(random, 8) == 0 ? 300 : 40);
  while (static_cast<int>(nodes.size()) < size) {
    // A third of all below the top, so that it gets wide.
    Tree_NodePtr parent =
        nodes[Below(random, 3) == 0
                  ? 0
                  : static_cast<std::size_t>(Below(random, static_cast<int>(nodes.size())))];
    if (parent->IsLeaf()) parent = nodes[0];
    Tree_NodePtr node;
    if (Below(random, 2) == 0) {
      node = Inner(RandomName(random));
      if (Below(random, 10) == 0) node->SetTreeValue(new Tree_Value("inner", 0));
    } else if (Below(random, 12) == 0) {
      node = LeafWithoutValue(RandomName(random));
    } else {
      node = Leaf(RandomName(random), std::to_string(Below(random, 30)).c_str());
    }
    parent->Insert(node, Below(random, parent->GetChildCount() + 1), -1);
    nodes.push_back(node);
  }
  return nodes[0];
}

void Append(const Tree_NodePtr& node, std::vector<Tree_NodePtr>& nodes) {
  nodes.push_back(node);
  for (int i = 0; i < node->GetChildCount(); ++i) Append(node->GetChildAt(i), nodes);
}

TEST(LiteralChecksum, AgreesWithTheLibraryOnRandomTrees) {
  const std::uint64_t rounds = settings::Rounds(2000);
  const auto seed = static_cast<std::uint32_t>(settings::Seed());
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  for (std::uint32_t round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "TREE_TEST_SEED=" << seed + round << " TREE_TEST_ROUNDS=1");
    std::mt19937 random(seed + round);
    Tree_NodePtr tree = RandomTree(random);
    Tree_NodePtr elsewhere = Inner(RandomName(random));
    std::vector<Tree_NodePtr> nodes;
    Append(tree, nodes);
    if (Below(random, 3) == 0) {
      // Other parents, set by hand: none, a node elsewhere, or the top (never one below,
      // so that every path has an end).
      for (Tree_NodePtr& node : nodes) {
        if (node == tree || Below(random, 6) != 0) continue;
        Tree_Node* const parents[] = {nullptr, elsewhere.get(), tree.get()};
        node->SetParent(parents[Below(random, 3)]);
        RWCString above = RandomName(random);
        if (Below(random, 2) == 0) node->SetVirtualParentPath(above);
      }
    }
    // A node in two lists.
    if (Below(random, 4) == 0 && nodes.size() > 1) {
      Tree_NodePtr twice =
          nodes[1 + static_cast<std::size_t>(Below(random, static_cast<int>(nodes.size()) - 1))];
      Tree_Node* const parent = twice->GetParent();
      twice->SetParent(nullptr);
      elsewhere->Insert(twice, 0, -1);
      if (Below(random, 2) == 0) twice->SetParent(parent);
    }
    RWCString above("sys\\main");
    if (Below(random, 4) == 0) tree->SetVirtualParentPath(above);
    std::unique_ptr<SeparatorGuard> separator;
    if (Below(random, 6) == 0) separator.reset(new SeparatorGuard(Below(random, 2) ? "" : "::"));
    for (Tree_NodePtr& node : nodes) {
      if (node != tree && Below(random, 8) != 0) continue;
      SCOPED_TRACE(testing::PrintToString(Text(node->GetPath())));
      const unsigned long expected = LiteralChecksum(*node);
      LogCapture log;
      ASSERT_EQ(expected, node->GetChecksumIgnoreOrder());
      ASSERT_LE(expected, 0xFFFFFFFFul);
      EXPECT_NO_LOG(log);
    }
    for (Tree_NodePtr& node : nodes) node->SetParent(nullptr);
  }
}

// --- Memory --------------------------------------------------------------------------------

TEST(Checksum, LosesNothingWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr tree =
      Inner("r", {Inner("b", {Leaf("2", "2"), Leaf("1", "1"), Inner("3", {Leaf("x", "y")})}),
                  Leaf("a", "1"), Leaf("a", "0"), Leaf("0", "1")});
  const unsigned long expected = LiteralChecksum(*tree);
  unsigned long checksum = 0;
  const int failures = FailEveryAllocation([&] { checksum = tree->GetChecksumIgnoreOrder(); },
                                           [&] { EXPECT_EQ(0ul, checksum); });
  EXPECT_LT(0, failures);
  EXPECT_EQ(expected, checksum);
}

TEST(Checksum, TakesNothingFromThePoolsForGood) {
  Tree_NodePtr tree = Inner("r", {Leaf("b", "2"), Leaf("a", "1")});
  const PoolFigures before = PoolFigures::Now();
  tree->GetChecksumIgnoreOrder();
  EXPECT_EQ(before, PoolFigures::Now());
}

// --- Width and depth --------------------------------------------------------------------------
// No clock in here: what is not linear takes minutes and more.

constexpr int kWidth = 100'000;
constexpr int kDepth = 1'000'000;

TEST(WideChecksum, DoesNotDependOnTheOrderOfAHundredThousandChildren) {
  RunOnSmallStack([] {
    std::vector<std::string> names;
    for (int i = 0; i < kWidth; ++i) names.push_back("n" + std::to_string(i));
    std::sort(names.begin(), names.end());
    std::string fed;
    for (const std::string& name : names) fed += Letters(Sum(name, "v"));
    const std::uint32_t expected = Crc(fed + " top ");

    const auto expect_sum = [&](const char* order) {
      Tree_NodePtr top = Inner("top");
      for (int i = 0; i < kWidth; ++i) {
        Tree_NodePtr leaf = Leaf(names[static_cast<std::size_t>(i)].c_str(), "v");
        top->Insert(leaf, i, kWidth);
      }
      EXPECT_EQ(expected, top->GetChecksumIgnoreOrder()) << order;
    };
    expect_sum("sorted");
    std::reverse(names.begin(), names.end());
    expect_sum("backwards");
    std::mt19937 random(7);
    std::shuffle(names.begin(), names.end(), random);
    expect_sum("shuffled");
  });
}

TEST(WideChecksum, KeepsAHundredThousandChildrenOfOneNameInOrder) {
  RunOnSmallStack([] {
    Tree_NodePtr top = Inner("top");
    Tree_NodePtr elsewhere = Inner("elsewhere");
    std::string fed;
    for (int i = 0; i < kWidth; ++i) {
      const std::string value = std::to_string(i);
      Tree_NodePtr leaf = Leaf("n", value.c_str());
      top->Insert(leaf, i, kWidth);
      fed += Letters(Sum("n", value));
    }
    EXPECT_EQ(Crc(fed + " top "), top->GetChecksumIgnoreOrder());
    // The same when all of them name another parent.
    for (int i = 0; i < kWidth; ++i) top->GetChildAt(i)->SetParent(elsewhere.get());
    EXPECT_EQ(Crc(fed + " top "), top->GetChecksumIgnoreOrder());
    top->Destroy();
  });
}

TEST(DeepChecksum, OfAChainOfAMillionNodes) {
  RunOnSmallStack([] {
    Tree_NodePtr at = Leaf("end", "1");
    std::uint32_t expected = Sum("end", "1");
    for (int i = 0; i < kDepth; ++i) {
      Tree_NodePtr above = Inner("x");
      above->Insert(at, 0, 1);
      at = above;
      expected = Sum("x", "", {expected});
    }
    EXPECT_EQ(expected, at->GetChecksumIgnoreOrder());
  });
}

TEST(DeepChecksum, OfACombWithLeavesOnEveryLevel) {
  RunOnSmallStack([] {
    constexpr int kLevels = kDepth / 4;
    Tree_NodePtr at = Inner("x");
    std::uint32_t expected = Sum("x", "");
    for (int i = 0; i < kLevels; ++i) {
      Tree_NodePtr above = Inner("x");
      Tree_NodePtr behind = Leaf("y", "2");
      Tree_NodePtr before = Leaf("a", "1");
      above->Insert(behind, 0, 3);
      above->Insert(at, 1, 3);
      above->Insert(before, 2, 3);
      at = above;
      expected = Sum("x", "", {Sum("a", "1"), expected, Sum("y", "2")});
    }
    EXPECT_EQ(expected, at->GetChecksumIgnoreOrder());
  });
}

}  // namespace
