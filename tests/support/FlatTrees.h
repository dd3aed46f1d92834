// Lists of records and serialized trees, written as texts that a test can state.
//
//   flat::FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
//   EXPECT_EQ("0<-1 top, 1<0 a=1*1", flat::Shown(list.get()));
//   EXPECT_EQ(flat::Record(0, -1, "top") + flat::Record(1, 0, "a", "1", 1), ...);

#ifndef TREE_TESTS_SUPPORT_FLATTREES_H
#define TREE_TESTS_SUPPORT_FLATTREES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolAllocator.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace flat {

using RecordVec = RWTPtrOrderedVector<Tree_IdNodeInfo>;

// --- Trees -------------------------------------------------------------------

// top(a=1, b(c=x), d=)
inline Tree_NodePtr Mixed() {
  return Inner("top", {Leaf("a", "1"), Inner("b", {Leaf("c", "x")}), Leaf("d", "")});
}

// Inner nodes, leaves, and all that is neither quite the one nor quite the other:
// odd(kept, gone=, opened, valued=inside(in=1*3), Destroy()ed)
inline Tree_NodePtr Odd() {
  Tree_NodePtr opened = Leaf("opened", "was a value", 5);
  delete opened->GetTreeValue();
  opened->SetTreeValue(nullptr);
  Tree_NodePtr valued = Inner("valued", {Leaf("in", "1", 3)});
  valued->SetTreeValue(new Tree_Value("inside", 9));
  Tree_NodePtr emptied = Inner("emptied", {Leaf("lost", "1")});
  emptied->Destroy();
  return Inner("odd", {Leaf("kept", "k", -1), LeafWithoutValue("gone"), opened, valued, emptied});
}

// A node and `leaves` leaves below it, whose names of 1 MiB are one string.
inline Tree_NodePtr Huge(int leaves) {
  Tree_NodePtr top = Inner("huge");
  const RWCString name(std::string(std::size_t{1} << 20, 'h').c_str());
  for (int i = 0; i < leaves; ++i) {
    Tree_NodePtr leaf = Leaf(name, "");
    top->Insert(leaf, i, leaves);
  }
  return top;
}

// --- Lists of records ---------------------------------------------------------

// Gives records back the way they were made, and deletes the list.
inline void Free(RecordVec* vec, Zel_PoolAllocator* pool) {
  if (vec == nullptr) return;
  for (std::size_t i = 0; i < vec->entries(); ++i) {
    if (pool == nullptr || !pool->AddToFreeList(vec->at(i))) delete vec->at(i);
  }
  delete vec;
}

// A list and its records.
class FlatList {
 public:
  explicit FlatList(RecordVec* vec, Zel_PoolAllocator* pool = nullptr) : m_vec(vec), m_pool(pool) {}
  ~FlatList() { Free(m_vec, m_pool); }
  FlatList(const FlatList&) = delete;
  FlatList& operator=(const FlatList&) = delete;

  RecordVec* get() const { return m_vec; }
  RecordVec* release() { return std::exchange(m_vec, nullptr); }
  Tree_IdNodeInfo& operator[](std::size_t i) const { return *m_vec->at(i); }
  std::size_t size() const { return m_vec->entries(); }

 private:
  RecordVec* m_vec;
  Zel_PoolAllocator* m_pool;
};

// "2<0 port=80*7": id, id of the parent, name, value if there is one, flag unless it is 0.
inline std::string Shown(const Tree_IdNodeInfo& record) {
  std::string text = std::to_string(record.GetId()) + "<" + std::to_string(record.GetParentId());
  text += " " + (record.GetRWPath() == nullptr ? "(none)" : Text(*record.GetRWPath()));
  if (record.GetRWValue() != nullptr) text += "=" + Text(*record.GetRWValue());
  if (record.IsChange() != 0) text += "*" + std::to_string(record.IsChange());
  return text;
}

inline std::string Shown(const RecordVec* vec) {
  if (vec == nullptr) return "null";
  std::string text;
  for (std::size_t i = 0; i < vec->entries(); ++i) {
    if (i > 0) text += ", ";
    text += Shown(*vec->at(i));
  }
  return text;
}

inline std::string Flattened(Tree_NodePtr& tree) {
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(tree, nullptr));
  return Shown(list.get());
}

inline std::string Flattened(Tree_NodePtr& tree, RWCString skip_name) {
  const FlatList list(Tree_Node::GetIdNodeVecFromTreeSkipPath(tree, nullptr, skip_name));
  return Shown(list.get());
}

inline Zel_PoolAllocator* NewPool(int block_elements) {
  return new Zel_PoolAllocator("records of a test", sizeof(Tree_IdNodeInfo), -1, block_elements, 8,
                               true);
}

inline std::uint64_t InUse(const Zel_PoolAllocator& pool) {
  return pool.GetStats().elements_in_use;
}

// --- Buffers ------------------------------------------------------------------

inline std::string Int(int number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(static_cast<unsigned>(number) >> shift & 0xFFu);
  }
  return bytes;
}

inline std::string Counted(const std::string& text) {
  return Int(static_cast<int>(text.size())) + text;
}

// A record without a value, and one with it.
inline std::string Record(int id, int parent_id, const std::string& name) {
  return Int(id) + Int(parent_id) + Counted(name) + Int(0);
}
inline std::string Record(int id, int parent_id, const std::string& name, const std::string& value,
                          int is_change) {
  return Int(id) + Int(parent_id) + Counted(name) + Counted(value) + Int(is_change);
}

// Takes over what a call has returned, as bytes.
inline std::string Taken(char* buffer, int size) {
  const std::unique_ptr<char[]> owner(buffer);
  if (buffer == nullptr) return "null";
  if (size < 0) return "size " + std::to_string(size);
  return std::string(buffer, static_cast<std::size_t>(size));
}

inline std::string Written(RecordVec* vec, RWCString path, bool with_path, bool keep_vec) {
  int size = -1;
  char* const buffer = Tree_Node::GetSerializeIdNodeInfoVec(vec, size, path, with_path, keep_vec);
  return Taken(buffer, size);
}

// The bytes of Mixed().
inline const std::string& MixedBytes() {
  static const std::string bytes = Record(0, -1, "top") + Record(1, 0, "a", "1", 0) +
                                   Record(2, 0, "b") + Record(3, 2, "c", "x", 0) +
                                   Record(4, 0, "d");
  return bytes;
}

// --- Lines --------------------------------------------------------------------

inline LogLine StartLine() {
  return TreeLine(7, "Tree_Node::GetIdNodeVecFromTreeSkipPath",
                  "Start GetIdNodeVecFromTree(Tree_NodePtr & tree)\n");
}

// What the writer writes about one field.
inline LogLine Write(const std::string& text) {
  return TreeLine(6, "Tree_Node::GetSerializeIdNodeInfoVec", "Write " + text + "\n");
}

// Has every line made, and forgets it.
class EveryLineMade {
 public:
  EveryLineMade() {
    ZelGLog.SetSink([this](const Zel_LogRecord&) { ++m_count; });
    ZelGLog.SetLevel(7);
  }
  ~EveryLineMade() {
    ZelGLog.SetLevel(5);
    ZelGLog.SetSink({});
  }
  EveryLineMade(const EveryLineMade&) = delete;
  EveryLineMade& operator=(const EveryLineMade&) = delete;

  std::size_t Count() const { return m_count; }

 private:
  std::size_t m_count = 0;
};

}  // namespace flat

#endif  // TREE_TESTS_SUPPORT_FLATTREES_H
