// Tree_Node: one tree laid over another.
//
// Taken literally, a merge of two inner nodes copies the overriding one, the merge of two of
// their children copies the copy's child, and so on down.  Here the overriding tree is copied
// once and the rest is done in place.  The result is the same, for a copy of a copy is no
// different.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "Tree/Tree_Log.h"
#include "Tree/Tree_NameIndex.h"
#include "Tree/Tree_NameTable.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_NodeMaker.h"
#include "Tree/Tree_Statics.h"

namespace {

// What Add and Insert write about a child that goes to the end without their help.
void LogAddStart() {
  TREE_LOG("Add", tree_log::kTrace, "Start Add(Tree_NodePtr & new_child)\n");
}

void LogInsert(int index) {
  TREE_LOG("Insert", tree_log::kTrace,
           "Start Insert(Tree_NodePtr& new_child = %d, int child_index = %d)\n", index, -1);
  TREE_LOG("Insert", tree_log::kTrace, "End Insert(Tree_NodePtr& new_child, int child_index)\n");
}

}  // namespace

// The children of a node of the result, while another node's children are merged in.
//
// Where few children come, names are looked for and children moved one by one, as they come.
// Where many come, a child that is to go to the end only gets a new rank, and all are put in
// order when the node is done; a table has the children of each name in the order of their
// ranks.  Siblings of one name are merged into the same node, one after the other, so that
// the table is made only where the children to come are not few beside those it lists.
class Tree_Node::MergedChildren {
 public:
  // `expected`: children that may be added.
  MergedChildren(Tree_Node* node, int expected, Maker& maker)
      : m_node(node),
        m_maker(maker),
        m_is_wide(static_cast<std::size_t>(expected) >= Tree_NodePtrVec::kIndexedFrom &&
                  expected >= node->GetChildCount() / kFewBeside) {
    if (!m_is_wide) return;
    m_first_new_rank = static_cast<Rank>(node->GetChildCount());
    // Many of those to come may be there already.
    m_places.MakeRoom(std::max<std::size_t>(m_first_new_rank, static_cast<std::size_t>(expected)));
    for (Place place = 0; place < m_first_new_rank; ++place) {
      List(place, (*Elements()[place])->m_key_name);
    }
  }

  // For a child of the node that is merged in whose name will be looked for soon.
  void Prefetch(const Tree_NodePtr& child) const {
    if (m_is_wide && !child.isNull()) m_places.Prefetch(child->m_key_name);
  }

  // The first child of that name, null when there is none.
  Tree_NodePtr* Find(const RWCString* name) const {
    if (m_node->m_children == nullptr) return nullptr;
    if (!m_is_wide) return m_node->m_children->Find(name);
    const PlacesOfName& places = m_places.CellOf(name);
    return places.name == nullptr ? nullptr : Elements()[places.first];
  }

  // Adds a copy of a node with everything below it; a leaf refuses it.
  void AddCopy(Tree_Node* source) {
    if (CopyTo(m_node, source) && m_is_wide) {
      List(static_cast<Place>(m_ranks.size()), source->m_key_name);
    }
  }

  // Removes the first child of that name and adds it again.
  void MoveToEnd(const RWCString* name) {
    LogAddStart();
    if (m_is_wide) {
      Rerank(name);
    } else {
      m_node->m_children->MoveToEnd(m_node->m_children->Find(name));
    }
    LogInsert(m_node->GetChildCount() - 1);
  }

  // Puts the children in order.
  void Finish() {
    if (!m_moved) return;
    std::vector<Tree_NodePtr*> in_order;
    in_order.reserve(m_ranks.size());
    std::vector<Tree_NodePtr*> behind(m_next_rank - m_first_new_rank);
    for (std::size_t place = 0; place < m_ranks.size(); ++place) {
      if (m_ranks[place] < m_first_new_rank) {
        in_order.push_back(Elements()[place]);
      } else {
        behind[m_ranks[place] - m_first_new_rank] = Elements()[place];
      }
    }
    for (Tree_NodePtr* child : behind) {
      if (child != nullptr) in_order.push_back(child);
    }
    Elements().assign(in_order.begin(), in_order.end());
    // An index knows the first child of a name, which is another one now.
    Tree_NameIndex* const index = m_node->m_children->Index();
    if (m_repeated_name_moved && index != nullptr) index->Break();
  }

 private:
  static constexpr int kFewBeside = 8;

  // No node has as many children as either can count.
  using Place = std::uint32_t;
  using Rank = std::uint32_t;
  static constexpr Place kNone = std::numeric_limits<Place>::max();

  struct PlacesOfName {
    const RWCString* name = nullptr;
    Place first = 0;
    Place last = 0;
  };

  Tree_ElementArray& Elements() const { return m_node->m_children->m_elements; }

  bool CopyTo(Tree_Node* node, const Tree_Node* source) {
    // Most are leaves, which need no walk.
    if (source->m_children != nullptr) return m_maker.Add(*node, source->Duplicate(m_maker));
    return m_maker.AddLeafCopy(*node, *source) || m_maker.Add(*node, m_maker.CopyAlone(*source));
  }

  // Lists the child at the next place behind all others.
  void List(Place place, const RWCString* name) {
    m_ranks.push_back(m_next_rank++);
    m_next_of_name.push_back(kNone);
    PlacesOfName& places = m_places.CellOf(name);
    if (places.name == nullptr) {
      m_places.Add({name, place, place});
    } else {
      m_next_of_name[places.last] = place;
      places.last = place;
    }
  }

  void Rerank(const RWCString* name) {
    PlacesOfName& places = m_places.CellOf(name);
    const Place place = places.first;
    m_ranks[place] = m_next_rank++;
    m_moved = true;
    if (places.last == place) return;
    places.first = std::exchange(m_next_of_name[place], kNone);
    m_next_of_name[places.last] = place;
    places.last = place;
    m_repeated_name_moved = true;
  }

  Tree_Node* m_node;
  Maker& m_maker;
  bool m_is_wide;

  // For wide nodes.  A place is a position among the children, which does not change
  // before they are put in order.
  Tree_NameTable<PlacesOfName> m_places;
  std::vector<Place> m_next_of_name;  // for each place, the next one of its name
  std::vector<Rank> m_ranks;          // for each place
  Rank m_next_rank = 0;
  Rank m_first_new_rank = 0;  // smaller ones are those of children never moved
  bool m_moved = false;
  bool m_repeated_name_moved = false;
};

// Whether a node holds a long value in chunks, which must not be mixed with others.
bool Tree_Node::IsChunkArea(Tree_NodePtr& node) {
  RWCString encoding(tree_statics::blob_encoding_name);
  // Nearly all nodes have no such child, about which there may be something to trace only.
  if (ZelGLog.GetLevel() < tree_log::kTrace &&
      node->FindChild(encoding.data(), encoding.length()) == nullptr) {
    return false;
  }
  if (node->GetValue(encoding, node).isNull()) return false;
  RWCString first_chunk(tree_statics::first_chunk_name);
  if (node->GetValue(first_chunk, node).isNull()) return false;
  TREE_LOG("Merge", tree_log::kLifecycle,
           "Found chunk area that should be kept united Modifying it accordingly");
  // Intended: "dont", and no newline in either line.
  TREE_LOG("Merge", tree_log::kTrace,
           "Override = replace all the chunks ---- No-Override dont replace the chunks");
  return true;
}

Tree_NodePtr Tree_Node::Merge(Tree_NodePtr& base, Tree_NodePtr& override) {
  if (override.isNull()) return base;
  if (base.isNull()) return override;
  if (IsChunkArea(override)) return override;

  Maker maker;
  Tree_NodePtr result = override->Duplicate(maker);
  struct Level {
    Tree_Node* base;
    int next;   // position of the next child of `base`
    int count;  // of its children
    MergedChildren merged;
  };
  constexpr int kAhead = 8;
  std::vector<Level> way;
  const auto enter = [&way, &maker](Tree_Node* from, Tree_Node* into) {
    const int count = from->GetChildCount();
    way.push_back({from, 0, count, MergedChildren(into, count, maker)});
  };
  enter(base.get(), result.get());
  for (;;) {
    Level& level = way.back();
    if (level.next < level.count) {
      Tree_NodePtrVec& children = *level.base->m_children;
      if (level.count - level.next > kAhead) {
        level.merged.Prefetch(children.HandleAt(level.next + kAhead));
      }
      Tree_Node* const child = children.HandleAt(level.next++).get();
      if (child == nullptr) continue;
      Tree_NodePtr* const match = level.merged.Find(child->m_key_name);
      if (match == nullptr) {
        level.merged.AddCopy(child);
      } else if (!child->IsLeaf()) {
        if (IsChunkArea(*match)) {
          level.merged.MoveToEnd(child->m_key_name);
        } else {
          enter(child, match->get());
        }
      }
      continue;
    }
    level.merged.Finish();
    const RWCString* const name = level.base->m_key_name;
    way.pop_back();
    if (way.empty()) return result;
    // Intended: the merged child goes behind its siblings.
    way.back().merged.MoveToEnd(name);
  }
}

Tree_NodePtr Tree_Node::MergeOneLevel(Tree_NodePtr& base, Tree_NodePtr& override) {
  if (override.isNull()) return base;
  if (base.isNull()) return override;
  Maker maker;
  Tree_NodePtr result = override->Duplicate(maker);
  const int count = base->GetChildCount();
  MergedChildren merged(result.get(), count, maker);
  for (int i = 0; i < count; ++i) {
    Tree_Node* const child = base->m_children->HandleAt(i).get();
    if (child != nullptr && merged.Find(child->m_key_name) == nullptr) {
      merged.AddCopy(child);
    }
  }
  return result;
}
