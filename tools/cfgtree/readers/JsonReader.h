// JSON.
//
//   {"host": "db", "ports": [80, 443], "tls": true}
//
//   top
//   ├─ host = db
//   ├─ ports            (an array)
//   │  ├─ 0 = 80
//   │  └─ 1 = 443
//   └─ tls = true
//
// Objects and arrays become inner nodes, scalars leaves; a document that is a scalar
// becomes a top node that is a leaf.  A number keeps its own text.  Elements of arrays
// are named by their index.  Repeated keys are kept.  The kind of a node (NodeKind.h)
// tells arrays from objects and numbers, booleans and null from strings.

#ifndef CFGTREE_READERS_JSONREADER_H
#define CFGTREE_READERS_JSONREADER_H

#include "TreeBuilder.h"
#include "readers/Source.h"

namespace cfgtree {

// Reads the whole document below the top of `tree`.  Throws an Error with line and
// column for anything that is not one JSON document in UTF-8.
void ReadJson(const Source& source, TreeBuilder& tree);

}  // namespace cfgtree

#endif  // CFGTREE_READERS_JSONREADER_H
