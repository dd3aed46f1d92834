// Paths as a user gives and reads them.
//
// A path is what the library takes: names joined by backslashes, relative to the top.
// Look-ups find the first of several siblings of one name, so the client knows one thing
// more: a segment that is no child's name and ends in [N] means the N-th child of the
// name before it, counted from 1.  Zeros in front of N change nothing, so that there is
// always a segment for the N-th child that no child is called.
//
//   mime-info\mime-type[3]\glob\@pattern

#ifndef CFGTREE_PLACES_H
#define CFGTREE_PLACES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// The node at `path` below `top`.  Throws an Error that names `file` and the first
// segment that is missing.
Tree_NodePtr FindNode(Tree_NodePtr& top, std::string_view path, std::string_view file);

// The nodes that a path leads through, from the top on and as far as they exist.
struct Way {
  std::vector<Tree_NodePtr> nodes;
  std::vector<std::size_t> ends;  // nodes[i] is at the first ends[i] bytes of the path
  bool complete;                  // the last node is the one at the path
};
Way FollowPath(Tree_NodePtr& top, std::string_view path);

// "[3]", with as many zeros in front as it takes that no sibling is called `name` and this:
// `is_name(text)` tells whether one is.
template <typename IsName>
std::string NumberBehind(std::string_view name, int number, IsName is_name) {
  std::string digits = std::to_string(number);
  while (is_name(std::string(name) + '[' + digits + ']')) digits.insert(0, 1, '0');
  return '[' + digits + ']';
}

// Writes paths that lead to exactly one node.
//
// It counts the siblings of each name once per parent, so naming all children of a wide
// node costs no more than naming one.  The tree must not change meanwhile.
class PathNamer {
 public:
  // Paths are relative to `top`.
  explicit PathNamer(const Tree_Node* top) : m_top(top) {}

  // The name of `node`, with [N] behind it when earlier siblings bear it too.
  std::string NameOf(Tree_Node* node);

  // The path that leads to `node`; empty for the top.
  std::string PathOf(Tree_Node* node);

 private:
  void CountSiblings(Tree_Node* parent);

  const Tree_Node* m_top;
  // Nodes that need a number, with it; and the parents whose children were counted, with
  // those of their names that end like a number.
  using Names = std::unordered_set<std::string_view>;
  std::unordered_map<const Tree_Node*, int> m_numbers;
  std::unordered_map<const Tree_Node*, Names> m_counted;
};

}  // namespace cfgtree

#endif  // CFGTREE_PLACES_H
