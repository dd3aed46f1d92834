#ifndef CFGTREE_COMMANDS_CHECKSUM_H
#define CFGTREE_COMMANDS_CHECKSUM_H

#include <string>

#include "Tree/Tree_Node.h"

namespace cfgtree {

// The name of a node is part of its checksum, and a top node is called after its file.  So
// that equal content has one checksum whatever the file is called, the client calls every
// top node this for the time of the sum.
inline constexpr const char* kChecksumTopName = "top";

// GetChecksumIgnoreOrder as 8 capital hexadecimal digits, such as 0C39F5AD.
std::string ChecksumText(Tree_Node& node);

}  // namespace cfgtree

#endif  // CFGTREE_COMMANDS_CHECKSUM_H
