// Strings of the library and of C++ made from each other, zero bytes included.

#ifndef TREE_TESTS_SUPPORT_STRINGTEXT_H
#define TREE_TESTS_SUPPORT_STRINGTEXT_H

#include <string>

#include "rw/RWCString.h"

inline std::string Text(const RWCString& s) {
  return std::string(s.data(), s.length());
}

inline RWCString Bytes(const std::string& s) {
  return RWCString(s.data(), s.length());
}

#endif  // TREE_TESTS_SUPPORT_STRINGTEXT_H
