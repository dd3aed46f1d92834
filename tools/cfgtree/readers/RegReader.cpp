#include "readers/RegReader.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Encoding.h"
#include "Error.h"
#include "Names.h"
#include "RemoveChildren.h"
#include "Text.h"

namespace cfgtree {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kHeaders[] = {"Windows Registry Editor Version 5.00", "REGEDIT4"};

constexpr std::string_view kDeletedValue = "-";
constexpr std::string_view kDeletedKey = "[-]";

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// A scanner over the whole text.  m_next is the offset of the next byte to look at.
class RegScanner {
 public:
  RegScanner(const Source& source, std::string_view text, TreeBuilder& tree)
      : m_source(source), m_text(text), m_tree(tree) {}

  void Read() {
    ReadHeader();
    for (;;) {
      m_next = std::min(m_text.find_first_not_of(" \t\r\n", m_next), m_text.size());
      m_source.Report(m_next, m_text.size());
      if (AtEnd()) break;
      ReadItem();
    }
    RemoveUndone();
  }

 private:
  bool AtEnd() const { return m_next >= m_text.size(); }
  char Peek() const { return AtEnd() ? '\0' : m_text[m_next]; }
  void SkipBlanks() { m_next = std::min(m_text.find_first_not_of(kBlanks, m_next), m_text.size()); }
  std::size_t LineEnd() const { return std::min(m_text.find('\n', m_next), m_text.size()); }

  [[noreturn]] void Fail(std::size_t offset, std::string_view what) const {
    throw Error::AtText(m_source.name, m_text, offset, what);
  }

  void ReadHeader() {
    std::string_view line = m_text.substr(0, LineEnd());
    line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
    for (const std::string_view header : kHeaders) {
      if (line == header) {
        m_next = LineEnd();
        return;
      }
    }
    Fail(0,
         "not a registry export: its first line is neither \"Windows Registry Editor "
         "Version 5.00\" nor \"REGEDIT4\"");
  }

  void ReadItem() {
    switch (Peek()) {
      case ';':
        m_next = LineEnd();
        return;
      case '[':
        return ReadKey();
      case '@':
      case '"':
        return ReadValue();
      default:
        Fail(m_next, "not a [key], a \"name\"=, @= or a comment");
    }
  }

  // --- Keys -----------------------------------------------------------------

  void ReadKey() {
    const std::size_t start = m_next;
    const std::string_view line = m_text.substr(start, LineEnd() - start);
    const std::size_t close = line.rfind(']');
    if (close == line.npos) Fail(start, "a key without its closing ]");
    const std::size_t behind = line.find_first_not_of(" \t\r", close + 1);
    if (behind != line.npos && line[behind] != ';') {
      Fail(start + behind, "text behind the ] of a key");
    }
    std::string_view path = line.substr(1, close - 1);
    const bool deleted = StartsWith(path, "-");
    if (deleted) path.remove_prefix(1);
    GoToKey(path, deleted);
    m_next = LineEnd();
  }

  // Goes to the node of the key at `path`, making what is missing.
  void GoToKey(std::string_view path, bool deleted) {
    m_tree.GoTo(m_tree.Top());
    m_in_key = !deleted;
    for (;;) {
      const std::size_t end = path.find('\\');
      const std::string_view name = path.substr(0, end);
      if (name.empty()) Fail(Offset(path), "an empty name in the path of a key");
      const bool last = end == path.npos;
      if (last && deleted) {
        return DeleteSubKey(EncodeName(name, m_storage));
      }
      EnterSubKey(EncodeName(name, m_storage), last);
      if (last) return;
      path.remove_prefix(end + 1);
    }
  }

  // `listed`: the key has a section of its own and is not just on the way to one.
  void EnterSubKey(std::string_view name, bool listed) {
    const NodeKind kind = listed ? NodeKind::kPlain : NodeKind::kImpliedKey;
    Tree_Node* const parent = m_tree.Current();
    Tree_Node* const first = parent->Get(ToRWCString(name), parent);
    if (first == nullptr) {
      m_tree.Enter(name, kind);
      return;
    }
    if (IsKey(*first)) return Revisit(first, listed);

    // A leaf of that name stands before the sub-key and hides it from look-ups.
    Tree_Node*& hidden = m_hidden[parent][std::string(name)];
    if (hidden != nullptr) return Revisit(hidden, listed);
    hidden = m_tree.Enter(name, kind);
  }

  // An import does one thing after the other, so a deletion undoes what the file has said
  // of the key so far.  The key above it was made all the same.
  void DeleteSubKey(std::string_view name) {
    if (Tree_Node* const key = TakeSubKey(name)) {
      m_undone.insert(key);
      if (IsMadeKey(*key)) m_tree.Current()->SetId(static_cast<int>(NodeKind::kPlain));
    }
    m_tree.Leaf(name, kDeletedKey);
  }

  // The sub-key of the current key that a section of this name would go on with, null when
  // there is none; the next section makes a new one.
  Tree_Node* TakeSubKey(std::string_view name) {
    Tree_Node* const parent = m_tree.Current();
    Tree_Node* const first = parent->Get(ToRWCString(name), parent);
    if (first == nullptr || IsKey(*first)) return first;
    const auto names = m_hidden.find(parent);
    if (names == m_hidden.end()) return nullptr;
    const auto hidden = names->second.find(std::string(name));
    if (hidden == names->second.end()) return nullptr;
    Tree_Node* const key = hidden->second;
    names->second.erase(hidden);
    return key;
  }

  bool IsKey(Tree_Node& node) const { return !node.IsLeaf() && m_undone.count(&node) == 0; }

  // Takes the keys that were deleted again out of the tree.  That waits for the end, so that
  // it is done once for all sub-keys of a key.
  void RemoveUndone() {
    std::unordered_set<Tree_Node*> parents;
    for (Tree_Node* const key : m_undone) parents.insert(key->GetParent());
    // Nothing is released before the last parent is done, for they may be below each other.
    std::vector<Tree_NodePtr> removed;
    for (Tree_Node* const parent : parents) {
      for (Tree_NodePtr& key : RemoveChildren(
               *parent, [this](Tree_Node& child) { return m_undone.count(&child) > 0; })) {
        removed.push_back(key);
      }
    }
  }

  void Revisit(Tree_Node* key, bool listed) {
    m_tree.GoTo(key);
    if (listed) key->SetId(static_cast<int>(NodeKind::kPlain));
  }

  std::size_t Offset(std::string_view part) const {
    return static_cast<std::size_t>(part.data() - m_text.data());
  }

  // --- Values ---------------------------------------------------------------

  void ReadValue() {
    const std::size_t start = m_next;
    if (!m_in_key) Fail(start, "a value that stands below no [key]");
    ReadName();
    SkipBlanks();
    if (Peek() != '=') Fail(m_next, "= expected behind the name of a value");
    ++m_next;
    SkipBlanks();
    ReadData();
    m_tree.Leaf(m_name, m_data);

    SkipBlanks();
    if (Peek() == '\r') ++m_next;
    if (!AtEnd() && Peek() != '\n' && Peek() != ';') Fail(m_next, "text behind a value");
    m_next = LineEnd();
  }

  // The node name of the value: "@" is the key's default value.
  void ReadName() {
    if (Peek() == '@') {
      m_name = "@";
      ++m_next;
      return;
    }
    const std::string name = ReadQuoted();
    m_name = name == "@" ? kEscapedAt : EncodeName(name, m_storage);
  }

  // A text in quotes, which may run over several lines, with \\ and \" inside.
  std::string ReadQuoted() {
    const std::size_t start = m_next++;
    std::string text;
    for (;;) {
      const std::size_t stop = m_text.find_first_of("\"\\", m_next);
      if (stop == m_text.npos) Fail(start, "a text without its closing quote");
      text.append(m_text, m_next, stop - m_next);
      m_next = stop + 1;
      if (m_text[stop] == '"') return text;
      if (Peek() != '"' && Peek() != '\\') Fail(stop, "only \\\\ and \\\" may stand in a text");
      text += m_text[m_next++];
    }
  }

  void ReadData() {
    const std::size_t start = m_next;
    if (Peek() == '"') {
      m_data = QuoteRegText(ReadQuoted());
    } else if (Peek() == '-') {
      ++m_next;
      m_data = kDeletedValue;
    } else if (Accept("dword:")) {
      ReadDword();
    } else if (Accept("hex")) {
      ReadHex(start);
    } else {
      Fail(start, "a value is \"text\", dword:, hex:, hex(n): or -");
    }
  }

  // Goes behind `word` when it comes next, in letters of either case.
  bool Accept(std::string_view word) {
    if (m_text.size() - m_next < word.size()) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
      if (LowerCase(m_text[m_next + i]) != word[i]) return false;
    }
    m_next += word.size();
    return true;
  }

  // Up to `most` hexadecimal digits, in small letters.
  std::string HexDigits(std::size_t most) {
    std::string digits;
    while (digits.size() < most && IsHexDigit(Peek())) digits += LowerCase(m_text[m_next++]);
    return digits;
  }

  void ReadDword() {
    SkipBlanks();
    const std::size_t start = m_next;
    const std::string digits = HexDigits(8);
    if (digits.empty() || IsHexDigit(Peek())) Fail(start, "a dword has 1 to 8 hex digits");
    m_data = "dword:" + std::string(8 - digits.size(), '0') + digits;
  }

  void ReadHex(std::size_t start) {
    m_data = "hex";
    if (Peek() == '(') {
      ++m_next;
      const std::string type = HexDigits(8);
      if (type.empty() || Peek() != ')') Fail(start, "hex(n): has 1 to 8 hex digits for n");
      ++m_next;
      const std::size_t first = std::min(type.find_first_not_of('0'), type.size() - 1);
      m_data += '(' + type.substr(first) + ')';
    }
    if (Peek() != ':') Fail(m_next, "a : is missing behind hex");
    ++m_next;
    m_data += ':';
    ReadBytes();
  }

  // Bytes with commas between them; a backslash at the end of a line goes on in the next.
  void ReadBytes() {
    SkipToByte();
    if (!IsHexDigit(Peek())) return;  // no bytes at all
    for (;;) {
      const std::size_t start = m_next;
      std::string byte = HexDigits(2);
      if (byte.empty() || IsHexDigit(Peek())) Fail(start, "a byte of 1 or 2 hex digits expected");
      if (byte.size() == 1) byte.insert(0, 1, '0');
      m_data += byte;
      SkipToByte();
      if (Peek() != ',') return;
      m_data += ',';
      ++m_next;
      SkipToByte();
    }
  }

  void SkipToByte() {
    for (;;) {
      SkipBlanks();
      if (Peek() != '\\') return;
      const std::size_t end = m_text.find_first_not_of(" \t\r", m_next + 1);
      if (end == m_text.npos || m_text[end] != '\n') {
        Fail(m_next, "a \\ inside bytes must end its line, and another line must follow");
      }
      m_next = end + 1;
    }
  }

  const Source& m_source;
  std::string_view m_text;
  TreeBuilder& m_tree;
  std::size_t m_next = 0;
  bool m_in_key = false;
  std::string m_name;
  std::string m_data;
  std::string m_storage;
  std::unordered_map<Tree_Node*, std::map<std::string, Tree_Node*>> m_hidden;
  std::unordered_set<Tree_Node*> m_undone;  // keys that the file deletes again
};

}  // namespace

void ReadReg(const Source& source, TreeBuilder& tree) {
  std::string storage;
  const std::string_view text = DecodeText(source.name, source.bytes, storage);
  RegScanner(source, text, tree).Read();
}

bool IsMadeKey(Tree_Node& key) {
  std::vector<Tree_Node*> open = {&key};
  while (!open.empty()) {
    Tree_Node& node = *open.back();
    open.pop_back();
    if (KindOf(node) != NodeKind::kImpliedKey) return true;
    for (int i = 0; i < node.GetChildCount(); ++i) {
      if (!node.GetChildAt(i)->IsLeaf()) open.push_back(node.GetChildAt(i).get());
    }
  }
  return false;
}

std::string QuoteRegText(std::string_view text) {
  const bool plain = !StartsWith(text, "\"") && !StartsWith(text, "dword:") &&
                     !StartsWith(text, "hex:") && !StartsWith(text, "hex(") &&
                     text != kDeletedValue && text != kDeletedKey;
  if (plain) return std::string(text);
  std::string quoted = "\"";
  quoted += text;
  quoted += '"';
  return quoted;
}

}  // namespace cfgtree
