#include "support/mimalloc_api.h"

#include <mimalloc.h>

#include "support/measure.h"

#if defined(TREE_BENCH_MIMALLOC_FILE)
#include <dlfcn.h>
#endif

namespace bench {

#if defined(TREE_BENCH_MIMALLOC_FILE)

// A program that is linked with mimalloc's shared library gets its malloc and operator new
// too, and would compare mimalloc with itself.  Loaded by hand, with its names kept local,
// the library replaces nothing.
namespace {

template <class Function>
Function Named(void* library, const char* name) {
  void* const address = dlsym(library, name);
  Require(address != nullptr, name);
  return reinterpret_cast<Function>(address);
}

}  // namespace

const MimallocApi& Mimalloc() {
  static const MimallocApi api = [] {
    void* const library = dlopen(TREE_BENCH_MIMALLOC_FILE, RTLD_NOW | RTLD_LOCAL);
    Require(library != nullptr, "mimalloc can't be loaded");
    return MimallocApi{Named<decltype(&mi_malloc)>(library, "mi_malloc"),
                       Named<decltype(&mi_free)>(library, "mi_free"),
                       Named<decltype(&mi_is_in_heap_region)>(library, "mi_is_in_heap_region")};
  }();
  return api;
}

#else

const MimallocApi& Mimalloc() {
  static const MimallocApi api{&mi_malloc, &mi_free, &mi_is_in_heap_region};
  return api;
}

#endif

}  // namespace bench
