#ifndef TREE_TREE_NAMEINDEX_H
#define TREE_TREE_NAMEINDEX_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "Tree/Tree_ElementArray.h"
#include "Tree/Tree_NameTable.h"
#include "Tree/Tree_NodePtr.h"
#include "rw/RWCString.h"

class Tree_Node;

// Tree_NameIndex: finds the first child of a name among many.
//
// USE     A wide Tree_NodePtrVec makes one when it is first asked for a name, tells it every
//         insertion and removal from then on, and asks it for names.  Names are interned, so
//         that a name is a pointer.
//
// INSIDE  A hash table has a cell for every name, with the first handle of that name and
//         a shortcut to its node.
//         Names that several children bear have the set of their handles beside it.
//         Invariant of an index that is not broken: a handle is listed exactly once,
//         under the name that its node bore when it was listed or last renamed.
//         A removal that finds its handle listed otherwise, because a caller has put
//         another node into it, breaks the index; so no cell ever names a handle that
//         is gone.  The next look-up builds a fresh index in place of a broken one.
//
// RENAMES A renamed child cannot tell for sure who lists it: its parent pointer may have
//         been set by hand.  Each index therefore belongs to one of some 250 groups, always
//         the same for a vector, and leaves its group's number in every node that it lists; a
//         node listed under two groups bears kSeveralGroups.  A rename moves the epoch of the
//         node's group on, and an index that sees a new epoch compares its names with those of the
//         children before it is asked again.  Usually they agree, for another index of
//         the group was meant.  Otherwise it is replaced as if it were broken.
//         The parent's index is told at once and keeps up; where siblings share the old
//         or the new name that costs a scan of the handles.
//         A child that leaves by the library's own hand loses the mark, so that nodes
//         that are moved about do not end up in kSeveralGroups.
//         Other readers may still be in an index that is being replaced.  It stays
//         until the next change, when no reader can be left.
//
// Threads: as for the vector.  Readers only call the const functions.
class Tree_NameIndex {
 public:
  // Lists all of `elements`.
  explicit Tree_NameIndex(const Tree_ElementArray& elements);

  // One of these is to be called when a node has been renamed, the second one where it is
  // a child that this index should list.
  static void Renamed(const Tree_Node* node);
  void ChildRenamed(const Tree_ElementArray& elements, const Tree_Node* node,
                    const RWCString* old_name);

  // Whether no rename can have made the index wrong.
  bool IsCurrent() const {
    return m_seen_epoch.load(std::memory_order_relaxed) == Epoch() && !m_broken;
  }

  // Whether the index is right although it is not current; it is current then.
  bool Refresh(const Tree_ElementArray& elements) const;

  using Shortcut = std::uint64_t;

  // A name, the first handle listed under it, and a shortcut to that handle's node, which the
  // vector looks after.
  struct Cell {
    const RWCString* name = nullptr;
    Tree_NodePtr* first = nullptr;
    Shortcut shortcut = 0;
  };

  // The cell of `name`; its handle is null when nothing is listed under that name.
  const Cell& Find(const RWCString* name) const { return m_table.CellOf(name); }

  // To be called when a node that may be listed got children.
  void ChildGotChildren(const Tree_Node* child);

  bool ListsNamesWithZeroBytes() const { return m_names_with_zero_bytes != 0; }

  // To be called behind the change of `elements`; `removed` is the handle that stood at
  // `position` and still holds its node.  When memory runs out the index breaks.
  void Inserted(const Tree_ElementArray& elements, std::size_t position);
  void Removed(const Tree_ElementArray& elements, std::size_t position,
               const Tree_NodePtr* removed);

  // Gives up until somebody builds a fresh index.
  void Break() { m_broken = true; }

  // Keeps the index that this one has replaced for the readers that may still be in it;
  // null lets go of it.
  void KeepReplaced(Tree_NameIndex* index) { m_replaced.reset(index); }

 private:
  using Group = unsigned char;
  static constexpr Group kNoGroup = 0;
  static constexpr Group kSeveralGroups = 255;

  static Group GroupOf(const Tree_ElementArray& elements);
  static const RWCString* NameOf(const Tree_NodePtr* element);
  void Mark(const Tree_NodePtr* element) const;

  // Moves on with every rename that may concern this index.
  std::uint64_t Epoch() const {
    return s_epochs[m_group].load(std::memory_order_relaxed) +
           s_epochs[kSeveralGroups].load(std::memory_order_relaxed);
  }

  static void SetFirst(Cell& cell, Tree_NodePtr* element);
  bool Lists(const Tree_NodePtr* element, const RWCString* name) const;
  bool ListsOnce(const Tree_NodePtr* element, const RWCString* name) const;
  void List(Tree_NodePtr* element);
  void MakeFirst(const Tree_ElementArray& elements, Tree_NodePtr* element);
  bool Unlist(const Tree_ElementArray& elements, std::size_t position, const Tree_NodePtr* element,
              const RWCString* name);
  bool Relist(const Tree_ElementArray& elements, const Tree_Node* node, const RWCString* old_name);

  static std::atomic<std::uint64_t> s_epochs[256];

  Tree_NameTable<Cell> m_table;
  std::size_t m_listed = 0;  // handles that hold a node
  std::unordered_map<const RWCString*, std::unordered_set<const Tree_NodePtr*>> m_repeated;
  std::size_t m_names_with_zero_bytes = 0;
  Group m_group;
  mutable std::atomic<std::uint64_t> m_seen_epoch;
  bool m_broken = false;
  std::unique_ptr<Tree_NameIndex> m_replaced;
};

#endif  // TREE_TREE_NAMEINDEX_H
