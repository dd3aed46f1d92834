#include "commands/TracedMerge.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "Encoding.h"
#include "Error.h"
#include "Kinds.h"
#include "Text.h"
#include "Walk.h"
#include "commands/Layers.h"

namespace cfgtree {
namespace {

std::size_t LeadingBackslashes(std::string_view name) {
  return std::min(name.find_first_not_of('\\'), name.size());
}

Tree_NodePtr NewMark(const std::string& name) {
  // Its text and its change flag are not asked for.
  auto value = std::make_unique<Tree_Value>(RWCString(), 0);
  Tree_NodePtr mark(new Tree_Node(ToRWCString(name), value.get()));
  static_cast<void>(value.release());  // the node owns it now
  return mark;
}

}  // namespace

TracedMerge::TracedMerge(const std::vector<Tree_NodePtr>& layers, bool one_level)
    : m_layers(layers) {
  ChooseMark();
  for (std::size_t i = 0; i < m_layers.size(); ++i) Trace(i);
  m_merged = MergeLayers(m_layers, one_level);
  // Marks have counterparts of their own and take none from other nodes.
  CarryKinds(m_merged, m_layers);
}

void TracedMerge::ChooseMark() {
  std::size_t most = 0;
  for (Tree_NodePtr& layer : m_layers) {
    Walk(layer, [&most](Tree_NodePtr& node, std::size_t) {
      most = std::max(most, LeadingBackslashes(View(node->GetKeyName())));
    });
  }
  m_mark.assign(most + 1, '\\');
}

void TracedMerge::Trace(std::size_t layer) {
  m_first.push_back(m_nodes.size());
  // First the list, then the marks: a walk does not see a tree that changes under it.
  Walk(m_layers[layer], [this](Tree_NodePtr& node, std::size_t) { m_nodes.push_back(node.get()); });
  if (m_nodes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw Error("the layers", "they have more nodes than change flags can number");
  }
  for (std::size_t number = m_first.back(); number < m_nodes.size(); ++number) {
    Tree_Node& node = *m_nodes[number];
    if (!node.IsLeaf()) {
      Tree_NodePtr mark = NewMark(m_mark + std::to_string(number));
      node.Add(mark);
    } else if (Tree_Value* const value = node.GetTreeValue()) {
      value->SetIsChange(static_cast<int>(number));
    }
  }
}

std::vector<TracedMerge::Source> TracedMerge::SourcesOf(Tree_Node& merged) const {
  std::vector<std::size_t> numbers;
  if (merged.IsLeaf()) {
    numbers.push_back(static_cast<std::size_t>(merged.GetTreeValue()->IsChange()));
  } else {
    for (int i = 0; i < merged.GetChildCount(); ++i) {
      const Tree_Node& child = *merged.GetChildAt(i);
      if (!IsMark(child)) continue;
      const std::string_view digits = View(child.GetKeyName()).substr(m_mark.size());
      std::size_t number = 0;
      std::from_chars(digits.data(), digits.data() + digits.size(), number);
      numbers.push_back(number);
    }
    std::sort(numbers.begin(), numbers.end());
  }
  std::vector<Source> sources;
  sources.reserve(numbers.size());
  for (const std::size_t number : numbers) sources.push_back(SourceByNumber(number));
  return sources;
}

bool TracedMerge::IsMark(const Tree_Node& node) const {
  return StartsWith(View(node.GetKeyName()), m_mark);
}

std::size_t TracedMerge::Children(Tree_Node& node) const {
  std::size_t count = 0;
  for (int i = 0; i < node.GetChildCount(); ++i) {
    if (!IsMark(*node.GetChildAt(i))) ++count;
  }
  return count;
}

TracedMerge::Source TracedMerge::SourceByNumber(std::size_t number) const {
  const auto layer = std::upper_bound(m_first.begin(), m_first.end(), number) - m_first.begin() - 1;
  return {static_cast<std::size_t>(layer), m_nodes[number]};
}

}  // namespace cfgtree
