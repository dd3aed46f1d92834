// Laws that hold between operations, on random trees: records and building, checksums,
// changes and merges.  Each test says for which trees its law holds, and makes trees of
// that kind as freely as it can.
//
//   TREE_TEST_ROUNDS  number of random trees per law (1500)
//   TREE_TEST_SEED    seed of the first one (a new one every time); a failure names the
//                     seed of its round, to be repeated with one round

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "property/settings.h"
#include "support/LogCapture.h"
#include "support/Random.h"
#include "support/TreeMaking.h"

namespace {

// --- Random trees ---------------------------------------------------------------------

// Which names and values a tree may have.
struct Kind {
  bool duplicates = false;         // several siblings of one name
  bool kind_follows_name = false;  // capitals are leaves with a value, others are inner
  bool any_bytes = true;           // empty names, zero bytes, backslashes, blanks at the ends
  bool zero_bytes = true;          // (part of the above)
  bool chunk_names = false;        // those that make a chunk area
  bool empty_values = true;
  bool lost_values = false;  // leaves without a value, inner nodes with one
  int size = 40;
  int depth = 1000;
};

RWCString RandomName(Random& random, const Kind& kind) {
  static const std::vector<RWCString> kPlain = {
      "a!", "ab",          "a b", "A",  "\t",      "a]", "\x80", "\xff\xfe", "undefined_tree",
      "[",  "a-long-name", "z",   "Zz", "\xc3\x84"};
  static const std::vector<RWCString> kOdd = {"", " ", " a", "a ", "a\\b", "\\", "a\\"};
  static const std::vector<RWCString> kZeros = {Bytes("a\0b"), Bytes("a\0c"), Bytes("\0"),
                                                Bytes("A\0")};
  static const std::vector<RWCString> kChunks = {"blobencoding", "chunk0000", "chunk0001",
                                                 Bytes("blobencoding\0x")};
  if (kind.chunk_names && random.OneIn(5)) return random.Of(kChunks);
  if (kind.any_bytes && random.OneIn(10)) return random.Of(kOdd);
  if (kind.any_bytes && kind.zero_bytes && random.OneIn(12)) return random.Of(kZeros);
  if (random.OneIn(4)) return random.Of(kPlain);
  if (random.OneIn(5)) return RWCString(("n" + std::to_string(random.Below(50))).c_str());
  const char letter = static_cast<char>((random.OneIn(4) ? 'A' : 'a') + random.Below(6));
  return RWCString(&letter, 1);
}

RWCString RandomValue(Random& random, const Kind& kind) {
  if (kind.empty_values && random.OneIn(6)) return RWCString();
  if (kind.zero_bytes && random.OneIn(15)) return Bytes("v\0w");
  return RWCString(std::to_string(random.Below(40)).c_str());
}

// The child of exactly that name, null when there is none.
Tree_NodePtr ChildNamed(const Tree_NodePtr& node, const RWCString& name) {
  for (int i = 0; i < node->GetChildCount(); ++i) {
    const Tree_NodePtr& child = node->GetChildAt(i);
    if (child->GetKeyName() == name) return child;
  }
  return Tree_NodePtr();
}

bool HasChild(const Tree_NodePtr& node, const RWCString& name) {
  return !ChildNamed(node, name).isNull();
}

Tree_NodePtr RandomNode(Random& random, const Kind& kind, bool may_be_inner) {
  const RWCString name = RandomName(random, kind);
  bool inner = random.OneIn(2);
  if (kind.kind_follows_name) inner = !(name.data()[0] >= 'A' && name.data()[0] <= 'Z');
  if (!may_be_inner && !kind.kind_follows_name) inner = random.OneIn(3);
  if (inner) {
    Tree_NodePtr node = Inner(name);
    if (kind.lost_values && random.OneIn(10)) node->SetTreeValue(new Tree_Value("inner", 1));
    return node;
  }
  if (kind.lost_values && random.OneIn(10)) return LeafWithoutValue(name);
  return Leaf(name, RandomValue(random, kind), random.Below(3) - 1);
}

struct Open {
  Tree_NodePtr node;
  int depth;
};

// Adds up to `count` nodes below inner nodes of the tree.
void Grow(Random& random, const Kind& kind, std::vector<Open> open, int count) {
  for (int i = 0; i < count && !open.empty(); ++i) {
    const Open parent = random.OneIn(4) ? open[0] : random.Of(open);
    Tree_NodePtr node = RandomNode(random, kind, parent.depth + 1 < kind.depth);
    if (!kind.duplicates && HasChild(parent.node, node->GetKeyName())) continue;
    parent.node->Insert(node, random.Below(parent.node->GetChildCount() + 1), -1);
    if (!node->IsLeaf() && parent.depth + 1 < kind.depth) {
      open.push_back({node, parent.depth + 1});
    }
  }
}

Tree_NodePtr RandomTree(Random& random, const Kind& kind) {
  Tree_NodePtr top = Inner(RandomName(random, kind));
  Grow(random, kind, {{top, 0}}, random.OneIn(8) ? 0 : random.Below(kind.size));
  return top;
}

// A tree that has much in common with another.
Tree_NodePtr Relative(Random& random, const Kind& kind, const Tree_NodePtr& tree) {
  Tree_NodePtr relative = tree->DuplicateFromHereDown(true);
  std::vector<Open> open = {{relative, 0}};
  for (std::size_t i = 0; i < open.size(); ++i) {
    Tree_NodePtr node = open[i].node;
    for (int k = node->GetChildCount() - 1; k >= 0; --k) {
      Tree_NodePtr child = node->GetChildAt(k);
      const int what = random.Below(12);
      if (what < 2) {
        node->Remove(k);
      } else if (what == 2 && !child->IsLeaf()) {  // a leaf in its place
        node->Remove(k);
        Tree_NodePtr leaf = Leaf(child->GetKeyName(), RandomValue(random, kind));
        node->Insert(leaf, k, -1);
      } else if (what == 3 && child->IsLeaf() && open[i].depth + 1 < kind.depth) {
        node->Remove(k);
        Tree_NodePtr inner = Inner(child->GetKeyName());
        node->Insert(inner, k, -1);
        open.push_back({inner, open[i].depth + 1});
      } else if (child->IsLeaf()) {
        if (what < 7 && child->GetTreeValue() != nullptr) {
          child->GetTreeValue()->SetValue(RandomValue(random, kind));
        }
      } else {
        open.push_back({child, open[i].depth + 1});
      }
    }
  }
  open.erase(std::remove_if(open.begin(), open.end(),
                            [&](const Open& o) { return o.depth >= kind.depth; }),
             open.end());
  Grow(random, kind, open, random.Below(12));
  return relative;
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

// --- Content in text --------------------------------------------------------------------

enum class Order { kKept, kIgnored };

// Names, kinds, values and flags from here down.  A leaf that has lost its value reads as
// an inner node and the value of an inner node as none: so do copies take them.
std::string Content(const Tree_NodePtr& node, Order order) {
  if (node.isNull()) return "null";
  std::string text = testing::PrintToString(Text(node->GetKeyName()));
  Tree_Value* const value = node->IsLeaf() ? node->GetTreeValue() : nullptr;
  if (value != nullptr) {
    text += "=" + testing::PrintToString(Text(value->GetValue())) + "*" +
            std::to_string(value->IsChange());
  }
  std::vector<std::string> children;
  for (int i = 0; i < node->GetChildCount(); ++i) {
    children.push_back(Content(node->GetChildAt(i), order));
  }
  if (order == Order::kIgnored) std::sort(children.begin(), children.end());
  if (children.empty()) return text;
  text += "(";
  for (const std::string& child : children) text += " " + child;
  return text + " )";
}

// Every node with its address and all of its fields.
std::string Everything(const Tree_NodePtr& top) {
  if (top.isNull()) return "null";
  std::string text;
  for (const Tree_NodePtr& node : Nodes(top)) {
    Tree_Value* const value = node->GetTreeValue();
    text += testing::PrintToString(std::pair(static_cast<const void*>(node.get()),
                                             std::pair(static_cast<const void*>(node->GetParent()),
                                                       static_cast<const void*>(value)))) +
            testing::PrintToString(Text(node->GetKeyName())) + (node->IsLeaf() ? "=" : "(") +
            std::to_string(node->GetChildCount()) + "#" + std::to_string(node->GetId()) + "@" +
            Text(node->GetVirtualParentPath());
    if (value != nullptr) {
      text += testing::PrintToString(Text(value->GetValue())) + std::to_string(value->IsChange());
    }
    text += "\n";
  }
  return text;
}

using Operation = Tree_NodePtr (*)(Tree_NodePtr&, Tree_NodePtr&);

// The merge of two trees, which must not notice.
Tree_NodePtr Merged(Operation operation, Tree_NodePtr& base, Tree_NodePtr& override) {
  const std::string base_before = Everything(base);
  const std::string override_before = Everything(override);
  Tree_NodePtr result;
  {
    LogCapture silence(0);
    result = operation(base, override);
  }
  EXPECT_EQ(base_before, Everything(base));
  EXPECT_EQ(override_before, Everything(override));
  return result;
}

// Runs a law on as many random trees as asked for.
void ForRandomTrees(const std::function<void(Random&)>& law) {
  const std::uint64_t rounds = settings::Rounds(1500);
  const auto seed = static_cast<std::uint32_t>(settings::Seed());
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  for (std::uint32_t round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "TREE_TEST_SEED=" << seed + round << " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    law(random);
  }
}

// --- Records and building ------------------------------------------------------------------

using Records = Zel_PtrSortedVector<Tree_NodeInfo>;

Tree_NodePtr Built(Records* records, const char* root_path) {
  Tree_NodePtr caller = Inner("caller");
  RWCString path(root_path);
  LogCapture silence(0);
  return caller->BuildSubTree(records, path);
}

// What is left of nodes that share one path: the first of them decides about kind and
// value, a leaf with an empty value or none is an inner node, and all their children come
// together, sorted by name.
std::string Rebuilt(const std::vector<Tree_NodePtr>& of_one_path) {
  const Tree_NodePtr& first = of_one_path[0];
  std::string text = testing::PrintToString(Text(first->GetKeyName()));
  Tree_Value* const value = first->IsLeaf() ? first->GetTreeValue() : nullptr;
  if (value != nullptr && value->GetValue().length() != 0) {
    text += "=" + testing::PrintToString(Text(value->GetValue())) + "*" +
            std::to_string(value->IsChange());
  }
  std::map<std::string, std::vector<Tree_NodePtr>> by_name;
  for (const Tree_NodePtr& node : of_one_path) {
    for (int i = 0; i < node->GetChildCount(); ++i) {
      by_name[Text(node->GetChildAt(i)->GetKeyName())].push_back(node->GetChildAt(i));
    }
  }
  if (by_name.empty()) return text;
  text += "(";
  for (const auto& [name, nodes] : by_name) text += " " + Rebuilt(nodes);
  return text + " )";
}

void ExpectRebuilt(Random& random, const Kind& kind) {
  static const std::vector<const char*> kRoots = {"P", "sys\\main\\P", "\\P", "a\\b"};
  Tree_NodePtr tree = RandomTree(random, kind);
  SCOPED_TRACE(Content(tree, Order::kKept));
  const std::string before = Everything(tree);
  const char* const root_path = random.Of(kRoots);
  const std::string root = root_path;

  auto* records = new Records;
  RWCString no_path;
  Tree_Node::ConvertTreeNodeToVec(tree, no_path, records);
  ASSERT_EQ(static_cast<std::size_t>(tree->GetNodeNum()), records->entries());
  Tree_NodePtr built = Built(records, root_path);
  ASSERT_FALSE(built.isNull());
  EXPECT_EQ(root.substr(root.rfind('\\') + 1), Text(built->GetKeyName()));
  EXPECT_EQ(root, Text(built->GetVirtualParentPath()));
  ASSERT_EQ(1, built->GetChildCount());
  EXPECT_EQ(Rebuilt({tree}), Content(built->GetChildAt(0), Order::kKept));
  if (!kind.duplicates && !kind.lost_values) {
    // Neither the order nor empty values show in the checksum; values of inner nodes do.
    EXPECT_EQ(tree->GetChecksumIgnoreOrder(), built->GetChildAt(0)->GetChecksumIgnoreOrder());
  }

  // Records of each child, from an empty path, give the same below the new top itself.
  records = new Records;
  for (int i = 0; i < tree->GetChildCount(); ++i) {
    Tree_Node::ConvertTreeNodeToVec(tree->GetChildAt(i), no_path, records);
  }
  built = Built(records, root_path);
  ASSERT_FALSE(built.isNull());
  built->SetKeyName(tree->GetKeyName());
  EXPECT_EQ(Rebuilt({tree}), Content(built, Order::kKept));

  // The list in walk order holds the same records.
  std::vector<Tree_NodeInfo*> walk;
  Tree_Node::ConvertTreeToSimpleVec(tree, no_path, &walk);
  records = new Records;
  for (Tree_NodeInfo* record : walk) records->insert(record);
  built = Built(records, root_path);
  ASSERT_FALSE(built.isNull());
  ASSERT_EQ(1, built->GetChildCount());
  EXPECT_EQ(Rebuilt({tree}), Content(built->GetChildAt(0), Order::kKept));
  EXPECT_EQ(before, Everything(tree));
}

// Holds for trees whose sibling names are distinct, not empty, without blanks at their
// ends, without backslashes and without zero bytes: records are looked up and made by path.
// Leaves with an empty value, or with none, come back as inner nodes; values of inner nodes
// are lost.
TEST(Laws, RecordsOfATreeBuiltAgainGiveTheTree) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.any_bytes = kind.zero_bytes = false;
    kind.lost_values = random.OneIn(3);
    kind.size = random.OneIn(10) ? 400 : 50;
    ExpectRebuilt(random, kind);
  });
}

// Siblings may also share a name, as long as all nodes of one path are of one kind: leaves
// with a value, of which the first stays, or inner nodes, whose children come together.
TEST(Laws, RecordsOfATreeWithDuplicatesBuiltAgainGiveEachPathOnce) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.any_bytes = kind.zero_bytes = kind.empty_values = false;
    kind.duplicates = kind.kind_follows_name = true;
    ExpectRebuilt(random, kind);
  });
}

// --- Checksum ----------------------------------------------------------------------------

// Puts the children of every node into another order.  Those of one name change places
// with the others, not with each other.
void Shuffle(Random& random, const Tree_NodePtr& top) {
  for (const Tree_NodePtr& node : Nodes(top)) {
    std::vector<Tree_NodePtr> children;
    std::map<std::string, std::vector<Tree_NodePtr>> by_name;
    while (node->GetChildCount() > 0) {
      children.push_back(node->GetChildAt(0));
      by_name[Text(children.back()->GetKeyName())].push_back(children.back());
      node->Remove(0);
    }
    for (std::size_t i = children.size(); i > 1; --i) {
      std::swap(children[i - 1],
                children[static_cast<std::size_t>(random.Below(static_cast<int>(i)))]);
    }
    std::map<std::string, std::size_t> next;
    for (const Tree_NodePtr& child : children) {
      const std::string name = Text(child->GetKeyName());
      Tree_NodePtr in_turn = by_name[name][next[name]++];
      node->Insert(in_turn, node->GetChildCount(), -1);
    }
  }
}

// Holds for all trees, while siblings of one name keep their order and every child names
// the node that lists it as its parent.
TEST(Laws, AChecksumIgnoresTheOrderOfDifferentlyNamedSiblings) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.lost_values = true;
    kind.duplicates = random.OneIn(2);
    kind.chunk_names = random.OneIn(2);
    kind.size = random.OneIn(10) ? 400 : 50;
    Tree_NodePtr tree = RandomTree(random, kind);
    const unsigned long expected = tree->GetChecksumIgnoreOrder();
    const std::string before = Content(tree, Order::kIgnored);
    for (int i = 0; i < 3; ++i) {
      Shuffle(random, tree);
      ASSERT_EQ(before, Content(tree, Order::kIgnored));
      EXPECT_EQ(expected, tree->GetChecksumIgnoreOrder());
    }
  });
}

// Holds for trees without zero bytes in names and values, since texts count up to the
// first of them; and, as with every CRC, but for one change in four thousand millions.
TEST(Laws, AChecksumSeesEveryChangedNameAndValue) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.zero_bytes = false;
    kind.duplicates = random.OneIn(2);
    Tree_NodePtr tree = RandomTree(random, kind);
    const std::vector<Tree_NodePtr> nodes = Nodes(tree);
    SCOPED_TRACE(Content(tree, Order::kKept));
    for (int change = 0; change < 10; ++change) {
      const unsigned long before = tree->GetChecksumIgnoreOrder();
      Tree_NodePtr node = random.Of(nodes);
      std::string what;
      if (node->IsLeaf() && random.OneIn(2)) {
        const RWCString value = RandomValue(random, kind);
        if (value == node->GetTreeValue()->GetValue()) continue;
        what = Text(node->GetTreeValue()->GetValue()) + " becomes " + Text(value);
        node->GetTreeValue()->SetValue(value);
      } else {
        const RWCString name = RandomName(random, kind);
        if (name == node->GetKeyName()) continue;
        what = Text(node->GetKeyName()) + " is renamed to " + Text(name);
        node->SetKeyName(name);
      }
      EXPECT_NE(before, tree->GetChecksumIgnoreOrder()) << what;
    }
  });
}

// Holds for all trees.
TEST(Laws, AChecksumIsThatOfACopy) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.duplicates = random.OneIn(2);
    Tree_NodePtr tree = RandomTree(random, kind);
    EXPECT_EQ(tree->GetChecksumIgnoreOrder(),
              tree->DuplicateFromHereDown(true)->GetChecksumIgnoreOrder());
  });
}

// --- Changes --------------------------------------------------------------------------------

// Sets the flags of all leaves of `newer` by whether `older` has them with that value.
void FlagWhatDiffers(const Tree_NodePtr& older, const Tree_NodePtr& newer) {
  for (int i = 0; i < newer->GetChildCount(); ++i) {
    Tree_NodePtr child = newer->GetChildAt(i);
    Tree_NodePtr before;
    if (!older.isNull()) before = ChildNamed(older, child->GetKeyName());
    if (!child->IsLeaf()) {
      FlagWhatDiffers(before, child);
    } else {
      const bool same = !before.isNull() && before->IsLeaf() &&
                        before->GetTreeValue()->GetValue() == child->GetTreeValue()->GetValue();
      child->GetTreeValue()->SetIsChange(same ? 0 : 1);
    }
  }
}

void ClearFlags(const Tree_NodePtr& top) {
  for (const Tree_NodePtr& node : Nodes(top)) {
    if (node->GetTreeValue() != nullptr) node->GetTreeValue()->SetIsChange(0);
  }
}

// Changes values, adds leaves, some of them below new nodes, and turns leaves into
// sub-trees with a leaf and sub-trees into leaves.  Nothing is removed otherwise, and no
// new node is without a leaf.
void Edit(Random& random, const Kind& kind, Tree_NodePtr& tree) {
  for (int edits = random.Below(15); edits > 0; --edits) {
    Tree_NodePtr node = random.Of(Nodes(tree));
    if (node->IsLeaf()) {
      if (random.Below(4) > 0) {
        node->GetTreeValue()->SetValue(RandomValue(random, kind));
        continue;
      }
      Tree_Node* const parent = node->GetParent();
      const int place = parent->GetIndex(node);
      parent->Remove(place);
      Tree_NodePtr inner = Inner(node->GetKeyName());
      parent->Insert(inner, place, -1);
      node = inner;
    }
    for (int steps = random.Below(4); steps > 0; --steps) {
      const RWCString name = RandomName(random, kind);
      if (HasChild(node, name)) continue;
      Tree_NodePtr below = Inner(name);
      node->Insert(below, random.Below(node->GetChildCount() + 1), -1);
      node = below;
    }
    for (bool added = false; !added;) {
      const RWCString name = RandomName(random, kind);
      if (HasChild(node, name)) {
        added = node->GetChildCount() > 30;
        continue;
      }
      Tree_NodePtr leaf = Leaf(name, RandomValue(random, kind));
      node->Insert(leaf, random.Below(node->GetChildCount() + 1), -1);
      added = true;
    }
  }
  // Last, so that no sub-tree becomes another one by way of a leaf.
  for (Tree_NodePtr& node : Nodes(tree)) {
    if (node == tree || node->IsLeaf() || node->GetParent() == nullptr || !random.OneIn(20)) {
      continue;
    }
    Tree_Node* const parent = node->GetParent();
    const int place = parent->GetIndex(node);
    parent->Remove(place);
    Tree_NodePtr leaf = Leaf(node->GetKeyName(), RandomValue(random, kind));
    parent->Insert(leaf, place, -1);
  }
}

// Holds for trees with distinct sibling names that hold no chunk area, when the newer tree
// has every node of the older one (a sub-tree may have become a leaf, with all below it,
// and a leaf a sub-tree) and no new inner node without a leaf below it.  Leaves have their
// values; the older tree's flags are clear.  The order of children is not kept.
TEST(Laws, ChangesMergedOverTheOldTreeGiveTheNewOne) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    Tree_NodePtr older = RandomTree(random, kind);
    ClearFlags(older);
    Tree_NodePtr newer = older->DuplicateFromHereDown(true);
    Edit(random, kind, newer);
    FlagWhatDiffers(older, newer);
    SCOPED_TRACE("older " + Content(older, Order::kKept) + "\nnewer " +
                 Content(newer, Order::kKept));

    const std::string newer_before = Everything(newer);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(newer);
    EXPECT_EQ(newer_before, Everything(newer));
    Tree_NodePtr merged = Merged(Tree_Node::Merge, older, changes);
    EXPECT_EQ(Content(newer, Order::kIgnored), Content(merged, Order::kIgnored));
    EXPECT_EQ(newer->GetChecksumIgnoreOrder(), merged->GetChecksumIgnoreOrder());
    EXPECT_EQ(Content(older, Order::kKept) == Content(newer, Order::kKept), changes.isNull());
  });
}

// Holds for all trees: what was extracted holds nothing but changes.
TEST(Laws, ChangesOfChangesAreTheSame) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.duplicates = kind.lost_values = true;
    Tree_NodePtr tree = RandomTree(random, kind);
    Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(tree);
    EXPECT_EQ(Content(changes, Order::kKept),
              Content(Tree_Node::GetChangesTreeNode(changes), Order::kKept));
  });
}

// --- Merge -------------------------------------------------------------------------------

// Holds for all trees with distinct sibling names, chunk areas and null handles included.
// (Among siblings of one name, a merge changes which of them is the first, and the next
// one meets another.)  The order of children may change with each merge.
TEST(Laws, MergingIsIdempotent) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.chunk_names = random.OneIn(2);
    kind.lost_values = random.OneIn(3);
    Tree_NodePtr base = RandomTree(random, kind);
    Tree_NodePtr override =
        random.OneIn(4) ? RandomTree(random, kind) : Relative(random, kind, base);
    if (random.OneIn(20)) base = Tree_NodePtr();
    if (random.OneIn(20)) override = Tree_NodePtr();
    SCOPED_TRACE("base " + Content(base, Order::kKept) + "\noverride " +
                 Content(override, Order::kKept));
    for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
      Tree_NodePtr merged = Merged(operation, base, override);
      Tree_NodePtr again = Merged(operation, base, merged);
      EXPECT_EQ(Content(merged, Order::kIgnored), Content(again, Order::kIgnored));
      // One level never moves anything.
      if (operation == Tree_Node::MergeOneLevel) {
        EXPECT_EQ(Content(merged, Order::kKept), Content(again, Order::kKept));
      }
    }
  });
}

// Holds for all trees of depth one, several siblings of one name included, unless the
// override is a chunk area, which Merge returns itself.  The order is the same when the
// base has leaves only.
TEST(Laws, OneLevelIsAllThereIsToMergeInTreesOfDepthOne) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.depth = 1;
    kind.size = 15;
    kind.duplicates = random.OneIn(2);
    kind.chunk_names = random.OneIn(2);
    kind.lost_values = random.OneIn(3);
    Tree_NodePtr base = RandomTree(random, kind);
    Tree_NodePtr override =
        random.OneIn(2) ? RandomTree(random, kind) : Relative(random, kind, base);
    if (random.OneIn(10)) override = Leaf("top", "a leaf");
    SCOPED_TRACE("base " + Content(base, Order::kKept) + "\noverride " +
                 Content(override, Order::kKept));
    Tree_NodePtr merged = Merged(Tree_Node::Merge, base, override);
    Tree_NodePtr one_level = Merged(Tree_Node::MergeOneLevel, base, override);
    RWCString encoding("blobencoding");
    RWCString chunk("chunk0000");
    if (override->GetValue(encoding, override).length() != 0 &&
        override->GetValue(chunk, override).length() != 0) {
      EXPECT_EQ(override, merged);
      EXPECT_NE(override, one_level);
      return;
    }
    EXPECT_EQ(Content(one_level, Order::kIgnored), Content(merged, Order::kIgnored));
    const std::vector<Tree_NodePtr> nodes = Nodes(base);
    if (std::all_of(nodes.begin() + 1, nodes.end(),
                    [](const Tree_NodePtr& node) { return node->IsLeaf(); })) {
      EXPECT_EQ(Content(one_level, Order::kKept), Content(merged, Order::kKept));
    }
  });
}

// Holds for all trees.  (The other laws check it for theirs.)
TEST(Laws, MergesLeaveBothTreesAsTheyAre) {
  ForRandomTrees([](Random& random) {
    Kind kind;
    kind.duplicates = kind.chunk_names = kind.lost_values = true;
    Tree_NodePtr base = RandomTree(random, kind);
    Tree_NodePtr override =
        random.OneIn(4) ? RandomTree(random, kind) : Relative(random, kind, base);
    if (random.OneIn(10)) override = random.Of(Nodes(base));
    for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
      const std::string base_before = Everything(base);
      const std::string override_before = Everything(override);
      Tree_NodePtr merged = Merged(operation, base, override);
      if (merged == base || merged == override) continue;
      // Nor does a change of the result reach them.
      for (const Tree_NodePtr& node : Nodes(merged)) {
        node->SetKeyName("changed");
        node->SetId(1);
        if (node->GetTreeValue() != nullptr) node->GetTreeValue()->SetValue(RWCString("changed"));
      }
      merged->Destroy();
      EXPECT_EQ(base_before, Everything(base));
      EXPECT_EQ(override_before, Everything(override));
    }
  });
}

// --- Chunk areas --------------------------------------------------------------------------

// Makes chunk areas of some inner nodes: an encoding, chunks without a gap, and perhaps
// other children among them.  Every value names the side and the area.
void PlantAreas(Random& random, const char* side, Tree_NodePtr& tree, int& areas,
                std::map<std::string, int>& sizes) {
  for (const Tree_NodePtr& node : Nodes(tree)) {
    if (node->IsLeaf() || !random.OneIn(3)) continue;
    const std::string area = side + std::to_string(areas++);
    std::vector<std::string> names = {"blobencoding"};
    const int chunks = 1 + random.Below(4);
    for (int i = 0; i < chunks; ++i) names.push_back("chunk000" + std::to_string(i));
    for (const std::string& name : names) {
      Tree_NodePtr leaf = Leaf(name.c_str(), area.c_str());
      node->Insert(leaf, random.Below(node->GetChildCount() + 1), -1);
    }
    sizes[area] = chunks + 1;
  }
}

bool IsOfAnArea(const RWCString& name) {
  const std::string text = Text(name);
  return text == "blobencoding" || text.compare(0, 5, "chunk") == 0;
}

// Holds for trees in which chunks stand nowhere but in chunk areas that are complete:
// a non-empty encoding and non-empty chunks from the first on.  Siblings may share names,
// but not inside an area.  (A lone encoding or chunk of the override is merged like any
// other leaf, so that the base's chunks come to stand beside it.)
TEST(Laws, AChunkAreaInAResultIsWhollyOneSides) {
  int from_base = 0;
  int from_override = 0;
  ForRandomTrees([&](Random& random) {
    Kind kind;
    kind.duplicates = random.OneIn(2);
    kind.size = 25;
    Tree_NodePtr base = RandomTree(random, kind);
    Tree_NodePtr override = Relative(random, kind, base);
    std::map<std::string, int> sizes;
    int areas = 0;
    PlantAreas(random, "base", base, areas, sizes);
    PlantAreas(random, "override", override, areas, sizes);
    SCOPED_TRACE("base " + Content(base, Order::kKept) + "\noverride " +
                 Content(override, Order::kKept));

    Tree_NodePtr merged = Merged(Tree_Node::Merge, base, override);
    // Those of the override as they stand there.
    std::set<std::string> of_override;
    for (const Tree_NodePtr& node : Nodes(override)) {
      of_override.insert(Content(node, Order::kKept));
    }
    for (const Tree_NodePtr& node : Nodes(merged)) {
      std::string area;
      int size = 0;
      for (int i = 0; i < node->GetChildCount(); ++i) {
        const Tree_NodePtr& child = node->GetChildAt(i);
        if (!IsOfAnArea(child->GetKeyName())) continue;
        const std::string of = Text(child->GetTreeValue()->GetValue());
        EXPECT_TRUE(size == 0 || of == area) << of << " beside " << area;
        area = of;
        ++size;
      }
      if (size == 0) continue;
      EXPECT_EQ(sizes[area], size) << area;
      if (area[0] == 'o') {
        ++from_override;
        EXPECT_EQ(1u, of_override.count(Content(node, Order::kKept))) << area;
      } else {
        ++from_base;
      }
    }
  });
  if (settings::Rounds(1500) >= 100) {
    EXPECT_GT(from_base, 10);
    EXPECT_GT(from_override, 10);
  }
}

}  // namespace
