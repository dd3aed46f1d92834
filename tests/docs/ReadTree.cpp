#include "docs/ReadTree.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace docs {

// Word for word what docs/formats.md shows.
Tree_NodePtr ReadTree(const char* bytes, int size) {
  struct Record {
    int parent;
    RWCString name;
    RWCString value;
    int is_change;
    bool has_children;
  };
  int at = 0;
  const auto number = [&] {
    std::uint32_t bits = 0;
    for (int i = 0; i < 4; ++i) bits = bits << 8 | static_cast<unsigned char>(bytes[at++]);
    return static_cast<int>(bits);
  };
  const auto text = [&](int length) {
    at += length;
    return RWCString(bytes + at - length, static_cast<std::size_t>(length));
  };
  // Whether `length` bytes and four more are left.
  const auto fits = [&](int length) { return size - at >= 4 && length <= size - at - 4; };

  std::vector<Record> records;
  while (at < size) {
    if (size - at < 12) return Tree_NodePtr();
    const int id = number();
    Record record = {number(), RWCString(), RWCString(), 0, false};
    const int name_length = number();
    if (name_length < 0 || !fits(name_length)) return Tree_NodePtr();
    record.name = text(name_length);
    const int value_length = number();
    if (value_length < 0 || (value_length > 0 && !fits(value_length))) return Tree_NodePtr();
    if (value_length > 0) {
      record.value = text(value_length);
      record.is_change = number();
    }
    if (id != static_cast<int>(records.size())) return Tree_NodePtr();
    if (id == 0) {
      if (record.parent != -1) return Tree_NodePtr();
    } else {
      if (record.parent < 0 || record.parent >= id) return Tree_NodePtr();
      Record& parent = records[static_cast<std::size_t>(record.parent)];
      if (!parent.value.isNull()) return Tree_NodePtr();
      parent.has_children = true;
    }
    records.push_back(record);
  }

  std::vector<Tree_NodePtr> nodes;
  for (const Record& record : records) {
    const bool is_inner = record.has_children || nodes.empty();
    Tree_Value* value = is_inner ? nullptr : new Tree_Value(record.value, record.is_change);
    nodes.push_back(Tree_NodePtr(new Tree_Node("new", value)));
    nodes.back()->SetKeyName(record.name);
    if (nodes.size() > 1) nodes[static_cast<std::size_t>(record.parent)]->Add(nodes.back());
  }
  return nodes.empty() ? Tree_NodePtr() : nodes[0];
}

}  // namespace docs
