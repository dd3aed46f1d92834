#ifndef TREE_TREE_NODEMAKER_H
#define TREE_TREE_NODEMAKER_H

#include <memory>
#include <new>
#include <utility>

#include "ThreadAPI/ThreadAPI_AutoPtrThreadSafe.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolSupply.h"

// Makes the nodes of a tree that comes into being by one operation.
//
// A leaf is a node, a value, a handle and the handle's record, each from a pool of its own.
// To take them from supplies costs a fraction of what asking the pools each time does.
//
// Where a pool has nothing at hand it does what `new` and Add() do, which go to the general
// heap, and throws what they throw.
class Tree_Node::Maker {
 public:
  Tree_NodePtr MakeInner(const RWCString* name) {
    if (!m_nodes.IsReady() || !m_records.IsReady()) return Tree_NodePtr(new Tree_Node(name));
    return Handle(::new (m_nodes.Take()) Tree_Node(name));
  }

  Tree_NodePtr MakeLeaf(const RWCString* name, const RWCString* value, int is_change) {
    return MakeLeaf(name, Tree_Value(value, is_change));
  }

  Tree_NodePtr MakeLeaf(const RWCString* name, const Tree_Value& value) {
    if (!m_nodes.IsReady() || !m_values.IsReady() || !m_records.IsReady()) {
      return MakeLeafFromPools(name, value);
    }
    auto* const carried = ::new (m_values.Take()) Tree_Value(value);
    return Handle(::new (m_nodes.Take()) Tree_Node(name, carried));
  }

  // A copy of a node without its children.
  Tree_NodePtr CopyAlone(const Tree_Node& source) {
    const Tree_Value* const value = source.m_allows_children ? nullptr : source.m_value;
    return value == nullptr ? MakeInner(source.m_key_name) : MakeLeaf(source.m_key_name, *value);
  }

  // Add() of a node that stands in no tree yet.  A refused one stays in `child`.
  bool Add(Tree_Node& parent, Tree_NodePtr&& child) {
    if (IsTraced() || !parent.m_allows_children) return parent.AddNew(std::move(child));
    Append(parent, std::move(child), -1);
    return true;
  }

  // The same, but logs nothing; for parents that allow children.
  void Append(Tree_Node& parent, Tree_NodePtr&& child, int capacity_hint) {
    child->m_parent = &parent;
    child->m_is_listed = true;
    if (parent.m_children == nullptr) parent.MakeChildren(capacity_hint);
    parent.m_children->Append(std::move(child), m_handles);
  }

  // Add() of a copy of a leaf, each part made where it stays.  False, and nothing happens, when
  // that is not all there is to do or a pool has nothing at hand; Add() does it then.
  bool AddLeafCopy(Tree_Node& parent, const Tree_Node& source) {
    const Tree_Value* const value = source.m_value;
    if (IsTraced() || source.m_allows_children || value == nullptr) return false;
    if (!parent.m_allows_children || parent.m_children == nullptr) return false;
    Tree_ElementArray& children = parent.m_children->m_elements;
    if (!children.HasRoom() || !children.HasWords()) return false;
    if (!m_nodes.IsReady() || !m_values.IsReady() || !m_records.IsReady()) return false;
    if (!m_handles.IsReady()) return false;
    auto* const copy = ::new (m_nodes.Take())
        Tree_Node(source.m_key_name, ::new (m_values.Take()) Tree_Value(*value));
    copy->m_parent = &parent;
    copy->m_is_listed = true;
    auto* const record = ::new (m_records.Take()) autoptrthreadsafe_internal_data;
    children.AppendInRoom(::new (m_handles.Take()) Tree_NodePtr(copy, record),
                          Tree_NodePtrVec::ShortcutTo(copy));
    return true;
  }

  // Whether operations on nodes have something to trace.
  static bool IsTraced() { return ZelGLog.GetLevel() >= tree_log::kTrace; }

 private:
  Tree_NodePtr Handle(Tree_Node* node) {
    return Tree_NodePtr(node, ::new (m_records.Take()) autoptrthreadsafe_internal_data);
  }

  static Tree_NodePtr MakeLeafFromPools(const RWCString* name, const Tree_Value& value) {
    std::unique_ptr<Tree_Value> carried(new Tree_Value(value));
    Tree_Node* const leaf = new Tree_Node(name, carried.get());
    // The node owns the value from here on, and the handle the node.
    static_cast<void>(carried.release());
    return Tree_NodePtr(leaf);
  }

  Zel_PoolSupply m_nodes{m_NodesPool};
  Zel_PoolSupply m_values{Tree_Value::m_sValuesPool};
  Zel_PoolSupply m_handles{Tree_NodePtrVec::m_pPrivatePool};
  Zel_PoolSupply m_records{autoptrthreadsafe_internal_data::Pool()};
};

#endif  // TREE_TREE_NODEMAKER_H
