#include "readers/IniReader.h"

#include <string>

#include "Encoding.h"
#include "Error.h"
#include "Names.h"
#include "Text.h"

namespace cfgtree {
namespace {

bool IsComment(std::string_view line) {
  return line[0] == ';' || line[0] == '#';
}

class IniLines {
 public:
  IniLines(const Source& source, std::string_view text, TreeBuilder& tree)
      : m_source(source), m_text(text), m_tree(tree) {}

  void Read() {
    for (std::size_t start = 0; start < m_text.size();) {
      std::size_t end = m_text.find('\n', start);
      if (end == m_text.npos) end = m_text.size();
      ReadLine(m_text.substr(start, end - start));
      start = end + 1;
      m_source.Report(start, m_text.size());
    }
  }

 private:
  void ReadLine(std::string_view whole) {
    const std::string_view line = Trimmed(whole, kIniBlanks);
    if (line.empty() || IsComment(line)) return;
    if (line[0] == '[') return ReadSection(line);

    const std::size_t equals = line.find('=');
    if (equals != line.npos) return ReadKey(line, equals);

    // Flags such as "skip-networking" are keys; an indented word is more likely to
    // continue the value above it, which these rules do not have.
    if (line.data() != whole.data()) {
      Fail(line, "an indented line without a = (values end with their line)");
    }
    if (line.find_first_of(" \t") != line.npos) {
      Fail(line, "not a [section], a name = value or a comment");
    }
    m_tree.Leaf(EncodeName(line, m_storage), "", NodeKind::kBareKey);
  }

  void ReadSection(std::string_view line) {
    const std::size_t close = FindClose(line);
    if (m_tree.Current() != m_tree.Top()) m_tree.Leave();
    m_tree.Enter(EncodeName(Trimmed(line.substr(1, close - 1), kIniBlanks), m_storage));
  }

  // The first ] with nothing but a comment behind it, since names may have a ] inside.
  std::size_t FindClose(std::string_view line) const {
    std::size_t last = line.npos;
    for (std::size_t i = line.find(']'); i != line.npos; i = line.find(']', i + 1)) {
      const std::size_t next = line.find_first_not_of(kIniBlanks, i + 1);
      if (next == line.npos || IsComment(line.substr(next))) return i;
      last = next;
    }
    if (last == line.npos) Fail(line, "a section name without its closing ]");
    Fail(line.substr(last), "text behind the ] of a section name");
  }

  void ReadKey(std::string_view line, std::size_t equals) {
    const std::string_view name = Trimmed(line.substr(0, equals), kIniBlanks);
    if (name.empty()) Fail(line, "a value without a name before its =");
    m_tree.Leaf(EncodeName(name, m_storage), Trimmed(line.substr(equals + 1), kIniBlanks));
  }

  [[noreturn]] void Fail(std::string_view where, std::string_view what) const {
    const auto offset = static_cast<std::size_t>(where.data() - m_text.data());
    throw Error::AtText(m_source.name, m_text, offset, what);
  }

  const Source& m_source;
  std::string_view m_text;
  TreeBuilder& m_tree;
  std::string m_storage;
};

}  // namespace

void ReadIni(const Source& source, TreeBuilder& tree) {
  std::string storage;
  const std::string_view text = DecodeText(source.name, source.bytes, storage);
  IniLines(source, text, tree).Read();
}

}  // namespace cfgtree
