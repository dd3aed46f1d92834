#include "writers/TreeWriter.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "NodeKind.h"
#include "Text.h"
#include "Walk.h"
#include "writers/CommonLosses.h"

namespace cfgtree {
namespace {

// Texts with a zero byte inside are written up to it, while the library's buffer keeps
// room for all of them, which no reader could make sense of.  While it exists, a ZeroCut
// shortens such names and values in the tree; afterwards they are what they were.
class ZeroCut {
 public:
  ZeroCut() = default;
  ZeroCut(const ZeroCut&) = delete;
  ZeroCut& operator=(const ZeroCut&) = delete;
  ~ZeroCut() {
    for (const auto& [node, name] : m_names) node->SetKeyName(name);
    for (const auto& [value, text] : m_values) value->SetValue(text);
  }

  void CutName(Tree_Node& node) {
    const RWCString name = node.GetKeyName();
    m_names.emplace_back(&node, name);
    node.SetKeyName(UpToZero(name));
  }
  void CutValue(Tree_Value& value) {
    const RWCString text = value.GetValue();
    m_values.emplace_back(&value, text);
    value.SetValue(UpToZero(text));
  }

 private:
  static RWCString UpToZero(const RWCString& text) { return RWCString(text.data()); }

  std::vector<std::pair<Tree_Node*, RWCString>> m_names;
  std::vector<std::pair<Tree_Value*, RWCString>> m_values;
};

bool HasZero(const RWCString& text) {
  return View(text).find('\0') != std::string_view::npos;
}

// Counts what the format loses and how long the buffer becomes, and cuts texts.
class Inspection {
 public:
  Inspection(const std::string& skip_name, ZeroCut& cut, Losses& losses)
      : m_skip_name(skip_name), m_cut(cut), m_losses(losses) {}

  // Whether an inner child of the top has an empty name.
  bool FirstLevelEmptyName() const { return m_first_level_empty; }
  bool Skipped() const { return m_skipped; }
  std::size_t Size() const { return m_size; }

  void Visit(Tree_Node& node, std::size_t depth) {
    if (depth > m_left_out) return;
    m_left_out = kNothing;
    if (HasZero(node.GetKeyName())) {
      m_losses.Count("name is cut at its zero byte", "names are cut at their zero bytes");
      m_cut.CutName(node);
    }
    if (depth > 0 && !node.IsLeaf() && IsLeftOut(node, depth)) {
      m_left_out = depth;
      return;
    }
    CountKind(node, m_losses);
    m_size += 16 + node.GetKeyName().length();
    if (node.IsLeaf()) {
      VisitLeaf(node, depth);
    } else if (depth > 0 && node.GetChildCount() == 0) {
      m_losses.Count("empty sub-tree becomes an empty value",
                     "empty sub-trees become empty values");
    }
  }

 private:
  static constexpr std::size_t kNothing = std::numeric_limits<std::size_t>::max();

  bool IsLeftOut(Tree_Node& node, std::size_t depth) {
    const std::string_view name = View(node.GetKeyName());
    if (depth == 1) {
      m_first_level_empty = m_first_level_empty || name.empty();
      const bool skipped = !m_skip_name.empty() && name == m_skip_name;
      m_skipped = m_skipped || skipped;
      return skipped;
    }
    if (!name.empty()) return false;
    m_losses.Count("sub-tree with an empty name is left out",
                   "sub-trees with an empty name are left out");
    return true;
  }

  void VisitLeaf(Tree_Node& leaf, std::size_t depth) {
    if (depth == 0) {
      m_losses.Say("the top has a value, which is not kept");
      return;
    }
    if (HasZero(ValueOf(leaf))) {
      m_losses.Count("value is cut at its zero byte", "values are cut at their zero bytes");
      m_cut.CutValue(*leaf.GetTreeValue());
    }
    const std::size_t length = ValueOf(leaf).length();
    if (length > 0) {
      m_size += 4 + length;
    } else if (ChangeOf(leaf) != 0) {
      m_losses.Count("change flag of an empty value is not kept",
                     "change flags of empty values are not kept");
    }
  }

  const std::string& m_skip_name;
  ZeroCut& m_cut;
  Losses& m_losses;
  std::size_t m_left_out = kNothing;  // depth of the node that is left out
  std::size_t m_size = 0;
  bool m_first_level_empty = false;
  bool m_skipped = false;
};

// A name that no inner child of the top has.
std::string NameOfNone(Tree_Node& top) {
  std::size_t longest = 0;
  for (int i = 0; i < top.GetChildCount(); ++i) {
    longest = std::max(longest, top.GetChildAt(i)->GetKeyName().length());
  }
  return std::string(longest + 1, '-');
}

// The library's own buffer.  It writes an empty path into the header when it does all in
// one go; a path that was read is given to the second of its two steps.
std::string Serialize(Tree_NodePtr& top, const std::string& skip_name,
                      const std::optional<std::string>& header) {
  RWCString skip = ToRWCString(skip_name);
  int size = 0;
  std::unique_ptr<char[]> buffer;
  if (!header || header->empty()) {
    buffer.reset(Tree_Node::GetSerializedTreeNodeSkipPath(top, size, header.has_value(), skip));
  } else {
    buffer.reset(Tree_Node::GetSerializeIdNodeInfoVec(
        Tree_Node::GetIdNodeVecFromTreeSkipPath(top, nullptr, skip), size, ToRWCString(*header),
        true, false));
  }
  return {buffer.get(), static_cast<std::size_t>(size)};
}

}  // namespace

std::string WriteTree(Tree_NodePtr& top, const SourceStyle& style, const std::string& skip_name,
                      bool header, Losses& losses) {
  std::optional<std::string> path = style.tree_header;
  if (header && !path) path = "";

  ZeroCut cut;
  Inspection inspection(skip_name, cut, losses);
  Walk(top, [&](Tree_NodePtr& node, std::size_t depth) { inspection.Visit(*node, depth); });
  RequireWritableSize(inspection.Size() + (path ? 4 + path->size() : 0));
  if (!skip_name.empty() && !inspection.Skipped()) {
    losses.Say("no sub-tree of the top is called " + skip_name + "; nothing is left out");
  }

  // Without a name to skip the library leaves out inner nodes with an empty name, also the
  // ones right below the top; those stay when it looks for a name that none of them has.
  const bool keeps_empty = skip_name.empty() && inspection.FirstLevelEmptyName();
  return Serialize(top, keeps_empty ? NameOfNone(*top) : skip_name, path);
}

}  // namespace cfgtree
