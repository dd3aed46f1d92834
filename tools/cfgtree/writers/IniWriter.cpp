#include "writers/IniWriter.h"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "Encoding.h"
#include "NodeKind.h"
#include "Text.h"
#include "Walk.h"
#include "readers/IniReader.h"
#include "writers/CommonLosses.h"

namespace cfgtree {
namespace {

bool IsOneLine(std::string_view text) {
  constexpr std::string_view kNoPlace("\n\0", 2);
  return text.find_first_of(kNoPlace) == text.npos;
}

// Whether "name = value" is read as a key of that name.
bool IsKeyName(std::string_view name) {
  return !name.empty() && Trimmed(name, kIniBlanks) == name && IsOneLine(name) &&
         name.find('=') == name.npos && std::string_view("[;#").find(name[0]) == name.npos;
}

// Whether "[name]" is read as a section of that name: no ] of the name may look like the
// last one, which a comment may follow.
bool IsSectionName(std::string_view name) {
  if (Trimmed(name, kIniBlanks) != name || !IsOneLine(name)) return false;
  for (std::size_t i = name.find(']'); i != name.npos; i = name.find(']', i + 1)) {
    const std::size_t next = name.find_first_not_of(kIniBlanks, i + 1);
    if (next != name.npos && (name[next] == ';' || name[next] == '#')) return false;
  }
  return true;
}

class IniFile {
 public:
  IniFile(const SourceStyle& style, Losses& losses) : m_style(style), m_losses(losses) {}

  std::string Write(Tree_NodePtr& top) {
    RequireWritablePaths(top, [](Tree_Node& node) { return HasSection(node); });
    if (top->IsLeaf()) m_losses.Say("the top is a value, which is left out");
    WriteTopValues(*top);
    std::string path;
    std::vector<std::size_t> lengths;  // of the paths of the nodes above
    Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
      if (depth == 0 || node->IsLeaf()) return;
      lengths.resize(depth - 1);
      path.resize(lengths.empty() ? 0 : lengths.back());
      if (depth > 1) path += '\\';
      path += TextOrLoss(NameOrLoss(*node, m_losses), m_losses);
      lengths.push_back(path.size());
      CountKind(*node, m_losses);
      if (HasSection(*node)) WriteSection(*node, path, depth);
    });
    return Encoded(std::move(m_text), m_style);
  }

 private:
  static bool HasSection(Tree_Node& node) {
    if (node.IsLeaf()) return false;
    for (int i = 0; i < node.GetChildCount(); ++i) {
      if (node.GetChildAt(i)->IsLeaf()) return true;
    }
    return node.GetChildCount() == 0;
  }

  void WriteTopValues(Tree_Node& top) {
    bool behind = false;
    for (int i = 0; i < top.GetChildCount(); ++i) {
      Tree_Node& child = *top.GetChildAt(i);
      if (child.IsLeaf() && behind) {
        m_losses.Count("value of the top moves in front of the sections",
                       "values of the top move in front of the sections");
      }
      behind = behind || !child.IsLeaf();
    }
    WriteValues(top);
  }

  void WriteSection(Tree_Node& node, std::string_view path, std::size_t depth) {
    if (!IsSectionName(path)) {
      m_losses.Count("section with a name that cannot be written is left out",
                     "sections with names that cannot be written are left out");
      return;
    }
    if (depth > 1) {
      m_losses.Count("nested sub-tree becomes a section named by its path",
                     "nested sub-trees become sections named by their paths");
    }
    if (!m_text.empty()) m_text += LineEnd(m_style);
    m_text += '[';
    m_text += path;
    m_text += ']';
    m_text += LineEnd(m_style);
    WriteValues(node);
  }

  void WriteValues(Tree_Node& node) {
    for (int i = 0; i < node.GetChildCount(); ++i) {
      Tree_Node& child = *node.GetChildAt(i);
      if (child.IsLeaf()) WriteValue(child);
    }
    RequireWritableSize(m_text.size());
  }

  void WriteValue(Tree_Node& leaf) {
    CountChangeFlag(leaf, m_losses);
    const std::string name = TextOrLoss(NameOrLoss(leaf, m_losses), m_losses);
    if (!IsKeyName(name)) {
      m_losses.Count("value with a name that cannot be written is left out",
                     "values with names that cannot be written are left out");
      return;
    }
    const RWCString kept = ValueOf(leaf);
    const std::string value = TextOrLoss(CutAtZero(View(kept), m_losses), m_losses);
    if (!IsOneLine(value)) {
      m_losses.Count("value with a line break is left out", "values with line breaks are left out");
      return;
    }
    if (Trimmed(value, kIniBlanks) != value) {
      m_losses.Count("value loses blanks at its ends", "values lose blanks at their ends");
    }
    m_text += name;
    // A key without a value is one word.
    const bool bare = KindOf(leaf) == NodeKind::kBareKey && value.empty() &&
                      name.find_first_of(" \t") == name.npos;
    if (!bare) {
      CountKind(leaf, m_losses);
      m_text += value.empty() ? " =" : " = ";
      m_text += Trimmed(value, kIniBlanks);
    }
    m_text += LineEnd(m_style);
  }

  const SourceStyle& m_style;
  Losses& m_losses;
  std::string m_text;
};

}  // namespace

std::string WriteIni(Tree_NodePtr& top, const SourceStyle& style, Losses& losses) {
  return IniFile(style, losses).Write(top);
}

}  // namespace cfgtree
