// Windows registry exports: the reverse of readers/RegReader.h.
//
// Laid out as the registry editor does: version 5 in UTF-16 with a byte order mark and CR
// LF, or the way the file was that the tree came from; a blank line in front of each key
// and at the end.  Bytes are broken behind the comma that passes column 76, with a
// backslash, and two blanks begin the next line.
//
// A leaf's value is in the notation of the reader: "dword:0000001f", "hex(2):25,00", "-" for
// a deleted value, "[-]" for a deleted key, and text, in double quotes when it would be
// taken for one of these.  Any value that is not exactly one of them is text.
//
// Keys come in the order of the tree, each with its values first and then its sub-keys; a
// value that stands behind a sub-key of its name comes behind the sub-keys, in a section of
// its own, so that the two are read in the same order again.  The deletion of a key comes
// before the key of that name, wherever it stands: together they mean a key that is made
// anew.
//
// Inner nodes that were only on the way to another key (NodeKind::kImpliedKey) get no line
// of their own.

#ifndef CFGTREE_WRITERS_REGWRITER_H
#define CFGTREE_WRITERS_REGWRITER_H

#include <string>
#include <string_view>

#include "Tree/Tree_Node.h"
#include "readers/SourceStyle.h"
#include "writers/Losses.h"

namespace cfgtree {

std::string WriteReg(Tree_NodePtr& top, const SourceStyle& style, Losses& losses);

// The sort of a leaf's value.
enum class RegType { kText, kDword, kHex, kDeletedValue, kDeletedKey };
RegType RegTypeOf(std::string_view value);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_REGWRITER_H
