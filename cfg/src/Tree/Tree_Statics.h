// The load-time objects that only the library itself uses.  All of them, and those
// that clients see, are made in Tree_Statics.cpp.

#ifndef TREE_TREE_STATICS_H
#define TREE_TREE_STATICS_H

#include "ThreadAPI/Mutex.h"
#include "rw/RWCString.h"

namespace tree_statics {

// Guards the making of the container of interned strings.
extern Mutex& interning_mutex;

extern const RWCString empty_string;

// Names of the sub-nodes that tell a value stored in chunks.
extern const RWCString blob_encoding_name;
extern const RWCString first_chunk_name;

}  // namespace tree_statics

#endif  // TREE_TREE_STATICS_H
