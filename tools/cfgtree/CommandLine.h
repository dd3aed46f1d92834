#ifndef CFGTREE_COMMANDLINE_H
#define CFGTREE_COMMANDLINE_H

#include <optional>
#include <string>
#include <vector>

#include "Terminal.h"
#include "readers/FormatDetection.h"

namespace cfgtree {

enum class Command { kPrint, kGet, kLs, kSearch, kStats };

// What the user asked for.
struct Options {
  Command command = Command::kPrint;
  std::string file;
  std::string path;
  std::optional<Format> format;
  bool json = false;
  ColorMode color = ColorMode::kAuto;
  int log_level = 0;  // 0: none of the library's log lines

  // print
  std::optional<int> depth;
  std::optional<int> children;
  std::optional<int> lines;
  bool all = false;
  bool ascii = false;

  // ls and search
  std::optional<int> limit;
};

// The options, or a text to print instead (help, version).
struct ParsedCommandLine {
  Options options;
  std::optional<std::string> text;
};

// Reads the arguments behind the program's name.  Throws a UsageError.
ParsedCommandLine ParseCommandLine(const std::vector<std::string>& arguments);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDLINE_H
