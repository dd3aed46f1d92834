// One line per leaf, for people, diff and grep:
//
//   net\ports\http<TAB>8080
//   net\host<TAB>db
//   net\proxies\<TAB>
//
// The path from below the top, a tab, the value.  A path that ends in a backslash is that
// of an inner node without children.  Repeated names take their number (Places.h), so that
// a path leads back to its leaf.  Lines are in the order of the tree, end with a line feed
// and depend on nothing but the tree.
//
// Values are on one line: a backslash is \\, control characters are \t, \n, \r, \x1b, what
// turns the direction of text \u202e, bytes that are no UTF-8 \xe9.  In names, where a
// backslash separates, the bytes of such characters are %09, %0A, %E9, and a percent sign
// that could be taken for one of these is %25.
//
// The format is written only.  Kinds do not show in it; change flags are counted as lost.

#ifndef CFGTREE_WRITERS_TEXTWRITER_H
#define CFGTREE_WRITERS_TEXTWRITER_H

#include <string>
#include <string_view>

#include "Tree/Tree_Node.h"
#include "readers/SourceStyle.h"
#include "writers/Losses.h"

namespace cfgtree {

std::string WriteText(Tree_NodePtr& top, const SourceStyle& style, Losses& losses);

// A name and a value as they stand in a line.
std::string TextName(std::string_view name);
std::string TextValue(std::string_view value);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_TEXTWRITER_H
