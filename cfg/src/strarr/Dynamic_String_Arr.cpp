#include "strarr/Dynamic_String_Arr.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstring>

#include "strarr/String_Arr_TooBig.h"

namespace {

// Room in a block for the count and its zero byte, and beside each string for the text of
// its length and two zero bytes; lengths of nine and ten digits get the bytes that they
// need beyond that.
constexpr int kRoomPerNumber = 10;
constexpr int kLongLength = 100'000'000;

// Appends the decimal text of a number and a zero byte at `at`; returns the end.
char* WriteNumber(char* at, int number) {
  char text[16];
  char* const end = std::to_chars(text, text + sizeof text, number).ptr;
  const auto length = static_cast<std::size_t>(end - text);
  std::memcpy(at, text, length);
  at[length] = '\0';
  return at + length + 1;
}

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Reads the decimal text of a number that is not negative, as a text stream would, and
// goes behind the byte that follows its digits.  False when there is none.
bool ReadNumber(char*& at, int& number) {
  const char* text = at;
  while (IsBlank(*text)) ++text;
  // Only digits may stand behind a plus sign.
  if (*text == '+' && text[1] != '-') ++text;
  const std::from_chars_result result = std::from_chars(text, text + std::strlen(text), number);
  if (result.ec != std::errc() || number < 0) return false;
  at += (result.ptr - at) + 1;
  return true;
}

}  // namespace

Dynamic_String_Arr::Dynamic_String_Arr() = default;

Dynamic_String_Arr::Dynamic_String_Arr(int array_length) : Generic_String_Arr(array_length) {
  if (array_length < 0) string_arr::ThrowTooBig();
  Resize(array_length);
}

Dynamic_String_Arr::~Dynamic_String_Arr() {
  Dynamic_String_Arr::clear();
}

char* Dynamic_String_Arr::GetStr(int index) const {
  return m_strings[static_cast<std::size_t>(index)];
}

int Dynamic_String_Arr::GetLength(int index) const {
  return index >= 0 && index < m_array_length ? m_lengths[static_cast<std::size_t>(index)] : -1;
}

void Dynamic_String_Arr::SetStr(int index, const char* text, int length) {
  if (index < 0) return;
  if (text == nullptr) {
    text = "";
    length = 0;
  }
  const std::size_t bytes = length < 0 ? std::strlen(text) : static_cast<std::size_t>(length);
  if (bytes >= static_cast<std::size_t>(INT_MAX)) string_arr::ThrowTooBig();

  long long slots = m_array_length;
  if (index > m_array_length - 1) slots *= 2;
  // The slot that is written may lie outside all the same: the array may be full, or have
  // had no slots to double.
  if (m_inserted >= slots) slots = std::max(2 * slots, m_inserted + 1LL);
  if (slots > INT_MAX) string_arr::ThrowTooBig();
  if (slots > m_array_length) Resize(static_cast<int>(slots));

  char* const copy = new char[bytes + 1];
  std::memcpy(copy, text, bytes);
  copy[bytes] = '\0';
  // Intended: the index plays no part any more.
  const auto slot = static_cast<std::size_t>(m_inserted);
  m_strings[slot] = copy;
  m_lengths[slot] = static_cast<int>(bytes);
  ++m_inserted;
}

int Dynamic_String_Arr::GetArrLen() const {
  return m_array_length;
}

int Dynamic_String_Arr::FlattenToByteArray(char*& out) const {
  // More strings than slots were counted when an array was read into one in use.
  const int count = std::min(m_inserted, m_array_length);
  long long size = kRoomPerNumber;
  for (int i = 0; i < count; ++i) {
    const int length = m_lengths[static_cast<std::size_t>(i)];
    size += kRoomPerNumber + static_cast<long long>(length) + (length >= kLongLength ? 2 : 0);
  }
  if (size > INT_MAX) string_arr::ThrowTooBig();

  char* const block = static_cast<char*>(::operator new(static_cast<std::size_t>(size)));
  char* at = WriteNumber(block, count);
  for (int i = 0; i < count; ++i) {
    const auto slot = static_cast<std::size_t>(i);
    at = WriteNumber(at, m_lengths[slot]);
    // A slot without a string has length -1 and nothing to copy.
    const std::size_t bytes =
        m_lengths[slot] < 0 ? 0 : static_cast<std::size_t>(m_lengths[slot]) + 1;
    if (bytes != 0) std::memcpy(at, m_strings[slot], bytes);
    at += bytes;
  }
  out = block;
  return static_cast<int>(at - block);
}

void Dynamic_String_Arr::ReadFromFlattenedByteArray(char* in) {
  if (in == nullptr) return;
  int count = 0;
  if (!ReadNumber(in, count)) return;
  Resize(count);
  for (int i = 0; i < count; ++i) {
    int length = 0;
    if (!ReadNumber(in, length)) return;
    const std::size_t bytes = static_cast<std::size_t>(length) + 1;
    char* const copy = new char[bytes];
    std::memcpy(copy, in, bytes);
    in += bytes;
    const auto slot = static_cast<std::size_t>(i);
    m_strings[slot] = copy;
    m_lengths[slot] = length;
    ++m_inserted;
  }
}

void Dynamic_String_Arr::clear() {
  for (char* string : m_strings) delete[] string;
  m_strings.clear();
  m_lengths.clear();
  m_array_length = 0;
  m_inserted = 0;
}

// Both vectors have a slot for each other's at any time, also when memory runs out.
void Dynamic_String_Arr::Resize(int array_length) {
  const auto slots = static_cast<std::size_t>(array_length);
  m_strings.reserve(slots);
  m_lengths.resize(slots, -1);
  m_strings.resize(slots, nullptr);
  m_array_length = array_length;
}
