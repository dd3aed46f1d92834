// Stands between the C++ run-time library and its heap, where a program's own operator new
// would not be enough.
//
// With mingw every module takes operator new from libstdc++-6.dll, and a replacement in the
// test program reaches the program alone.  That library in turn takes its memory from four
// functions of the C run-time library.  RedirectRuntimeHeap() puts others in their place, for
// all modules at once.

#ifndef TREE_TESTS_SUPPORT_RUNTIMEHEAP_H
#define TREE_TESTS_SUPPORT_RUNTIMEHEAP_H

#if defined(__MINGW32__)

#include <cstddef>

struct RuntimeHeap {
  void* (*take)(std::size_t bytes);
  void (*give_back)(void* block);
  void* (*take_aligned)(std::size_t bytes, std::size_t alignment);
  void (*give_back_aligned)(void* block);
};

// From here on operator new and delete of all modules come down to `heap`.  Call it while
// there is one thread only.  Ends the program when the library cannot be redirected.
void RedirectRuntimeHeap(const RuntimeHeap& heap);

// For each thread that makes assertions GoogleTest has another one there, which waits for its
// end and then frees what GoogleTest has kept for it.  This waits, a second at most, until no
// more than so many threads are left in the process.
int ThreadsOfThisProcess();
void WaitForOtherThreads(int left);

#endif

#endif  // TREE_TESTS_SUPPORT_RUNTIMEHEAP_H
