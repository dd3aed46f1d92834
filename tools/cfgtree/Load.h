#ifndef CFGTREE_LOAD_H
#define CFGTREE_LOAD_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Tree/Tree_Node.h"
#include "readers/FormatDetection.h"
#include "readers/Source.h"
#include "readers/SourceStyle.h"

namespace cfgtree {

// A file that has become a tree.
struct LoadedFile {
  std::string name;  // as errors and headings show it
  Tree_NodePtr top;
  Format format;
  SourceStyle style;     // what writing it again as it was needs
  std::size_t bytes;     // size of the file
  double read_seconds;   // from disk into memory
  double build_seconds;  // from there into the tree
};

// Reads `path` ("-": standard input) as `format`, or as what it looks like.  Throws an
// Error.
LoadedFile Load(const std::string& path, std::optional<Format> format);

// The same for the commands: the result is never released, since the process ends with
// the command, and the system takes back a big tree faster than its destructors could.
LoadedFile& LoadForGood(const std::string& path, std::optional<Format> format);

// Reads a file in memory; the top node is called `top_name`, except that a serialized
// tree names its own.  `style` receives how the file was written.
Tree_NodePtr BuildTree(const Source& source, Format format, std::string_view top_name,
                       SourceStyle* style = nullptr);

// The name of the top node: the file's name without folders and extension, "stdin" for
// standard input, "tree" when nothing fit for a name is left.
std::string TopName(std::string_view path);

}  // namespace cfgtree

#endif  // CFGTREE_LOAD_H
