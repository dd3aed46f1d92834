// Change flags set by comparing a tree with an older one.

#ifndef CFGTREE_COMMANDS_MARKS_H
#define CFGTREE_COMMANDS_MARKS_H

#include <cstdint>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// What a comparison found, and what an extraction of the flagged leaves leaves behind.
struct Marks {
  std::uint64_t changed = 0;     // leaves with another value
  std::uint64_t added = 0;       // leaves that the old tree does not have
  std::uint64_t kept_whole = 0;  // other leaves, of chunk areas in which something changed

  // Not carried by the flagged leaves: laid over the old tree, they leave these as they are.
  std::uint64_t removed = 0;  // leaves and empty sub-trees of the old tree
  std::uint64_t empty = 0;    // empty sub-trees of the new tree that the old one lacks

  // Flagged leaves on whose way siblings share a name; a merge pairs the first of them.
  std::uint64_t repeated = 0;

  std::uint64_t Flagged() const { return changed + added + kept_whole; }
};

// Sets the change flags of `new_top`: 1 for leaves that `old_top` lacks or has with another
// value, 0 for all others.
//
// In a chunk area every leaf is flagged as soon as one is or something went, since a merge
// takes a chunk area whole: with the new chunks alone, the others would be lost.
//
// Leaves that were removed because a value took the place of their sub-tree are carried by
// that value, and so are those whose place a sub-tree with leaves took.
Marks MarkChanges(Tree_NodePtr& old_top, Tree_NodePtr& new_top);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_MARKS_H
