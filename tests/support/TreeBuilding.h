// Builds trees from records, and the lines that Tree_Node::BuildSubTree writes.
//
//   using namespace building;
//   LogCapture log(6);
//   Tree_NodePtr built = Build(NewList({"a=1", "a=2"}));
//   EXPECT_EQ((Lines{Start("top"), Skipped("a"), End("top")}), OfTheTree(log));

#ifndef TREE_TESTS_SUPPORT_TREEBUILDING_H
#define TREE_TESTS_SUPPORT_TREEBUILDING_H

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeRecords.h"
#include "support/TreeText.h"

namespace building {

using lines::Lines;

inline Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

inline LogLine Start(const std::string& root_path) {
  return TreeLine(6, "Tree_Node::BuildSubTree",
                  "BuildSubTree :: Start build <" + root_path + ">\n");
}
inline LogLine End(const std::string& root_path) {
  return TreeLine(6, "Tree_Node::BuildSubTree", "BuildSubTree :: End build <" + root_path + ">\n");
}
inline LogLine Skipped(const std::string& path) {
  return TreeLine(5, "Tree_Node::BuildSubTree", "entry exists for path " + path + " skip it\n");
}
inline Lines Failed() {
  return {TreeLine(3, "Tree_Node::BuildSubTree", "there is an element without a root in the vec:"),
          TreeLine(3, "Tree_Node::BuildSubTree", "path_elem_parent_path\n")};
}

// The lines without those of interning, which come whenever its buffer is full.
inline Lines OfTheTree(LogCapture& log) {
  Lines of_the_tree;
  for (LogLine& line : log.Take()) {
    if (line.category == 501) of_the_tree.push_back(std::move(line));
  }
  return of_the_tree;
}

inline Tree_NodePtr Build(RecordList* list, const std::string& root_path = "top") {
  Tree_NodePtr asked = Inner("asked");
  RWCString path = Bytes(root_path);
  Tree_NodePtr built = asked->BuildSubTree(list, path);
  EXPECT_EQ(root_path, Text(path));
  EXPECT_EQ("asked", Draw(asked));
  return built;
}

}  // namespace building

#endif  // TREE_TESTS_SUPPORT_TREEBUILDING_H
