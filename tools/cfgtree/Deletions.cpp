#include "Deletions.h"

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "NodeKind.h"
#include "RemoveChildren.h"
#include "Text.h"
#include "TreeBuilder.h"
#include "Walk.h"
#include "readers/RegReader.h"

namespace cfgtree {
namespace {

constexpr std::string_view kDeletedKey = "[-]";

bool IsDeletion(Tree_Node& node) {
  return node.IsLeaf() && View(ValueOf(node)) == kDeletedKey;
}

// Equal names are one interned string, so its address stands for it.
const char* NameId(Tree_Node& node) {
  return node.GetKeyName().data();
}

// The sub-keys of a key by name, the first of each.
using ByName = std::unordered_map<const char*, Tree_Node*>;

ByName SubKeys(Tree_Node& key) {
  ByName keys;
  for (int i = 0; i < key.GetChildCount(); ++i) {
    Tree_Node& child = *key.GetChildAt(i);
    if (!child.IsLeaf()) keys.try_emplace(NameId(child), &child);
  }
  return keys;
}

}  // namespace

Deletions::Deletions(const std::vector<Tree_NodePtr>& layers, bool one_level) : m_keys(1) {
  bool any = false;
  for (Tree_NodePtr layer : layers) {
    Walk(layer, [&](Tree_NodePtr& node, std::size_t) { any = any || IsDeletion(*node); });
  }
  if (!any) return;
  for (std::size_t i = 0; i < layers.size(); ++i) TakeFrom(layers, i, one_level);
}

Deletions::Key& Deletions::Below(Key& key, Tree_Node& child) {
  Key*& below = key.below[std::string(View(child.GetKeyName()))];
  if (below == nullptr) {
    below = &m_keys.emplace_back();
    below->above = &key;
  }
  return *below;
}

void Deletions::Delete(Key& key) {
  key.is_deleted = true;
  key.below.clear();
  for (Key* above = key.above; above != nullptr && !above->leads_on; above = above->above) {
    above->leads_on = true;
  }
}

// The layers above are still whole.
void Deletions::TakeFrom(const std::vector<Tree_NodePtr>& layers, std::size_t layer,
                         bool one_level) {
  struct Place {
    Tree_Node* node;
    std::vector<Tree_Node*> above;  // its counterparts in the layers above
    Key* key;
  };
  Place top = {layers[layer].get(), {}, &m_keys.front()};
  for (std::size_t i = layer + 1; i < layers.size(); ++i) top.above.push_back(layers[i].get());
  std::vector<Place> open = {std::move(top)};
  while (!open.empty()) {
    const Place place = std::move(open.back());
    open.pop_back();

    std::unordered_set<const char*> deleted;  // by the layers above
    std::vector<ByName> above;
    for (Tree_Node* const node : place.above) {
      for (int i = 0; i < node->GetChildCount(); ++i) {
        Tree_Node& child = *node->GetChildAt(i);
        if (IsDeletion(child)) deleted.insert(NameId(child));
      }
      above.push_back(SubKeys(*node));
    }
    const std::vector<Tree_NodePtr> removed = RemoveChildren(*place.node, [&](Tree_Node& child) {
      return IsDeletion(child) || (!child.IsLeaf() && deleted.count(NameId(child)) > 0);
    });
    for (const Tree_NodePtr& child : removed) {
      if (child->IsLeaf()) {
        Delete(Below(*place.key, *child));
      } else if (KindOf(*place.node) == NodeKind::kImpliedKey && IsMadeKey(*child)) {
        // The key above was made as well, and stays.
        place.node->SetId(static_cast<int>(NodeKind::kPlain));
      }
    }
    for (int i = 0; i < place.node->GetChildCount() && !one_level; ++i) {
      Tree_Node& child = *place.node->GetChildAt(i);
      if (child.IsLeaf()) continue;
      Place next = {&child, {}, &Below(*place.key, child)};
      for (const ByName& keys : above) {
        const auto found = keys.find(NameId(child));
        if (found != keys.end()) next.above.push_back(found->second);
      }
      open.push_back(std::move(next));
    }
  }
}

void Deletions::PutInto(Tree_NodePtr& merged) {
  TreeBuilder tree(merged);
  std::vector<std::pair<Tree_Node*, Key*>> open = {{merged.get(), &m_keys.front()}};
  while (!open.empty()) {
    const auto [node, key] = open.back();
    open.pop_back();
    std::map<std::string_view, Tree_Node*> keys;
    for (const auto& [id, child] : SubKeys(*node)) keys[View(child->GetKeyName())] = child;
    for (const auto& [name, below] : key->below) {
      tree.GoTo(node);
      if (below->is_deleted) tree.Leaf(name, kDeletedKey);
      if (!below->leads_on || below->below.empty()) continue;
      // A value may have taken the place of the key.
      Tree_Node*& child = keys[name];
      if (child == nullptr) child = tree.Enter(name, NodeKind::kImpliedKey);
      open.emplace_back(child, below);
    }
  }
}

}  // namespace cfgtree
