#ifndef THREADAPI_THREADAPI_AUTOPTRTHREADSAFE_H
#define THREADAPI_THREADAPI_AUTOPTRTHREADSAFE_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "TreePlatform_Export.h"

class Zel_PoolAllocator;
class Zel_PoolReturns;

// The control record that all handles to one object share: how many they are,
// and whether the last of them deletes the object.
//
// Records are taken from a pool of their own and, when that yields nothing,
// from the general heap.  The pool is made on first use and never destroyed,
// so handles may be made and released while static objects are constructed
// and while they are destroyed.
class TREE_PLATFORM_API autoptrthreadsafe_internal_data {
 public:
  // Counts one handle, which owns the object.
  autoptrthreadsafe_internal_data() noexcept = default;
  autoptrthreadsafe_internal_data(const autoptrthreadsafe_internal_data&) = delete;
  autoptrthreadsafe_internal_data& operator=(const autoptrthreadsafe_internal_data&) = delete;

  static void* operator new(std::size_t size);
  static void operator delete(void* record) noexcept;

  // Lets the record pool grow by blocks of `elements` records from now on,
  // unless its blocks are that large already.  `expected_blocks` is handed to
  // Zel_PoolAllocator::ResetBlockInfo.
  static void IncreasePool(int elements, int expected_blocks);

  // Deletes a record, whose memory goes to `returns`, made for Pool(), or to the heap.
  static void Delete(autoptrthreadsafe_internal_data* record, Zel_PoolReturns& returns) noexcept;

  // The record pool.
  static Zel_PoolAllocator& Pool();

  // One handle more.
  void Raise() noexcept { m_count.fetch_add(1, std::memory_order_seq_cst); }
  // One handle less; true when it was the last.  The last one need not write the count:
  // nobody is left who could ask for it.
  bool Lower() noexcept {
    return m_count.load(std::memory_order_acquire) == 1 ||
           m_count.fetch_sub(1, std::memory_order_seq_cst) == 1;
  }

  std::uint32_t Count() const noexcept { return m_count.load(std::memory_order_relaxed); }
  bool OwnsNode() const noexcept { return m_owns_node != 0; }

 private:
  std::atomic<std::uint32_t> m_count{1};
  std::uint32_t m_owns_node = 1;  // never changed; part of the record's layout
};

static_assert(sizeof(autoptrthreadsafe_internal_data) == 8, "a record is two 32-bit fields");

// A counted handle: the object lives while a handle counts it, and the last
// handle to go deletes it (with the operator delete of T).
//
// A handle is two pointers, the object and the control record.  A handle made
// from a raw pointer has a record, even when the pointer is null; a
// default-constructed or moved-from handle has neither object nor record.
//
// Ownership: making a handle from a raw pointer takes the object over.  Make
// one such handle per object and copy it from then on; two of them would both
// delete the object.
//
// Threads: handles to one object may be copied, assigned and released from
// several threads, each thread using handles of its own.  One and the same
// handle is like any variable: changes need the caller's lock.
//
// Errors: only making a handle from a raw pointer may throw (std::bad_alloc,
// for the record); the object is deleted then.  Dereferencing a null handle is
// undefined.
//
// T may be incomplete where handles are declared and copied.  It must be
// complete where they are made from raw pointers, assigned or destroyed.
template <class T>
class ThreadAPI_AutoPtrThreadSafe {
 public:
  constexpr ThreadAPI_AutoPtrThreadSafe() noexcept = default;

  // Implicit, so that `Tree_NodePtr top = new Tree_Node("top")` and returning
  // a raw pointer as a handle work.
  ThreadAPI_AutoPtrThreadSafe(T* node) : m_node(node), m_record(NewRecord(node)) {}

  // Takes over the record as well, a fresh one.  It stands in memory of the record pool or was
  // made with new.
  ThreadAPI_AutoPtrThreadSafe(T* node, autoptrthreadsafe_internal_data* record) noexcept
      : m_node(node), m_record(record) {}

  ThreadAPI_AutoPtrThreadSafe(const ThreadAPI_AutoPtrThreadSafe& other) noexcept
      : m_node(other.m_node), m_record(other.m_record) {
    if (m_record != nullptr) m_record->Raise();
  }

  ThreadAPI_AutoPtrThreadSafe(ThreadAPI_AutoPtrThreadSafe&& other) noexcept
      : m_node(other.m_node), m_record(other.m_record) {
    other.Forget();
  }

  // Nothing when both already point at the same object.  Otherwise the new
  // object is counted before the old one is let go: releasing the old one may
  // destroy the very handle that was assigned from.
  ThreadAPI_AutoPtrThreadSafe& operator=(const ThreadAPI_AutoPtrThreadSafe& other) noexcept {
    if (m_node != other.m_node) ThreadAPI_AutoPtrThreadSafe(other).Swap(*this);
    return *this;
  }

  // Leaves `other` null, also when both pointed at the same object.
  ThreadAPI_AutoPtrThreadSafe& operator=(ThreadAPI_AutoPtrThreadSafe&& other) noexcept {
    if (this != &other) {
      ThreadAPI_AutoPtrThreadSafe old(static_cast<ThreadAPI_AutoPtrThreadSafe&&>(other));
      old.Swap(*this);
    }
    return *this;
  }

  ~ThreadAPI_AutoPtrThreadSafe() { Release(); }

  T* get() const noexcept { return m_node; }
  bool isNull() const noexcept { return m_node == nullptr; }
  explicit operator bool() const noexcept { return m_node != nullptr; }
  bool operator!() const noexcept { return m_node == nullptr; }

  // A const handle is a handle that is not reassigned; what it points at may
  // be changed through it.
  T& operator*() const noexcept { return *m_node; }
  T* operator->() const noexcept { return m_node; }

  // Gives up this handle's count and empties the handle.  When the handle was
  // the last one and owns its object, the object is returned instead of being
  // deleted, and the caller has to delete it; otherwise the result is null.
  // It lets a deep structure be torn down one object at a time, where plain
  // releases would nest as deep as the structure.
  // A record goes to `records`, made for the record pool.
  T* DropReference(Zel_PoolReturns& records) noexcept {
    T* const node = m_node;
    autoptrthreadsafe_internal_data* const record = m_record;
    Forget();
    if (record == nullptr || !record->Lower()) return nullptr;
    const bool owns = record->OwnsNode();
    autoptrthreadsafe_internal_data::Delete(record, records);
    return owns ? node : nullptr;
  }

  // How many handles share the record, 0 without one.  Other threads may
  // change it at any moment; for tests and diagnostics.
  std::uint32_t UseCount() const noexcept { return m_record == nullptr ? 0 : m_record->Count(); }

  void Swap(ThreadAPI_AutoPtrThreadSafe& other) noexcept {
    T* const node = m_node;
    autoptrthreadsafe_internal_data* const record = m_record;
    m_node = other.m_node;
    m_record = other.m_record;
    other.m_node = node;
    other.m_record = record;
  }

  // Equality is that of the pointers; a handle also compares with a raw
  // pointer, nullptr included.
  friend bool operator==(const ThreadAPI_AutoPtrThreadSafe& a,
                         const ThreadAPI_AutoPtrThreadSafe& b) noexcept {
    return a.m_node == b.m_node;
  }
  friend bool operator!=(const ThreadAPI_AutoPtrThreadSafe& a,
                         const ThreadAPI_AutoPtrThreadSafe& b) noexcept {
    return a.m_node != b.m_node;
  }
  friend bool operator==(const ThreadAPI_AutoPtrThreadSafe& a, const T* b) noexcept {
    return a.m_node == b;
  }
  friend bool operator!=(const ThreadAPI_AutoPtrThreadSafe& a, const T* b) noexcept {
    return a.m_node != b;
  }
  friend bool operator==(const T* a, const ThreadAPI_AutoPtrThreadSafe& b) noexcept {
    return a == b.m_node;
  }
  friend bool operator!=(const T* a, const ThreadAPI_AutoPtrThreadSafe& b) noexcept {
    return a != b.m_node;
  }

 private:
  static autoptrthreadsafe_internal_data* NewRecord(T* node) {
    static_assert(sizeof(T) > 0, "a handle deletes its object: T must be complete here");
    try {
      return new autoptrthreadsafe_internal_data;
    } catch (...) {
      // The caller gave the object away with this call and can't free it.
      delete node;
      throw;
    }
  }

  void Forget() noexcept {
    m_node = nullptr;
    m_record = nullptr;
  }

  void Release() noexcept {
    static_assert(sizeof(T) > 0, "the last handle deletes its object: T must be complete here");
    if (m_record == nullptr || !m_record->Lower()) return;
    if (m_record->OwnsNode() && m_node != nullptr) delete m_node;
    delete m_record;
    m_record = nullptr;
  }

  T* m_node = nullptr;
  autoptrthreadsafe_internal_data* m_record = nullptr;
};

#endif  // THREADAPI_THREADAPI_AUTOPTRTHREADSAFE_H
