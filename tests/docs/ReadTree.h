// Trees as bytes: what the library writes, and the reader that docs/formats.md shows.

#ifndef TREE_TESTS_DOCS_READTREE_H
#define TREE_TESTS_DOCS_READTREE_H

#include <cstddef>
#include <string>

#include "Tree/Tree_Node.h"

namespace docs {

// The tree of a buffer without a header; null for bytes that are none.
Tree_NodePtr ReadTree(const char* bytes, int size);

inline Tree_NodePtr Read(const std::string& bytes) {
  return ReadTree(bytes.data(), static_cast<int>(bytes.size()));
}

// The buffer of a tree, as a string.
inline std::string Serialized(Tree_NodePtr tree, bool with_header = false) {
  int size = 0;
  char* const bytes = Tree_Node::GetSerializedTreeNode(tree, size, with_header);
  std::string result(bytes, static_cast<std::size_t>(size));
  delete[] bytes;
  return result;
}

}  // namespace docs

#endif  // TREE_TESTS_DOCS_READTREE_H
