// Strings of the library and of C++ made from each other, zero bytes included.

#ifndef TREE_TESTS_SUPPORT_STRINGTEXT_H
#define TREE_TESTS_SUPPORT_STRINGTEXT_H

#include <cstddef>
#include <string>

#include "rw/RWCString.h"

inline std::string Text(const RWCString& s) {
  return std::string(s.data(), s.length());
}

inline RWCString Bytes(const std::string& s) {
  return RWCString(s.data(), s.length());
}

// Of a literal, whose length a std::string could not tell when it has a zero byte.
template <std::size_t N>
RWCString Bytes(const char (&literal)[N]) {
  return RWCString(literal, N - 1);
}

#endif  // TREE_TESTS_SUPPORT_STRINGTEXT_H
