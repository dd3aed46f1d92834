// Deletions of registry keys in layers that are to be merged.

#ifndef CFGTREE_DELETIONS_H
#define CFGTREE_DELETIONS_H

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// Lets a merge of registry exports do what importing them one after the other does.
//
// A merge keeps one of two nodes of a name.  In a registry, the deletion of a key (a leaf
// "[-]"), a key of that name that is made anew, and a value of that name are three things.
// So the deletions are taken out of the layers, where each is done to the layers below, and
// put into what became of the merge:
//
//   Deletions deletions(layers, false);
//   Tree_NodePtr merged = MergeLayers(layers, false);
//   deletions.PutInto(merged);
//
// A deletion stays although its key is made anew, for a machine may have old content there.
// Only a later deletion of a key above takes its place.
//
// Cost: linear in the layers, for each layer above; nothing but a walk when there are no
// deletions.
class Deletions {
 public:
  // Changes the layers, from base to last override.  With `one_level`, looks at the
  // children of the tops only.
  Deletions(const std::vector<Tree_NodePtr>& layers, bool one_level);
  Deletions(const Deletions&) = delete;
  Deletions& operator=(const Deletions&) = delete;

  void PutInto(Tree_NodePtr& merged);

 private:
  // A key, as far as there are deletions.
  struct Key {
    Key* above = nullptr;
    bool is_deleted = false;
    bool leads_on = false;  // to a deleted one
    std::map<std::string, Key*> below;
  };

  Key& Below(Key& key, Tree_Node& child);
  void Delete(Key& key);
  void TakeFrom(const std::vector<Tree_NodePtr>& layers, std::size_t layer, bool one_level);

  std::deque<Key> m_keys;  // the first one is the top
};

}  // namespace cfgtree

#endif  // CFGTREE_DELETIONS_H
