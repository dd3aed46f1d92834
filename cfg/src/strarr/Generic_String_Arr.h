#ifndef STRARR_GENERIC_STRING_ARR_H
#define STRARR_GENERIC_STRING_ARR_H

#include "Tree/Tree_Api.h"

// A Generic_String_Arr is a list of C strings with slots: it knows how many slots
// there are (GetArrLen) and how many strings were written (GetInsertedNum).
//
// Ownership: the array owns its slots and their texts; a pointer that GetStr
// returns is valid until the array is cleared, grown or destroyed.  Arrays that
// the tree returns belong to the caller, who deletes them.
//
// Threads: one thread uses an array at a time.
class TREE_API Generic_String_Arr {
 public:
  // No slots.
  Generic_String_Arr();

  // Intended: the number of slots is not stored here; the derived class sets it
  // once it has made them.
  explicit Generic_String_Arr(int array_length);

  Generic_String_Arr(const Generic_String_Arr& other) = default;
  Generic_String_Arr& operator=(const Generic_String_Arr& other) = default;

  // The order of the virtual functions is the order of their slots, which clients
  // built against older versions rely on.
  virtual ~Generic_String_Arr();

  // Forgets how many strings were written; slots and texts stay as they are, and
  // the next AddStr writes slot 0 again.
  virtual void ClearWithoutDeleting();

  virtual char* GetStr(int index) const = 0;
  virtual void SetStr(int index, const char* text, int length) = 0;

  // Writes behind the strings written so far.
  virtual void AddStr(const char* text, int length);

  // Number of slots.
  virtual int GetArrLen() const = 0;

  // Number of strings written: one more than the highest index written, or the
  // number of strings appended.
  int GetInsertedNum() const;

 protected:
  // Frees every slot; both counts become 0.
  virtual void clear() = 0;

  int m_array_length;
  int m_inserted;
};

#endif  // STRARR_GENERIC_STRING_ARR_H
