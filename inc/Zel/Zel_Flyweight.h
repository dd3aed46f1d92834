#ifndef ZEL_ZEL_FLYWEIGHT_H
#define ZEL_ZEL_FLYWEIGHT_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "ThreadAPI/Mutex.h"
#include "ThreadAPI/ThreadAPI_Lane.h"
#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "ThreadAPI/ThreadAPI_RWSpinLock.h"
#include "Zel/Zel_LogFile.h"

// Zel_FlyweightContainer: stores equal strings once.
//
// USE     GetValue(s) yields a pointer to the one stored string that equals s, byte
//         for byte, and stores it first when there is none.  The pointer is valid
//         and the string unchanged until the container goes; nothing is ever
//         removed.  Two pointers of one container are equal exactly when their
//         strings are.
//
// INSIDE  Strings stand in buffers of fly_size slots that never move; permanent ones
//         stand beside their texts, wherever those are, and the buffers are only
//         counted.  The index is an open-addressing hash table whose cells are written
//         once: a cell holds the address of a slot and, in its upper 16 bits, a piece
//         of the hash, so that hardly any probe reads a string in vain.
//         A full table is replaced by one of four times the size; the old one stays
//         for the readers that may still be in it.
//         Invariant: a slot is filled before the cell that names it is published,
//         and never written again.  That is why look-ups take no lock and write no
//         shared memory, whatever other threads insert meanwhile.
//
//         Threads insert permanent strings side by side, each in a lane: a lock that
//         hardly any other thread takes, and a number of slots that may be filled.  Two
//         that want the same cell settle it by compare-and-exchange.  Who finds no slot
//         in the lane closes all lanes, and there is nobody else in the container while
//         slots are dealt out, a buffer is added or the index grows.
//         Invariant: a buffer is added when all slots of all lanes are filled, not before.
//
// T is a string type with hash(), data(), length(), equals(), and the static functions
// hash(bytes, length), PermanentObject(string) and DropPermanentObject(object) of RWCString.
//
// Threads: a container made with thread_safe may be used from any thread.  Another one
// belongs to whoever serialises its use.
//
// Errors: exhausted memory throws std::bad_alloc and leaves the container as it was.
template <class T>
class Zel_FlyweightContainer {
 public:
  // How long the stored texts live: with the container, or until the process ends.
  // Texts that stay are not counted, so that copying a stored string never makes two
  // cores fight over a counter.
  enum class Texts { kWithContainer, kPermanent };

  // `fly_size` is the number of strings per buffer; -1 makes a container that stores
  // nothing and refuses GetValue.
  Zel_FlyweightContainer(bool thread_safe, std::size_t fly_size,
                         Texts texts = Texts::kWithContainer);
  ~Zel_FlyweightContainer();

  Zel_FlyweightContainer(const Zel_FlyweightContainer&) = delete;
  Zel_FlyweightContainer& operator=(const Zel_FlyweightContainer&) = delete;

  // The stored string that equals `s`; null when the fly size is -1.  A caller that
  // knows `s` to be new saves a look-up by passing look_up_first = false; the result
  // is the same.
  const T* GetValue(const T& s, bool look_up_first);

  // Stores `s` unless it is there already, and yields the stored string.  Takes no
  // lock; only GetValue and callers that serialise everything call it.
  const T* insert_value(const T& s);

  // The stored string with these bytes, null when there is none.  Never stores or
  // logs anything and may be called from any thread.
  const T* Find(const char* bytes, std::size_t length) const;

 private:
  static constexpr const char* kSource = "Zel/Zel_Flyweight";
  static constexpr int kCategory = 234;
  static constexpr std::int32_t kNoBuffers = -1;
  static constexpr int kTagShift = 48;
  static constexpr std::uint64_t kAddressMask = (std::uint64_t{1} << kTagShift) - 1;
  static_assert(sizeof(void*) == 8, "cells keep a piece of the hash above a 48-bit address");

  struct Table {
    explicit Table(std::size_t cell_count)
        : mask(cell_count - 1), cells(new std::atomic<std::uint64_t>[cell_count]()) {}

    std::size_t mask;  // number of cells, a power of two, minus one
    std::unique_ptr<std::atomic<std::uint64_t>[]> cells;
  };

  // Belongs to the holder of its lock, and to whoever has closed all lanes.
  struct alignas(64) Lane {
    ThreadAPI_RWSpinLock lock;
    std::int32_t free_slots = 0;
  };
  static constexpr unsigned kLanes = 16;

  // While it lives nobody else inserts.
  class ClosedLanes {
   public:
    explicit ClosedLanes(Zel_FlyweightContainer& container)
        : m_container(container), m_guard(container.m_lock) {
      for (Lane& lane : m_container.m_lanes) lane.lock.acquireWrite();
    }
    ~ClosedLanes() {
      for (Lane& lane : m_container.m_lanes) lane.lock.releaseWrite();
    }
    ClosedLanes(const ClosedLanes&) = delete;
    ClosedLanes& operator=(const ClosedLanes&) = delete;

   private:
    Zel_FlyweightContainer& m_container;
    ThreadAPI_RWWriteSpinScopeLock m_guard;
  };

  static std::size_t CellsFor(std::size_t strings);
  static std::size_t StringsFor(std::size_t cells);
  static std::uint64_t Cell(const T* slot, unsigned hash);
  static const T* Slot(std::uint64_t cell);

  const T* GetValueWithCare(const T& s, bool look_up_first);
  const T* InsertBesideOthers(const T& s);
  const T* Find(const char* bytes, std::size_t length, unsigned hash) const;
  Lane& OwnLane();
  bool HasFreeSlot(const Lane& lane) const;
  void Refill(Lane& lane);
  void CollectFreeSlots();
  const T* InsertInto(Lane& lane, const T& s);
  const T* Store(const Lane& lane, const T& s);
  void GrowIndex();
  void ExpendBuffer();
  std::int32_t SlotsPerBuffer() const;

  ThreadAPI_RWSpinLock m_lock;  // of whoever closes the lanes
  Mutex m_mutex;
  T* m_buffer = nullptr;    // the buffer being filled; null where they are only counted
  std::int32_t m_fly_size;  // slots per buffer, or kNoBuffers
  bool m_thread_safe;
  bool m_use_regular_mutex = false;
  bool m_looks_up_freely;  // thread-safe with the lock, and not without buffers
  bool m_has_lanes;        // more than the first one is used
  Texts m_texts;
  std::atomic<const Table*> m_index{nullptr};
  std::int32_t m_free_slots = 0;  // of the last buffer, those that no lane has
  std::size_t m_dealt_slots = 0;  // strings in the index, and free slots of the lanes
  std::vector<std::unique_ptr<Table>> m_tables;  // the index and those it outgrew
  std::vector<std::unique_ptr<T[]>> m_buffers;   // every buffer, in order of making
  Lane m_lanes[kLanes];
};

#define ZEL_FLYWEIGHT_LOG(method, level, ...)                                                      \
  do {                                                                                             \
    if (ZelGLog.StoreParams(kSource, "Zel_FlyweightContainer<class RWCString>::" method, __LINE__, \
                            level, kCategory, 1)) {                                                \
      ZelGLog.Log(__VA_ARGS__);                                                                    \
    }                                                                                              \
  } while (false)

template <class T>
Zel_FlyweightContainer<T>::Zel_FlyweightContainer(bool thread_safe, std::size_t fly_size,
                                                  Texts texts)
    : m_fly_size(static_cast<std::int32_t>(static_cast<std::uint32_t>(fly_size))),
      m_thread_safe(thread_safe),
      m_looks_up_freely(false),
      m_has_lanes(false),
      m_texts(texts) {
  // A fly size of -1 asks for no strings at all, and beyond a million the index may
  // as well grow when the strings come.
  constexpr std::size_t kCellsWithoutSize = 64;
  constexpr std::size_t kLargestFirstIndex = std::size_t{1} << 20;
  m_tables.push_back(std::make_unique<Table>(
      m_fly_size == kNoBuffers
          ? kCellsWithoutSize
          : CellsFor(fly_size < kLargestFirstIndex ? fly_size : kLargestFirstIndex)));
  m_index.store(m_tables.back().get(), std::memory_order_release);
  ZEL_FLYWEIGHT_LOG("Zel_FlyweightContainer", 6,
                    "Zel_FlyweightContainer, Created with thread_safe = %d, fly_size = %d\n",
                    static_cast<int>(m_thread_safe), static_cast<int>(m_fly_size));

  ZEL_FLYWEIGHT_LOG("Zel_FlyweightContainer", 6,
                    "Zel_FlyweightContainer, Initializing Readers-Writers Lock\n");
  try {
    ThreadAPI_RWReadSpinScopeLock probe(m_lock);
  } catch (...) {
    ZEL_FLYWEIGHT_LOG(
        "Zel_FlyweightContainer", 3,
        "Major Critical Problem, Can't use readers writers lock! Using regular mutex\n");
    m_use_regular_mutex = true;
  }
  m_looks_up_freely = m_thread_safe && !m_use_regular_mutex && m_fly_size != kNoBuffers;
  // Slots of a buffer are filled one after the other.
  m_has_lanes = m_looks_up_freely && m_texts == Texts::kPermanent;

  if (m_fly_size != kNoBuffers) {
    // The line of a new buffer bears the name of whoever makes it.
    ExpendBuffer();
    ZEL_FLYWEIGHT_LOG("Zel_FlyweightContainer", 7,
                      "Zel_FlyweightContainer, Expend buffer, fly size is %d\n",
                      static_cast<int>(static_cast<std::size_t>(m_fly_size) * m_buffers.size()));
  }
}

template <class T>
Zel_FlyweightContainer<T>::~Zel_FlyweightContainer() {
  ZEL_FLYWEIGHT_LOG("~Zel_FlyweightContainer", 6, "Dtor ~Zel_FlyweightContainer\n");
}

template <class T>
inline const T* Zel_FlyweightContainer<T>::GetValue(const T& s, bool look_up_first) {
  if (m_looks_up_freely && look_up_first) {
    if (const T* const found = Find(s.data(), s.length(), s.hash())) return found;
    look_up_first = false;
  }
  return GetValueWithCare(s, look_up_first);
}

// The same where there is more to be done than to find the string.
template <class T>
const T* Zel_FlyweightContainer<T>::GetValueWithCare(const T& s, bool look_up_first) {
  if (m_fly_size == kNoBuffers) {
    ZEL_FLYWEIGHT_LOG("GetValue", 3, "This function is not supported if Flyweight size if -1\n");
    return nullptr;
  }
  if (look_up_first) {
    const T* found = nullptr;
    if (!m_thread_safe) {
      ZEL_FLYWEIGHT_LOG("GetValue", 7, "Working non threadsafe\n");
      found = Find(s.data(), s.length(), s.hash());
    } else {
      ZEL_FLYWEIGHT_LOG("GetValue", 7, "Using regular mutex\n");
      ThreadAPI_LockGuard guard(m_mutex);
      found = Find(s.data(), s.length(), s.hash());
    }
    if (found != nullptr) return found;
  }
  if (!m_thread_safe) return insert_value(s);
  if (m_use_regular_mutex) {
    ThreadAPI_LockGuard guard(m_mutex);
    return insert_value(s);
  }
  return InsertBesideOthers(s);
}

template <class T>
const T* Zel_FlyweightContainer<T>::InsertBesideOthers(const T& s) {
  {
    Lane& lane = OwnLane();
    ThreadAPI_RWWriteSpinScopeLock guard(lane.lock);
    if (HasFreeSlot(lane)) return InsertInto(lane, s);
  }
  const ClosedLanes closed(*this);
  return insert_value(s);
}

template <class T>
const T* Zel_FlyweightContainer<T>::insert_value(const T& s) {
  Lane& lane = OwnLane();
  // A full buffer is followed by another before anyone knows whether s is new.
  if (!HasFreeSlot(lane)) Refill(lane);
  return InsertInto(lane, s);
}

template <class T>
typename Zel_FlyweightContainer<T>::Lane& Zel_FlyweightContainer<T>::OwnLane() {
  return m_lanes[m_has_lanes ? ThreadAPI_Lane() % kLanes : 0];
}

// The buffers of a fly size of 0 have one slot but count as full.
template <class T>
bool Zel_FlyweightContainer<T>::HasFreeSlot(const Lane& lane) const {
  return lane.free_slots > 0 && m_fly_size > 0;
}

// Gives `lane` at least one free slot and the index room for as many strings.  Half of what
// is left goes to whoever asks, so that lanes that are in use need not ask often, and slots
// are not collected from all lanes before the buffer is nearly full.
template <class T>
void Zel_FlyweightContainer<T>::Refill(Lane& lane) {
  if (m_free_slots == 0) CollectFreeSlots();
  if (m_free_slots == 0 || m_fly_size <= 0) {
    ExpendBuffer();
    ZEL_FLYWEIGHT_LOG("insert_value", 7, "Zel_FlyweightContainer, Expend buffer, fly size is %d\n",
                      static_cast<int>(static_cast<std::size_t>(m_fly_size) * m_buffers.size()));
  }
  GrowIndex();
  const std::size_t room =
      StringsFor(m_index.load(std::memory_order_relaxed)->mask + 1) - m_dealt_slots;
  const std::int32_t share = m_has_lanes ? m_free_slots - m_free_slots / 2 : m_free_slots;
  const auto dealt = static_cast<std::int32_t>(std::min(static_cast<std::size_t>(share), room));
  m_free_slots -= dealt;
  lane.free_slots += dealt;
  m_dealt_slots += static_cast<std::size_t>(dealt);
}

template <class T>
void Zel_FlyweightContainer<T>::CollectFreeSlots() {
  for (Lane& lane : m_lanes) {
    m_dealt_slots -= static_cast<std::size_t>(lane.free_slots);
    m_free_slots += std::exchange(lane.free_slots, 0);
  }
}

// Stores `s` in a slot of `lane` unless it is in the index.
template <class T>
const T* Zel_FlyweightContainer<T>::InsertInto(Lane& lane, const T& s) {
  const unsigned hash = s.hash();
  const Table& table = *m_index.load(std::memory_order_relaxed);
  const std::uint64_t tag = Cell(nullptr, hash);
  const T* slot = nullptr;
  for (std::size_t at = hash & table.mask;; at = (at + 1) & table.mask) {
    std::uint64_t cell = table.cells[at].load(std::memory_order_acquire);
    if (cell == 0) {
      if (slot == nullptr) slot = Store(lane, s);
      if (table.cells[at].compare_exchange_strong(cell, Cell(slot, hash), std::memory_order_release,
                                                  std::memory_order_acquire)) {
        --lane.free_slots;
        return slot;
      }
      // Another thread has taken the cell for the string that `cell` names now.
    }
    if ((cell & ~kAddressMask) == tag && Slot(cell)->equals(s.data(), s.length())) {
      if (slot != nullptr) T::DropPermanentObject(slot);
      return Slot(cell);
    }
  }
}

// Fills the next slot; until the string is in the index it stays the next.
template <class T>
const T* Zel_FlyweightContainer<T>::Store(const Lane& lane, const T& s) {
  if (m_texts == Texts::kPermanent) return T::PermanentObject(s);
  T* const slot = m_buffer + (SlotsPerBuffer() - m_free_slots - lane.free_slots);
  *slot = s;
  return slot;
}

template <class T>
const T* Zel_FlyweightContainer<T>::Find(const char* bytes, std::size_t length) const {
  return Find(bytes, length, T::hash(bytes, length));
}

template <class T>
const T* Zel_FlyweightContainer<T>::Find(const char* bytes, std::size_t length,
                                         unsigned hash) const {
  const Table& table = *m_index.load(std::memory_order_acquire);
  const std::uint64_t tag = Cell(nullptr, hash);
  for (std::size_t at = hash & table.mask;; at = (at + 1) & table.mask) {
    const std::uint64_t cell = table.cells[at].load(std::memory_order_acquire);
    if (cell == 0) return nullptr;
    if ((cell & ~kAddressMask) != tag) continue;
    const T* const slot = Slot(cell);
    if (slot->equals(bytes, length)) return slot;
  }
}

// Makes room in the index for one more slot that is dealt out.
template <class T>
void Zel_FlyweightContainer<T>::GrowIndex() {
  const Table& old = *m_index.load(std::memory_order_relaxed);
  if (m_dealt_slots < StringsFor(old.mask + 1)) return;

  auto larger = std::make_unique<Table>((old.mask + 1) * 4);
  for (std::size_t i = 0; i <= old.mask; ++i) {
    const std::uint64_t cell = old.cells[i].load(std::memory_order_relaxed);
    if (cell == 0) continue;
    std::size_t at = Slot(cell)->hash() & larger->mask;
    while (larger->cells[at].load(std::memory_order_relaxed) != 0) at = (at + 1) & larger->mask;
    larger->cells[at].store(cell, std::memory_order_relaxed);
  }
  m_tables.push_back(std::move(larger));
  m_index.store(m_tables.back().get(), std::memory_order_release);
}

// Intended: "Expend" is how the operation and its line have always been spelled.
template <class T>
void Zel_FlyweightContainer<T>::ExpendBuffer() {
  std::unique_ptr<T[]> buffer;
  if (m_texts == Texts::kWithContainer)
    buffer = std::make_unique<T[]>(static_cast<std::size_t>(SlotsPerBuffer()));
  m_buffers.push_back(std::move(buffer));
  m_buffer = m_buffers.back().get();
  m_free_slots = SlotsPerBuffer();
}

template <class T>
std::int32_t Zel_FlyweightContainer<T>::SlotsPerBuffer() const {
  return std::max(m_fly_size, std::int32_t{1});
}

// The smallest table that is at most two thirds full with so many strings, and back.
template <class T>
std::size_t Zel_FlyweightContainer<T>::CellsFor(std::size_t strings) {
  std::size_t cells = 64;
  while (StringsFor(cells) < strings) cells *= 2;
  return cells;
}

template <class T>
std::size_t Zel_FlyweightContainer<T>::StringsFor(std::size_t cells) {
  return cells * 2 / 3;
}

template <class T>
std::uint64_t Zel_FlyweightContainer<T>::Cell(const T* slot, unsigned hash) {
  return static_cast<std::uint64_t>(hash >> 16) << kTagShift |
         static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(slot));
}

template <class T>
const T* Zel_FlyweightContainer<T>::Slot(std::uint64_t cell) {
  return reinterpret_cast<const T*>(static_cast<std::uintptr_t>(cell & kAddressMask));
}

#undef ZEL_FLYWEIGHT_LOG

#endif  // ZEL_ZEL_FLYWEIGHT_H
