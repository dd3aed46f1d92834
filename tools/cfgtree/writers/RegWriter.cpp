#include "writers/RegWriter.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Encoding.h"
#include "Names.h"
#include "NodeKind.h"
#include "Text.h"
#include "readers/RegReader.h"
#include "writers/CommonLosses.h"

namespace cfgtree {
namespace {

constexpr std::size_t kLastColumn = 76;
constexpr std::string_view kSmallHexDigits = "0123456789abcdef";

bool IsSmallHex(std::string_view text) {
  return !text.empty() && text.find_first_not_of(kSmallHexDigits) == text.npos;
}

// "hex:" or "hex(2):" at the start of `value`; empty when there is none.
std::string_view HexPrefix(std::string_view value) {
  if (StartsWith(value, "hex:")) return value.substr(0, 4);
  const std::size_t close = value.find("):");
  if (!StartsWith(value, "hex(") || close == value.npos) return "";
  const std::string_view type = value.substr(4, close - 4);
  const bool plain = IsSmallHex(type) && type.size() <= 8 && (type == "0" || type[0] != '0');
  return plain ? value.substr(0, close + 2) : "";
}

// Nothing, or pairs of digits with commas between them.
bool AreBytes(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); i += 3) {
    if (text.size() - i < 2 || !IsSmallHex(text.substr(i, 2))) return false;
    if (i + 2 < text.size() && (text[i + 2] != ',' || i + 3 == text.size())) return false;
  }
  return true;
}

// The text of a REG_SZ value: without the quotes that keep it from being taken for
// another type.
std::string_view TextOf(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return value;
  const std::string_view inside = value.substr(1, value.size() - 2);
  return QuoteRegText(inside) == value ? inside : value;
}

// Columns that the line's text takes in the editor: UTF-16 units.
std::size_t Units(std::string_view text) {
  std::size_t units = 0;
  for (std::size_t i = 0; i < text.size();) {
    const Utf8Character character = DecodeUtf8(text, i);
    units += character.code >= 0x10000 ? 2 : 1;
    i += character.length > 0 ? character.length : 1;
  }
  return units;
}

bool IsDeletedKey(Tree_Node& node) {
  return node.IsLeaf() && RegTypeOf(View(ValueOf(node))) == RegType::kDeletedKey;
}

bool IsKey(Tree_Node& node) {
  return !node.IsLeaf() || IsDeletedKey(node);
}

// Equal names are one interned string, so its address stands for it.
const char* NameId(Tree_Node& node) {
  return node.GetKeyName().data();
}

// A deletion stands in front of the key of its name that is made anew, since an import
// does one thing after the other.  A merge leaves it behind.
void PutDeletionsFirst(std::vector<Tree_Node*>& keys) {
  std::unordered_set<const char*> made;
  std::unordered_set<const char*> late;
  for (Tree_Node* const key : keys) {
    if (!IsDeletedKey(*key)) {
      made.insert(NameId(*key));
    } else if (made.count(NameId(*key)) > 0) {
      late.insert(NameId(*key));
    }
  }
  if (late.empty()) return;
  std::stable_partition(keys.begin(), keys.end(), [&](Tree_Node* key) {
    return IsDeletedKey(*key) && late.count(NameId(*key)) > 0;
  });
}

// The children of a key in the order in which they are written.
struct Parts {
  std::vector<Tree_Node*> values;
  std::vector<Tree_Node*> keys;
  // Values that stand behind a sub-key of their name: a path finds the first of the two, so
  // these follow in a second section of the key.
  std::vector<Tree_Node*> late_values;
};

Parts PartsOf(Tree_Node& key) {
  Parts parts;
  std::unordered_set<const char*> key_names;
  for (int i = 0; i < key.GetChildCount(); ++i) {
    Tree_Node* const child = key.GetChildAt(i).get();
    if (IsKey(*child)) {
      parts.keys.push_back(child);
      key_names.insert(NameId(*child));
    } else if (key_names.count(NameId(*child)) > 0) {
      parts.late_values.push_back(child);
    } else {
      parts.values.push_back(child);
    }
  }
  PutDeletionsFirst(parts.keys);
  return parts;
}

class RegFile {
 public:
  RegFile(const SourceStyle& style, Losses& losses)
      : m_style(style), m_losses(losses), m_end(LineEnd(style)) {}

  std::string Write(Tree_NodePtr& top_handle) {
    Tree_Node& top = *top_handle;
    RequireWritablePaths(top_handle, [&](Tree_Node& node) {
      return !node.IsLeaf() && &node != &top && HasOwnSection(node);
    });
    m_text += m_style.regedit4 ? "REGEDIT4" : "Windows Registry Editor Version 5.00";
    m_text += m_end;
    m_text += m_end;
    m_text += m_style.reg_comments;
    const std::size_t opening = m_text.size();
    WriteTop(top);
    while (!m_open.empty()) {
      Level& level = m_open.back();
      if (level.next == level.keys.size()) {
        Close();
        continue;
      }
      VisitKey(*level.keys[level.next++]);
      RequireWritableSize(m_text.size());
    }
    FinishText(opening);
    return Encoded(std::move(m_text), m_style);
  }

 private:
  struct Level {
    std::vector<Tree_Node*> keys;
    std::vector<Tree_Node*> late_values;
    std::size_t next;  // of the keys
    std::size_t path;  // length of m_path
  };

  void WriteTop(Tree_Node& top) {
    CountKind(top, m_losses);
    Parts parts = PartsOf(top);
    m_losses.Count("value stands outside of every key and is left out",
                   "values stand outside of every key and are left out",
                   top.IsLeaf() ? 1 : parts.values.size() + parts.late_values.size());
    CountRepeatedNames(top);
    m_open.push_back({std::move(parts.keys), {}, 0, 0});
  }

  void Close() {
    const Level level = std::move(m_open.back());
    m_open.pop_back();
    if (!level.late_values.empty()) WriteSection(level.late_values);
    m_path.resize(m_open.empty() ? 0 : m_open.back().path);
  }

  // Values are written with their key; a key that cannot be written takes along what is
  // below it.
  void VisitKey(Tree_Node& node) {
    if (!IsKey(node)) return;
    const std::string name = KeyName(node);
    const bool root = m_open.size() == 1;
    if ((root && StartsWith(name, "-")) || name.find('\n') != name.npos) {
      m_losses.Count("key with a name that cannot be written is left out with all below it",
                     "keys with names that cannot be written are left out with all below them");
      return;
    }
    const std::size_t above = m_path.size();
    if (!root) m_path += '\\';
    m_path += name;
    if (IsDeletedKey(node)) {
      CountChangeFlag(node, m_losses);
      WriteKeyLine("[-");
      m_text += m_end;
      m_path.resize(above);
      return;
    }
    CountKind(node, m_losses);
    CountRepeatedNames(node);
    Parts parts = PartsOf(node);
    const bool all_late = parts.values.empty() && !parts.late_values.empty();
    if (HasOwnSection(node) && !all_late) WriteSection(parts.values);
    m_open.push_back({std::move(parts.keys), std::move(parts.late_values), 0, m_path.size()});
  }

  static bool HasOwnSection(Tree_Node& key) {
    if (KindOf(key) != NodeKind::kImpliedKey) return true;
    bool leads_on = false;
    for (int i = 0; i < key.GetChildCount(); ++i) {
      if (!IsKey(*key.GetChildAt(i))) return true;
      leads_on = true;
    }
    return !leads_on;
  }

  void WriteKeyLine(std::string_view bracket) {
    RequireWritableSize(m_text.size() + m_path.size());
    m_text += bracket;
    m_text += m_path;
    m_text += ']';
    m_text += m_end;
  }

  // The key at m_path with these values.
  void WriteSection(const std::vector<Tree_Node*>& values) {
    WriteKeyLine("[");
    for (Tree_Node* const value : values) WriteValue(*value);
    m_text += m_end;
  }

  void WriteValue(Tree_Node& leaf) {
    CountKind(leaf, m_losses);
    CountChangeFlag(leaf, m_losses);
    const std::size_t start = m_text.size();
    const std::string_view name = View(leaf.GetKeyName());
    if (name == "@") {
      m_text += '@';
    } else {
      Quote(ValueName(name));
    }
    m_text += '=';

    const RWCString kept = ValueOf(leaf);
    const std::string_view value = View(kept);
    switch (RegTypeOf(value)) {
      case RegType::kDword:
      case RegType::kDeletedValue:
        m_text += value;
        break;
      case RegType::kHex:
        WriteBytes(value, start);
        break;
      case RegType::kText:
      case RegType::kDeletedKey:
        Quote(TextOrLoss(CutAtZero(TextOf(value), m_losses), m_losses));
        break;
    }
    m_text += m_end;
  }

  // `start` is where the line begins.
  void WriteBytes(std::string_view value, std::size_t start) {
    const std::string_view prefix = HexPrefix(value);
    m_text += prefix;
    value.remove_prefix(prefix.size());
    std::size_t column = Units(std::string_view(m_text).substr(start));
    while (!value.empty()) {
      if (column > kLastColumn) {
        m_text += '\\';
        m_text += m_end;
        m_text += "  ";
        column = 2;
      }
      const std::string_view byte = value.substr(0, 3);  // with its comma
      m_text += byte;
      column += byte.size();
      value.remove_prefix(byte.size());
    }
  }

  // A key's name has no place for these: they keep the escape that they have in the tree.
  std::string KeyName(Tree_Node& key) {
    const std::string_view name = View(key.GetKeyName());
    const std::string decoded = DecodeName(name);
    constexpr std::string_view kNoPlace("\\\0", 2);
    if (!decoded.empty() && decoded.find_first_of(kNoPlace) == decoded.npos) {
      return TextOrLoss(decoded, m_losses);
    }
    return EscapedName(name);
  }

  std::string ValueName(std::string_view name) {
    std::string decoded = DecodeName(name);
    if (decoded.find('\0') != decoded.npos) return EscapedName(name);
    return TextOrLoss(decoded, m_losses);
  }

  std::string EscapedName(std::string_view name) {
    m_losses.Count(
        "name keeps its escape (%5C, %00 or %), which stands for what it cannot have",
        "names keep their escapes (%5C, %00 or %), which stand for what they cannot have");
    std::string escaped;
    for (const char c : TextOrLoss(name, m_losses)) {
      // A name that no reader escaped, from a serialized tree.
      if (c == '\0' || c == '\\') {
        escaped += c == '\0' ? "%00" : "%5C";
      } else {
        escaped += c;
      }
    }
    return escaped.empty() ? "%" : escaped;
  }

  void Quote(std::string_view text) {
    m_text += '"';
    for (const char c : text) {
      if (c == '"' || c == '\\') m_text += '\\';
      m_text += c;
    }
    m_text += '"';
  }

  // The registry has one value and one sub-key of a name, in letters of either case.  A
  // deletion belongs to the sub-key that bears exactly its name.
  void CountRepeatedNames(Tree_Node& key) {
    // A map of this key's own: emptying one that was once big costs as much each time.
    std::unordered_map<std::string, const char*> names;
    std::vector<Tree_Node*> deletions;
    std::uint64_t repeated = 0;
    for (int i = 0; i < key.GetChildCount(); ++i) {
      Tree_Node& child = *key.GetChildAt(i);
      if (IsDeletedKey(child)) {
        deletions.push_back(&child);
        continue;
      }
      std::string name = LowerCase(View(child.GetKeyName()));
      name += child.IsLeaf() ? 'v' : 'k';
      if (!names.emplace(std::move(name), NameId(child)).second) ++repeated;
    }
    for (Tree_Node* const deletion : deletions) {
      const auto same = names.find(LowerCase(View(deletion->GetKeyName())) + 'k');
      if (same != names.end() && same->second != NameId(*deletion)) ++repeated;
    }
    m_losses.Count("name comes again in its key, where the registry keeps one only",
                   "names come again in their keys, where the registry keeps one only", repeated);
  }

  // `opening` is the length of what stands in front of the first key.
  void FinishText(std::size_t opening) {
    if (!m_style.reg_comments.empty()) {
      // A file of comments alone ends as they do.
      if (m_text.size() == opening) return;
      // What were its last comments may have had no line end.
      if (m_style.reg_comments.back() != '\n') m_text.insert(opening, m_end);
    }
    if (!m_style.reg_blank_end) RemoveLineEnd();
    if (!m_style.reg_blank_end && !m_style.final_newline) RemoveLineEnd();
  }

  void RemoveLineEnd() { m_text.resize(m_text.size() - m_end.size()); }

  const SourceStyle& m_style;
  Losses& m_losses;
  std::string_view m_end;
  std::string m_text;
  std::string m_path;
  std::vector<Level> m_open;
};

}  // namespace

RegType RegTypeOf(std::string_view value) {
  if (value == "-") return RegType::kDeletedValue;
  if (value == "[-]") return RegType::kDeletedKey;
  if (StartsWith(value, "dword:") && value.size() == 14 && IsSmallHex(value.substr(6))) {
    return RegType::kDword;
  }
  const std::string_view prefix = HexPrefix(value);
  if (!prefix.empty() && AreBytes(value.substr(prefix.size()))) return RegType::kHex;
  return RegType::kText;
}

std::string WriteReg(Tree_NodePtr& top, const SourceStyle& style, Losses& losses) {
  return RegFile(style, losses).Write(top);
}

}  // namespace cfgtree
