#include "readers/TreeReader.h"

#include <cstdint>
#include <map>
#include <vector>

#include "Encoding.h"
#include "Error.h"
#include "Text.h"

namespace cfgtree {
namespace {

constexpr std::size_t kNumberSize = 4;
constexpr std::int32_t kNoParent = -1;

// A place in the buffer.  Whatever it takes is inside, or an Error is thrown.
class Cursor {
 public:
  Cursor(const Source& source, std::size_t offset) : m_source(source), m_offset(offset) {}

  std::size_t Offset() const { return m_offset; }
  std::size_t Left() const { return m_source.bytes.size() - m_offset; }

  std::int32_t Number(std::string_view what) {
    if (Left() < kNumberSize) {
      Fail(m_offset, "the file ends inside " + std::string(what));
    }
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < kNumberSize; ++i) {
      number = number << 8 | static_cast<unsigned char>(m_source.bytes[m_offset + i]);
    }
    m_offset += kNumberSize;
    return static_cast<std::int32_t>(number);
  }

  // A length and as many bytes.  `what` follows "a" in messages.
  std::string_view Text(std::string_view what) {
    const std::size_t start = m_offset;
    const std::int32_t length = Number("the length of a " + std::string(what));
    if (length < 0) {
      Fail(start, "a " + std::string(what) + " of " + std::to_string(length) + " bytes");
    }
    const auto size = static_cast<std::size_t>(length);
    if (size > Left()) {
      Fail(start, "a " + std::string(what) + " of " + Counted(size, "byte", "bytes") +
                      ", but only " + Counted(Left(), "byte is", "bytes are") + " left");
    }
    const std::string_view text = m_source.bytes.substr(m_offset, size);
    m_offset += size;
    return text;
  }

  [[noreturn]] void Fail(std::size_t offset, const std::string& what) const {
    throw Error::AtByte(m_source.name, offset, what);
  }

 private:
  const Source& m_source;
  std::size_t m_offset;
};

// Where a record with this id is in the list.  As long as ids count up from 0 they are
// that number themselves.
class IdIndex {
 public:
  static constexpr int kNone = -1;

  // False when the id is there already.
  bool Add(std::int32_t id) {
    if (m_sparse.empty()) {
      if (id == m_count) return ++m_count, true;
      if (id < m_count) return false;
      for (int i = 0; i < m_count; ++i) m_sparse.emplace_hint(m_sparse.end(), i, i);
    }
    return m_sparse.emplace(id, m_count++).second;
  }

  int Find(std::int32_t id) const {
    if (m_sparse.empty()) return id >= 0 && id < m_count ? id : kNone;
    const auto found = m_sparse.find(id);
    return found == m_sparse.end() ? kNone : found->second;
  }

 private:
  int m_count = 0;
  // A tree and no hash table: whoever chooses the ids must not choose how long it takes.
  std::map<std::int32_t, int> m_sparse;
};

// What has to be known of all records before the first node is made.
struct Record {
  std::uint32_t offset;  // of the length of its name
  std::int32_t parent;   // its place in the list
  bool has_value;
  bool has_children;
};

class TreeBuffer {
 public:
  TreeBuffer(const Source& source, TreeBuilder& tree) : m_source(source), m_tree(tree) {}

  void Read(std::optional<std::string>& header) {
    Cursor cursor(m_source, 0);
    ReadHeader(cursor, header);
    while (cursor.Left() > 0) {
      CheckRecord(cursor);
      m_source.Report(cursor.Offset() / 2, m_source.bytes.size());
    }
    Build();
  }

 private:
  void ReadHeader(Cursor& cursor, std::optional<std::string>& header) const {
    const std::string_view bytes = m_source.bytes;
    if (bytes.empty()) cursor.Fail(0, "the file is empty; a serialized tree has a record at least");
    // A file that ends inside the first ids has no header either, unless it is the header
    // of length 0.
    const std::string_view start = bytes.substr(0, kFirstRecord.size());
    if (start.size() != kNumberSize && StartsWith(kFirstRecord, start)) return;

    Cursor length(m_source, 0);
    const std::int32_t size = length.Number("its header");
    if (size < 0 || static_cast<std::size_t>(size) > length.Left()) {
      cursor.Fail(0, "not a serialized tree: neither id 0 below -1 nor the length of a header (" +
                         std::to_string(size) + ")");
    }
    header = std::string(cursor.Text("header"));
    if (cursor.Left() == 0) {
      cursor.Fail(cursor.Offset(), "the file ends where its first record should begin");
    }
  }

  void CheckRecord(Cursor& cursor) {
    const std::size_t start = cursor.Offset();
    const std::int32_t id = cursor.Number("the id of a record");
    const std::int32_t parent = cursor.Number("the parent id of a record");
    const bool first = m_records.empty();
    if (first && (id != 0 || parent != kNoParent)) {
      cursor.Fail(start, "not a serialized tree: its first record would have id " +
                             std::to_string(id) + " below " + std::to_string(parent) +
                             ", not 0 below -1");
    }
    if (id < 0) cursor.Fail(start, "id " + std::to_string(id) + " is negative");
    const int parent_index = first ? kNoParent : FindParent(cursor, start, parent);
    if (!m_ids.Add(id)) cursor.Fail(start, "id " + std::to_string(id) + " comes twice");

    const std::size_t name = cursor.Offset();
    cursor.Text("name");
    const bool has_value = !cursor.Text("value").empty();
    if (has_value) cursor.Number("the change flag of a value");
    m_records.push_back({static_cast<std::uint32_t>(name), parent_index, has_value, false});
    if (!first) m_records[static_cast<std::size_t>(parent_index)].has_children = true;
  }

  int FindParent(const Cursor& cursor, std::size_t start, std::int32_t parent) const {
    const std::size_t place = start + kNumberSize;
    if (parent == kNoParent) cursor.Fail(place, "a second record without a parent");
    const int index = m_ids.Find(parent);
    if (index == IdIndex::kNone) {
      cursor.Fail(place, "parent id " + std::to_string(parent) + " belongs to no earlier record");
    }
    if (m_records[static_cast<std::size_t>(index)].has_value) {
      cursor.Fail(place, "parent id " + std::to_string(parent) + " has a value and so no children");
    }
    return index;
  }

  // Everything is known to be in order.
  void Build() {
    std::vector<Tree_Node*> nodes(m_records.size());
    for (std::size_t i = 0; i < m_records.size(); ++i) {
      const Record& record = m_records[i];
      Cursor cursor(m_source, record.offset);
      const std::string_view name = cursor.Text("name");
      const std::string_view value = cursor.Text("value");
      if (i > 0) m_tree.GoTo(nodes[static_cast<std::size_t>(record.parent)]);
      nodes[i] = MakeNode(i == 0, record, name, value);
      if (record.has_value) {
        nodes[i]->GetTreeValue()->SetIsChange(cursor.Number("the change flag of a value"));
      }
      m_source.Report((m_source.bytes.size() + cursor.Offset()) / 2, m_source.bytes.size());
    }
  }

  Tree_Node* MakeNode(bool top, const Record& record, std::string_view name,
                      std::string_view value) {
    if (top) {
      m_tree.Top()->SetKeyName(ToRWCString(name));
      if (record.has_value) m_tree.MakeTopLeaf(value, NodeKind::kPlain);
      return m_tree.Top();
    }
    if (record.has_children) return m_tree.Enter(name);
    return m_tree.Leaf(name, value);
  }

  const Source& m_source;
  TreeBuilder& m_tree;
  IdIndex m_ids;
  std::vector<Record> m_records;
};

}  // namespace

void ReadTree(const Source& source, TreeBuilder& tree, std::optional<std::string>& header) {
  TreeBuffer(source, tree).Read(header);
}

}  // namespace cfgtree
