// Operations on whole trees in the plainest form, beside those of naive_tree.h: records,
// building, merge, changes and checksum.  They recurse, scan and copy, and share nothing
// with the library.

#ifndef TREE_TESTS_PROPERTY_NAIVE_WHOLE_TREES_H
#define TREE_TESTS_PROPERTY_NAIVE_WHOLE_TREES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "property/naive_tree.h"

namespace naive {

// --- Merge ------------------------------------------------------------------------

inline bool IsChunkArea(Handle& node) {
  return !node->GetValue("blobencoding", node).empty() &&
         !node->GetValue("chunk0000", node).empty();
}

// The first child of exactly that name.
inline Handle FirstNamed(const Node& node, const std::string& name) {
  for (const Handle& child : node.children) {
    if (child->name == name) return child;
  }
  return nullptr;
}

inline Handle Merge(World& world, Handle base, Handle upper) {
  if (upper == nullptr) return base;
  if (base == nullptr) return upper;
  if (IsChunkArea(upper)) {
    world.Write(6, "Merge", "Found chunk area that should be kept united Modifying it accordingly");
    world.Write(7, "Merge",
                "Override = replace all the chunks ---- No-Override dont replace the chunks");
    return upper;
  }
  Handle result = upper->DuplicateFromHereDown(true);
  const int count = base->GetChildCount();
  for (int i = 0; i < count; ++i) {
    const Handle child = base->GetChildAt(i);
    const Handle match = FirstNamed(*result, child->name);
    if (match == nullptr) {
      result->Add(child->DuplicateFromHereDown(true));
    } else if (!child->IsLeaf()) {
      const Handle merged = Merge(world, child, match);
      result->Remove(match);
      result->Add(merged);
    }
  }
  return result;
}

inline Handle MergeOneLevel(Handle base, Handle upper) {
  if (upper == nullptr) return base;
  if (base == nullptr) return upper;
  Handle result = upper->DuplicateFromHereDown(true);
  const int count = base->GetChildCount();
  for (int i = 0; i < count; ++i) {
    const Handle child = base->GetChildAt(i);
    if (FirstNamed(*result, child->name) == nullptr) {
      result->Add(child->DuplicateFromHereDown(true));
    }
  }
  return result;
}

// --- Changes and checksum -----------------------------------------------------------

// A node whose name is taken as it is, without a line.
inline Handle MakeExactly(World& world, const std::string& name, Value* value = nullptr) {
  const int level = world.level;
  world.level = 0;
  Handle node = Node::Make(world, "name", value);
  world.level = level;
  node->SetKeyName(name);
  return node;
}

inline Handle GetChangesTreeNode(World& world, const Handle& node) {
  if (node == nullptr) return nullptr;
  Handle result;
  const auto append = [&](Handle child) {
    if (result == nullptr) result = MakeExactly(world, node->name);
    result->Insert(child, result->GetChildCount(), -1);
  };
  const int count = node->GetChildCount();
  for (int i = 0; i < count; ++i) {
    const Handle child = node->GetChildAt(i);
    if (!child->IsLeaf()) {
      Handle below = GetChangesTreeNode(world, child);
      if (below != nullptr) append(below);
      continue;
    }
    const Value* value = child->GetTreeValue();
    if (value == nullptr || value->flag == 0) continue;
    append(MakeExactly(world, child->name, new Value(world, value->text, 1)));
  }
  return result;
}

class Crc {
 public:
  void AddByte(unsigned char byte) {
    m_register ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      m_register = (m_register >> 1) ^ ((m_register & 1u) != 0 ? 0xEDB88320u : 0u);
    }
  }
  void AddText(const std::string& text) {
    for (const char c : Printed(text)) AddByte(static_cast<unsigned char>(c));
  }
  std::uint32_t Finish() const { return ~m_register; }

 private:
  std::uint32_t m_register = 0xFFFFFFFFu;
};

inline std::uint32_t GetChecksumIgnoreOrder(const Node& node) {
  std::vector<const Node*> sorted;
  for (const Handle& child : node.children) sorted.push_back(child.get());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Node* a, const Node* b) { return a->GetPath() < b->GetPath(); });
  Crc crc;
  for (const Node* child : sorted) {
    for (std::uint32_t sum = GetChecksumIgnoreOrder(*child); sum != 0; sum >>= 4) {
      crc.AddByte(static_cast<unsigned char>('A' + (sum & 0xFu)));
    }
  }
  crc.AddText(" ");
  crc.AddText(node.name);
  crc.AddText(" ");
  if (node.value != nullptr) crc.AddText(node.value->text);
  return crc.Finish();
}

// --- Serialized trees ----------------------------------------------------------------

struct IdRecord {
  int id;
  int parent_id;
  std::string name;
  std::string value;  // empty when there is none
  int flag;
};
using IdRecords = std::vector<IdRecord>;

inline void FillIdRecords(const Node& node, IdRecords& records, int parent_id,
                          const std::string& skip_name) {
  const int id = static_cast<int>(records.size());
  records.push_back({id, parent_id, node.name, "", 0});
  for (const Handle& child : node.children) {
    if (child->IsLeaf()) {
      const Value* value = child->value.get();
      records.push_back({static_cast<int>(records.size()), id, child->name,
                         value == nullptr ? "" : value->text, value == nullptr ? 0 : value->flag});
    } else if (child->name != skip_name) {
      FillIdRecords(*child, records, id, "");
    }
  }
}

inline std::optional<IdRecords> GetIdRecords(World& world, const Handle& tree,
                                             const std::string& skip_name) {
  world.Write(7, "GetIdNodeVecFromTreeSkipPath",
              "Start GetIdNodeVecFromTree(Tree_NodePtr & tree)\n");
  if (tree == nullptr) return std::nullopt;
  IdRecords records;
  FillIdRecords(*tree, records, -1, skip_name);
  return records;
}

class RecordWriter {
 public:
  explicit RecordWriter(World& world) : m_world(world) {}

  // The bytes of the records.  Texts end at their zero byte; what this leaves over is
  // made up by zeros at the end.
  std::string Write(const IdRecords& records, const std::string& virtual_path, bool header) {
    std::size_t size = header ? virtual_path.size() + 4 : 0;
    if (header) {
      Number("virtual parent path len", static_cast<int>(virtual_path.size()));
      m_bytes += virtual_path;
      Line("virtual parent path", virtual_path);
    }
    for (const IdRecord& record : records) {
      size += 16 + record.name.size() + (record.value.empty() ? 0 : record.value.size() + 4);
      Number("id", record.id);
      Number("p_id", record.parent_id);
      Text("path len", "path", record.name);
      if (Text("val_len ", "val", record.value)) {
        Line("is change", std::to_string(record.flag));
        Append(record.flag);
      }
    }
    m_bytes.resize(size);
    return m_bytes;
  }

 private:
  bool Text(const char* length_name, const char* name, const std::string& text) {
    const std::string printed = Printed(text);
    Number(length_name, static_cast<int>(printed.size()));
    // An empty name has its line, an empty value has none.
    if (printed.empty() && std::string(name) == "val") return false;
    Line(name, printed);
    m_bytes += printed;
    return true;
  }
  void Number(const char* name, int number) {
    Line(name, std::to_string(number));
    Append(number);
  }
  void Append(int number) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      m_bytes += static_cast<char>(static_cast<unsigned>(number) >> shift & 0xFFu);
    }
  }
  void Line(const std::string& name, const std::string& text) {
    m_world.Write(6, "GetSerializeIdNodeInfoVec", "Write " + name + " <" + Printed(text) + ">\n");
  }

  World& m_world;
  std::string m_bytes;
};

inline std::optional<std::string> Serialize(World& world, const Handle& tree, bool header,
                                            const std::string& skip_name) {
  const std::optional<IdRecords> records = GetIdRecords(world, tree, skip_name);
  if (records) return RecordWriter(world).Write(*records, "", header);
  world.Write(3, "GetSerializedTreeNodeSkipPath", "Failed to create id node vec\n");
  return std::nullopt;
}

inline std::optional<std::string> SerializeInTwoSteps(World& world, const Handle& tree, bool header,
                                                      const std::string& skip_name,
                                                      const std::string& virtual_path) {
  const std::optional<IdRecords> records = GetIdRecords(world, tree, skip_name);
  if (records) return RecordWriter(world).Write(*records, virtual_path, header);
  world.Write(3, "GetSerializeIdNodeInfoVec",
              "GetSerializeIdNodeInfoVec(RWTPtrOrderedVector<Tree_IdNodeInfo> * vec,int & "
              "size_of_ret) : vec parameter is NULL, return NULL\n");
  return std::nullopt;
}

// --- Path/value records ----------------------------------------------------------------

struct PathRecord {
  std::string path;
  int index = 0;  // of the end of the parent's path
  std::string value;
  int flag = 0;

  std::string ParentPath() const {
    if (index <= 0) return "";
    return path.substr(0, static_cast<std::size_t>(index));
  }
};
using PathRecords = std::vector<PathRecord>;

inline void InsertSorted(PathRecords& records, PathRecord record) {
  const auto place =
      std::upper_bound(records.begin(), records.end(), record,
                       [](const PathRecord& a, const PathRecord& b) { return a.path < b.path; });
  records.insert(place, std::move(record));
}

inline void Convert(const Node& node, const std::string& parent_path, bool sorted,
                    PathRecords& records) {
  PathRecord record;
  record.path = parent_path.empty() ? node.name : parent_path + node.world.separator + node.name;
  record.index = static_cast<int>(parent_path.size());
  if (node.IsLeaf() && node.value != nullptr) {
    record.value = node.value->text;
    record.flag = node.value->flag;
  }
  const std::string path = record.path;
  if (sorted) {
    InsertSorted(records, record);
  } else {
    records.push_back(record);
  }
  for (const Handle& child : node.children) Convert(*child, path, sorted, records);
}

// BuildSubTree().  Records whose parent is not found end it; the lines of level 7 come of
// the operations that it is made of.
class SubTreeBuilder {
 public:
  explicit SubTreeBuilder(World& world) : m_world(world) {}

  Handle Build(const PathRecords& records, const std::string& root_path) {
    const std::string name = root_path.substr(root_path.rfind('\\') + 1);
    if (name.empty()) return nullptr;
    m_root = Node::Make(m_world, name);
    m_world.Write(6, "BuildSubTree", "BuildSubTree :: Start build <" + Printed(root_path) + ">\n");
    for (const PathRecord& record : records) {
      if (Place(record)) continue;
      m_world.Write(3, "BuildSubTree", "path_elem_parent_path\n");
      return nullptr;
    }
    m_root->SetVirtualParentPath(root_path);
    m_world.Write(6, "BuildSubTree", "BuildSubTree :: End build <" + Printed(root_path) + ">\n");
    return m_root;
  }

 private:
  bool Place(const PathRecord& record) {
    const std::string name = GoToParent(record.ParentPath(), record.path);
    m_previous_path = record.path;
    if (m_parent == nullptr) {
      m_world.Write(3, "BuildSubTree", "there is an element without a root in the vec:");
      return false;
    }
    Path path(name);
    if (m_parent->GetRelativeNode(path, m_parent) != nullptr) {
      m_world.Write(5, "BuildSubTree",
                    "entry exists for path " + Printed(record.path) + " skip it\n");
    } else if (!record.value.empty()) {
      m_parent->Add(Node::Make(m_world, name, new Value(m_world, record.value, record.flag)));
    } else {
      m_last_inner = Node::Make(m_world, name);
      m_parent->Add(m_last_inner);
    }
    return true;
  }

  // Returns the name below the parent.
  std::string GoToParent(const std::string& parent_path, const std::string& path) {
    if (parent_path.empty()) {
      m_parent = m_root;
      m_previous_parent_path.clear();
      return path;
    }
    if (parent_path != m_previous_parent_path) {
      if (parent_path == m_previous_path) {
        m_parent = m_last_inner;
      } else {
        GoAcross(parent_path);
      }
      m_previous_parent_path = parent_path;
    }
    return path.size() > parent_path.size() ? path.substr(parent_path.size() + 1) : "";
  }

  void GoAcross(const std::string& parent_path) {
    const std::string& old = m_previous_parent_path;
    const std::size_t cut = CommonEnd(old, parent_path);
    if (cut == std::string::npos) {
      Descend(m_root, parent_path);
      return;
    }
    if (old.size() > cut) {
      Climb(1 + std::count(old.begin() + static_cast<std::ptrdiff_t>(cut) + 1, old.end(), '\\'));
    }
    if (parent_path.size() > cut) Descend(m_parent, parent_path.substr(cut + 1));
  }

  // Where the last common component of both ends.
  static std::size_t CommonEnd(const std::string& a, const std::string& b) {
    const auto ends_at = [](const std::string& path, std::size_t at) {
      return at == path.size() || path[at] == '\\';
    };
    std::size_t equal = 0;
    while (equal < a.size() && equal < b.size() && a[equal] == b[equal]) ++equal;
    const bool one_ends = equal == a.size() || equal == b.size();
    if (one_ends && ends_at(a, equal) && ends_at(b, equal)) return equal;
    return equal == 0 ? std::string::npos : a.rfind('\\', equal - 1);
  }

  void Climb(std::ptrdiff_t levels) {
    Node* node = m_parent.get();
    for (; levels > 0 && node != nullptr; --levels) node = node->parent;
    if (node == nullptr || node->parent == nullptr) return;
    for (const Handle& child : node->parent->children) {
      if (child.get() != node) continue;
      const Handle found = child;
      m_parent = found;
      return;
    }
  }

  void Descend(Handle from, const std::string& relative) {
    Path path(relative);
    m_parent = from == nullptr ? nullptr : from->GetOrCreateRelativeNode(path, from);
  }

  World& m_world;
  Handle m_root;
  Handle m_parent;
  Handle m_last_inner;
  std::string m_previous_parent_path;
  std::string m_previous_path;
};

}  // namespace naive

#endif  // TREE_TESTS_PROPERTY_NAIVE_WHOLE_TREES_H
