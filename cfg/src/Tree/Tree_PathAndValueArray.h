#ifndef TREE_TREE_PATHANDVALUEARRAY_H
#define TREE_TREE_PATHANDVALUEARRAY_H

#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

#include "Tree/Tree_Api.h"
#include "Tree/Tree_ValueAndPath.h"
#include "rw/RWCString.h"

// A Tree_PathAndValueArray is a list of name/value pairs whose length is fixed when
// it is made.  Tree_Node::GetSubTreeValues returns one.
//
// Ownership: the array owns its pairs; copies are independent.
// Threads: one thread uses an array at a time.
// Errors: places outside the array read as null and are ignored when written.
class TREE_API Tree_PathAndValueArray {
 public:
  // `size` empty pairs.  A negative size throws std::length_error.
  Tree_PathAndValueArray(int size);
  Tree_PathAndValueArray(const Tree_PathAndValueArray& other) = default;
  Tree_PathAndValueArray& operator=(const Tree_PathAndValueArray& other) = default;
  ~Tree_PathAndValueArray();

  // Number of places.
  int GetArrLen();

  // The pair at place `i`, null when there is no such place.  It stays the
  // array's.
  Tree_ValueAndPath* GetPV(int i);

  // These fill the pair at place `i`; a place outside the array is ignored.
  void SetPV(int i, Tree_ValueAndPath& pv);
  void SetPV(int i, const RWCString& path, const RWCString& value);
  void SetPV(int i, const char* path, const char* value);

 private:
  // Pairs are large, and empty ones are nothing but zero bytes.  Memory that comes with zero
  // bytes therefore holds empty pairs: most of a long list is never written at all, since the
  // system hands out fresh pages like that.
  template <class T>
  struct EmptyPairs {
    using value_type = T;

    EmptyPairs() = default;
    template <class U>
    EmptyPairs(const EmptyPairs<U>&) noexcept {}

    T* allocate(std::size_t count) {
      void* const memory = std::calloc(count, sizeof(T));
      if (memory == nullptr) throw std::bad_alloc();
      return static_cast<T*>(memory);
    }
    void deallocate(T* memory, std::size_t) noexcept { std::free(memory); }

    // An empty pair is there already.
    template <class U>
    void construct(U*) noexcept {}

    friend bool operator==(const EmptyPairs&, const EmptyPairs&) noexcept { return true; }
    friend bool operator!=(const EmptyPairs&, const EmptyPairs&) noexcept { return false; }
  };

  bool HasPlace(int i) const;
  Tree_ValueAndPath& Element(int i);

  std::vector<Tree_ValueAndPath, EmptyPairs<Tree_ValueAndPath>> m_elements;
  int m_length;
};

#endif  // TREE_TREE_PATHANDVALUEARRAY_H
