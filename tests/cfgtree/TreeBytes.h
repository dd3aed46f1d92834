// Serialized trees written by hand, and trees compared node by node.

#ifndef CFGTREE_TESTS_TREEBYTES_H
#define CFGTREE_TESTS_TREEBYTES_H

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Load.h"
#include "NodeKind.h"
#include "Text.h"
#include "TreeBuilder.h"
#include "Walk.h"

namespace cfgtree {

inline std::string Number(std::int64_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

inline std::string Sized(std::string_view text) {
  return Number(static_cast<std::int64_t>(text.size())) + std::string(text);
}

// One record; a change flag only with a value.
inline std::string Record(int id, int parent, std::string_view name, std::string_view value = "",
                          std::int64_t flag = 0) {
  std::string bytes = Number(id) + Number(parent) + Sized(name) + Sized(value);
  if (!value.empty()) bytes += Number(flag);
  return bytes;
}

// What the library writes for the tree.
inline std::string Serialized(Tree_NodePtr& top, bool header = false) {
  int size = 0;
  const std::unique_ptr<char[]> buffer(Tree_Node::GetSerializedTreeNode(top, size, header));
  return {buffer.get(), static_cast<std::size_t>(size)};
}

// Reads bytes that stand at the end of a block of the heap, where a sanitizer sees the
// first byte that is read too far.
inline Tree_NodePtr ReadExactly(Format format, std::string_view bytes,
                                SourceStyle* style = nullptr) {
  const std::unique_ptr<char[]> block(new char[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), block.get());
  return BuildTree({"f", {block.get(), bytes.size()}, nullptr}, format, "t", style);
}

// One line per node with everything that a tree holds: depth, sort, kind, name, value,
// flag.  With `loosely` empty sub-trees below the top are empty values, and there are no
// kinds and no flags of empty values: what a serialized tree keeps.
inline std::vector<std::string> NodeLines(Tree_NodePtr& top, bool loosely = false) {
  std::vector<std::string> lines;
  Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
    const bool leaf = node->IsLeaf() || (loosely && depth > 0 && node->GetChildCount() == 0);
    std::string line = std::to_string(depth) + (leaf ? " leaf " : " tree ");
    if (!loosely) line += std::to_string(node->GetId()) + " ";
    line += Sized(View(node->GetKeyName()));
    if (node->IsLeaf()) {
      const RWCString value = ValueOf(*node);
      line += Sized(View(value));
      if (!loosely || value.length() > 0) line += Number(ChangeOf(*node));
    } else if (leaf) {
      line += Sized("");
    }
    lines.push_back(line);
  });
  return lines;
}

struct RandomTreeOptions {
  int nodes = 40;
  bool flags = true;
  bool kinds = false;     // as JSON has them
  bool distinct = false;  // no two siblings of one name
  std::vector<std::string> names = {"a", "b", "c", "net", " x ", "%", "a%5Cb", "name[2]", "ü"};
  std::vector<std::string> values = {
      "", "1", "true", " v ", "-", "[-]", "dword:0000001f", "a\\b\"", "\n\t\x01", "größe 😀"};
};

// A tree of about so many nodes, with repeated names, empty values and empty sub-trees.
inline Tree_NodePtr RandomTree(std::mt19937_64& random, const RandomTreeOptions& options) {
  const auto below = [&](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
  TreeBuilder tree("t");
  std::vector<Tree_Node*> inner = {tree.Top()};
  for (int i = 0; i < options.nodes; ++i) {
    tree.GoTo(inner[below(inner.size())]);
    std::string name = options.names[below(options.names.size())];
    if (options.distinct) name += std::to_string(i);
    if (below(3) == 0) {
      inner.push_back(tree.Enter(name));
      continue;
    }
    Tree_Node* const leaf = tree.Leaf(name, options.values[below(options.values.size())]);
    if (options.flags) leaf->GetTreeValue()->SetIsChange(static_cast<int>(below(3)) - 1);
    if (options.kinds && below(4) == 0) {
      const std::pair<NodeKind, const char*> bare[] = {{NodeKind::kNumber, "-1.50e+3"},
                                                       {NodeKind::kBoolean, "false"},
                                                       {NodeKind::kNull, "null"}};
      const auto& [kind, text] = bare[below(3)];
      leaf->SetId(static_cast<int>(kind));
      leaf->GetTreeValue()->SetValue(RWCString(text));
    }
  }
  return tree.Finish();
}

}  // namespace cfgtree

#endif  // CFGTREE_TESTS_TREEBYTES_H
