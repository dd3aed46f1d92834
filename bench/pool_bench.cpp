// Pools against the general heap: what does it cost to take a small element and to give it
// back?
//
// An operation is one element taken, written to, and given back.  Elements have 16 bytes,
// as values and handles do, or 48, as nodes do.  Read the patterns as follows.
//
//   lifo_pair       The element comes back before the next one is taken.  Everything is in
//                   the nearest cache and in the thread's own list: the floor.
//   in_order        So many are taken, then given back in the same order, as when a tree
//                   is destroyed.  1,000 still fit the caches; a million do not, and the
//                   thread trades batches with the pool all the time.
//   random_order    The same, given back in random order, round after round, as when trees
//                   have come and gone for days.  Who hands out first what came back last
//                   hands out elements that lie far apart; the pool goes by addresses.
//   handed_over     One thread takes, another gives back, as when a tree is built by a
//                   loader and let go by a worker.
//
// With two threads, both work on one pool, each for itself.  A figure that stays as it is
// with one thread says that they do not hinder each other.  A single thread is one that was
// made for the round, as two are.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Zel/Zel_PoolAllocator.h"
#include "support/data.h"
#include "support/measure.h"
#include "support/mimalloc_api.h"

namespace bench {

namespace {

// The contestants.  Each takes elements of one size.

// A pool used as the tree uses its own: the heap steps in when it yields nothing.
class PoolHeap {
 public:
  static constexpr const char* kName = kOurs;
  explicit PoolHeap(std::size_t bytes)
      : m_bytes(bytes), m_pool("bench", static_cast<short>(bytes), -1, 10000, 8, true) {}
  void* Take() {
    void* const element = m_pool.Allocate();
    return element != nullptr ? element : ::operator new(m_bytes);
  }
  void Return(void* element) {
    if (!m_pool.AddToFreeList(element)) ::operator delete(element);
  }
  // Whether `element` is memory of this contestant's.
  bool Owns(const void* element) const { return m_pool.Exist(element); }
  // Whether all elements have come back.
  bool IsWhole() const { return m_pool.GetStats().elements_in_use == 0; }

 private:
  std::size_t m_bytes;
  Zel_PoolAllocator m_pool;
};

class MallocHeap {
 public:
  static constexpr const char* kName = "malloc";
  explicit MallocHeap(std::size_t bytes) : m_bytes(bytes) {}
  void* Take() { return std::malloc(m_bytes); }
  void Return(void* element) { std::free(element); }
  bool Owns(const void* element) const { return !Mimalloc().owns(element); }
  bool IsWhole() const { return true; }

 private:
  std::size_t m_bytes;
};

class NewHeap {
 public:
  static constexpr const char* kName = "operator_new";
  explicit NewHeap(std::size_t bytes) : m_bytes(bytes) {}
  void* Take() { return ::operator new(m_bytes); }
  void Return(void* element) { ::operator delete(element); }
  bool Owns(const void* element) const { return !Mimalloc().owns(element); }
  bool IsWhole() const { return true; }

 private:
  std::size_t m_bytes;
};

class MiHeap {
 public:
  static constexpr const char* kName = "mimalloc";
  explicit MiHeap(std::size_t bytes) : m_bytes(bytes) {}
  void* Take() { return m_api.allocate(m_bytes); }
  void Return(void* element) { m_api.free(element); }
  bool Owns(const void* element) const { return m_api.owns(element); }
  bool IsWhole() const { return true; }

 private:
  const MimallocApi m_api = Mimalloc();
  std::size_t m_bytes;
};

// Whoever takes an element is about to write it.
void* Written(void* element) {
  std::memset(element, 1, sizeof(std::uint64_t));
  benchmark::DoNotOptimize(element);
  return element;
}

template <class Heap>
void Pairs(Heap& heap, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) heap.Return(Written(heap.Take()));
}

template <class Heap>
void TakeAll(Heap& heap, std::vector<void*>& elements) {
  for (void*& element : elements) element = Written(heap.Take());
}

template <class Heap>
void ReturnAll(Heap& heap, const std::vector<void*>& elements) {
  for (void* const element : elements) heap.Return(element);
}

// All elements are different and keep what is written to them; all of them come back.
template <class Heap>
void Check(Heap& heap, std::size_t bytes) {
  constexpr std::size_t kCount = 20000;
  std::vector<void*> elements(kCount);
  TakeAll(heap, elements);
  for (std::size_t i = 0; i < kCount; ++i) {
    Require(heap.Owns(elements[i]), "an element comes from elsewhere");
    std::memset(elements[i], static_cast<int>(i % 251), bytes);
  }
  for (std::size_t i = 0; i < kCount; ++i) {
    const auto* const element = static_cast<const unsigned char*>(elements[i]);
    Require(element[0] == i % 251 && element[bytes - 1] == i % 251, "an element was overwritten");
  }
  ReturnAll(heap, elements);
  Require(heap.IsWhole(), "an element is missing");
}

// Shuffling stands between taking and returning and is not timed, so that each thread times
// its halves itself; the slowest thread counts.
template <class Heap>
double Batches(Heap& heap, int threads, std::size_t batch, bool shuffled, std::size_t repeats) {
  std::vector<double> seconds(static_cast<std::size_t>(threads), 0.0);
  OnThreads(threads, [&](int i) {
    std::vector<void*> own(batch);
    double spent = 0;
    for (std::size_t k = 0; k < repeats; ++k) {
      const Stopwatch taking;
      TakeAll(heap, own);
      spent += taking.Seconds();
      if (shuffled) Shuffle(own, k);
      const Stopwatch returning;
      ReturnAll(heap, own);
      spent += returning.Seconds();
    }
    seconds[static_cast<std::size_t>(i)] = spent;
  });
  return *std::max_element(seconds.begin(), seconds.end());
}

// A ring of batches between the thread that takes and the one that gives back.
template <class Heap>
double HandOver(Heap& heap, std::size_t batch, std::size_t batches) {
  constexpr std::size_t kRing = 8;
  std::array<std::vector<void*>, kRing> ring;
  for (std::vector<void*>& place : ring) place.resize(batch);
  alignas(64) std::atomic<std::size_t> taken{0};
  alignas(64) std::atomic<std::size_t> returned{0};
  return OnThreads(2, [&](int i) {
    for (std::size_t k = 0; k < batches; ++k) {
      std::vector<void*>& place = ring[k % kRing];
      if (i == 0) {
        while (k - returned.load(std::memory_order_acquire) >= kRing) std::this_thread::yield();
        TakeAll(heap, place);
        taken.store(k + 1, std::memory_order_release);
      } else {
        while (taken.load(std::memory_order_acquire) <= k) std::this_thread::yield();
        ReturnAll(heap, place);
        returned.store(k + 1, std::memory_order_release);
      }
    }
  });
}

// The heap of one measurement, made and checked when its first round asks for it.  Every
// measurement has a pool of its own: a pool remembers in which order its elements came back.
template <class Heap>
class OwnHeap {
 public:
  explicit OwnHeap(std::size_t bytes) : m_bytes(bytes) {}
  Heap& Get() {
    if (m_heap == nullptr) {
      m_heap = std::make_unique<Heap>(m_bytes);
      Check(*m_heap, m_bytes);
    }
    return *m_heap;
  }

 private:
  std::size_t m_bytes;
  std::unique_ptr<Heap> m_heap;
};

template <class Heap>
void RegisterHeap(const Plan& plan, std::size_t bytes) {
  const std::size_t total = plan.smoke ? 2000 : plan.quick ? 500000 : 1000000;
  const std::string variant = "bytes:" + std::to_string(bytes);
  const auto add = [&](const std::string& operation, int threads, std::size_t operations,
                       std::function<double(Heap&)> round) {
    const auto heap = std::make_shared<OwnHeap<Heap>>(bytes);
    Register({.subject = "pool",
              .operation = operation,
              .variant = variant,
              .threads = threads,
              .contestant = Heap::kName,
              .operations = operations,
              .rounds = 1,
              .round = [heap, round = std::move(round)] { return round(heap->Get()); }});
  };

  for (const int threads : {1, 2}) {
    const std::size_t all = total * static_cast<std::size_t>(threads);
    add("lifo_pair", threads, all * 2,
        [=](Heap& heap) { return OnThreads(threads, [&](int) { Pairs(heap, total * 2); }); });
    for (const bool shuffled : {false, true}) {
      const std::string order = shuffled ? "_random_order" : "_in_order";
      add("1k" + order, threads, all,
          [=](Heap& heap) { return Batches(heap, threads, 1000, shuffled, total / 1000); });
      add("1M" + order, threads, static_cast<std::size_t>(threads) * 1000000,
          [=](Heap& heap) { return Batches(heap, threads, 1000000, shuffled, 1); });
    }
  }
  // Both threads are busy with every element, so that it counts twice.
  add("1k_handed_over", 2, total * 2,
      [=](Heap& heap) { return HandOver(heap, 1000, total / 1000); });
}

}  // namespace

void RegisterPool(const Plan& plan) {
  for (const std::size_t bytes : {std::size_t{16}, std::size_t{48}}) {
    RegisterHeap<PoolHeap>(plan, bytes);
    RegisterHeap<MallocHeap>(plan, bytes);
    RegisterHeap<NewHeap>(plan, bytes);
    RegisterHeap<MiHeap>(plan, bytes);
  }
}

}  // namespace bench
