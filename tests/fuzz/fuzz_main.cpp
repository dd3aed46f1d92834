// What libFuzzer calls.  TREE_FUZZ_TARGET is one of the functions of targets.h.

#include <sanitizer/allocator_interface.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "Zel/Zel_LogFile.h"
#include "fuzz/Pools.h"
#include "fuzz/targets.h"

namespace {

// Bytes of the heap that one input may hold at a time.  A leaf of two bytes takes some
// 200; what is constant is the tables that grow in steps.
constexpr std::size_t kHeapPerByte = 512;
constexpr std::size_t kHeapAnyway = std::size_t{1} << 20;

// The heap of this thread, counted from where it stood when the input began.
thread_local std::int64_t t_live = 0;
thread_local std::int64_t t_most = 0;

void Allocated(const volatile void*, std::size_t size) {
  t_live += static_cast<std::int64_t>(size);
  if (t_live > t_most) t_most = t_live;
}

void Freed(const volatile void* block) {
  if (block == nullptr) return;
  t_live -=
      static_cast<std::int64_t>(__sanitizer_get_allocated_size(const_cast<const void*>(block)));
}

// Runs the target, and returns how much of the heap it held.
std::size_t Run(std::string_view bytes) {
  t_live = 0;
  t_most = 0;
  // The targets of operations look after the pools themselves.
  if (TREE_FUZZ_STARVES_POOLS) {
    const fuzz::WithoutPools without_pools;
    fuzz::TREE_FUZZ_TARGET(bytes);
  } else {
    fuzz::TREE_FUZZ_TARGET(bytes);
  }
  return static_cast<std::size_t>(t_most);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  __sanitizer_install_malloc_and_free_hooks(&Allocated, &Freed);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Lines are made and dropped.
  ZelGLog.SetSink([](const Zel_LogRecord&) {});
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t most = kHeapAnyway + kHeapPerByte * size;
  if (!TREE_FUZZ_LIMITS_HEAP || Run(bytes) <= most) {
    if (!TREE_FUZZ_LIMITS_HEAP) Run(bytes);
    return 0;
  }
  // Interning new strings may have made a table grow, which it does not do twice.
  const std::size_t held = Run(bytes);
  if (held > most) {
    std::fprintf(stderr, "%zu bytes of input held %zu bytes of the heap\n", size, held);
    __builtin_trap();
  }
  return 0;
}
