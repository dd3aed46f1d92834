// Tree_NodePtr: the counted handle through which nodes are held.
//
// Copying a handle counts up atomically; the last handle to let go destroys the
// node, and with it every child that nobody else holds.  Handles to one node may
// be copied and released from several threads; one handle object belongs to one
// thread at a time.

#ifndef TREE_TREE_NODEPTR_H
#define TREE_TREE_NODEPTR_H

#include "ThreadAPI/ThreadAPI_AutoPtrThreadSafe.h"

class Tree_Node;

using Tree_NodePtr = ThreadAPI_AutoPtrThreadSafe<Tree_Node>;

#endif  // TREE_TREE_NODEPTR_H
