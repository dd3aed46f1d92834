// XML.
//
//   <server port="80">
//     <name>db &amp; cache</name>
//     <p>see <b>here</b> first</p>
//     <empty/>
//   </server>
//
//   top
//   └─ server
//      ├─ @port = 80
//      ├─ name = db & cache
//      ├─ p
//      │  ├─ #text = "see "
//      │  ├─ b = here
//      │  └─ #text = " first"
//      └─ empty = ""
//
// An element with neither attributes nor child elements becomes a leaf with its text,
// byte for byte.  Any other element becomes an inner node: its attributes are leaves
// named @name, each run of its text a leaf named #text, in the order of the file.  Runs
// of white space only are dropped there.  Names are taken as written, prefixes
// included.  CDATA is text; comments and processing instructions are dropped and do not
// end a run.  Entities of the document's own DTD are expanded (Expat guards against
// amplification); nothing outside the file is ever read.

#ifndef CFGTREE_READERS_XMLREADER_H
#define CFGTREE_READERS_XMLREADER_H

#include "TreeBuilder.h"
#include "readers/Source.h"

namespace cfgtree {

// Reads the document below the top of `tree`.  The encoding is the one that the document
// declares (UTF-8, UTF-16, ISO-8859-1 or US-ASCII).  Throws an Error with line and
// column for a document that is not well-formed or refers to an external entity.
void ReadXml(const Source& source, TreeBuilder& tree);

}  // namespace cfgtree

#endif  // CFGTREE_READERS_XMLREADER_H
