#ifndef TREE_TREE_NODEPTRVEC_H
#define TREE_TREE_NODEPTRVEC_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Tree/Tree_Api.h"
#include "Tree/Tree_ElementArray.h"
#include "Tree/Tree_NodePtr.h"
#include "Zel/Zel_PoolAllocator.h"
#include "rw/RWBoundsErr.h"
#include "rw/RWCString.h"

class Tree_NameIndex;
class Tree_Value;
class Zel_PoolReturns;
class Zel_PoolSupply;

// A Tree_NodePtrVec is the ordered list of a node's children.
//
// USE     It holds one counted handle per child.  Each handle is a small object of
//         its own, taken from a pool, and stays at its address until it is removed:
//         that is why look-ups can return references to handles.
// INSIDE  Wide vectors have an index from name to handle (Tree_NameIndex).  The first
//         look-up makes it: many vectors are built, copied and read without any.  From
//         then on whoever changes the vector keeps it up to date; a child that is
//         renamed reports it.
//
//         Narrow vectors keep a shortcut for each handle, an index one for each name:
//         16 bits that follow from the child's name, so that a look-up passes by the
//         others without going to them, and where the next step down a path leads: the
//         child's own vector if it has one, the value of a leaf, and else the child.  A
//         step then waits for one access to memory instead of three.
//         Invariant, while there are shortcuts: the bits are those of the name of the node
//         that was put into the handle by this vector.  The address is a hint; it is
//         followed where the child confirms it.  A caller may put another node into
//         a handle that the vector gave away; a look-up that finds no name by the shortcuts
//         of a narrow vector then goes to all children.
//
// STRAYS  A child that is renamed tells the vector of the parent that it names.  Some
//         name another one than the parent that lists them, or none: a caller has set
//         their parent by hand, or has put them into a handle of another vector, which
//         let go of them.  When a node becomes such a stray by hand, and when a stray is
//         renamed, all vectors together count that.  One that sees a new number looks at
//         the names of its children before it trusts its shortcuts.
//
// Ownership: the vector owns its handles and drops them when it goes.
//
// Threads: any number of threads may read a vector together; whoever changes it, or
// renames a child, keeps everyone else away meanwhile.
//
// Errors: a bad index throws RWBoundsErr, a negative or absurd resize
// std::length_error.
class TREE_API Tree_NodePtrVec {
 public:
  Tree_NodePtrVec();

  // Intended: copies share the handles of their source and count nothing.  Only one
  // of the two may drop them.  The tree never copies a children vector.
  Tree_NodePtrVec(const Tree_NodePtrVec& other);
  Tree_NodePtrVec& operator=(const Tree_NodePtrVec& other);

  ~Tree_NodePtrVec();

  // Number of handles.
  int entries();

  // The handle at position `i`.
  Tree_NodePtr& at(int i);

  // The first position whose handle points at the same node as `p`, -1 when there
  // is none.
  int index(const Tree_NodePtr& p);

  // Inserts a counted copy of `p` before position `i`; `i` == entries() appends.
  //
  // Intended: the copy is made before the position is tested and is not released
  // when the test throws.
  void insertAt(int i, Tree_NodePtr& p);

  // Removes the handle at position `i` and lets it go, which destroys the child
  // when no one else holds it.
  void removeAt(int i);

  // Makes room for `n` handles.  Never shrinks and never changes entries().
  void resize(int n);

  // Makes later blocks of the pools that handles and their control records come from
  // hold at least `n` each.  Does nothing when the handles' blocks already do.
  static void InitPool(int n);

 private:
  friend class Tree_Node;
  friend class Tree_NameIndex;

  // From this many children on a look-up makes an index.
  static constexpr std::size_t kIndexedFrom = Tree_ElementArray::kMostWithWords + 1;

  static Tree_NodePtr* NewElement(Tree_NodePtr&& p);
  static void FreeElement(Tree_NodePtr* element) noexcept;
  static void DeleteElement(Tree_NodePtr* element) noexcept;
  void InsertElement(std::size_t position, Tree_NodePtr* element);

  // Appends `p` itself instead of a copy; `p` is null afterwards.  The second form takes the
  // memory for the handle from a supply, which is the pool's, as long as that has some.
  void Append(Tree_NodePtr&& p);
  void Append(Tree_NodePtr&& p, Zel_PoolSupply& handles);

  // For many removals in a row: TakeOut() removes the handle at `position` but leaves
  // its place empty, until CloseGaps() moves the others together.
  void TakeOut(int position);
  void CloseGaps();

  // Makes one of the handles the last one.
  void MoveToEnd(Tree_NodePtr* element);

  // For the iterative teardown of a tree: BeginDrop() announces that the handles are
  // about to go, then each DropNext() lets one go.  It yields false when none is
  // left, and in `dead` a node that the caller has to delete, or null.
  void BeginDrop();
  bool DropNext(Tree_Node*& dead, Zel_PoolReturns& handles, Zel_PoolReturns& records) noexcept;

  // The position of one of this vector's handles.
  int PositionOf(const Tree_NodePtr* element) const;

  using Shortcut = Tree_ElementArray::Word;

  // The lowest bits of a shortcut tell what is at its address; where none is set it is a node.
  static constexpr Shortcut kIsVector = 1;
  static constexpr Shortcut kIsValue = 2;

  // A handle, null when there is none, and where the next step goes from its node.
  struct Found {
    Tree_NodePtr* handle = nullptr;
    Shortcut next = 0;  // without a tag

    // The vector below the node, null when it has none.
    const Tree_NodePtrVec* Below() const {
      return (next & kIsVector) == 0 ? nullptr : At<const Tree_NodePtrVec>(kIsVector);
    }
    // The value of a leaf, null when the node is none or has none.
    const Tree_Value* Value() const {
      return (next & kIsValue) == 0 ? nullptr : At<const Tree_Value>(kIsValue);
    }

   private:
    template <class T>
    T* At(Shortcut kind) const {
      return reinterpret_cast<T*>(static_cast<std::uintptr_t>(next - kind));
    }
  };

  // The first handle whose node bears the interned name `name`.
  Tree_NodePtr* Find(const RWCString* name) const { return FindOnPath(name).handle; }
  Found FindOnPath(const RWCString* name) const;

  // The same for a text without zero bytes, but names are equal when they are up to
  // their first zero byte.
  Found FindZeroTerminated(const char* text, std::size_t length) const;

  // The same, but only if the last child bears that name, which is not looked up.
  Found FindIfLast(const char* text, std::size_t length) const;

  // What at() returns, for the library's own reading.
  Tree_NodePtr& HandleAt(int i) const;

  // To be called before a handle is given to a caller who may put another node into it.
  void GiveAway() const noexcept {
    if (!GaveAway()) m_state.fetch_or(kGaveAway, std::memory_order_relaxed);
  }
  bool GaveAway() const noexcept {
    return (m_state.load(std::memory_order_relaxed) & kGaveAway) != 0;
  }

  // Whether a node that was just removed, while it named this vector's owner as its parent, is
  // listed still, as far as shortcuts care.
  bool MayListTwice(const Tree_NodePtr& removed);

  // To be called when a stray is renamed, and when a caller makes a listed node one.
  static void StrayChanged() noexcept;

  // To be called when a child was renamed, when it got a vector of children, and when it lost
  // that vector, `children`, of which only the address is used.
  void ChildRenamed(const Tree_Node* child) noexcept;
  void ChildGotChildren(const Tree_Node* child) noexcept;
  void ChildLostChildren(const Tree_Node* child, const void* children) noexcept;

  // Gives up shortcuts for good.  A look-up in a narrow vector goes to all children then.
  void DropShortcuts() noexcept { m_elements.DropWords(); }

  static Shortcut TagOf(const RWCString* name);
  static Shortcut NextStep(const Tree_Node* node);
  static void PrefetchTarget(Shortcut shortcut);
  static Shortcut ShortcutTo(const Tree_Node* child);

  void RefreshShortcut(const void* target, const Tree_Node* child) noexcept;
  void CatchUpWithStrays() const noexcept;
  void RefreshShortcuts(std::uint32_t stray_changes) const noexcept;
  static Found At(Tree_NodePtr* handle);
  template <class ReadAgain>
  Found Follow(const RWCString* name, Tree_NodePtr* handle, Shortcut shortcut,
               ReadAgain read_again) const;
  Found FindByShortcut(const RWCString* name) const;
  Tree_NodePtr* Scan(const RWCString* name) const;
  Tree_NodePtr* ScanZeroTerminated(const char* text, std::size_t length) const;

  Tree_NameIndex* Index() const { return m_index.load(std::memory_order_acquire); }
  const Tree_NameIndex* CurrentIndex() const;
  void IndexInserted(std::size_t position);
  void IndexRemoved(std::size_t position, const Tree_NodePtr* removed);
  void DeleteIndex() noexcept;

  static constexpr std::uint32_t kGaveAway = std::uint32_t{1} << 31;
  // More changes are not counted; with so many, each look-up looks at the names.
  static constexpr std::uint32_t kMostChanges = kGaveAway - 1;

  Tree_ElementArray m_elements;
  mutable std::atomic<Tree_NameIndex*> m_index;  // null before the first look-up among many
  int m_dropped;  // handles that DropNext() let go, -1 while the vector is in use
  // Whether it gave a handle away, and the number of strays' changes that it has seen.
  mutable std::atomic<std::uint32_t> m_state;

  static Zel_PoolAllocator& m_pPrivatePool;
};

// A handle can only be released where the node's class is complete.
#include "Tree/Tree_Node.h"

#endif  // TREE_TREE_NODEPTRVEC_H
