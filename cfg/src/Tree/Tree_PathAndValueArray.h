#ifndef TREE_TREE_PATHANDVALUEARRAY_H
#define TREE_TREE_PATHANDVALUEARRAY_H

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
  bool HasPlace(int i) const;
  Tree_ValueAndPath& Element(int i);

  std::vector<Tree_ValueAndPath> m_elements;
  int m_length;
};

#endif  // TREE_TREE_PATHANDVALUEARRAY_H
