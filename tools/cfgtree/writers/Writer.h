// Trees become files.
//
// A writer takes a tree as the readers make them: names are node names (Names.h, whose
// escape it takes back), kinds stand in the node ids (NodeKind.h; Kinds.h brings them
// back into trees that the library has copied).  What the format cannot carry is counted
// into Losses, never guessed and never silently dropped.

#ifndef CFGTREE_WRITERS_WRITER_H
#define CFGTREE_WRITERS_WRITER_H

#include <optional>
#include <string>
#include <string_view>

#include "Load.h"
#include "Tree/Tree_Node.h"
#include "readers/FormatDetection.h"
#include "readers/SourceStyle.h"
#include "writers/Losses.h"

namespace cfgtree {

struct WriteOptions {
  // How the file is laid out; DefaultStyle(format) when nothing is said.
  std::optional<SourceStyle> style;

  // Serialized trees only: the inner child of the top that is left out (empty: none),
  // and whether a header stands in front, in addition to one that `style` asks for.
  std::string skip_name;
  bool header = false;
};

// The bytes of a file of this format.  `top` is not changed.  Throws an Error when the
// tree has no form in this format at all.
std::string WriteFormat(Tree_NodePtr& top, Format format, const WriteOptions& options,
                        Losses& losses);

// What `path` becomes by its extension: .tree, .reg, .json, .txt, .ini, .xml.  Throws a
// UsageError that lists them for any other, "-" included.
Format OutputFormat(std::string_view path);

// Options that write `format` the way `file` was written, when it has that format.
WriteOptions WriteOptionsLike(const LoadedFile& file, Format format);

// WriteFormat into the file at `path` ("-": standard output), replaced as a whole; then
// one line "cfgtree: warning: ..." on standard error for each loss.
void Save(Tree_NodePtr& top, const std::string& path, Format format, const WriteOptions& options);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_WRITER_H
