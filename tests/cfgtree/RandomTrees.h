// Random trees for the tests of commands that take several.

#ifndef CFGTREE_TESTS_RANDOMTREES_H
#define CFGTREE_TESTS_RANDOMTREES_H

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Load.h"
#include "TreeBuilder.h"
#include "Zel/Zel_LogFile.h"

namespace cfgtree {

using Random = std::mt19937_64;

inline int Below(Random& random, int limit) {
  return static_cast<int>(random() % static_cast<unsigned>(limit));
}

struct RandomTreeShape {
  bool repeated_names = false;
  int children = 5;  // at most, of each node
  int depth = 4;
};

// Few names and values, so that trees have much in common; among them what makes a chunk
// area, and names between which the order of bytes and that of whole paths differ.
inline Tree_NodePtr RandomTree(Random& random, const RandomTreeShape& shape,
                               const char* top_name = "t") {
  static constexpr const char* kNames[] = {"a", "b", "a b", "blobencoding", "chunk0000", "c[2]"};
  static constexpr const char* kValues[] = {"", "1", "2", "3"};
  TreeBuilder tree(top_name);
  std::vector<std::vector<int>> open(1);  // the names used so far at each level
  std::vector<int> left = {1 + Below(random, shape.children)};
  while (!open.empty()) {
    if (left.back()-- == 0) {
      open.pop_back();
      left.pop_back();
      if (!open.empty()) tree.Leave();
      continue;
    }
    const int name = Below(random, 6);
    std::vector<int>& used = open.back();
    const bool again = std::find(used.begin(), used.end(), name) != used.end();
    if (again && !shape.repeated_names) continue;
    used.push_back(name);
    const bool is_inner = static_cast<int>(open.size()) < shape.depth && Below(random, 5) < 3 &&
                          (name < 3 || Below(random, 6) == 0);
    if (is_inner) {
      tree.Enter(kNames[name]);
      open.emplace_back();
      left.push_back(Below(random, shape.children + 1));
    } else {
      tree.Leaf(kNames[name], kValues[Below(random, 4)]);
    }
  }
  return tree.Finish();
}

// While one lives, the library's log is silent: a merge writes a line for each child that a
// leaf refuses.
class QuietLog {
 public:
  QuietLog() { ZelGLog.SetLevel(0); }
  ~QuietLog() { ZelGLog.SetLevel(5); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;
};

// The tree of a text in JSON.
inline Tree_NodePtr JsonTree(std::string_view json, std::string_view top_name = "t") {
  return BuildTree({"f", json, nullptr}, Format::kJson, top_name);
}

inline std::vector<Tree_NodePtr> JsonLayers(const std::vector<std::string_view>& texts) {
  std::vector<Tree_NodePtr> layers;
  layers.reserve(texts.size());
  for (const std::string_view text : texts) layers.push_back(JsonTree(text));
  return layers;
}

inline std::vector<Tree_NodePtr> Copies(const std::vector<Tree_NodePtr>& trees) {
  std::vector<Tree_NodePtr> copies;
  copies.reserve(trees.size());
  for (const Tree_NodePtr& tree : trees) copies.push_back(tree->DuplicateFromHereDown(true));
  return copies;
}

}  // namespace cfgtree

#endif  // CFGTREE_TESTS_RANDOMTREES_H
