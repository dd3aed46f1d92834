#include "commands/Explanation.h"

#include <algorithm>

#include "Places.h"
#include "Walk.h"
#include "commands/ChunkArea.h"

namespace cfgtree {
namespace {

using Sources = std::vector<TracedMerge::Source>;

bool Contains(const Sources& sources, const Tree_Node* node) {
  return std::any_of(sources.begin(), sources.end(),
                     [node](const TracedMerge::Source& source) { return source.node == node; });
}

// The first source of a layer, null when it has none.
Tree_Node* FirstOf(const Sources& sources, std::size_t layer) {
  for (const TracedMerge::Source& source : sources) {
    if (source.layer == layer) return source.node;
  }
  return nullptr;
}

// The path as far as it is read: an empty segment ends it.
std::string_view ReadPart(std::string_view path) {
  if (!path.empty() && path.front() == '\\') return "";
  path = path.substr(0, path.find("\\\\"));
  if (!path.empty() && path.back() == '\\') path.remove_suffix(1);
  return path;
}

class Explainer {
 public:
  Explainer(TracedMerge& merge, std::string_view path, bool one_level)
      : m_merge(merge), m_path(ReadPart(path)), m_one_level(one_level) {
    m_way = FollowPath(merge.Merged(), m_path);
    m_sources.reserve(m_way.nodes.size());
    for (Tree_NodePtr& node : m_way.nodes) m_sources.push_back(merge.SourcesOf(*node));
  }

  Explanation Run() {
    m_explanation.path = m_path;
    m_explanation.layers.resize(m_merge.Layers().size());
    if (m_way.complete) {
      m_explanation.merged = m_way.nodes.back().get();
      CountSupplies(m_way.nodes.back());
    }
    for (std::size_t i = 0; i < m_explanation.layers.size(); ++i) Look(i);
    return std::move(m_explanation);
  }

 private:
  // Adds up whose the leaves are.  An empty sub-tree is the highest layer's that has it.
  void CountSupplies(Tree_NodePtr& top) {
    Walk(top, [this](Tree_NodePtr& node, std::size_t) {
      if (m_merge.IsMark(*node)) return;
      if (!node->IsLeaf() && m_merge.Children(*node) > 0) return;
      LayerPart& part = m_explanation.layers[m_merge.SourcesOf(*node).back().layer];
      part.state = LayerState::kSupplies;
      if (!node->IsLeaf()) return;
      ++part.supplied;
      ++m_explanation.leaves;
    });
  }

  void Look(std::size_t layer) {
    LayerPart& part = m_explanation.layers[layer];
    Tree_NodePtr& top = m_merge.Layers()[layer];
    Tree_Node* const source = m_way.complete ? FirstOf(m_sources.back(), layer) : nullptr;
    if (source != nullptr) {
      part.node = source;
      part.path = PathNamer(top.get()).PathOf(source);
      if (part.state != LayerState::kSupplies) part.state = LayerState::kOverridden;
      return;
    }
    const Way way = FollowPath(top, m_path);
    if (!way.complete) return;
    part.node = way.nodes.back().get();
    part.path = m_path;
    if (m_way.complete && part.node->IsLeaf() && m_explanation.merged->IsLeaf() &&
        m_sources.back().back().layer > layer) {
      part.state = LayerState::kOverridden;
      return;
    }
    part.state = LayerState::kHidden;
    FindReason(layer, way, part);
  }

  // The layer's nodes on the way are merged with those of each higher layer in turn, until
  // one of these replaces one of them.
  void FindReason(std::size_t layer, const Way& way, LayerPart& part) {
    std::size_t same = 0;
    while (same < m_sources.size() && same < way.nodes.size() &&
           Contains(m_sources[same], way.nodes[same].get())) {
      ++same;
    }
    part.reason = HiddenBy::kRepeatedName;
    part.by = layer;
    part.at = m_path.substr(0, way.ends[std::min(same, way.ends.size() - 1)]);
    const bool replaced = same < m_sources.size() && same < way.nodes.size();
    if (!replaced || m_sources[same].front().layer <= layer) return;
    for (std::size_t above = layer + 1; above < m_merge.Layers().size(); ++above) {
      const Way other = FollowPath(m_merge.Layers()[above], m_path);
      const std::size_t both = std::min(way.nodes.size(), other.nodes.size());
      for (std::size_t i = 0; i < both; ++i) {
        const HiddenBy reason = ReasonOf(*way.nodes[i], *other.nodes[i], i);
        if (reason == HiddenBy::kNobody) continue;
        part.reason = reason;
        part.by = above;
        part.at = m_path.substr(0, way.ends[i]);
        return;
      }
    }
  }

  // Why `above` does not let `below` through; both are at the same path with `depth` names.
  HiddenBy ReasonOf(Tree_Node& below, Tree_Node& above, std::size_t depth) const {
    if (above.IsLeaf()) return HiddenBy::kValue;
    if (below.IsLeaf()) return HiddenBy::kSubTree;
    if (m_one_level) return depth == 0 ? HiddenBy::kNobody : HiddenBy::kOneLevel;
    return IsChunkArea(above) ? HiddenBy::kChunkArea : HiddenBy::kNobody;
  }

  TracedMerge& m_merge;
  std::string_view m_path;
  bool m_one_level;
  Way m_way;                       // in the merged tree
  std::vector<Sources> m_sources;  // of its nodes
  Explanation m_explanation;
};

}  // namespace

bool Explanation::Nothing() const {
  return merged == nullptr && std::all_of(layers.begin(), layers.end(), [](const LayerPart& part) {
           return part.node == nullptr;
         });
}

Explanation Explain(TracedMerge& merge, std::string_view path, bool one_level) {
  return Explainer(merge, path, one_level).Run();
}

}  // namespace cfgtree
