// XML: the reverse of readers/XmlReader.h.
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <server port="80">
//     <name>db &amp; cache</name>
//     <p>see <b>here</b> first</p>
//     <empty/>
//   </server>
//
// An inner node is an element, its leaves called @name are attributes and those called
// #text its text; any other leaf is an element with text.  Elements are indented, except
// inside one that has text of its own, where white space would become part of it.  The one
// child of the top is the document's root element; where there is not exactly one, the top
// itself is, which is told.
//
// A name that is no XML name has _xHHHH_ in place of each character that has no place
// there.  The reader does not take such codes back, since they are names like any other.

#ifndef CFGTREE_WRITERS_XMLWRITER_H
#define CFGTREE_WRITERS_XMLWRITER_H

#include <string>
#include <string_view>

#include "Tree/Tree_Node.h"
#include "readers/SourceStyle.h"
#include "writers/Losses.h"

namespace cfgtree {

std::string WriteXml(Tree_NodePtr& top, const SourceStyle& style, Losses& losses);

// `name`, which is UTF-8, as an XML name.
std::string XmlName(std::string_view name);

}  // namespace cfgtree

#endif  // CFGTREE_WRITERS_XMLWRITER_H
