// Tree_Node: a tree as a list of numbered records, and as one buffer of bytes.
//
// The buffer is, for each record in the list's order and with every number as a signed
// 32-bit integer, most significant byte first:
//
//   id | parent id | P | P bytes of key name | V | V bytes of value, is change
//
// where the last two are there only when V is not 0.  A header of the virtual parent
// path's length and bytes may stand in front; nothing in the buffer says so.

#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "Tree/Tree_ChildrenAhead.h"
#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_Statics.h"
#include "Zel/Zel_LargePages.h"

namespace {

using RecordList = RWTPtrOrderedVector<Tree_IdNodeInfo>;

constexpr int kIntSize = 4;
constexpr int kFixedSize = 4 * kIntSize;  // id, parent id, both lengths

long long LengthOf(const RWCString* text) {
  return text == nullptr ? 0 : static_cast<long long>(text->length());
}

// Bytes of a record in the buffer.
long long RecordSize(const RWCString* path, const RWCString* value) {
  const long long value_length = LengthOf(value);
  return kFixedSize + LengthOf(path) + (value_length > 0 ? value_length + kIntSize : 0);
}

// GetInfoVecLen() before it is cut to an int.
long long ListSize(const RecordList* vec, const RWCString& virtual_parent_path,
                   bool with_virtual_parent_path) {
  if (vec == nullptr) return 0;
  long long size = with_virtual_parent_path ? LengthOf(&virtual_parent_path) + kIntSize : 0;
  for (std::size_t i = 0; i < vec->entries(); ++i) {
    size += RecordSize(vec->at(i)->GetRWPath(), vec->at(i)->GetRWValue());
  }
  return size;
}

// A buffer for `size` bytes and the one behind them that nobody writes.
std::unique_ptr<char[]> NewBuffer(long long size) {
  if (size > INT_MAX) throw std::bad_alloc();
  const std::size_t bytes = static_cast<std::size_t>(size) + 1;
  std::unique_ptr<char[]> buffer(new char[bytes]);
  Zel_WishLargePages(buffer.get(), bytes);
  return buffer;
}

// The Put functions write at a place in a buffer and return the place behind.

// The bytes of a number in reverse order, for which compilers know the one instruction that it
// is; stores of single bytes are not always seen for what they are.
inline std::uint32_t Reversed(std::uint32_t bits) {
  return (bits >> 24) | ((bits >> 8) & 0xFF00u) | ((bits << 8) & 0xFF0000u) | (bits << 24);
}

inline char* PutInt(char* at, int value) {
  auto bits = static_cast<std::uint32_t>(value);
  if constexpr (std::endian::native == std::endian::little) bits = Reversed(bits);
  std::memcpy(at, &bits, kIntSize);
  return at + kIntSize;
}

// Copies a text that ends with a zero byte.
//
// Texts are short and of all lengths, so that a branch that depends on the length is often
// predicted wrongly, which takes longer than the copying.  Up to 31 bytes are therefore copied
// as pieces of 16, 8, 4, 2 and 1 bytes; in the place of one that is not there stands something
// else until the next piece, or what is put behind the text, covers it.  The buffer ends at
// `end`.
inline char* PutBytes(char* at, const char* end, const char* bytes, std::size_t length) {
  static constexpr char kSomething[32] = {};
  if (length >= 32 || end - at < 48) {
    std::memcpy(at, bytes, length);
    return at + length;
  }
  const char* const from[2] = {kSomething, bytes};
  std::memcpy(at, from[length >> 4], 16);
  std::memcpy(at + (length & 16), from[(length >> 3) & 1] + (length & 16), 8);
  std::memcpy(at + (length & 24), from[(length >> 2) & 1] + (length & 24), 4);
  std::memcpy(at + (length & 28), from[(length >> 1) & 1] + (length & 28), 2);
  // The last byte, or the zero byte.
  at[length & 30] = bytes[length & 30];
  return at + length;
}

// A text up to its first zero byte, behind the number of its bytes.
inline char* PutText(char* at, const char* end, const char* text) {
  const std::size_t length = std::strlen(text);
  return PutBytes(PutInt(at, static_cast<int>(length)), end, text, length);
}

// Frees a record the way it was made.
void FreeRecord(Tree_IdNodeInfo* record, Zel_PoolAllocator* pool) {
  if (pool != nullptr && pool->Exist(record)) {
    record->~Tree_IdNodeInfo();
    pool->AddToFreeList(record);
  } else {
    delete record;
  }
}

// A list together with its records, for as long as they may have to be freed.
class OwnedList {
 public:
  OwnedList(RecordList* list, Zel_PoolAllocator* pool) : m_list(list), m_pool(pool) {}
  OwnedList(const OwnedList&) = delete;
  OwnedList& operator=(const OwnedList&) = delete;
  ~OwnedList() {
    if (m_list == nullptr) return;
    for (std::size_t i = 0; i < m_list->entries(); ++i) FreeRecord(m_list->at(i), m_pool);
    delete m_list;
  }

  RecordList* Get() const { return m_list; }
  RecordList* Release() {
    RecordList* const list = m_list;
    m_list = nullptr;
    return list;
  }

 private:
  RecordList* m_list;
  Zel_PoolAllocator* m_pool;
};

}  // namespace

// --- Records -----------------------------------------------------------------

Tree_IdNodeInfo* Tree_Node::get_allocated_tree_node_info(Zel_PoolAllocator* pool) {
  void* const block = pool == nullptr ? nullptr : pool->Allocate();
  return block == nullptr ? new Tree_IdNodeInfo : ::new (block) Tree_IdNodeInfo;
}

// The node's strings are interned already and go into the record as they are.
void Tree_Node::FillIdNode(Tree_IdNodeInfo& record, Tree_NodePtr& node, bool with_value,
                           int parent_id, int id) {
  record.m_path = tree_interning::InternAgain(node->m_key_name);
  record.m_parent_id = parent_id;
  record.m_id = id;
  if (!with_value) return;
  const Tree_Value* const value = node->m_value;
  record.m_is_change = value == nullptr ? 0 : value->m_is_change;
  record.m_value = value == nullptr ? tree_interning::Intern(tree_statics::empty_string)
                                    : tree_interning::InternAgain(value->m_value);
}

// Calls `emit(node, with_value, parent_id, id)` for a node and what is flattened of its
// sub-tree, in pre-order; the ids go on behind `last_id`.
template <class Emit>
void Tree_Node::VisitFlattened(Tree_NodePtr& top, int& last_id, int parent_id,
                               const RWCString& skip_name, Emit emit) {
  struct Level {
    ChildrenAhead children;  // those to come
    int id;                  // of their parent
  };
  // Names are interned: equal ones are one string, and no node bears one that is not
  // stored.
  const RWCString* const top_skip = tree_interning::Find(skip_name);
  const RWCString* const deep_skip = tree_interning::Find(tree_statics::empty_string);
  std::vector<Level> way;  // the levels above `level`
  Level level{ChildrenAhead(), parent_id};
  const RWCString* skip = nullptr;
  Tree_NodePtr* node = &top;
  bool is_leaf = false;
  for (;;) {
    emit(*node, is_leaf, level.id, ++last_id);
    if (!is_leaf && (*node)->m_children != nullptr) {
      way.push_back(level);
      level = {ChildrenAhead(node->get()), last_id};
      // Intended: the given name is skipped among the top's children only, the empty name
      // below them.
      skip = way.size() == 1 ? top_skip : deep_skip;
    }
    do {
      while (level.children.IsDone()) {
        if (way.empty()) return;
        level = way.back();
        way.pop_back();
        skip = way.size() == 1 ? top_skip : deep_skip;
      }
      node = &level.children.NextHandle();
      is_leaf = !node->isNull() && !(*node)->m_allows_children;
    } while (node->isNull() || (!is_leaf && skip != nullptr && (*node)->m_key_name == skip));
  }
}

void Tree_Node::FillIdVecFromTree(Tree_NodePtr& node, RecordList* vec, int& last_id, int parent_id,
                                  Zel_PoolAllocator* pool, RWCString& skip_name) {
  VisitFlattened(node, last_id, parent_id, skip_name,
                 [vec, pool](Tree_NodePtr& visited, bool with_value, int parent, int id) {
                   Tree_IdNodeInfo* const record = get_allocated_tree_node_info(pool);
                   // From here on whoever owns the list owns the record.
                   vec->append(record);
                   FillIdNode(*record, visited, with_value, parent, id);
                 });
}

RecordList* Tree_Node::GetIdNodeVecFromTree(Tree_NodePtr& tree, Zel_PoolAllocator* pool) {
  RWCString skip_name;
  return GetIdNodeVecFromTreeSkipPath(tree, pool, skip_name);
}

RecordList* Tree_Node::GetIdNodeVecFromTreeSkipPath(Tree_NodePtr& tree, Zel_PoolAllocator* pool,
                                                    RWCString& skip_name) {
  // Intended: the line names the other operation, whichever was called.
  TREE_LOG("GetIdNodeVecFromTreeSkipPath", tree_log::kTrace, "Start %s\n",
           "GetIdNodeVecFromTree(Tree_NodePtr & tree)");
  if (tree.isNull()) return nullptr;
  OwnedList vec(new RecordList, pool);
  // Room for every node, so that appending a record cannot fail.
  vec.Get()->resize(static_cast<std::size_t>(tree->GetNodeNum()));
  int last_id = -1;
  FillIdVecFromTree(tree, vec.Get(), last_id, -1, pool, skip_name);
  return vec.Release();
}

// --- Bytes -------------------------------------------------------------------

int Tree_Node::GetInfoVecLen(RecordList* vec, RWCString virtual_parent_path,
                             bool with_virtual_parent_path) {
  return static_cast<int>(ListSize(vec, virtual_parent_path, with_virtual_parent_path));
}

void Tree_Node::WriteIntToChar(int* value, char* buffer, int offset) {
  PutInt(buffer + offset, *value);
}

// Writes a list of records into a buffer, and a line to the log about each thing that it writes.
class Tree_Node::ListWriter {
 public:
  explicit ListWriter(char* buffer) : m_buffer(buffer) {}

  void PutHeader(const RWCString& virtual_parent_path) {
    const int length = static_cast<int>(virtual_parent_path.length());
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle,
             "Write virtual parent path len <%d>\n", length);
    Put(length);
    Put(virtual_parent_path.data(), length);
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write virtual parent path <%s>\n",
             virtual_parent_path.data());
  }

  void PutRecord(const Tree_IdNodeInfo& record) {
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write id <%d>\n", record.m_id);
    Put(record.m_id);
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write p_id <%d>\n",
             record.m_parent_id);
    Put(record.m_parent_id);

    const char* const path = record.GetPath();
    const int path_length = static_cast<int>(std::strlen(path));
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write path len <%d>\n",
             path_length);
    Put(path_length);
    Put(path, path_length);
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write path <%s>\n", path);

    const char* const value = record.GetValue();
    const int value_length = static_cast<int>(std::strlen(value));
    // Intended: two blanks.
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write val_len  <%d>\n",
             value_length);
    Put(value_length);
    if (value_length == 0) return;
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write val <%s>\n", value);
    Put(value, value_length);
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kLifecycle, "Write is change <%d>\n",
             record.m_is_change);
    Put(record.m_is_change);
  }

  // With zero bytes.
  void FillUpTo(int size) {
    std::memset(m_buffer + m_at, 0, static_cast<std::size_t>(size - m_at));
  }

 private:
  void Put(int value) {
    WriteIntToChar(&value, m_buffer, m_at);
    m_at += kIntSize;
  }
  void Put(const char* text, int length) {
    std::memcpy(m_buffer + m_at, text, static_cast<std::size_t>(length));
    m_at += length;
  }

  char* const m_buffer;
  int m_at = 0;
};

char* Tree_Node::GetSerializeIdNodeInfoVec(RecordList* vec, int& size_of_ret,
                                           RWCString virtual_parent_path,
                                           bool with_virtual_parent_path, bool keep_vec) {
  if (vec == nullptr) {
    TREE_LOG("GetSerializeIdNodeInfoVec", tree_log::kError,
             "%s : vec parameter is NULL, return NULL\n",
             "GetSerializeIdNodeInfoVec(RWTPtrOrderedVector<Tree_IdNodeInfo> * vec,int & "
             "size_of_ret)");
    return nullptr;
  }
  const long long size = ListSize(vec, virtual_parent_path, with_virtual_parent_path);
  char* const buffer = NewBuffer(size).release();
  size_of_ret = static_cast<int>(size);

  ListWriter writer(buffer);
  if (with_virtual_parent_path) writer.PutHeader(virtual_parent_path);
  for (std::size_t i = 0; i < vec->entries(); ++i) writer.PutRecord(*vec->at(i));
  // Texts with a zero byte inside take less than was reckoned.
  writer.FillUpTo(size_of_ret);
  if (!keep_vec) OwnedList(vec, nullptr);
  return buffer;
}

char* Tree_Node::GetSerializedTreeNode(Tree_NodePtr& tree, int& size_of_ret,
                                       bool with_virtual_parent_path) {
  RWCString skip_name;
  return GetSerializedTreeNodeSkipPath(tree, size_of_ret, with_virtual_parent_path, skip_name);
}

char* Tree_Node::GetSerializedTreeNodeSkipPath(Tree_NodePtr& tree, int& size_of_ret,
                                               bool with_virtual_parent_path,
                                               RWCString& skip_name) {
  // The records are only needed where somebody reads the log of their writing.
  if (!tree.isNull() && ZelGLog.GetLevel() < tree_log::kLifecycle) {
    return SerializeDirectly(tree, size_of_ret, with_virtual_parent_path, skip_name);
  }
  int count = 0;
  GetRecursiveChildCount(tree, count);
  Zel_PoolAllocator pool("Tree_IdNodeInfo", sizeof(Tree_IdNodeInfo), 3, count, 8, true);
  const OwnedList vec(GetIdNodeVecFromTreeSkipPath(tree, &pool, skip_name), &pool);
  if (vec.Get() == nullptr) {
    TREE_LOG("GetSerializedTreeNodeSkipPath", tree_log::kError, "Failed to create id node vec\n");
    return nullptr;
  }
  return GetSerializeIdNodeInfoVec(vec.Get(), size_of_ret, tree_statics::empty_string,
                                   with_virtual_parent_path, true);
}

// The same bytes without the records: one walk adds up their size, another writes them.
char* Tree_Node::SerializeDirectly(Tree_NodePtr& tree, int& size_of_ret,
                                   bool with_virtual_parent_path, const RWCString& skip_name) {
  const auto value_of = [](Tree_NodePtr& node, bool with_value) {
    return with_value && node->m_value != nullptr ? node->m_value->m_value : nullptr;
  };
  long long size = with_virtual_parent_path ? kIntSize : 0;
  int last_id = -1;
  VisitFlattened(tree, last_id, -1, skip_name,
                 [&](Tree_NodePtr& node, bool with_value, int /*parent_id*/, int /*id*/) {
                   size += RecordSize(node->m_key_name, value_of(node, with_value));
                 });

  std::unique_ptr<char[]> buffer = NewBuffer(size);
  char* at = buffer.get();
  const char* const end = at + size;
  if (with_virtual_parent_path) at = PutInt(at, 0);
  last_id = -1;
  VisitFlattened(tree, last_id, -1, skip_name,
                 [&](Tree_NodePtr& node, bool with_value, int parent_id, int id) {
                   const RWCString* const value = value_of(node, with_value);
                   char* to = PutInt(PutInt(at, id), parent_id);
                   to = PutText(to, end, node->m_key_name->data());
                   char* const value_at = to + kIntSize;
                   to = value == nullptr ? PutInt(to, 0) : PutText(to, end, value->data());
                   at = to == value_at ? to : PutInt(to, node->m_value->m_is_change);
                 });
  std::memset(at, 0, static_cast<std::size_t>(end - at));
  size_of_ret = static_cast<int>(size);
  return buffer.release();
}
