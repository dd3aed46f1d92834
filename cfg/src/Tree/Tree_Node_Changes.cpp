// Tree_Node: the leaves that have changed, and a checksum that tells whether any has.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Zel/Zel_CRC.h"

// --- Changes -----------------------------------------------------------------

Tree_NodePtr Tree_Node::GetChangesTreeNode(Tree_NodePtr& node) {
  struct Level {
    Tree_Node* source;
    int next;   // position of the next child
    int count;  // of its children
    Tree_NodePtr changes;
    void Append(Tree_NodePtr&& child) {
      if (changes.isNull()) changes = Tree_NodePtr(new Tree_Node(source->m_key_name));
      changes->InsertNew(std::move(child), changes->GetChildCount(), -1);
    }
  };
  if (node.isNull() || node->GetChildCount() == 0) return Tree_NodePtr();
  std::vector<Level> way;
  const auto enter = [&way](Tree_Node* source) {
    way.push_back({source, 0, source->GetChildCount(), Tree_NodePtr()});
  };
  enter(node.get());
  for (;;) {
    Level& level = way.back();
    if (level.next < level.count) {
      Tree_Node* const child = level.source->m_children->at(level.next++).get();
      if (child == nullptr) continue;
      if (!child->IsLeaf()) {
        if (child->GetChildCount() != 0) enter(child);
        continue;
      }
      const Tree_Value* const value = child->GetTreeValue();
      if (value == nullptr || value->m_is_change == 0) continue;
      std::unique_ptr<Tree_Value> copy(new Tree_Value(value->m_value, 1));
      Tree_NodePtr leaf(new Tree_Node(child->m_key_name, copy.get()));
      static_cast<void>(copy.release());
      level.Append(std::move(leaf));
      continue;
    }
    Tree_NodePtr changes = std::move(level.changes);
    way.pop_back();
    if (way.empty()) return changes;
    if (!changes.isNull()) way.back().Append(std::move(changes));
  }
}

// --- Checksum ----------------------------------------------------------------

namespace {

// Byte by byte, unsigned, the shorter first where one begins the other.
bool Before(const RWCString& a, const RWCString& b) {
  return a.compareTo(b) < 0;
}

}  // namespace

// Appends the children to `all` in the order of their paths; those of one path stay in
// child order.
void Tree_Node::AppendInPathOrder(std::vector<Tree_Node*>& all) const {
  if (m_children == nullptr) return;
  const auto first = static_cast<std::ptrdiff_t>(all.size());
  bool all_ours = true;
  for (const Tree_NodePtr* child : m_children->m_elements) {
    if (child->isNull()) continue;
    all.push_back(child->get());
    all_ours = all_ours && (*child)->m_parent == this;
  }
  // Paths of siblings differ in their last name only, unless a caller has set the parent of
  // one of them by hand.
  if (all_ours) {
    const auto by_name = [](const Tree_Node* a, const Tree_Node* b) {
      return a->m_key_name != b->m_key_name && Before(*a->m_key_name, *b->m_key_name);
    };
    if (!std::is_sorted(all.begin() + first, all.end(), by_name)) {
      std::stable_sort(all.begin() + first, all.end(), by_name);
    }
    return;
  }
  std::vector<std::pair<RWCString, Tree_Node*>> by_path;
  for (auto child = all.begin() + first; child != all.end(); ++child) {
    by_path.emplace_back((*child)->GetPath(), *child);
  }
  std::stable_sort(by_path.begin(), by_path.end(),
                   [](const auto& a, const auto& b) { return Before(a.first, b.first); });
  std::transform(by_path.begin(), by_path.end(), all.begin() + first,
                 [](const auto& entry) { return entry.second; });
}

// What a node adds to its own checksum behind those of its children.
std::uint32_t Tree_Node::FinishChecksum(Zel_CRC crc) const {
  crc.AddString(" ");
  crc.AddString(m_key_name->data());
  crc.AddString(" ");
  if (m_value != nullptr) crc.AddString(m_value->m_value->data());
  return static_cast<std::uint32_t>(crc.Finish());
}

unsigned long Tree_Node::GetChecksumIgnoreOrder() {
  struct Level {
    const Tree_Node* node;
    std::size_t next;  // its next child, in `pending`
    std::size_t first;
    Zel_CRC crc;
  };
  std::vector<Tree_Node*> pending;  // the children of all nodes on the way, in order
  std::vector<Level> way;
  const auto enter = [&](const Tree_Node* node) {
    const std::size_t first = pending.size();
    node->AppendInPathOrder(pending);
    way.push_back({node, first, first, Zel_CRC()});
  };
  enter(this);
  for (;;) {
    Level& level = way.back();
    if (level.next < pending.size()) {
      const Tree_Node* const child = pending[level.next++];
      if (child->m_children == nullptr) {
        level.crc.AddNibbles(child->FinishChecksum(Zel_CRC()));
      } else {
        enter(child);
      }
      continue;
    }
    const std::uint32_t checksum = level.node->FinishChecksum(level.crc);
    pending.resize(level.first);
    way.pop_back();
    if (way.empty()) return checksum;
    way.back().crc.AddNibbles(checksum);
  }
}
