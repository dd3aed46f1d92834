#ifndef CFGTREE_COMMANDLINE_H
#define CFGTREE_COMMANDLINE_H

#include <optional>
#include <string>
#include <vector>

#include "Terminal.h"
#include "readers/FormatDetection.h"

namespace cfgtree {

enum class Command {
  kPrint,
  kGet,
  kLs,
  kSearch,
  kStats,
  kExport,
  kConvert,
  kMerge,
  kExplain,
  kDiff,
  kChanges,
  kChecksum
};

// What the user asked for.
struct Options {
  Command command = Command::kPrint;
  std::vector<std::string> files;  // what is read, in the order of the arguments
  std::string path;
  std::string output;            // the file that is written
  std::optional<Format> format;  // of what is read
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

  // export, convert, merge and changes
  std::optional<Format> to;  // the format of what is written
  std::string skip;          // the sub-tree of the top that is left out
  bool header = false;

  // merge and explain
  bool one_level = false;

  // checksum
  std::optional<std::string> name;
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
