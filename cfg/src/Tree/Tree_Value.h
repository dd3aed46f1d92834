#ifndef TREE_TREE_VALUE_H
#define TREE_TREE_VALUE_H

#include <cstddef>

#include "Tree/Tree_Api.h"
#include "Zel/Zel_PoolAllocator.h"
#include "rw/RWCString.h"

// A Tree_Value is what a leaf carries: a string and a change flag.
//
// The string is interned: equal values anywhere in the process share one text,
// which stays until the process ends.  A value owns nothing, so it may be copied
// member by member and has nothing to do when it goes.
//
// Ownership: a value made with `new` belongs to the node that it is given to
// (see Tree_Node), which destroys it.  Until then it belongs to its maker.
//
// Threads: as for the node that carries it; interning is safe from any thread.
class TREE_API Tree_Value {
 public:
  // Interns `value`; `is_change` is kept as it is, non-zero means changed.
  Tree_Value(const RWCString& value, int is_change);

  // A copy of the interned string; the copy shares its text.
  RWCString GetValue();

  // The first form interns `value`.  The second stores the pointer as it is: it
  // must be an interned string and not null.
  void SetValue(const RWCString& value);
  void SetValue(const RWCString* interned_value);

  // The change flag, which extraction of changes reads.
  int IsChange();
  void SetIsChange(int is_change);

  // Values live in a pool of their own; the general heap steps in when the pool
  // yields nothing.
  static void* operator new(std::size_t size);
  static void operator delete(void* block);

  // Makes the pool's later blocks hold at least `n` values each.  Does nothing
  // when they already do.
  static void InitValuesPool(int n);

 private:
  friend class Tree_Node;

  // Stores the interned pointer as it is.
  Tree_Value(const RWCString* interned_value, int is_change);

  const RWCString* m_value;
  int m_is_change;

  static Zel_PoolAllocator& m_sValuesPool;
};

#endif  // TREE_TREE_VALUE_H
