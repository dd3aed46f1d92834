// INI files, by these rules (they are also what .conf and .cfg files are read by):
//
//   ; a comment          lines that begin with ; or # are dropped
//   color = red          a leaf below the top: keys before the first section
//   [net\ports]          an inner node, named "net%5Cports"
//   http = 8080          a leaf; blanks and tabs around name and value are dropped
//   quoted = " a ; b "   the value is the rest of the line: quotes and ; belong to it
//   empty =              a leaf with an empty value
//   verbose              one word at the start of a line is a key without a value
//   [net\ports]          a second section of that name is a second node
//
// Only = separates a name from its value.  There are no continued lines and no escapes.
// The order of sections and keys and all repetitions are kept.  Files are UTF-8, with
// or without a byte order mark, or UTF-16 with one; lines end with LF or CR LF.
//
// The rules stand in code of our own because the common libraries for INI files lose
// what a tree keeps: repeated names, order, or the place of an error.

#ifndef CFGTREE_READERS_INIREADER_H
#define CFGTREE_READERS_INIREADER_H

#include <string_view>

#include "TreeBuilder.h"
#include "readers/Source.h"

namespace cfgtree {

// What is dropped around names and values.
inline constexpr std::string_view kIniBlanks = " \t\r";

// Reads the file below the top of `tree`.  Throws an Error with line and column for a
// line that is none of the above.
void ReadIni(const Source& source, TreeBuilder& tree);

}  // namespace cfgtree

#endif  // CFGTREE_READERS_INIREADER_H
