#include "Tree/Tree_NameIndex.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>

#include "Tree/Tree_AddressHash.h"
#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Node.h"

std::atomic<std::uint64_t> Tree_NameIndex::s_epochs[256];

namespace {

bool HasZeroByte(const RWCString* name) {
  return tree_interning::AnyNameHasZeroByte() && name != nullptr &&
         std::memchr(name->data(), '\0', name->length()) != nullptr;
}

}  // namespace

Tree_NameIndex::Tree_NameIndex(const Tree_ElementArray& elements)
    : m_group(GroupOf(elements)), m_seen_epoch(Epoch()) {
  m_table.MakeRoom(elements.size());
  // The cells are all over the memory: those of the next children are fetched meanwhile.
  constexpr std::size_t kAhead = 8;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (i + kAhead < elements.size()) m_table.Prefetch(NameOf(elements[i + kAhead]));
    List(elements[i]);
    Mark(elements[i]);
  }
}

bool Tree_NameIndex::Refresh(const Tree_ElementArray& elements) const {
  if (m_broken) return false;
  const std::uint64_t epoch = Epoch();
  std::size_t listed = 0;
  for (const Tree_NodePtr* element : elements) {
    if (element->isNull()) continue;
    if (!Lists(element, NameOf(element))) return false;
    ++listed;
  }
  if (listed != m_listed) return false;
  m_seen_epoch.store(epoch, std::memory_order_relaxed);
  return true;
}

void Tree_NameIndex::ChildGotChildren(const Tree_Node* child) {
  if (m_broken) return;  // it may list handles that are gone
  Cell& cell = m_table.CellOf(child->m_key_name);
  if (cell.first != nullptr && cell.first->get() == child) {
    cell.shortcut = Tree_NodePtrVec::ShortcutTo(child);
  }
}

void Tree_NameIndex::Inserted(const Tree_ElementArray& elements, std::size_t position) {
  Mark(elements[position]);
  if (m_broken) return;
  try {
    List(elements[position]);
    if (position + 1 < elements.size()) MakeFirst(elements, elements[position]);
  } catch (const std::bad_alloc&) {
    Break();
  }
}

void Tree_NameIndex::Removed(const Tree_ElementArray& elements, std::size_t position,
                             const Tree_NodePtr* removed) {
  if (m_broken) return;
  const RWCString* const name = NameOf(removed);
  const bool is_listed_once = ListsOnce(removed, name);
  if (!Unlist(elements, position, removed, name)) {
    Break();
    return;
  }
  // No other index can list a node that is no stray, unless a caller has put it into a handle.
  std::atomic<Group>& mark = (*removed)->m_index_group;
  if (is_listed_once && !(*removed)->m_is_stray &&
      mark.load(std::memory_order_relaxed) == m_group) {
    mark.store(kNoGroup, std::memory_order_relaxed);
  }
}

// Whether the node of a handle is listed under no other one.  Not certain where many siblings
// share its name.
bool Tree_NameIndex::ListsOnce(const Tree_NodePtr* element, const RWCString* name) const {
  const auto repeated = m_repeated.find(name);
  if (repeated == m_repeated.end()) return true;
  constexpr std::size_t kMany = 64;
  const std::unordered_set<const Tree_NodePtr*>& all = repeated->second;
  return all.size() < kMany && std::none_of(all.begin(), all.end(), [element](const auto* other) {
           return other != element && *other == *element;
         });
}

void Tree_NameIndex::Renamed(const Tree_Node* node) {
  const Group group = node->m_index_group.load(std::memory_order_relaxed);
  if (group != kNoGroup) s_epochs[group].fetch_add(1, std::memory_order_relaxed);
}

void Tree_NameIndex::ChildRenamed(const Tree_ElementArray& elements, const Tree_Node* node,
                                  const RWCString* old_name) {
  const bool keeps_up = Relist(elements, node, old_name);
  Renamed(node);
  // Had another thread's rename come between, the epoch would be ahead of this.
  if (keeps_up) m_seen_epoch.fetch_add(1, std::memory_order_relaxed);
}

const RWCString* Tree_NameIndex::NameOf(const Tree_NodePtr* element) {
  return element->isNull() ? nullptr : (*element)->m_key_name;
}

// All indexes of a vector belong to one group, so that readers who make one at the same time,
// or make one in place of another, agree about the marks.
Tree_NameIndex::Group Tree_NameIndex::GroupOf(const Tree_ElementArray& elements) {
  return static_cast<Group>(1 + (Tree_AddressHash(&elements) >> 32) % (kSeveralGroups - 1));
}

// Several readers may do so at a time.
void Tree_NameIndex::Mark(const Tree_NodePtr* element) const {
  if (element->isNull()) return;
  std::atomic<Group>& mark = (*element)->m_index_group;
  Group present = mark.load(std::memory_order_relaxed);
  while (present != m_group && present != kSeveralGroups &&
         !mark.compare_exchange_weak(present, present == kNoGroup ? m_group : kSeveralGroups,
                                     std::memory_order_relaxed)) {
  }
}

void Tree_NameIndex::SetFirst(Cell& cell, Tree_NodePtr* element) {
  cell.first = element;
  cell.shortcut = Tree_NodePtrVec::ShortcutTo(element->get());
}

// Whether the handle is listed under that name.
bool Tree_NameIndex::Lists(const Tree_NodePtr* element, const RWCString* name) const {
  const Cell& cell = m_table.CellOf(name);
  if (cell.first == element) return true;
  if (cell.first == nullptr) return false;
  const auto repeated = m_repeated.find(name);
  return repeated != m_repeated.end() && repeated->second.count(element) != 0;
}

// Lists a handle that stands behind all others of its name.
void Tree_NameIndex::List(Tree_NodePtr* element) {
  const RWCString* const name = NameOf(element);
  if (name == nullptr) return;
  const Cell& cell = m_table.CellOf(name);
  if (cell.first == nullptr) {
    m_table.Add({name, element, Tree_NodePtrVec::ShortcutTo(element->get())});
  } else {
    std::unordered_set<const Tree_NodePtr*>& all = m_repeated[name];
    all.insert(cell.first);
    all.insert(element);
  }
  ++m_listed;
  if (HasZeroByte(name)) ++m_names_with_zero_bytes;
}

// Makes a handle that was just listed the first of its name unless the one that has been
// first stands before it.
void Tree_NameIndex::MakeFirst(const Tree_ElementArray& elements, Tree_NodePtr* element) {
  Cell& cell = m_table.CellOf(NameOf(element));
  if (cell.first == element || cell.first == nullptr) return;
  const Tree_NodePtr* const first = cell.first;
  const auto earlier = std::find_if(elements.begin(), elements.end(), [=](const Tree_NodePtr* e) {
    return e == first || e == element;
  });
  if (*earlier == element) SetFirst(cell, element);
}

// Takes a handle off its name; those of that name that stay all stand at or behind
// `position`.  False, and nothing has changed, when it is not listed under that name.
bool Tree_NameIndex::Unlist(const Tree_ElementArray& elements, std::size_t position,
                            const Tree_NodePtr* element, const RWCString* name) {
  if (name == nullptr || !Lists(element, name)) return false;
  Cell& cell = m_table.CellOf(name);
  const auto repeated = m_repeated.find(name);
  if (repeated == m_repeated.end()) {
    m_table.Erase(cell);
  } else {
    std::unordered_set<const Tree_NodePtr*>& all = repeated->second;
    all.erase(element);
    if (cell.first == element) {
      const auto next =
          std::find_if(elements.begin() + static_cast<std::ptrdiff_t>(position), elements.end(),
                       [&all](const Tree_NodePtr* e) { return all.count(e) != 0; });
      assert(next != elements.end());
      SetFirst(cell, *next);
    }
    if (all.size() == 1) m_repeated.erase(repeated);
  }
  --m_listed;
  if (HasZeroByte(name)) --m_names_with_zero_bytes;
  return true;
}

// Moves the handle of a renamed child to its new name, where that is certain.
bool Tree_NameIndex::Relist(const Tree_ElementArray& elements, const Tree_Node* node,
                            const RWCString* old_name) {
  // A stray may be listed twice.
  if (!IsCurrent() || node->m_is_stray) return false;
  Tree_NodePtr* element = m_table.CellOf(old_name).first;
  if (element == nullptr) return false;
  if (element->get() != node) {
    const auto found = std::find_if(elements.begin(), elements.end(),
                                    [node](const Tree_NodePtr* e) { return e->get() == node; });
    if (found == elements.end()) return false;
    element = *found;
  }
  // Where the old name has other bearers, the next one is looked for from here.
  const auto here = m_repeated.find(old_name) == m_repeated.end()
                        ? elements.begin()
                        : std::find(elements.begin(), elements.end(), element);
  if (!Unlist(elements, static_cast<std::size_t>(here - elements.begin()), element, old_name)) {
    return false;
  }
  try {
    List(element);
    MakeFirst(elements, element);
    return true;
  } catch (const std::bad_alloc&) {
    Break();
    return false;
  }
}
