#include "writers/JsonFileWriter.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <deque>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Encoding.h"
#include "JsonNumber.h"
#include "Names.h"
#include "NodeKind.h"
#include "Text.h"
#include "Walk.h"
#include "writers/CommonLosses.h"

namespace cfgtree {
namespace {

// Whether a value stands as it is, without quotes.  Its kind decides, and the text must
// be one of that kind: a client may have changed the value and left the kind.
bool IsBare(NodeKind kind, std::string_view value) {
  switch (kind) {
    case NodeKind::kNumber:
      return IsJsonNumber(value);
    case NodeKind::kBoolean:
      return value == "true" || value == "false";
    case NodeKind::kNull:
      return value == "null";
    default:
      return false;
  }
}

// The place of an element called `name` in an array of `count`; -1 when it has none.
int ElementIndex(std::string_view name, int count) {
  int index = -1;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), index);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == name.data() + name.size();
  const bool plain = whole && (name == "0" || name[0] != '0') && name[0] != '-';
  return plain && index < count ? index : -1;
}

// The children of an array in the order of their names, which must be 0, 1, 2, ... without
// a gap; empty when they are not.  A merge leaves them in another order than that.
std::vector<Tree_Node*> Elements(Tree_Node& array) {
  const int count = array.GetChildCount();
  std::vector<Tree_Node*> elements(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    Tree_Node* const child = array.GetChildAt(i).get();
    const int index = ElementIndex(View(child->GetKeyName()), count);
    if (index < 0 || elements[static_cast<std::size_t>(index)] != nullptr) return {};
    elements[static_cast<std::size_t>(index)] = child;
  }
  return elements;
}

class JsonFile {
 public:
  JsonFile(const SourceStyle& style, Losses& losses) : m_style(style), m_losses(losses) {}

  std::string Write(Tree_Node& top) {
    Value(top);
    while (!m_open.empty()) {
      Level& level = m_open.back();
      if (level.next == level.count) {
        Close();
        continue;
      }
      Tree_Node& child = level.array ? *level.elements[static_cast<std::size_t>(level.next)]
                                     : *level.node->GetChildAt(level.next);
      if (level.next++ > 0) m_text += ',';
      const bool first = level.next == 1;
      NewLine(m_open.size(), first);
      if (!level.array) {
        Quote(NameOrLoss(child, m_losses));
        m_text += m_style.json_blanks ? ": " : ":";
      }
      Value(child);
      RequireWritableSize(m_text.size());
    }
    if (m_style.final_newline) m_text += LineEnd(m_style);
    return Encoded(std::move(m_text), m_style);
  }

 private:
  struct Level {
    Tree_Node* node;
    int next;
    int count;
    bool array;
    std::vector<Tree_Node*> elements;  // of an array
  };

  // A leaf whole, of an inner node the opening bracket.
  void Value(Tree_Node& node) {
    if (node.IsLeaf()) return Leaf(node);
    const int count = node.GetChildCount();
    bool array = KindOf(node) == NodeKind::kArray;
    if (count == 0) {
      m_text += array ? "[]" : "{}";
      return;
    }
    std::vector<Tree_Node*> elements;
    if (array) {
      elements = Elements(node);
      array = !elements.empty();
      if (!array) {
        m_losses.Count("array whose entries are not named 0, 1, 2, ... becomes an object",
                       "arrays whose entries are not named 0, 1, 2, ... become objects");
      }
    }
    if (!array) CountRepeatedNames(node);
    m_text += array ? '[' : '{';
    m_open.push_back({&node, 0, count, array, std::move(elements)});
  }

  void Leaf(Tree_Node& leaf) {
    CountChangeFlag(leaf, m_losses);
    if (KindOf(leaf) == NodeKind::kBareKey) CountKind(leaf, m_losses);
    const RWCString value = ValueOf(leaf);
    if (IsBare(KindOf(leaf), View(value))) {
      m_text += View(value);
    } else {
      Quote(View(value));
    }
  }

  void Close() {
    const bool array = m_open.back().array;
    m_open.pop_back();
    NewLine(m_open.size(), true);
    m_text += array ? ']' : '}';
  }

  // What stands in front of an entry, or with `bracket` next to a bracket.
  void NewLine(std::size_t depth, bool bracket) {
    if (!m_style.json_lines) {
      if (!bracket && m_style.json_blanks) m_text += ' ';
      return;
    }
    m_text += LineEnd(m_style);
    RequireWritableSize(m_text.size() + depth * m_style.json_indent.size());
    for (std::size_t i = 0; i < depth; ++i) m_text += m_style.json_indent;
  }

  void CountRepeatedNames(Tree_Node& object) {
    // A set of this object's own: emptying one that was once big costs as much each time.
    std::unordered_set<std::string_view> names;
    std::deque<std::string> written;  // names that lose an escape
    std::uint64_t repeated = 0;
    for (int i = 0; i < object.GetChildCount(); ++i) {
      std::string_view name = View(object.GetChildAt(i)->GetKeyName());
      if (name.find('%') != name.npos) name = written.emplace_back(DecodeName(name));
      if (!names.insert(name).second) ++repeated;
    }
    m_losses.Count("name comes again in its object, where most readers keep the last one only",
                   "names come again in their objects, where most readers keep the last one only",
                   repeated);
  }

  void Quote(std::string_view text) {
    const std::string valid = TextOrLoss(text, m_losses);
    m_text += '"';
    for (const char c : valid) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte >= 0x20 && c != '"' && c != '\\') {
        m_text += c;
      } else {
        Escape(c);
      }
    }
    m_text += '"';
  }

  void Escape(char c) {
    constexpr std::string_view kCharacters = "\"\\\n\r\t\b\f";
    constexpr std::string_view kLetters = "\"\\nrtbf";
    const std::size_t place = kCharacters.find(c);
    if (place != kCharacters.npos) {
      m_text += '\\';
      m_text += kLetters[place];
      return;
    }
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x",
                  static_cast<unsigned>(static_cast<unsigned char>(c)));
    m_text += escape;
  }

  const SourceStyle& m_style;
  Losses& m_losses;
  std::string m_text;
  std::vector<Level> m_open;
};

}  // namespace

std::string WriteJsonFile(Tree_NodePtr& top, const SourceStyle& style, Losses& losses) {
  if (style.json_lines) {
    // A deep tree needs the square of its depth; see RequireWritablePaths().
    std::size_t indents = 0;
    Walk(top, [&](Tree_NodePtr&, std::size_t depth) {
      RequireWritableSize(indents += depth * style.json_indent.size());
    });
  }
  return JsonFile(style, losses).Write(*top);
}

}  // namespace cfgtree
