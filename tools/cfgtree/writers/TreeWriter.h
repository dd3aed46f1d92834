// Serialized trees, as the library itself writes them.
//
// The library's format has no place for: change flags of empty values, zero bytes in names
// and values (each ends there), a value at the top, inner nodes with an empty name further
// down, and kinds.  An empty inner node is written like a leaf with an empty value.

#ifndef CFGTREE_WRITERS_TREEWRITER_H
#define CFGTREE_WRITERS_TREEWRITER_H

#include <string>
#include <string_view>

#include "Tree/Tree_Node.h"
#include "readers/SourceStyle.h"
#include "writers/Losses.h"

namespace cfgtree {

// The buffer of the library, behind a header when `header` or the style asks for one.  The
// inner child of the top that is called `skip_name` is left out.  Throws an Error when the
// buffer would be larger than 2 GiB.
std::string WriteTree(Tree_NodePtr& top, const SourceStyle& style, const std::string& skip_name,
                      bool header, Losses& losses);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_TREEWRITER_H
