// How a name of a file becomes the name of a node.
//
// A path could not reach a node whose name is empty or has a backslash in it, and
// look-ups end a name at a zero byte.  Such names are written with an escape:
//
//   name in the file     name of the node
//   a backslash          %5C
//   a zero byte          %00
//   the empty name       %            (a lone percent sign)
//   %5C %00 %25 %40      %255C %2500 %2525 %2540
//   a lone %             %25
//
// %40 stands for an @ that a reader has to tell from its own use of that name (a
// registry value that is called @).  Any other percent sign stands for itself, so
// that "50%" and "%PATH%" stay readable.  The escape loses nothing: DecodeName gives
// back exactly the name of the file.

#ifndef CFGTREE_NAMES_H
#define CFGTREE_NAMES_H

#include <string>
#include <string_view>

namespace cfgtree {

inline constexpr std::string_view kEscapedAt = "%40";

// The node name for `name`.  The result is `name` itself, or stands in `storage`.
std::string_view EncodeName(std::string_view name, std::string& storage);

// The name that EncodeName was given.
std::string DecodeName(std::string_view node_name);

}  // namespace cfgtree

#endif  // CFGTREE_NAMES_H
