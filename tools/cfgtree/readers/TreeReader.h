// Serialized trees, the byte buffers that the library writes (docs/formats.md).
//
//   [length of the virtual parent path, the path]        a header, or nothing
//   id, parent id, length of the name, the name,
//   length of the value, [the value, change flag]        a record for each node
//
// Numbers have 32 bits, most significant byte first.  The value and its change flag are
// there when the length is above 0.
//
// The header.  Nothing says whether there is one, but the first record is always id 0
// below parent -1.  A buffer that begins with these eight bytes has no header; any other
// has one.  This is never ambiguous: behind a header of length 0, bytes 4 to 7 are the id
// 0, and any other header has a length that is no id 0.
//
// What is accepted.  Ids are 0 or more, each is new, and each parent came before, so
// parents may have their children anywhere behind them; children keep the order of their
// records.  Ids need not be consecutive.  (The library writes them consecutively and in
// pre-order, and only such buffers come back byte for byte when they are written again.)
// Names and values are any bytes.  A node with a value has no children.
//
// Leaf or inner.  A record with a value is a leaf, one with children an inner node.  The
// format does not tell an empty inner node from a leaf with an empty value: it reads as a
// leaf, since empty values are common in configuration files and empty sub-trees are rare.
// The top, which is always written without its value, reads as an inner node unless it
// has a value all the same.  Both sorts are written as the same bytes again.

#ifndef CFGTREE_READERS_TREEREADER_H
#define CFGTREE_READERS_TREEREADER_H

#include <optional>
#include <string>
#include <string_view>

#include "TreeBuilder.h"
#include "readers/Source.h"

namespace cfgtree {

// How the first record begins: id 0 below parent -1.
inline constexpr std::string_view kFirstRecord("\0\0\0\0\xFF\xFF\xFF\xFF", 8);

// Reads the buffer into `tree`, whose top takes the name of the first record.  `header`
// receives the virtual parent path when there is one; the tree does not.  Throws an
// Error with the offset of the number that cannot be right; nothing is then built.
//
// The whole buffer is checked before anything is built.  Memory: some 20 bytes for each record
// of at least 16, some more where ids are not consecutive, besides the tree itself.
void ReadTree(const Source& source, TreeBuilder& tree, std::optional<std::string>& header);

}  // namespace cfgtree

#endif  // CFGTREE_READERS_TREEREADER_H
