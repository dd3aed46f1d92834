// Windows registry exports: version 5 (UTF-16LE with a byte order mark, or UTF-8) and
// REGEDIT4.
//
//   [HKEY_LOCAL_MACHINE\Software\Post]
//   @="mail"
//   "Port"=dword:0000001f
//   "Home"=hex(2):25,00,48,00,00,00
//   "a\\b"="x"
//   "Old"=-
//   [-HKEY_LOCAL_MACHINE\Software\Gone]
//
//   top
//   └─ HKEY_LOCAL_MACHINE
//      └─ Software
//         ├─ Post
//         │  ├─ @ = mail
//         │  ├─ Port = dword:0000001f
//         │  ├─ Home = hex(2):25,00,48,00,00,00
//         │  ├─ a%5Cb = x
//         │  └─ Old = -
//         └─ Gone = [-]
//
// Each key is an inner node below its parent key, each value a leaf.  A section that
// comes again goes on with the same node.  Text (REG_SZ) is the leaf's value as it is;
// every other type keeps its notation, with small hexadecimal digits, eight of them in
// a dword, and no line breaks (an export breaks the line of a long hex value).  A deleted
// value is a leaf "-", a deleted key a leaf "[-]".  A deletion undoes what the file has said
// of the key before, as it does in an import; what is said of it later stands in an inner
// node of its own behind the leaf.  Text that could be taken for one of these, or begins
// with a quote, is kept in double quotes (QuoteRegText), so no type is ever lost.
//
// Names are compared byte for byte although the registry ignores case.  A key may have
// a value and a sub-key of one name; both are there, and a path finds the first.

#ifndef CFGTREE_READERS_REGREADER_H
#define CFGTREE_READERS_REGREADER_H

#include <string>
#include <string_view>

#include "TreeBuilder.h"
#include "readers/Source.h"

namespace cfgtree {

// Reads the file below the top of `tree`.  Throws an Error with line and column, or
// with a byte offset when the UTF-16 itself is broken.
void ReadReg(const Source& source, TreeBuilder& tree);

// Whether an import makes the key that `key` is, or only goes through it to delete another.
bool IsMadeKey(Tree_Node& key);

// The leaf value for a REG_SZ `text`: the text itself, or in double quotes when it
// could be taken for the notation of another type.
std::string QuoteRegText(std::string_view text);

}  // namespace cfgtree

#endif  // CFGTREE_READERS_REGREADER_H
