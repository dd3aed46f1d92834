// What can go wrong with an input, and where.
//
// An Error is one line for the user without the program's name:
//
//   net.json:3:14: missing a comma or } after an object member
//   big.reg: byte 512: half of a surrogate pair
//   net.json: no such file or directory
//
// Lines and columns count from 1; a column is a character, not a byte, and a tab is
// one column.  Byte offsets count from 0.

#ifndef CFGTREE_ERROR_H
#define CFGTREE_ERROR_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cfgtree {

// Bad input or a path that is not there: exit code 1.
class Error : public std::runtime_error {
 public:
  // About the file as a whole.
  Error(std::string_view file, std::string_view what);

  // About a place that is already known by line and column.
  static Error AtLine(std::string_view file, std::size_t line, std::size_t column,
                      std::string_view what);

  // About the byte at `offset` of `text`, which is UTF-8 up to there.
  static Error AtText(std::string_view file, std::string_view text, std::size_t offset,
                      std::string_view what);

  // About a byte of a file that has no lines yet, such as undecoded UTF-16.
  static Error AtByte(std::string_view file, std::size_t offset, std::string_view what);

 private:
  explicit Error(const std::string& line);
};

// An unknown option, a missing argument: exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace cfgtree

#endif  // CFGTREE_ERROR_H
