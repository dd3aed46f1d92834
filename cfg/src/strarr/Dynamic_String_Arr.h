#ifndef STRARR_DYNAMIC_STRING_ARR_H
#define STRARR_DYNAMIC_STRING_ARR_H

#include <vector>

#include "strarr/Generic_String_Arr.h"

// A Dynamic_String_Arr holds strings of any length and bytes, each in a buffer of its
// own size.  The whole array can be written into one block of bytes and read from one.
// See Generic_String_Arr for ownership and threads.
//
// The flat format is a count and, for each string, its length, its bytes and a zero byte.
// Count and lengths are decimal ASCII texts, each closed by a zero byte: "2\0" "2\0ab\0"
// "0\0\0" are the two strings "ab" and "".  There is no magic number, version or total
// size.  docs/formats.md shows an example byte by byte.
//
// Errors: what does not fit into memory or into an int throws std::bad_alloc.
class TREE_API Dynamic_String_Arr : public Generic_String_Arr {
 public:
  // No slots.
  Dynamic_String_Arr();

  // `array_length` slots without a string.  A negative length throws std::bad_alloc.
  Dynamic_String_Arr(int array_length);

  // Intended: a copy shares the buffers of its source and counts nothing.  Only one of
  // the two may be destroyed or cleared.
  Dynamic_String_Arr(const Dynamic_String_Arr& other) = default;
  Dynamic_String_Arr& operator=(const Dynamic_String_Arr& other) = default;

  ~Dynamic_String_Arr() override;

  // The string in slot `index`, null when none was written there.
  //
  // Intended: the index is not tested, unlike String_Arr's; callers keep it below
  // GetArrLen().
  char* GetStr(int index) const override;

  // Length of the string in slot `index` without its closing zero byte; -1 when none was
  // written there or there is no such slot.
  int GetLength(int index) const;

  // Appends a copy of the first `length` bytes of `text`, or of all before its zero byte
  // when `length` is negative.  A negative index does nothing.
  //
  // Intended: the index decides only whether the array grows (an index behind the last
  // slot doubles it); the text always goes behind the last one written.  AddStr and older
  // clients rely on it.  A buffer that already is in that slot, which can be after
  // ClearWithoutDeleting, is not freed.
  void SetStr(int index, const char* text, int length) override;

  int GetArrLen() const override;

  // Writes the strings into a new block and returns the number of bytes used; the block
  // may be longer.  The caller frees it with `operator delete(out)`.
  int FlattenToByteArray(char*& out) const;

  // Fills the slots, from the first, with the strings of a block that FlattenToByteArray
  // wrote; null does nothing.  Meant for a fresh Dynamic_String_Arr().
  //
  // Intended: strings that the array holds already are not freed, and the number of
  // strings written goes on from where it was.  The block is trusted: counts and lengths
  // that point behind its end read there.  Only a count or length that is negative, too
  // big for an int, or no number at all ends the reading.
  void ReadFromFlattenedByteArray(char* in);

 protected:
  void clear() override;

 private:
  void Resize(int array_length);

  // One element per slot: the buffer, null when nothing was written there, and the length
  // of the string, -1 likewise.
  std::vector<char*> m_strings;
  std::vector<int> m_lengths;
};

#endif  // STRARR_DYNAMIC_STRING_ARR_H
