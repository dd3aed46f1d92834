// Every object that is made while the library is loaded.  They stand in one file
// because only then does the language make them in the order in which they stand;
// clients' own static objects may use all of them.
//
// Handles may be released as late as a client's static destructors run.  Whatever a
// release touches is therefore made with the heap and never destroyed: the null
// handle, the pools and the mutex.

#include "Tree/Tree_Statics.h"

#include "Tree/Tree_Node.h"

namespace {

constexpr int kNodesPerBlock = 10000;
constexpr int kValuesPerBlock = 2000;
constexpr short kUnknownBlockNumber = -1;
constexpr int kAlignment = 8;

template <class Element>
Zel_PoolAllocator& MakePool(const char* name, int elements_per_block) {
  return *new Zel_PoolAllocator(name, sizeof(Element), kUnknownBlockNumber, elements_per_block,
                                kAlignment, true);
}

}  // namespace

Tree_NodePtr& Tree_Node::NULL_TREE_NODE_PTR = *new Tree_NodePtr(static_cast<Tree_Node*>(nullptr));

Zel_PoolAllocator& Tree_Node::m_NodesPool = MakePool<Tree_Node>("Tree_Node", kNodesPerBlock);
Zel_PoolAllocator& Tree_Node::m_sChildTreeNodeVec =
    MakePool<Tree_NodePtrVec>("Tree_NodePtrVec", kNodesPerBlock);

Mutex& tree_statics::interning_mutex = *new Mutex;

RWCString Tree_Node::separator("\\");

const RWCString tree_statics::empty_string;

// Permanent texts are not counted, so that merges in several threads share no counter.
const RWCString tree_statics::blob_encoding_name(RWCString::Permanent("blobencoding"));
const RWCString tree_statics::first_chunk_name(RWCString::Permanent("chunk0000"));

RWCString Tree_EmptySubTree_DummyName("this_is_an_empty_sub_tree_name_indication");

// Intended: the pool of handles bears the same name as the pool of the vectors that
// hold them; together they are what lists of children cost.
Zel_PoolAllocator& Tree_NodePtrVec::m_pPrivatePool =
    MakePool<Tree_NodePtr>("Tree_NodePtrVec", kValuesPerBlock);

Zel_PoolAllocator& Tree_Value::m_sValuesPool = MakePool<Tree_Value>("Tree_Value", kValuesPerBlock);

const int Tree_Node::TRUE_BOOL = 1;

const char* Tree_IdNodeInfo::empty_string = "";
