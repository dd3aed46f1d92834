#ifndef CFGTREE_TREEBUILDER_H
#define CFGTREE_TREEBUILDER_H

#include <string_view>

#include "NodeKind.h"
#include "Tree/Tree_Node.h"

namespace cfgtree {

// A TreeBuilder is the cursor through which the readers make a tree: it stands on an
// inner node, and what is made becomes that node's last child.
//
//   TreeBuilder tree("net");
//   tree.Enter("ports");
//   tree.Leaf("http", "8080");
//   tree.Leave();
//   Tree_NodePtr top = tree.Finish();
//
// Names are node names (see Names.h) and kept exactly, blanks at their ends included.
// Nothing here depends on the depth of the tree: the way up is the parent pointer.
//
// Ownership: the builder holds the tree until Finish() hands it out.
class TreeBuilder {
 public:
  // Stands on a new top node.
  explicit TreeBuilder(std::string_view top_name);

  // Stands on the top of a tree that goes on growing.
  explicit TreeBuilder(const Tree_NodePtr& top) : m_top(top), m_current(m_top.get()) {}

  // Makes an inner node and goes there.
  Tree_Node* Enter(std::string_view name, NodeKind kind = NodeKind::kPlain);

  // Goes back up to the parent.
  void Leave();

  // Makes a leaf and stays.
  Tree_Node* Leaf(std::string_view name, std::string_view value, NodeKind kind = NodeKind::kPlain);

  // Replaces the top, which must still be alone, by a leaf; the tree is then complete.
  void MakeTopLeaf(std::string_view value, NodeKind kind);

  // The inner node to which the next child goes.
  Tree_Node* Current() const { return m_current; }
  Tree_Node* Top() const { return m_top.get(); }

  // Goes to an inner node of this tree that was made earlier.
  void GoTo(Tree_Node* node) { m_current = node; }

  // The finished tree.  The builder is then spent.
  Tree_NodePtr Finish();

 private:
  void Append(Tree_Node* node, NodeKind kind);

  Tree_NodePtr m_top;
  Tree_Node* m_current;
};

}  // namespace cfgtree

#endif  // CFGTREE_TREEBUILDER_H
