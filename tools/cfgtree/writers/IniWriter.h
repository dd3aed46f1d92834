// INI files: the reverse of readers/IniReader.h.
//
//   service = ferry
//
//   [net]
//   host = db
//
//   [net\ports]
//   http = 8080
//
// Values of the top come first, then a section for each inner node that has values, or
// nothing at all.  The format has one level of sections: a sub-tree further down becomes a
// section named by its path, which is counted.  There are no escapes, so values with line
// breaks and names that would be read as something else are left out, and counted; blanks
// around values are dropped.

#ifndef CFGTREE_WRITERS_INIWRITER_H
#define CFGTREE_WRITERS_INIWRITER_H

#include <string>

#include "Tree/Tree_Node.h"
#include "readers/SourceStyle.h"
#include "writers/Losses.h"

namespace cfgtree {

std::string WriteIni(Tree_NodePtr& top, const SourceStyle& style, Losses& losses);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_INIWRITER_H
