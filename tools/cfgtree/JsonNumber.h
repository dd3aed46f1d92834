#ifndef CFGTREE_JSONNUMBER_H
#define CFGTREE_JSONNUMBER_H

#include <string_view>

namespace cfgtree {

inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Whether JSON takes `text`, all of it, for a number.
bool IsJsonNumber(std::string_view text);

}  // namespace cfgtree

#endif  // CFGTREE_JSONNUMBER_H
