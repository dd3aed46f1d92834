// Merge and MergeOneLevel beside the same operations put together step by step, and
// recursively, from public calls: copies, look-ups of values, children one by one.  Both
// run on random pairs of trees and must give the same tree, child for child, and the same
// lines in the same order: all of them up to level 6, and above it those of the look-ups
// and additions.  (The steps below copy a node again at every level that is merged; a
// body that copies it once does not write the lines of the other copies.)
//
//   TREE_TEST_ROUNDS  number of random pairs (3000)
//   TREE_TEST_SEED    seed of the first one (a new one every time); a failure names the
//                     seed of its round, to be repeated with one round

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "property/settings.h"
#include "support/LogCapture.h"
#include "support/Random.h"
#include "support/TreeMaking.h"

namespace {

// --- Step by step -------------------------------------------------------------------

bool SameBytes(const RWCString& a, const RWCString& b) {
  return a.length() == b.length() && std::memcmp(a.data(), b.data(), a.length()) == 0;
}

// Place of the first child of that name, -1 when there is none.
int FirstNamed(Tree_Node& node, const RWCString& name) {
  for (int i = 0; i < node.GetChildCount(); ++i) {
    if (SameBytes(node.GetChildAt(i)->GetKeyName(), name)) return i;
  }
  return -1;
}

void Write(int level, const char* text) {
  if (ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::Merge", __LINE__, level, 501, 1)) {
    ZelGLog.Log("%s", text);
  }
}

bool IsChunkArea(Tree_NodePtr& node) {
  RWCString encoding("blobencoding");
  if (node->GetValue(encoding, node).length() == 0) return false;
  RWCString chunk("chunk0000");
  return node->GetValue(chunk, node).length() != 0;
}

Tree_NodePtr LiteralMerge(Tree_NodePtr& base, Tree_NodePtr& override) {
  if (override.isNull()) return base;
  if (base.isNull()) return override;
  if (IsChunkArea(override)) {
    Write(6, "Found chunk area that should be kept united Modifying it accordingly");
    Write(7, "Override = replace all the chunks ---- No-Override dont replace the chunks");
    return override;
  }
  Tree_NodePtr result = override->DuplicateFromHereDown(true);
  const int count = base->GetChildCount();
  for (int i = 0; i < count; ++i) {
    Tree_NodePtr child = base->GetChildAt(i);
    const int place = FirstNamed(*result, child->GetKeyName());
    if (place < 0) {
      Tree_NodePtr copy = child->DuplicateFromHereDown(true);
      result->Add(copy);
    } else if (!child->IsLeaf()) {
      Tree_NodePtr match = result->GetChildAt(place);
      Tree_NodePtr merged = LiteralMerge(child, match);
      result->Remove(match);
      result->Add(merged);
    }
  }
  return result;
}

Tree_NodePtr LiteralMergeOneLevel(Tree_NodePtr& base, Tree_NodePtr& override) {
  if (override.isNull()) return base;
  if (base.isNull()) return override;
  Tree_NodePtr result = override->DuplicateFromHereDown(true);
  const int count = base->GetChildCount();
  for (int i = 0; i < count; ++i) {
    Tree_NodePtr child = base->GetChildAt(i);
    if (FirstNamed(*result, child->GetKeyName()) >= 0) continue;
    Tree_NodePtr copy = child->DuplicateFromHereDown(true);
    result->Add(copy);
  }
  return result;
}

// --- Random pairs ---------------------------------------------------------------------

RWCString RandomName(Random& random) {
  static const std::vector<RWCString> kChunks = {"blobencoding",       "chunk0000",
                                                 "chunk0001",          Bytes("blobencoding\0x"),
                                                 Bytes("chunk0000\0"), "Chunk0000"};
  static const std::vector<RWCString> kOdd = {
      "",         " a",          "a ",          "A",         "ab",  "\x80",
      "\xff\xfe", Bytes("a\0b"), Bytes("a\0c"), Bytes("\0"), "a\\b"};
  switch (random.Below(10)) {
    case 0:
    case 1:
      return random.Of(kChunks);
    case 2:
      return random.Of(kOdd);
    case 3:
      return RWCString(("n" + std::to_string(random.Below(80))).c_str());
    default: {
      const char letter = static_cast<char>('a' + random.Below(5));
      return RWCString(&letter, 1);
    }
  }
}

RWCString RandomValue(Random& random) {
  if (random.OneIn(6)) return RWCString();
  if (random.OneIn(10)) return Bytes("\0");
  return RWCString(std::to_string(random.Below(20)).c_str());
}

Tree_NodePtr RandomNode(Random& random) {
  const RWCString name = RandomName(random);
  if (random.OneIn(2)) {
    Tree_NodePtr node = Inner(name);
    if (random.OneIn(12)) node->SetTreeValue(new Tree_Value(RandomValue(random), 1));
    return node;
  }
  if (random.OneIn(20)) return LeafWithoutValue(name);
  return Leaf(name, RandomValue(random), random.Below(3) - 1);
}

void Append(const Tree_NodePtr& node, std::vector<Tree_NodePtr>& nodes) {
  nodes.push_back(node);
  for (int i = 0; i < node->GetChildCount(); ++i) Append(node->GetChildAt(i), nodes);
}

// Every node, in pre-order.
std::vector<Tree_NodePtr> Nodes(const Tree_NodePtr& top) {
  std::vector<Tree_NodePtr> nodes;
  Append(top, nodes);
  return nodes;
}

bool Contains(const Tree_NodePtr& top, const Tree_NodePtr& sought) {
  for (const Tree_NodePtr& node : Nodes(top)) {
    if (node == sought) return true;
  }
  return false;
}

void Grow(Random& random, Tree_NodePtr& top, int count) {
  std::vector<Tree_NodePtr> inner;
  for (const Tree_NodePtr& node : Nodes(top)) {
    if (!node->IsLeaf()) inner.push_back(node);
  }
  if (inner.empty()) return;
  for (int i = 0; i < count; ++i) {
    Tree_NodePtr parent = random.Of(inner);
    Tree_NodePtr node = RandomNode(random);
    parent->Insert(node, random.Below(parent->GetChildCount() + 1), -1);
    if (!node->IsLeaf()) inner.push_back(node);
  }
}

Tree_NodePtr RandomTree(Random& random) {
  Tree_NodePtr top = random.OneIn(12) ? RandomNode(random) : Inner(RandomName(random));
  Grow(random, top, random.OneIn(6) ? 0 : random.Below(50));
  if (random.OneIn(6)) {
    // A wide node, among whose children names repeat.
    Tree_NodePtr wide = random.Of(Nodes(top));
    const int width = wide->IsLeaf() ? 0 : 30 + random.Below(150);
    for (int i = 0; i < width; ++i) {
      Tree_NodePtr node = RandomNode(random);
      wide->Insert(node, random.Below(wide->GetChildCount() + 1), -1);
    }
    Grow(random, top, width / 2);
  }
  return top;
}

// Changes that keep much of a tree as it is.
void Shake(Random& random, Tree_NodePtr& top) {
  for (int changes = random.Below(12); changes > 0; --changes) {
    Tree_NodePtr node = random.Of(Nodes(top));
    const int count = node->GetChildCount();
    switch (random.Below(6)) {
      case 0:
        node->SetKeyName(RandomName(random));
        break;
      case 1:
        if (count > 0) node->Remove(random.Below(count));
        break;
      case 2:
        if (count > 1) node->Insert(node->GetChildAt(random.Below(count)), random.Below(count), -1);
        break;
      case 3:
        if (node->IsLeaf() && node->GetTreeValue() != nullptr) {
          node->GetTreeValue()->SetValue(RandomValue(random));
        }
        break;
      case 4:
        Grow(random, node, random.Below(4));
        break;
      default: {  // a node in two lists
        Tree_NodePtr other = random.Of(Nodes(top));
        if (random.OneIn(3) && !other->IsLeaf() && node != top && !Contains(node, other)) {
          Tree_Node* const parent = node->GetParent();
          node->SetParent(nullptr);
          other->Insert(node, random.Below(other->GetChildCount() + 1), -1);
          if (random.OneIn(2)) node->SetParent(parent);
        }
        break;
      }
    }
  }
}

// --- Comparing --------------------------------------------------------------------------

// Everything about a node and what is below it.
void Dump(Tree_Node& node, std::string& out) {
  out += testing::PrintToString(Text(node.GetKeyName()));
  if (node.IsLeaf()) out += '=';
  if (Tree_Value* const value = node.GetTreeValue()) {
    out +=
        testing::PrintToString(Text(value->GetValue())) + "*" + std::to_string(value->IsChange());
  }
  if (node.GetId() != 0) out += "#" + std::to_string(node.GetId());
  if (node.GetVirtualParentPath().length() != 0) out += "@" + Text(node.GetVirtualParentPath());
  if (node.GetChildCount() == 0) return;
  out += "( ";
  for (int i = 0; i < node.GetChildCount(); ++i) {
    Tree_Node& child = *node.GetChildAt(i);
    if (child.GetParent() != &node) out += "other parent:";
    Dump(child, out);
    out += ' ';
  }
  out += ')';
}

std::string Dump(const Tree_NodePtr& top) {
  if (top.isNull()) return "null";
  std::string out;
  Dump(*top, out);
  return out;
}

// The lines that do not depend on how often a node is copied.
std::vector<LogLine> Lines(LogCapture& log) {
  std::vector<LogLine> lines;
  for (LogLine& line : log.Take()) {
    if (line.category != 501) continue;  // interning tells when its buffer is full
    if (line.level <= 6 || line.function == "Tree_Node::Merge" ||
        line.function == "Tree_Node::GetValue" || line.function == "Tree_Node::GetTreeValue" ||
        line.function == "Tree_Node::Add") {
      lines.push_back(std::move(line));
    }
  }
  return lines;
}

// The short cuts return one of the inputs.
std::string Which(const Tree_NodePtr& result, const Tree_NodePtr& base,
                  const Tree_NodePtr& override) {
  if (result == override) return "the override";
  return result == base ? "the base" : "new";
}

// Look-ups by name find the first child of that name, whatever was moved.
void ExpectFirstsAreFound(Tree_NodePtr& top) {
  for (Tree_NodePtr& node : Nodes(top)) {
    std::map<std::string, Tree_Node*> first;
    std::map<std::string, Tree_Node*> first_up_to_zero;
    for (int i = 0; i < node->GetChildCount(); ++i) {
      Tree_Node* const child = node->GetChildAt(i).get();
      first.emplace(Text(child->GetKeyName()), child);
      first_up_to_zero.emplace(child->GetKeyName().data(), child);
    }
    for (const auto& [name, child] : first) {
      if (name.empty()) continue;
      const RWCString text(name.data(), name.size());
      ASSERT_EQ(child, node->Get(text, node.get())) << testing::PrintToString(name);
    }
    for (const auto& [name, child] : first_up_to_zero) {
      if (name.empty()) continue;
      ASSERT_EQ(child, node->Get(name.c_str(), node).get()) << testing::PrintToString(name);
    }
  }
}

using Operation = Tree_NodePtr (*)(Tree_NodePtr&, Tree_NodePtr&);

void Compare(Operation literally, Operation library, Tree_NodePtr& base, Tree_NodePtr& override,
             int level) {
  const std::string base_before = Dump(base);
  const std::string override_before = Dump(override);
  SCOPED_TRACE("base " + base_before + "\noverride " + override_before);
  std::vector<LogLine> expected_lines;
  std::vector<LogLine> lines;
  Tree_NodePtr expected;
  Tree_NodePtr result;
  {
    LogCapture log(level);
    expected = literally(base, override);
    expected_lines = Lines(log);
    result = library(base, override);
    lines = Lines(log);
  }
  EXPECT_EQ(Which(expected, base, override), Which(result, base, override));
  EXPECT_EQ(Dump(expected), Dump(result));
  EXPECT_EQ(expected_lines, lines);
  EXPECT_EQ(base_before, Dump(base));
  EXPECT_EQ(override_before, Dump(override));
  if (Which(result, base, override) == "new") {
    ExpectFirstsAreFound(result);
    // No handle to a part of the result is left anywhere.
    for (int i = 0; i < result->GetChildCount(); ++i) {
      EXPECT_EQ(1u, result->GetChildAt(i).UseCount());
    }
  }
}

TEST(LiteralMerge, AgreesWithTheLibraryOnRandomPairs) {
  const std::uint64_t rounds = settings::Rounds(3000);
  const auto seed = static_cast<std::uint32_t>(settings::Seed());
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  for (std::uint32_t round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "TREE_TEST_SEED=" << seed + round << " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    Tree_NodePtr base = RandomTree(random);
    Tree_NodePtr override =
        random.OneIn(3) ? RandomTree(random) : base->DuplicateFromHereDown(true);
    Shake(random, override);
    if (random.OneIn(2)) Shake(random, base);
    // Trees that have nodes in common, in both orders.
    if (random.OneIn(12)) override = random.Of(Nodes(base));
    if (random.OneIn(12)) base = random.Of(Nodes(override));
    if (random.OneIn(30)) base = Tree_NodePtr();
    if (random.OneIn(30)) override = Tree_NodePtr();
    const int level = random.OneIn(2) ? 7 : 3 + random.Below(4);
    SCOPED_TRACE(level);
    {
      SCOPED_TRACE("Merge");
      Compare(LiteralMerge, Tree_Node::Merge, base, override, level);
    }
    {
      SCOPED_TRACE("MergeOneLevel");
      Compare(LiteralMergeOneLevel, Tree_Node::MergeOneLevel, base, override, level);
    }
  }
}

// All pairs of a few small trees, so that each kind of meeting takes place even when few
// rounds are asked for.
TEST(LiteralMerge, AgreesOnAllPairsOfAFewTrees) {
  std::vector<Tree_NodePtr> trees = {
      Tree_NodePtr(),
      Inner("t"),
      Leaf("t", "1"),
      LeafWithoutValue("t"),
      Inner("t", {Leaf("a", "1"), Leaf("a", "2"), Inner("b", {Leaf("c", "3")})}),
      Inner("t", {Inner("b", {Inner("c", {Leaf("d", "4")})}), Inner("a"), Inner("b")}),
      Inner("t", {Inner("", {Leaf("", "5")}), Leaf("", "6"), LeafWithoutValue("b")}),
      Inner("t", {Inner(Bytes("a\0b")), Leaf("a", "7"), Inner(Bytes("a\0c"), {Inner("x")})}),
      Inner("t", {Leaf("blobencoding", "z"), Leaf("chunk0000", "8"), Inner("a", {Inner("x")})}),
      Inner("t", {Inner("b", {Leaf("chunk0000", "9"), Leaf("blobencoding", "z")})}),
      Inner("t", {Inner("b", {Leaf("chunk0000", ""), Leaf("blobencoding", "z")}), Leaf("a", "")}),
      Inner("t", {Inner("b", {Leaf(Bytes("chunk0000\0"), "1"), Leaf("chunk0000", ""),
                              Leaf("blobencoding", "z"), Leaf("blobencoding", "")}),
                  Inner("b", {Inner("c", {Inner("d")})})}),
  };
  for (Tree_NodePtr& base : trees) {
    for (Tree_NodePtr& override : trees) {
      for (const int level : {3, 6, 7}) {
        Compare(LiteralMerge, Tree_Node::Merge, base, override, level);
        Compare(LiteralMergeOneLevel, Tree_Node::MergeOneLevel, base, override, level);
      }
    }
  }
}

}  // namespace
