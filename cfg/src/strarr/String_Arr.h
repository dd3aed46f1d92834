#ifndef STRARR_STRING_ARR_H
#define STRARR_STRING_ARR_H

#include "strarr/Generic_String_Arr.h"

// A String_Arr holds each string in a slot of 256 bytes.  A longer text is cut at
// 255 bytes.  See Generic_String_Arr for ownership and threads.
class TREE_API String_Arr : public Generic_String_Arr {
 public:
  String_Arr();

  // `array_length` empty slots.  A negative length throws std::bad_alloc.
  String_Arr(int array_length);

  // Intended: a copy shares the slots of its source and counts nothing.  Only one of the
  // two may be destroyed.
  String_Arr(const String_Arr& other) = default;
  String_Arr& operator=(const String_Arr& other) = default;

  ~String_Arr() override;

  // The text of the slot, empty when it was never written; null when there is no
  // such slot.
  char* GetStr(int index) const override;

  // Copies `text` up to its zero byte into the slot; `length` plays no part.  A
  // negative index does nothing.  An index behind the last slot makes the array
  // grow, in steps of five slots, until the slot exists.
  void SetStr(int index, const char* text, int length) override;

  int GetArrLen() const override;

  // The table of slots itself; it stays the array's.
  const char** GetStrArray();

 protected:
  void clear() override;

 private:
  // Adds slots until there are `array_length` of them.
  void Grow(int array_length);

  char** m_slots;
  int m_capacity;  // slots that the table has room for
};

#endif  // STRARR_STRING_ARR_H
