// Where a virtual function stands in its class's table.
//
// Clients built against older versions call through slots by number.

#ifndef TESTS_SUPPORT_VIRTUALSLOTS_H
#define TESTS_SUPPORT_VIRTUALSLOTS_H

#if defined(__GNUC__) && defined(__x86_64__)

#include <cstddef>
#include <cstring>

// Here a pointer to a virtual member is its offset in the table plus one; the destructor
// takes two slots.
template <class Method>
std::ptrdiff_t SlotOf(Method method) {
  std::ptrdiff_t words[2];
  static_assert(sizeof method == sizeof words, "a pointer to a member is two words");
  std::memcpy(words, &method, sizeof words);
  return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

#endif

#endif  // TESTS_SUPPORT_VIRTUALSLOTS_H
