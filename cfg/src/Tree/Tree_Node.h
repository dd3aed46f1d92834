// The configuration tree: everything that clients of this library include.
//
//   Tree_NodePtr top(new Tree_Node("cfg"));
//   Tree_Path where("net\\ports");
//   Tree_NodePtr ports = top->GetOrCreateRelativeNode(where, top);
//   Tree_NodePtr http(new Tree_Node("http", new Tree_Value("8080", 0)));
//   ports->Add(http);
//
//   RWCString path("net\\ports\\http");
//   RWCString value = top->GetValue(path, top);   // "8080"

#ifndef TREE_TREE_NODE_H
#define TREE_TREE_NODE_H

#include <atomic>
#include <cstddef>
#include <vector>

#include "Tree/Tree_Api.h"
#include "Tree/Tree_IdNodeInfo.h"
#include "Tree/Tree_NodeInfo.h"
#include "Tree/Tree_NodePtr.h"
#include "Tree/Tree_NodePtrVec.h"
#include "Tree/Tree_Path.h"
#include "Tree/Tree_PathAndValueArray.h"
#include "Tree/Tree_Value.h"
#include "Tree/Tree_ValueAndPath.h"
#include "Zel/Zel_PoolAllocator.h"
#include "Zel/Zel_PtrSortedVector.h"
#include "rw/RWCString.h"
#include "rw/RWTPtrOrderedVector.h"
#include "strarr/String_Arr.h"

// Reserved key name for an empty sub-tree, for clients that have to mark one.
extern TREE_API RWCString Tree_EmptySubTree_DummyName;

// A Tree_Node is one named place in a configuration tree.  A leaf carries a
// Tree_Value and refuses children; an inner node carries an ordered list of
// children and no value.  A node is made as one or the other; an inner node without
// children is not a leaf.
//
// Names are interned and case-sensitive, and siblings may share one: every look-up
// finds the first in child order.  Paths are names joined by single backslashes,
// relative to the node that is asked; see Tree_Path for how they are cut.
//
// Ownership: a node lives while a Tree_NodePtr counts it; make it with `new` and
// hand it to one at once.  A parent counts its children; a child points back to its
// parent without counting it, so letting go of the top node releases the tree.  A
// node owns its value.  Strings and arrays that queries return belong to the caller.
//
// Threads: any number of threads may read a tree together.  Whoever changes it
// keeps everyone else away from it meanwhile; nodes take no lock.  Different trees
// are independent of each other.
//
// Errors: refusals answer with 0, -1, an empty string, null or NULL_TREE_NODE_PTR
// and write one log line.  A bad child index throws RWBoundsErr, exhausted memory
// std::bad_alloc; nothing else throws.
//
// `this_ptr`, where an operation takes it, is the caller's handle to the node that
// it calls; it is what an empty path or name yields.
class TREE_API Tree_Node {
 public:
  // --- Construction ---------------------------------------------------------

  // An inner node; with a non-null `value`, a leaf that owns it.  Blanks at both
  // ends of `name` are stripped; an empty name becomes "undefined_tree" and up to
  // five digits taken from the clock.  Both repairs write a line of level 4.  When the
  // constructor throws, `value` is still the caller's.
  Tree_Node(RWCString name);
  Tree_Node(RWCString name, Tree_Value* value);
  ~Tree_Node();

  Tree_Node(const Tree_Node&) = delete;

  // Intended: copies every field as it is, so that both nodes own the same value
  // and children; the caller must keep one of them from being destroyed.  Nothing
  // in the library assigns nodes.
  Tree_Node& operator=(const Tree_Node& other);

  // Nodes live in m_NodesPool; the general heap steps in when it yields nothing.
  static void* operator new(std::size_t size);
  static void operator delete(void* block);

  // --- Fields ---------------------------------------------------------------

  // The interned name; the reference is valid until the process ends.
  const RWCString& GetKeyName() const;

  // Renames the node.  Unlike the constructors it takes every name as it is.
  void SetKeyName(RWCString name);

  // A number that clients may use as they like; 0 in a new node, not copied.
  int GetId();
  void SetId(int id);

  // The parent, null for a top node.  SetParent touches no list of children, and neither the
  // former parent nor the new one.
  Tree_Node* GetParent();
  void SetParent(Tree_Node* parent);

  // The value, which stays the node's; null (and a line of level 7) when it has none.
  Tree_Value* GetTreeValue();

  // Gives the node another value to own; the old one is not deleted.  Null turns
  // the node into an inner node.
  //
  // Intended: a value does not turn an inner node into a leaf.
  void SetTreeValue(Tree_Value* value);

  bool IsAllowsChildren();

  // Whether this is a leaf.  An inner node without children is not one.
  bool IsLeaf();

  // 1 when there are no children, else 0.
  int IsEmpty();

  // Number of children.
  int GetChildCount();

  // A path that is put in front of this node's own when it is the top of its tree;
  // empty when none was set.
  RWCString GetVirtualParentPath();
  void SetVirtualParentPath(RWCString& path);

  // Intended: does nothing.  Clients built against older versions call it.
  void ChangeTreeNodePtrProtection(Tree_NodePtr& node, int& protection);

  // The names from the top down to this node joined by the separator, the top's
  // own name included, behind the top's virtual parent path where it has one.
  RWCString GetPath() const;

  // --- Children -------------------------------------------------------------

  // Makes `new_child` the last child.  1, or 0 when it is null or this is a leaf.
  // A child of another parent is taken away from there.
  //
  // Intended: for a node that already is a child of this one it throws RWBoundsErr,
  // and the node is left detached (see Insert); move it with Insert instead.
  int Add(Tree_NodePtr& new_child);

  // Makes `new_child` the child at `child_index`, from 0 to GetChildCount().  A
  // first child makes room for `capacity_hint` children when that is above 0.
  // 1, or 0 as for Add.
  //
  // Intended: with any other index it throws RWBoundsErr; the node has then left
  // its old parent and names this one as parent without being listed here.  Call
  // SetParent(nullptr) on it before inserting it anywhere else.
  int Insert(Tree_NodePtr& new_child, int child_index, int capacity_hint);

  // These detach a child: a given one, the one at an index, or the first with
  // exactly that name.  1, or 0 when the argument is null or empty, when there is
  // none of that name, or when this node never had children.  An index outside the
  // children, and a node that is not one of them, throws RWBoundsErr.
  int Remove(Tree_NodePtr& a_child);
  int Remove(int child_index);
  int Remove(const RWCString& name);

  // The child at `index`; NULL_TREE_NODE_PTR when there is none.  The reference is
  // valid until this node's children change.
  Tree_NodePtr& GetChildAt(int index);

  // Position of a child, -1 when it is not one.
  int GetIndex(Tree_NodePtr& a_child);

  // 1 when `node` names this node as its parent and this node has children, else 0.
  int IsNodeChild(Tree_NodePtr& node);

  // 1 when `another_node` is this node or stands above it, else 0.
  int IsNodeAncestor(Tree_NodePtr& another_node);

  // --- Whole sub-trees ------------------------------------------------------
  // None of these uses stack in proportion to the depth of the tree.

  // Gives up the value and the children; called by the destructor.  May be called
  // more than once.  Children that nobody else holds are destroyed.
  void Destroy();

  // A copy of this node and everything below it.  The texts of names and values are
  // shared, change flags are copied, ids and virtual parent paths are not.  The argument
  // has no effect.
  Tree_NodePtr DuplicateFromHereDown(bool unused);

  // Calls `fn` for this node, then for everything below it, a node before its
  // children.  `fn` may change the children of the node that it is given, and may remove
  // that node from its parent; the sibling behind it is then left out.
  void ExecuteOnEntireSubtree(void (*fn)(Tree_Node*));

  // Removes every inner node below this one that has no leaf below it.  True when
  // children remain, or else when this node has a value.
  bool RemoveEmptyBranches();

  // Number of nodes from here down, this one included.
  int GetNodeNum();

  // Adds the number of nodes below `node` to `count`, which it does not reset.
  static void GetRecursiveChildCount(Tree_NodePtr& node, int& count);

  // Bytes of all names and values from here down; nothing else is counted.
  std::size_t GetTotalSize();

  // --- Navigation -----------------------------------------------------------
  // Plain forms return a handle of their own.  ByRef forms count nothing and return
  // a reference into the tree, valid until the tree changes.  Assigning another
  // node to such a reference replaces the child in place.  Nothing else is told: the
  // new node's parent is not set, the old node goes on naming this one as its parent
  // (call SetParent(nullptr) on it before it is used for anything else), a sibling that
  // bears the new node's name is found before it, and among many siblings the new node
  // may not be found by its name.
  // Cost: a name is found in constant time, however many siblings there are.

  // The child called `name`, `this_ptr` for an empty name, NULL_TREE_NODE_PTR (or
  // null) when there is none.  The forms that take this node as a handle and return
  // a handle of their own compare names up to the first zero byte, the others whole.
  // A `const char*` must not be null.
  Tree_NodePtr Get(const char* name, Tree_NodePtr& this_ptr);
  Tree_NodePtr Get(const RWCString& name, Tree_NodePtr& this_ptr);
  Tree_Node* Get(const RWCString& name, Tree_Node* this_node);
  Tree_NodePtr& GetByRef(RWCString& name, Tree_NodePtr& this_ptr);

  // The node at `path`, NULL_TREE_NODE_PTR when there is none.
  Tree_NodePtr GetRelativeNode(Tree_Path& path, Tree_NodePtr& this_ptr);
  Tree_NodePtr& GetRelativeNodeByRef(Tree_Path& path, Tree_NodePtr& this_ptr);

  // The node at `path`; what is missing on the way is made, as inner nodes behind
  // their siblings.  Names of new nodes are stripped as by the constructor.
  //
  // Intended: below an existing leaf the new nodes are refused, so the result is
  // then a node that stands in no tree.  Both names are one operation.
  Tree_NodePtr GetOrCreateRelativeNode(Tree_Path& path, Tree_NodePtr& this_ptr);
  Tree_NodePtr GetOrCreateUnProtectedRelativeNode(Tree_Path& path, Tree_NodePtr& this_ptr);

  // The node at `path` below the node that `this_ptr` points at, if it is not a leaf.
  Tree_NodePtr GetRelativeSubTree(Tree_Path& path, Tree_NodePtr& this_ptr);
  Tree_NodePtr& GetRelativeSubTreeByRef(Tree_Path& path, Tree_NodePtr& this_ptr);

  // The child number `index` that is not a leaf, of the node at `path` below this
  // one.  Leaves are not counted.
  Tree_NodePtr GetRelativeSubTree(RWCString& path, int index, Tree_NodePtr& this_ptr);
  Tree_NodePtr& GetRelativeSubTreeByRef(RWCString& path, int index, Tree_NodePtr& this_ptr);

  // The full paths of all nodes that `path` reaches from this node or from any node
  // below it, in pre-order of the starting nodes; null when there is none.  With
  // `strip_top` not 0 each result loses its first name.  The caller deletes the
  // array, which cuts a path at 255 bytes.
  String_Arr* Search(const RWCString& path, Tree_NodePtr& this_ptr, int strip_top);

  // --- Values and listings --------------------------------------------------
  // Values of a node are its children that are leaves, sub-trees its other
  // children.  An index counts from 0 among one kind, in child order.

  // The value of the leaf at `path`; empty when there is none.
  RWCString GetValue(RWCString& path, Tree_NodePtr& this_ptr);

  // Value or name of leaf number `index` under the node at `path`; empty when there
  // is none.
  RWCString GetValue(RWCString& path, int index, Tree_NodePtr& this_ptr);
  RWCString GetValueName(RWCString& path, int index, Tree_NodePtr& this_ptr);

  // Number of values or of sub-trees of the node at `path`.
  //
  // Intended: 0 when there is no such node, although the log line says -1.
  int GetValueNum(RWCString path, Tree_NodePtr& this_ptr);
  int GetSubTreeNum(RWCString path, Tree_NodePtr& this_node);

  // Number of all nodes below a node, 0 when there is no such node.
  int GetTreeNodeEntriesCount(Tree_NodePtr& tree_node);
  int GetSubTreeEntriesCount(RWCString path, Tree_NodePtr& this_node);

  // Names of the sub-trees, or names and values of the leaves, of the node at
  // `path`; null when there are none.  The caller deletes the array.
  String_Arr* GetSubTreePaths(const RWCString& path, Tree_NodePtr& this_ptr);
  Tree_PathAndValueArray* GetSubTreeValues(const RWCString& path, Tree_NodePtr& this_ptr);

  // --- Flattening -----------------------------------------------------------
  // A flattened tree is a list of records in pre-order, numbered from 0, or one buffer
  // of bytes written from such a list.  docs/formats.md gives the format byte by byte.
  //
  // Intended: the top node's record never carries a value.  An inner child of the top
  // whose name is `skip_name` is left out with everything below it; further down it is
  // the inner nodes with an empty name that are left out.  Leaves always stay.

  // The records of `tree`, taken from `pool`, or from the heap without one or when it
  // yields nothing.  The list and the records belong to the caller.  Null when `tree` is.
  static RWTPtrOrderedVector<Tree_IdNodeInfo>* GetIdNodeVecFromTree(Tree_NodePtr& tree,
                                                                    Zel_PoolAllocator* pool);
  static RWTPtrOrderedVector<Tree_IdNodeInfo>* GetIdNodeVecFromTreeSkipPath(Tree_NodePtr& tree,
                                                                            Zel_PoolAllocator* pool,
                                                                            RWCString& skip_name);

  // The records of `vec` as one buffer, behind a header with `virtual_parent_path` when
  // asked for; null, and `size_of_ret` as it was, when `vec` is null.  The caller frees
  // the buffer with delete[].  `size_of_ret` is the number of bytes written.
  //
  // Intended: the buffer is one byte longer, and that byte is never written.
  //
  // Without `keep_vec` the list and its records are deleted, so that records from a pool
  // need it.  When the buffer does not fit into memory or its size into an int the list
  // stays the caller's and std::bad_alloc is thrown.  Names and values are written
  // up to their first zero byte; the bytes that this leaves over stand as zeros at the end.
  static char* GetSerializeIdNodeInfoVec(RWTPtrOrderedVector<Tree_IdNodeInfo>* vec,
                                         int& size_of_ret, RWCString virtual_parent_path,
                                         bool with_virtual_parent_path, bool keep_vec);

  // Both steps in one.  The header, when asked for, is that of an empty path: four zero
  // bytes.
  static char* GetSerializedTreeNode(Tree_NodePtr& tree, int& size_of_ret,
                                     bool with_virtual_parent_path);
  static char* GetSerializedTreeNodeSkipPath(Tree_NodePtr& tree, int& size_of_ret,
                                             bool with_virtual_parent_path, RWCString& skip_name);

  // --- Path/value records ---------------------------------------------------

  // Adds a record for `node` and for every node below it to `vec`: sorted by path in the
  // first form, in pre-order in the second.  The paths begin behind `parent_path`, or with
  // the name of `node` when that is empty.  The records are made with new and belong to
  // the caller, or to BuildSubTree once it is given them.  When memory runs out the first
  // form adds none of them.
  static void ConvertTreeNodeToVec(Tree_NodePtr& node, RWCString& parent_path,
                                   Zel_PtrSortedVector<Tree_NodeInfo>* vec);
  static void ConvertTreeToSimpleVec(Tree_NodePtr& node, RWCString& parent_path,
                                     std::vector<Tree_NodeInfo*>* vec);

  // A new tree with the nodes that the records name; parents without a record of their own
  // are made.  Its top node is named by the last part of `root_path` and bears all of
  // `root_path` as its virtual parent path.  Neither this node nor its tree is read or
  // changed.
  //
  // Takes over `vec`, which may be null for no records, and deletes it with all records,
  // whatever happens later; only when `root_path` is empty or ends in a backslash the
  // result is NULL_TREE_NODE_PTR and everything stays the caller's.  A record whose parent
  // cannot be found ends the building with NULL_TREE_NODE_PTR.  Of several records for one
  // node the first counts.
  //
  // Intended: a record without a value or with an empty one makes an inner node.
  Tree_NodePtr BuildSubTree(Zel_PtrSortedVector<Tree_NodeInfo>* vec, RWCString& root_path);

  // --- Merge ----------------------------------------------------------------
  // Both lay `override` over `base` and return a new tree that bears the top name of
  // `override`; neither of the two is changed.  Where one holds no node the result is a
  // handle to the other one itself.  docs/merge.md shows the order of children.

  // Nodes of the same name are merged at every depth, and of two leaves that of `override`
  // wins; so does a leaf or a sub-tree of `override` over a node of the other kind.
  //
  // A chunk area, which is a node with values under "blobencoding" and "chunk0000", stands as
  // it is in `override`, and when `override` is one itself the result is a handle to it.
  //
  // Intended: only `override` is asked; a chunk area of `base` is merged with a node that is
  // none.
  //
  // Intended: an inner node that both trees have moves behind its siblings, in the order
  // in which `base` lists them.
  static Tree_NodePtr Merge(Tree_NodePtr& base, Tree_NodePtr& override);

  // Only the children of the two top nodes: what `override` has stays whole, the rest is
  // copied from `base` behind it.
  static Tree_NodePtr MergeOneLevel(Tree_NodePtr& base, Tree_NodePtr& override);

  // --- Changes and checksum -------------------------------------------------

  // A new tree with the leaves below `node` whose change flag is set, below copies of the
  // nodes above them; NULL_TREE_NODE_PTR when there are none.  The flags in the result are
  // 1.  The node's own value is not looked at.
  static Tree_NodePtr GetChangesTreeNode(Tree_NodePtr& node);

  // CRC-32 over the names and values from here down that does not depend on the order of
  // children of different names: each child's checksum, in the order of their paths, as
  // letters from 'A' for 0 to 'P' for 15, lowest nibble first and without leading zeros;
  // then the name between two blanks, and the value.  32 bits, whatever `unsigned long` is.
  unsigned long GetChecksumIgnoreOrder();

  // --- Process-wide data ----------------------------------------------------

  // Makes the pools' later blocks hold enough for a tree of `n` nodes each.  Worth
  // calling before a big tree is built.
  static void InitNodesPool(int n);

  // The null handle that failed look-ups return.  Never assign to it.
  static Tree_NodePtr& NULL_TREE_NODE_PTR;

  // 1.
  static const int TRUE_BOOL;

  // What paths are joined with: one backslash.
  static RWCString separator;

  // The pools of nodes and of children vectors.  They are never destroyed.
  static Zel_PoolAllocator& m_NodesPool;
  static Zel_PoolAllocator& m_sChildTreeNodeVec;

 private:
  friend class Tree_NodePtrVec;
  friend class Tree_NameIndex;

  class Builder;
  class ChecksumWalk;
  class ChildrenAhead;
  class ListWriter;
  class Maker;
  class MergedChildren;
  class PlaceSearch;
  class Releases;

  // These take the interned name as it is.
  explicit Tree_Node(const RWCString* interned_name);
  Tree_Node(const RWCString* interned_name, Tree_Value* value);

  // What the public constructors do.  The result is always 1.
  int Init(RWCString& name, Tree_Value* value);

  // Changes the name and tells whoever has listed this node under the old one.
  void Rename(const RWCString* interned_name);

  // Makes a child name no parent any more.
  void Orphan(Tree_Node& child);

  // The vector that lists this node, null where that is not certain.
  Tree_NodePtrVec* ListedIn() const;

  // The text of the value, empty when there is none.
  RWCString ValueText();

  // Gives this node, which has none, a vector of children with room for `capacity`.
  void MakeChildren(int capacity);
  bool BeginDestroy();

  template <class Visit>
  static void VisitAll(Tree_Node* top, Visit visit);

  Tree_NodePtr Duplicate(Maker& maker) const;

  // Insert() of a node without a parent, once nothing refuses it.
  void InsertOrphan(Tree_NodePtr& child, int child_index, int capacity_hint);

  // Insert() and Add() of a node that stands in no tree yet.  They spare it the counting of
  // another handle; a refused node stays in the caller's handle.
  void InsertNew(Tree_NodePtr&& child, int child_index, int capacity_hint);
  bool AddNew(Tree_NodePtr&& child);
  // Lists it behind all others and logs nothing; this node must not be a leaf.
  void AppendNew(Tree_NodePtr&& child, int capacity_hint);

  // What the public constructors make of a name that is not empty.
  static Tree_Node* NewNode(const char* name, std::size_t length, Tree_Value* value);

  static void FillIdNode(Tree_IdNodeInfo& record, Tree_NodePtr& node, bool with_value,
                         int parent_id, int id);
  static void FillIdVecFromTree(Tree_NodePtr& node, RWTPtrOrderedVector<Tree_IdNodeInfo>* vec,
                                int& last_id, int parent_id, Zel_PoolAllocator* pool,
                                RWCString& skip_name);
  static Tree_IdNodeInfo* get_allocated_tree_node_info(Zel_PoolAllocator* pool);
  // The size of the buffer of GetSerializeIdNodeInfoVec, cut to an int; the library itself
  // needs it whole.
  static int GetInfoVecLen(RWTPtrOrderedVector<Tree_IdNodeInfo>* vec, RWCString virtual_parent_path,
                           bool with_virtual_parent_path);
  static void WriteIntToChar(int* value, char* buffer, int offset);
  template <class Emit>
  static void VisitFlattened(Tree_NodePtr& top, int& last_id, int parent_id,
                             const RWCString& skip_name, Emit emit);
  static char* SerializeDirectly(Tree_NodePtr& tree, int& size_of_ret,
                                 bool with_virtual_parent_path, const RWCString& skip_name);

  template <class Take>
  static void VisitRecords(Tree_Node* top, const RWCString& parent_path, Take take);

  static bool IsChunkArea(Tree_NodePtr& node);

  Tree_NodePtr* FindChild(const char* name, std::size_t length) const;
  Tree_NodePtr* FindChild(const RWCString& name) const;
  // The handle of the node at a path, the vector that it stands in, and, when it is a leaf,
  // its value, where that is known without the node.  The handle is null when there is no such
  // node, and `this_ptr`, which stands in no vector, for an empty path.
  // The other forms read the path where it stands instead of copying it.
  struct Place {
    Tree_NodePtr* handle = nullptr;
    const Tree_NodePtrVec* list = nullptr;
    const Tree_Value* value = nullptr;
  };
  template <class Segments>
  Place Walk(Segments& segments, Tree_NodePtr& this_ptr);
  Place PlaceAt(const char* path, std::size_t length, Tree_NodePtr& this_ptr);
  Tree_NodePtr* NodeAt(const RWCString& path, Tree_NodePtr& this_ptr);
  Tree_NodePtr* NodeAt(const char* path, std::size_t length, Tree_NodePtr& this_ptr);

  // The child number `index` of those that are leaves, or of those that are not; null
  // when there are fewer.
  enum class Kind { kLeaf, kSubTree };
  Tree_NodePtr* NthChild(Kind kind, int index) const;
  int CountChildren(Kind kind) const;

  const RWCString* m_key_name;
  const RWCString* m_virtual_parent_path;
  bool m_allows_children;
  bool m_is_listed;                          // m_parent, when not null, lists this node
  bool m_is_stray;                           // see Tree_NodePtrVec::StrayChanged
  std::atomic<unsigned char> m_index_group;  // see Tree_NameIndex
  int m_id;
  Tree_Node* m_parent;
  Tree_Value* m_value;
  Tree_NodePtrVec* m_children;
};

#endif  // TREE_TREE_NODE_H
