// How Expat is built here; the same choices as in Debian's own package.

#ifndef TREE_WINDOWS_EXPAT_CONFIG_H
#define TREE_WINDOWS_EXPAT_CONFIG_H

#define BYTEORDER 1234
#define XML_CONTEXT_BYTES 1024
#define XML_DTD 1
#define XML_GE 1
#define XML_NS 1

#endif  // TREE_WINDOWS_EXPAT_CONFIG_H
