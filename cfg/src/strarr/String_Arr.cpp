#include "strarr/String_Arr.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>

#include "strarr/String_Arr_TooBig.h"

namespace {

constexpr int kSlotSize = 256;
constexpr int kGrowth = 5;

}  // namespace

String_Arr::String_Arr() : m_slots(nullptr), m_capacity(0) {}

String_Arr::String_Arr(int array_length)
    : Generic_String_Arr(array_length), m_slots(nullptr), m_capacity(0) {
  if (array_length < 0) string_arr::ThrowTooBig();
  try {
    Grow(array_length);
  } catch (...) {
    String_Arr::clear();
    throw;
  }
}

String_Arr::~String_Arr() {
  String_Arr::clear();
}

char* String_Arr::GetStr(int index) const {
  return index >= 0 && index < m_array_length ? m_slots[index] : nullptr;
}

void String_Arr::SetStr(int index, const char* text, int /*length*/) {
  if (index < 0) return;
  if (index >= m_array_length) {
    const long long missing = static_cast<long long>(index) + 1 - m_array_length;
    const long long steps = (missing + kGrowth - 1) / kGrowth;
    const long long grown = m_array_length + steps * kGrowth;
    if (grown != static_cast<int>(grown)) string_arr::ThrowTooBig();
    Grow(static_cast<int>(grown));
  }
  // memmove, for a text may be that of another slot, or of this one.
  const void* const zero = std::memchr(text, '\0', kSlotSize - 1);
  const std::size_t length = zero == nullptr
                                 ? kSlotSize - 1
                                 : static_cast<std::size_t>(static_cast<const char*>(zero) - text);
  std::memmove(m_slots[index], text, length);
  m_slots[index][length] = '\0';
  if (index >= m_inserted) m_inserted = index + 1;
}

int String_Arr::GetArrLen() const {
  return m_array_length;
}

const char** String_Arr::GetStrArray() {
  return const_cast<const char**>(m_slots);
}

void String_Arr::clear() {
  for (int i = 0; i < m_array_length; ++i) delete[] m_slots[i];
  delete[] m_slots;
  m_slots = nullptr;
  m_capacity = 0;
  m_array_length = 0;
  m_inserted = 0;
}

void String_Arr::Grow(int array_length) {
  if (array_length > m_capacity) {
    // Doubled, so that many small steps do not copy the table each time.
    const long long doubled = 2LL * m_capacity;
    const long long capacity = std::clamp<long long>(doubled, array_length, INT_MAX);
    char** const slots = new char*[static_cast<std::size_t>(capacity)];
    std::copy_n(m_slots, m_array_length, slots);
    delete[] m_slots;
    m_slots = slots;
    m_capacity = static_cast<int>(capacity);
  }
  // The length counts the slots that have their buffer, so that a failed allocation
  // leaves an array of fewer slots.
  while (m_array_length < array_length) {
    m_slots[m_array_length] = new char[kSlotSize]();
    ++m_array_length;
  }
}
