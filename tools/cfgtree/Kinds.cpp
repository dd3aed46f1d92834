#include "Kinds.h"

#include <cstddef>
#include <unordered_map>
#include <utility>

namespace cfgtree {
namespace {

using Nodes = std::vector<Tree_Node*>;

// A node of the result with its counterpart in each layer, null where there is none.
struct Pair {
  Tree_Node* node;
  Nodes layers;
};

// The children of a node by name.  Equal names are one interned string, so its address
// stands for it.
using ByName = std::unordered_map<const char*, Nodes>;

ByName ChildrenByName(Tree_Node* node) {
  ByName children;
  for (int i = 0; node != nullptr && i < node->GetChildCount(); ++i) {
    Tree_Node* const child = node->GetChildAt(i).get();
    children[child->GetKeyName().data()].push_back(child);
  }
  return children;
}

bool SameValue(Tree_Node& one, Tree_Node& other) {
  return ValueOf(one) == ValueOf(other);
}

NodeKind KindFrom(Tree_Node& node, const Nodes& layers) {
  const bool leaf = node.IsLeaf();
  bool implied = false;
  for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
    if (*layer == nullptr || (*layer)->IsLeaf() != leaf) continue;
    if (leaf && !SameValue(node, **layer)) continue;
    // A key may be on the way to another here and have its own section there.
    implied = KindOf(**layer) == NodeKind::kImpliedKey;
    if (!implied) return KindOf(**layer);
  }
  return implied ? NodeKind::kImpliedKey : NodeKind::kPlain;
}

// The pairs of the children of a pair.
std::vector<Pair> ChildPairs(const Pair& parent) {
  std::vector<ByName> layers;
  layers.reserve(parent.layers.size());
  for (Tree_Node* const layer : parent.layers) layers.push_back(ChildrenByName(layer));

  std::vector<Pair> pairs;
  std::unordered_map<const char*, std::size_t> seen;
  for (int i = 0; i < parent.node->GetChildCount(); ++i) {
    Tree_Node* const child = parent.node->GetChildAt(i).get();
    const char* const name = child->GetKeyName().data();
    const std::size_t number = seen[name]++;
    Pair pair = {child, {}};
    for (const ByName& layer : layers) {
      const auto found = layer.find(name);
      if (found == layer.end()) {
        pair.layers.push_back(nullptr);
      } else {
        const Nodes& same = found->second;
        pair.layers.push_back(number < same.size() ? same[number] : same[0]);
      }
    }
    pairs.push_back(std::move(pair));
  }
  return pairs;
}

}  // namespace

void CarryKinds(Tree_NodePtr& result, const std::vector<Tree_NodePtr>& layers) {
  if (!result) return;
  Pair top = {result.get(), {}};
  for (const Tree_NodePtr& layer : layers) top.layers.push_back(layer.get());
  std::vector<Pair> open = {std::move(top)};
  while (!open.empty()) {
    const Pair pair = std::move(open.back());
    open.pop_back();
    pair.node->SetId(static_cast<int>(KindFrom(*pair.node, pair.layers)));
    for (Pair& child : ChildPairs(pair)) open.push_back(std::move(child));
  }
}

}  // namespace cfgtree
