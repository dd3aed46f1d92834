// What differs between operating systems, and nothing else.

#ifndef CFGTREE_SYSTEM_H
#define CFGTREE_SYSTEM_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace cfgtree::os {

// Makes standard input and output carry bytes as they are, lets a closed pipe and a file
// at its size limit show as a write error instead of ending the process, and readies a
// console for colour.
void Prepare();

// The arguments behind the program's name, in UTF-8.
std::vector<std::string> Arguments(int argc, char** argv);

enum class Stream { kOutput, kError };
bool IsTerminal(Stream stream);

struct TerminalSize {
  int columns;
  int rows;
};
// Of the terminal that standard output goes to; 80 by 24 when it does not tell.
TerminalSize GetTerminalSize();

// An environment variable, empty when it is not set.
std::string Environment(const char* name);

// What the system calls an error, as the end of an error line.
std::string ErrorText(std::error_code error);

// Whether `c` separates the names in a file's path; a backslash does on Windows only.
bool IsPathSeparator(char c);

// Files above this size are refused; the counts of the library are 32-bit numbers.
inline constexpr std::size_t kMaxFileSize = 0x7FFFFFFF;

// All bytes of a file, of standard input when `path` is "-".  Calls `progress` now and
// then with the bytes read and the bytes expected (0 when that is not known).  Throws an
// Error that names the file `shown`.
std::string ReadFile(const std::string& path, std::string_view shown,
                     const std::function<void(std::size_t, std::size_t)>& progress);

// Writes all of `text` to standard output.  Throws an Error when that fails.
void WriteOutput(std::string_view text);

// Makes `bytes` the content of the file at `path`, as a whole or not at all: they go into
// a new file beside it, down to the disk, which then takes its place.  A file that was
// there keeps its mode; a symbolic link stays and what it leads to is replaced.  "-" is
// standard output, and what is no regular file (a device, a pipe) or stands for an open
// descriptor (/dev/stdout, /dev/fd/3), whatever that leads to, is written to directly.
// Throws an Error that names the file; no temporary file is then left.
void ReplaceFile(const std::string& path, std::string_view bytes);

// Writes `text` to standard error, as far as that is possible.
void WriteError(std::string_view text);

// Ends the process without destroying anything: the system takes back a tree of
// millions of nodes at once, where its destructors would need a second.
[[noreturn]] void Exit(int code);

}  // namespace cfgtree::os

#endif  // CFGTREE_SYSTEM_H
