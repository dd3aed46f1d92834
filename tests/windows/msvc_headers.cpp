// The public headers, for a compiler of the other family: see CMakeLists.txt.

#include "ThreadAPI/Mutex.h"
#include "ThreadAPI/ThreadAPI_AutoPtrThreadSafe.h"
#include "ThreadAPI/ThreadAPI_LockGuard.h"
#include "ThreadAPI/ThreadAPI_RWSpinLock.h"
#include "Tree/Tree_IdNodeInfo.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_NodeInfo.h"
#include "Tree/Tree_NodePtrVec.h"
#include "Tree/Tree_Path.h"
#include "Tree/Tree_PathAndValueArray.h"
#include "Tree/Tree_Value.h"
#include "Tree/Tree_ValueAndPath.h"
#include "Zel/Zel_CRC.h"
#include "Zel/Zel_Flyweight.h"
#include "Zel/Zel_LogFile.h"
#include "Zel/Zel_PoolAllocator.h"
#include "Zel/Zel_PtrSortedVector.h"
#include "rw/RWBoundsErr.h"
#include "rw/RWCString.h"
#include "rw/RWTPtrOrderedVector.h"
#include "rw/RWTValOrderedVector.h"
#include "strarr/Dynamic_String_Arr.h"
#include "strarr/Generic_String_Arr.h"
#include "strarr/String_Arr.h"

#if !defined(_MSC_VER) || !defined(_WIN32) || defined(__GNUC__)
#error "this is not how that compiler introduces itself"
#endif

// Templates are looked at in full only where they are used.
template class ThreadAPI_AutoPtrThreadSafe<Tree_Node>;
template class RWTPtrOrderedVector<Tree_IdNodeInfo>;
template class RWTValOrderedVector<int>;
template class Zel_PtrSortedVector<Tree_NodeInfo>;
template class Zel_FlyweightContainer<RWCString>;

static_assert(sizeof(Tree_NodePtr) == 16, "two pointers");
static_assert(sizeof(Tree_Node) == 48, "as in every other build");
static_assert(sizeof(unsigned long) == 4, "LLP64");
