// Text as it is read, compared and shown: trimmed, in small letters, made harmless for a
// terminal, measured and cut by columns.

#ifndef CFGTREE_TEXT_H
#define CFGTREE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "rw/RWCString.h"

namespace cfgtree {

inline std::string_view View(const RWCString& text) {
  return {text.data(), text.length()};
}
inline RWCString ToRWCString(std::string_view text) {
  return RWCString(text.data(), text.size());
}

// `text` without any of `blanks` at its ends; a part of it even when nothing is left.
std::string_view Trimmed(std::string_view text, std::string_view blanks);

// ASCII letters in small, every other byte as it is.
constexpr char LowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
std::string LowerCase(std::string_view text);

// `text` on one line and without anything that could drive a terminal or turn the
// order of what stands around it.  Control characters become \n, \r, \t, \x1b or
// \u202e, bytes that are no UTF-8 \xe9.  A backslash stays one backslash.
std::string Printable(std::string_view text);

// Columns that a printable text takes on a terminal.
std::size_t DisplayWidth(std::string_view text);

// A printable text cut to `width` columns; an ellipsis ends what was cut.
std::string CutToWidth(std::string_view text, std::size_t width);

// 1234567 as "1,234,567".
std::string Grouped(std::uint64_t number);

// "1 entry", "1,234 entries".
std::string Counted(std::uint64_t number, std::string_view one, std::string_view many);

// 1536 as "1.5 KiB".
std::string ByteSize(std::uint64_t bytes);

// 0.0123 as "12.3 ms".
std::string Duration(double seconds);

}  // namespace cfgtree

#endif  // CFGTREE_TEXT_H
