#include "Tree/Tree_NameIndex.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <utility>

#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_Prefetch.h"

std::atomic<std::uint64_t> Tree_NameIndex::s_epochs[256];

namespace {

// Multiplication spreads the addresses, whose low bits are always zero.
constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15u;

bool HasZeroByte(const RWCString* name) {
  return tree_interning::AnyNameHasZeroByte() && name != nullptr &&
         std::memchr(name->data(), '\0', name->length()) != nullptr;
}

}  // namespace

Tree_NameIndex::Tree_NameIndex(const Tree_ElementArray& elements)
    : m_group(GroupOf(elements)), m_seen_epoch(Epoch()) {
  std::size_t cells = 16;
  int bits = 4;
  while (cells * 2 < elements.size() * 3) {
    cells *= 2;
    ++bits;
  }
  m_cells.resize(cells);
  m_shift = 64 - bits;
  // The cells are all over the memory: those of the next children are asked for meanwhile.
  constexpr std::size_t kAhead = 8;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (i + kAhead < elements.size()) Tree_Prefetch(&m_cells[Home(NameOf(elements[i + kAhead]))]);
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
  Cell& cell = CellOf(child->m_key_name);
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
  const bool alone = m_repeated.find(name) == m_repeated.end();
  if (!Unlist(elements, position, removed, name)) {
    Break();
    return;
  }
  // No other index can list a node whose parent was never set by hand, unless a caller has put
  // it into a handle, nor can this one, which would do so under the same name.
  std::atomic<Group>& mark = (*removed)->m_index_group;
  if (alone && !(*removed)->m_parent_was_set && mark.load(std::memory_order_relaxed) == m_group) {
    mark.store(kNoGroup, std::memory_order_relaxed);
  }
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
  const std::uint64_t spread =
      static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&elements)) * kSpread;
  return static_cast<Group>(1 + (spread >> 32) % (kSeveralGroups - 1));
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

std::size_t Tree_NameIndex::Home(const RWCString* name) const {
  return static_cast<std::size_t>(
      (static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(name)) * kSpread) >> m_shift);
}

// The cell of `name`, or the empty one where it would have to go.
const Tree_NameIndex::Cell& Tree_NameIndex::CellOf(const RWCString* name) const {
  std::size_t at = Home(name);
  while (m_cells[at].name != nullptr && m_cells[at].name != name) {
    at = (at + 1) & (m_cells.size() - 1);
  }
  return m_cells[at];
}

Tree_NameIndex::Cell& Tree_NameIndex::CellOf(const RWCString* name) {
  return const_cast<Cell&>(static_cast<const Tree_NameIndex*>(this)->CellOf(name));
}

void Tree_NameIndex::SetFirst(Cell& cell, Tree_NodePtr* element) {
  cell.first = element;
  cell.shortcut = Tree_NodePtrVec::ShortcutTo(element->get());
}

// Whether the handle is listed under that name.
bool Tree_NameIndex::Lists(const Tree_NodePtr* element, const RWCString* name) const {
  const Cell& cell = CellOf(name);
  if (cell.first == element) return true;
  if (cell.first == nullptr) return false;
  const auto repeated = m_repeated.find(name);
  return repeated != m_repeated.end() && repeated->second.count(element) != 0;
}

// Lists a handle that stands behind all others of its name.
void Tree_NameIndex::List(Tree_NodePtr* element) {
  const RWCString* const name = NameOf(element);
  if (name == nullptr) return;
  const Cell& cell = CellOf(name);
  if (cell.first == nullptr) {
    if ((m_used + 1) * 3 > m_cells.size() * 2) Grow();
    CellOf(name) = {name, element, Tree_NodePtrVec::ShortcutTo(element->get())};
    ++m_used;
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
  Cell& cell = CellOf(NameOf(element));
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
  Cell& cell = CellOf(name);
  const auto repeated = m_repeated.find(name);
  if (repeated == m_repeated.end()) {
    Erase(cell);
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
  // A node whose parent was set by hand may be listed twice.
  if (!IsCurrent() || node->m_parent_was_set) return false;
  Tree_NodePtr* element = CellOf(old_name).first;
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

void Tree_NameIndex::Grow() {
  std::vector<Cell> old(m_cells.size() * 2);
  old.swap(m_cells);
  --m_shift;
  for (const Cell& cell : old) {
    if (cell.name != nullptr) CellOf(cell.name) = cell;
  }
}

// Empties a cell and closes the gap, so that no search stops short of a cell that was
// pushed away from its home.
void Tree_NameIndex::Erase(Cell& cell) {
  const std::size_t mask = m_cells.size() - 1;
  std::size_t gap = static_cast<std::size_t>(&cell - m_cells.data());
  for (std::size_t at = (gap + 1) & mask; m_cells[at].name != nullptr; at = (at + 1) & mask) {
    const std::size_t home = Home(m_cells[at].name);
    if (((at - home) & mask) >= ((at - gap) & mask)) {
      m_cells[gap] = m_cells[at];
      gap = at;
    }
  }
  m_cells[gap] = {};
  --m_used;
}
