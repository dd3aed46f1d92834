// JSON, as far as a tree is one: the reverse of readers/JsonReader.h.
//
// Laid out as Python's json.dump writes with an indent of two blanks and without ASCII
// escapes, or as the file was that the tree came from: indent, or all on one line.  A
// value's kind decides how it is written: a text is a string, and nothing is taken for a
// number because it looks like one.

#ifndef CFGTREE_WRITERS_JSONFILEWRITER_H
#define CFGTREE_WRITERS_JSONFILEWRITER_H

#include <string>

#include "Tree/Tree_Node.h"
#include "readers/SourceStyle.h"
#include "writers/Losses.h"

namespace cfgtree {

std::string WriteJsonFile(Tree_NodePtr& top, const SourceStyle& style, Losses& losses);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_JSONFILEWRITER_H
