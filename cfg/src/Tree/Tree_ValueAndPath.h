#ifndef TREE_TREE_VALUEANDPATH_H
#define TREE_TREE_VALUEANDPATH_H

#include "Tree/Tree_Api.h"
#include "rw/RWCString.h"

// A Tree_ValueAndPath is one name/value pair in two fields of fixed width, so that
// it can be copied byte for byte.
//
// Fields are filled as by strncpy: what does not fit is cut, the rest of a field is
// zero, and a text of the full width or longer leaves no terminating zero byte.
// Read such a field with its width in mind (kValueWidth, kPathWidth).
//
// Order: the arguments name the path first, the object stores the value first.
//
// Threads: one thread uses a pair at a time.  Errors: none.
class TREE_API Tree_ValueAndPath {
 public:
  // Enumerators, since some compilers look for a constant of an exported class in the DLL
  // and put none there.
  enum : int { kValueWidth = 3072, kPathWidth = 600 };

  // Two empty fields.
  Tree_ValueAndPath();
  Tree_ValueAndPath(const Tree_ValueAndPath& other);
  Tree_ValueAndPath(const RWCString& path, const RWCString& value);

  // Intended: a null `value` is an empty one, a null `path` is not allowed.
  Tree_ValueAndPath(const char* path, const char* value);

  // Copies the whole object byte for byte.
  Tree_ValueAndPath& operator=(const Tree_ValueAndPath& other);

  // These fill both fields.  Copying a pair or a field onto itself is harmless.
  void SetPathAndValue(const Tree_ValueAndPath& other);
  void SetPathAndValue(const RWCString& path, const RWCString& value);
  void SetPathAndValue(const char* path, const char* value);

  // These fill one field and leave the other as it is.  Null is not allowed.
  void SetPath(const char* path);
  void SetValue(const char* value);

  // The fields themselves, valid while the pair lives.
  char* GetPath();
  char* GetValue();

 private:
  friend class Tree_Node;  // fills empty pairs without clearing them again

  char m_value[kValueWidth];
  char m_path[kPathWidth];
};

#endif  // TREE_TREE_VALUEANDPATH_H
