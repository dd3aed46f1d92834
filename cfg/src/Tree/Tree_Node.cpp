// Tree_Node: how nodes are made, and their fields.

#include "Tree/Tree_Node.h"

#include <ace/Time_Value.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_NameIndex.h"

namespace {

// "undefined_tree" and the last digits of the time in milliseconds, of which 32 bits
// are looked at.  Two nameless nodes of one millisecond get the same name.
RWCString DefaultName() {
  const ACE_Time_Value now(std::chrono::system_clock::now().time_since_epoch());
  const auto milliseconds = static_cast<std::int32_t>(static_cast<std::uint32_t>(now.get_msec()));
  // The magnitude is taken as an unsigned number: that of the smallest has no signed one.
  const std::uint32_t magnitude = milliseconds < 0 ? 0u - static_cast<std::uint32_t>(milliseconds)
                                                   : static_cast<std::uint32_t>(milliseconds);
  char name[32];
  std::snprintf(name, sizeof name, "undefined_tree%d", static_cast<int>(magnitude % 100000u));
  return RWCString(name);
}

// The name that a node gets in place of one that is empty or has blanks at its ends.
const RWCString* InternMended(const RWCString& name) {
  const RWCString stripped = name.strip(RWCString::both);
  if (!stripped.isNull()) {
    const RWCString* const interned = tree_interning::InternName(stripped);
    TREE_LOG("Init", tree_log::kRepaired, "Tree_Node::Init key name fixed: from <%s> to <%s>\n",
             name.data(), stripped.data());
    return interned;
  }
  const RWCString* const interned = tree_interning::InternName(DefaultName());
  TREE_LOG("Init", tree_log::kRepaired,
           "A tree with a NULL name has been set, tree was renamed to <%s>\n", interned->data());
  return interned;
}

}  // namespace

Tree_Node::Tree_Node(RWCString name) : Tree_Node(static_cast<const RWCString*>(nullptr)) {
  Init(name, nullptr);
}

Tree_Node::Tree_Node(RWCString name, Tree_Value* value)
    : Tree_Node(static_cast<const RWCString*>(nullptr)) {
  Init(name, value);
}

Tree_Node::Tree_Node(const RWCString* interned_name) : Tree_Node(interned_name, nullptr) {}

Tree_Node::Tree_Node(const RWCString* interned_name, Tree_Value* value)
    : m_key_name(interned_name),
      m_virtual_parent_path(nullptr),
      m_allows_children(value == nullptr),
      m_is_listed(false),
      m_is_stray(false),
      m_index_group(0),
      m_id(0),
      m_parent(nullptr),
      m_value(value),
      m_children(nullptr) {}

int Tree_Node::Init(RWCString& name, Tree_Value* value) {
  const std::size_t length = name.length();
  const bool plain = length != 0 && name.data()[0] != ' ' && name.data()[length - 1] != ' ';
  m_key_name = plain ? tree_interning::InternName(name) : InternMended(name);
  m_allows_children = value == nullptr;
  m_value = value;
  return 1;
}

Tree_Node::~Tree_Node() {
  // Where a caller has put another node into this one's handle the parent may be gone.
  m_is_listed = false;
  if (m_children != nullptr || m_value != nullptr) Destroy();
}

Tree_Node& Tree_Node::operator=(const Tree_Node& other) {
  if (this == &other) return *this;
  Rename(other.m_key_name);
  m_virtual_parent_path = other.m_virtual_parent_path;
  m_allows_children = other.m_allows_children;
  m_id = other.m_id;
  SetParent(other.m_parent);
  m_value = other.m_value;
  // Children tell whoever they name as their parent when they are renamed, which need not be
  // told any more whose children these are.
  if (m_children != nullptr) m_children->DropShortcuts();
  if (other.m_children != nullptr) other.m_children->DropShortcuts();
  m_children = other.m_children;
  return *this;
}

void* Tree_Node::operator new(std::size_t size) {
  // A derived class does not fit the pool's blocks.
  void* const block = size == sizeof(Tree_Node) ? m_NodesPool.Allocate() : nullptr;
  return block != nullptr ? block : ::operator new(size);
}

void Tree_Node::operator delete(void* block) {
  if (!m_NodesPool.AddToFreeList(block)) ::operator delete(block);
}

void Tree_Node::InitNodesPool(int n) {
  if (m_NodesPool.GetCurrElementsInBlock() < n) {
    m_NodesPool.ResetBlockInfo(n, 3);
    // Only inner nodes have children, and hardly more than half of the nodes are.
    m_sChildTreeNodeVec.ResetBlockInfo(n / 2, 3);
  }
  Tree_Value::InitValuesPool(n);
  Tree_NodePtrVec::InitPool(n);
}

const RWCString& Tree_Node::GetKeyName() const {
  return *m_key_name;
}

void Tree_Node::SetKeyName(RWCString name) {
  Rename(tree_interning::InternName(name));
}

void Tree_Node::Rename(const RWCString* interned_name) {
  const RWCString* const old_name = std::exchange(m_key_name, interned_name);
  Tree_NodePtrVec* const siblings = ListedIn();
  if (siblings != nullptr) siblings->ChildRenamed(this);
  if (m_is_stray) Tree_NodePtrVec::StrayChanged();
  if (m_index_group == 0) return;
  Tree_NameIndex* const index = siblings == nullptr ? nullptr : siblings->Index();
  if (index != nullptr) {
    index->ChildRenamed(siblings->m_elements, this, old_name);
  } else {
    Tree_NameIndex::Renamed(this);
  }
}

// Only a parent that lists this node is sure to be there.  The pool is asked as well
// because a caller may have put another node into this one's handle: what a pool holds
// of a parent that is gone can be read and has no children.
Tree_NodePtrVec* Tree_Node::ListedIn() const {
  const bool readable = m_parent != nullptr && m_is_listed && m_NodesPool.Exist(m_parent);
  return readable ? m_parent->m_children : nullptr;
}

int Tree_Node::GetId() {
  return m_id;
}

void Tree_Node::SetId(int id) {
  m_id = id;
}

Tree_Node* Tree_Node::GetParent() {
  return m_parent;
}

void Tree_Node::SetParent(Tree_Node* parent) {
  // The parent up to now is left alone: where a caller has put another node into this one's
  // handle it may be gone, or another thread's.
  if (m_is_listed && m_parent != nullptr) Tree_NodePtrVec::StrayChanged();
  m_parent = parent;
  m_is_listed = false;
  m_is_stray = true;
}

Tree_Value* Tree_Node::GetTreeValue() {
  if (m_value == nullptr) {
    TREE_LOG("GetTreeValue", tree_log::kTrace, "GetTreeValue(): return NULL\n");
  }
  return m_value;
}

void Tree_Node::SetTreeValue(Tree_Value* value) {
  m_value = value;
  if (value == nullptr) m_allows_children = true;
}

bool Tree_Node::IsAllowsChildren() {
  return m_allows_children;
}

bool Tree_Node::IsLeaf() {
  return !m_allows_children;
}

int Tree_Node::IsEmpty() {
  return GetChildCount() == 0 ? 1 : 0;
}

int Tree_Node::GetChildCount() {
  return m_children == nullptr ? 0 : m_children->entries();
}

RWCString Tree_Node::GetVirtualParentPath() {
  return m_virtual_parent_path == nullptr ? RWCString() : *m_virtual_parent_path;
}

void Tree_Node::SetVirtualParentPath(RWCString& path) {
  m_virtual_parent_path = tree_interning::Intern(path);
}

void Tree_Node::ChangeTreeNodePtrProtection(Tree_NodePtr& /*node*/, int& /*protection*/) {}

RWCString Tree_Node::GetPath() const {
  const std::size_t joint = separator.length();
  std::size_t length = 0;
  const Tree_Node* top = this;
  for (;; top = top->m_parent) {
    length += top->m_key_name->length();
    if (top->m_parent == nullptr) break;
    length += joint;
  }
  const RWCString* const prefix = top->m_virtual_parent_path;
  const bool prefixed = prefix != nullptr && !prefix->isNull();
  if (prefixed) length += prefix->length() + joint;
  if (length == 0) return RWCString();

  RWCString path;
  path.resize(length);
  // From the end to the front, as the parents come.
  char* const begin = &path[0];
  char* at = begin + length;
  const auto put = [&at](const RWCString& part) {
    at -= part.length();
    std::memcpy(at, part.data(), part.length());
  };
  for (const Tree_Node* node = this;; node = node->m_parent) {
    put(*node->m_key_name);
    if (node == top) break;
    put(separator);
  }
  if (prefixed) {
    put(separator);
    put(*prefix);
  }
  return path;
}
