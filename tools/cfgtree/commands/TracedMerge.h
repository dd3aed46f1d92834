#ifndef CFGTREE_COMMANDS_TRACEDMERGE_H
#define CFGTREE_COMMANDS_TRACEDMERGE_H

#include <cstddef>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// A TracedMerge merges layers and knows from which of their nodes each node of the result
// was made.  The nodes of the result have the kinds that a merge gives them.
//
// USE     The layers are changed: they serve for nothing but this object afterwards.  Ask
//         Children() for the number of a node's children, in the layers too.
// INSIDE  The library does the merge, so what is told about it cannot differ from what it
//         does.  Two things survive its copying: a leaf's change flag, and leaves that
//         only one layer has.  So every leaf gets its number as change flag, and every
//         inner node one more leaf, a mark, whose name no other node bears.  In the
//         result an inner node then has the marks of exactly those nodes that went into
//         it.  The name of a mark is the node's number behind a backslash; files are not
//         supposed to have such names, since no path could reach them, but a serialized
//         tree may, and then there are more backslashes.
class TracedMerge {
 public:
  // A node of a layer, numbered from 0 for the lowest.
  struct Source {
    std::size_t layer;
    Tree_Node* node;
  };

  TracedMerge(const std::vector<Tree_NodePtr>& layers, bool one_level);

  Tree_NodePtr& Merged() { return m_merged; }
  std::vector<Tree_NodePtr>& Layers() { return m_layers; }

  // The nodes from which a node of the result was made, lowest layer first.  A leaf has
  // one.  An inner node was given what it holds in the end by the last.
  std::vector<Source> SourcesOf(Tree_Node& merged) const;

  // Whether a node is no node of a file but a mark.
  bool IsMark(const Tree_Node& node) const;

  // The number of children without marks.
  std::size_t Children(Tree_Node& node) const;

 private:
  void ChooseMark();
  void Trace(std::size_t layer);
  Source SourceByNumber(std::size_t number) const;

  std::vector<Tree_NodePtr> m_layers;
  std::string m_mark;                // what the names of marks begin with
  std::vector<Tree_Node*> m_nodes;   // of all layers, by number
  std::vector<std::size_t> m_first;  // the first number of each layer
  Tree_NodePtr m_merged;
};

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_TRACEDMERGE_H
