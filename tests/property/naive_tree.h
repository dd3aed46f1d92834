// The tree in the plainest form: recursion, scans and copies, no index, no pool.
//
// Random tests run the same operations on this model and on the library and compare
// results, exceptions, log lines and what is left in memory.  The model has the names
// and the steps of the library's interface and nothing of its inside, so that the two
// are unlikely to be wrong in the same way.  It is slow and needs shallow trees.
//
// Ownership: a Handle is a std::shared_ptr, counted like a Tree_NodePtr.
//
// World holds what the library has once per process: the log, the separator and the
// number of objects in memory.  Everything of one world belongs to one thread.

#ifndef TREE_TESTS_PROPERTY_NAIVE_TREE_H
#define TREE_TESTS_PROPERTY_NAIVE_TREE_H

#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/LogCapture.h"

class Tree_Node;

namespace naive {

struct Node;
using Handle = std::shared_ptr<Node>;

// What the library throws for a bad child index.
struct BoundsError {
  long long index;
  std::size_t count;
};

// Stands for the one to five digits that a nameless node gets from the clock.
constexpr char kDigits = '\x7f';

// What `%s` prints.
inline std::string Printed(const std::string& text) {
  return text.c_str();
}

// --- The world ------------------------------------------------------------------

struct World {
  int level = 7;
  std::string separator = "\\";
  std::vector<LogLine> lines;

  // Objects in memory.
  int nodes = 0;
  int vectors = 0;
  int elements = 0;
  int values = 0;

  // By number, in the order in which they were made.
  int made = 0;
  std::map<int, Node*> all;
  // Which node of the library is which of these.
  std::map<const Tree_Node*, Node*> known;
  // Handles that nobody can reach any more: the copies that a vector makes before it
  // finds the index bad.
  std::vector<Handle> lost;
  // The numbers of nodes whose parent died without knowing them.
  std::vector<int> orphans;

  Handle null;

  void Write(int at_level, const char* method, const std::string& text) {
    if (at_level > level) return;
    lines.push_back(TreeLine(at_level, std::string("Tree_Node::") + method, text));
  }
  void WriteVector(std::size_t count) {
    if (level >= 7) lines.push_back(VecLine(static_cast<int>(count)));
  }
};

// --- Paths ----------------------------------------------------------------------

// A path as its reader sees it: backslashes become zero bytes, and a segment ends at
// the next zero byte.
class Path {
 public:
  explicit Path(const std::string& path) : m_text(path) {
    for (char& c : m_text) {
      if (c != '\\') continue;
      c = '\0';
      ++m_count;
    }
  }

  std::string GetRoot() {
    const std::string segment = m_text.c_str() + m_at;
    if (m_current < m_count) m_at += segment.size() + 1;
    if (m_current <= m_count) ++m_current;
    return segment;
  }

  int IsOnlyRoot() const { return m_count < m_current ? 1 : 0; }

 private:
  std::string m_text;
  std::size_t m_at = 0;
  int m_current = 1;
  int m_count = 1;
};

// --- Values and arrays ------------------------------------------------------------

struct Value {
  Value(World& in, const std::string& value_text, int is_change)
      : world(in), text(value_text), flag(is_change) {
    ++world.values;
  }
  ~Value() { --world.values; }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  std::string GetValue() const { return text; }
  void SetValue(const std::string& value) { text = value; }
  int IsChange() const { return flag; }
  void SetIsChange(int is_change) { flag = is_change; }

  World& world;
  std::string text;
  int flag;
};

// What the listings return; null stands for no array.
using StringArray = std::unique_ptr<std::vector<std::string>>;

struct NameAndValue {
  std::string name;
  std::string value;
};
using NameAndValueArray = std::unique_ptr<std::vector<NameAndValue>>;

// A slot of a string array keeps 255 bytes of a zero-terminated text.
inline std::string Slot(const std::string& text) {
  return Printed(text).substr(0, 255);
}

// A field of a name/value pair.
inline std::string Field(const std::string& text, std::size_t width) {
  return Printed(text).substr(0, width);
}

// --- Nodes ----------------------------------------------------------------------

struct Node {
  // The constructors of the interface; a null value makes an inner node.
  static Handle Make(World& world, const std::string& given_name, Value* given_value = nullptr) {
    Handle node(new Node(world));
    const std::size_t first = given_name.find_first_not_of(' ');
    if (first == std::string::npos) {
      node->name = std::string("undefined_tree") + kDigits;
      world.Write(
          4, "Init",
          "A tree with a NULL name has been set, tree was renamed to <" + node->name + ">\n");
    } else {
      node->name = given_name.substr(first, given_name.find_last_not_of(' ') - first + 1);
      if (node->name.size() != given_name.size()) {
        world.Write(4, "Init",
                    "Tree_Node::Init key name fixed: from <" + Printed(given_name) + "> to <" +
                        Printed(node->name) + ">\n");
      }
    }
    node->value.reset(given_value);
    node->allows_children = given_value == nullptr;
    return node;
  }

  ~Node() {
    Destroy();
    world.all.erase(serial);
    world.known.erase(real);
    --world.nodes;
    for (const auto& [number, other] : world.all) {
      if (other->parent != this) continue;
      other->parent = nullptr;
      world.orphans.push_back(number);
    }
  }
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  World& world;
  int serial;

  std::string name;
  std::string virtual_parent_path;
  bool allows_children = true;
  int id = 0;
  Node* parent = nullptr;
  std::unique_ptr<Value> value;
  bool has_vector = false;
  std::vector<Handle> children;

  Tree_Node* real = nullptr;  // the library's counterpart

  // --- Fields -------------------------------------------------------------------

  const std::string& GetKeyName() const { return name; }
  void SetKeyName(const std::string& new_name) { name = new_name; }
  int GetId() const { return id; }
  void SetId(int new_id) { id = new_id; }
  Node* GetParent() const { return parent; }
  void SetParent(Node* new_parent) { parent = new_parent; }
  bool IsAllowsChildren() const { return allows_children; }
  bool IsLeaf() const { return !allows_children; }
  int GetChildCount() const { return static_cast<int>(children.size()); }
  int IsEmpty() const { return GetChildCount() == 0 ? 1 : 0; }
  std::string GetVirtualParentPath() const { return virtual_parent_path; }
  void SetVirtualParentPath(const std::string& path) { virtual_parent_path = path; }
  void ChangeTreeNodePtrProtection(Handle&, int&) {}

  Value* GetTreeValue() {
    if (value == nullptr) Write(7, "GetTreeValue", "GetTreeValue(): return NULL\n");
    return value.get();
  }

  // The old value goes over to the caller.
  Value* ReplaceTreeValue(Value* new_value) {
    Value* old = value.release();
    value.reset(new_value);
    if (new_value == nullptr) allows_children = true;
    return old;
  }

  std::string GetPath() const {
    if (parent != nullptr) return parent->GetPath() + world.separator + name;
    if (!virtual_parent_path.empty()) return virtual_parent_path + world.separator + name;
    return name;
  }

  // --- Children -----------------------------------------------------------------

  int Add(Handle new_child) {
    Write(7, "Add", "Start Add(Tree_NodePtr & new_child)\n");
    if (new_child == nullptr) {
      Write(3, "Add",
            "Add(Tree_NodePtr & new_child) : add under <" + Printed(GetPath()) +
                "> new_child is null , return FALSE\n");
      return 0;
    }
    return Insert(new_child, GetChildCount(), -1);
  }

  int Insert(Handle new_child, int child_index, int capacity_hint) {
    Write(7, "Insert",
          "Start Insert(Tree_NodePtr& new_child = " + std::to_string(child_index) +
              ", int child_index = " + std::to_string(capacity_hint) + ")\n");
    if (!allows_children) {
      Write(3, "Insert",
            "Insert(Tree_NodePtr & new_child, int child_index) : this node does not allowed "
            "children, return FALSE " +
                Printed(name) + "\n");
      return 0;
    }
    if (new_child == nullptr) {
      Write(3, "Insert",
            "Insert(Tree_NodePtr & new_child, int child_index) :under <" + Printed(GetPath()) +
                "> new_child is NULL , return FALSE\n");
      return 0;
    }
    if (new_child->parent != nullptr) new_child->parent->Remove(new_child);
    new_child->parent = this;
    if (!has_vector) {
      has_vector = true;
      ++world.vectors;
    }
    ++world.elements;
    if (child_index != 0) {
      try {
        Test(static_cast<long long>(child_index) - 1);
      } catch (const BoundsError&) {
        world.lost.push_back(new_child);
        throw;
      }
    }
    children.insert(children.begin() + child_index, new_child);
    Write(7, "Insert", "End Insert(Tree_NodePtr& new_child, int child_index)\n");
    return 1;
  }

  int Remove(Handle a_child) {
    if (a_child == nullptr) {
      Write(3, "Remove", "Remove(Tree_NodePtr & a_child): a_child is NULL\n");
      return 0;
    }
    return Remove(GetIndex(a_child));
  }

  int Remove(int child_index) {
    if (!has_vector) {
      Write(7, "Remove", "Remove(int child_index) : children vec is null, return FALSE\n");
      return 0;
    }
    Test(child_index);
    Handle child = children[static_cast<std::size_t>(child_index)];
    child->parent = nullptr;
    children.erase(children.begin() + child_index);
    --world.elements;
    return 1;
  }

  int Remove(const std::string& child_name) {
    if (child_name.empty()) {
      Write(3, "Remove",
            "Remove(RWCString & path)under <" + Printed(GetPath()) +
                "> : path is null, return FALSE\n");
      return 0;
    }
    for (const Handle& child : children) {
      if (child->name == child_name) return Remove(child);
    }
    return 0;
  }

  Handle& GetChildAt(int index) {
    if (index < 0) {
      Write(3, "GetChildAt",
            "GetChildAt : under <" + Printed(GetPath()) + "> index <" + std::to_string(index) +
                "> index is less then 0,return null Tree_NodePtr\n");
      return world.null;
    }
    if (index >= GetChildCount()) {
      Write(3, "GetChildAt", "GetChildAt : index >= GetChildCount(),return null Tree_NodePtr\n");
      return world.null;
    }
    return children[static_cast<std::size_t>(index)];
  }

  int GetIndex(const Handle& a_child) {
    if (!has_vector) {
      Write(3, "GetIndex", "GetIndex(Tree_NodePtr & a_child) : children vec is null, return -1\n");
      return -1;
    }
    for (int i = 0; i < GetChildCount(); ++i) {
      if (children[static_cast<std::size_t>(i)] == a_child) return i;
    }
    return -1;
  }

  int IsNodeChild(const Handle& node) {
    if (node == nullptr) {
      Write(3, "IsNodeChild", "IsNodeChild(  Tree_NodePtr & node): node is NULL, return FALSE\n");
      return 0;
    }
    return GetChildCount() > 0 && node->parent == this ? 1 : 0;
  }

  int IsNodeAncestor(const Handle& another_node) {
    Write(7, "IsNodeAncestor", "Start IsNodeAncestor(Tree_NodePtr & another_node)\n");
    if (another_node == nullptr) {
      Write(3, "IsNodeAncestor",
            "IsNodeAncestor(Tree_NodePtr & another_node) : another_node is NULL\n");
      return 0;
    }
    for (Node* node = this; node != nullptr; node = node->parent) {
      if (node != another_node.get()) continue;
      Write(7, "IsNodeAncestor", "END IsNodeAncestor(Tree_NodePtr & another_node), return TRUE\n");
      return 1;
    }
    Write(7, "IsNodeAncestor", "END IsNodeAncestor(Tree_NodePtr & another_node), return FALSE\n");
    return 0;
  }

  // --- Whole sub-trees ------------------------------------------------------------

  void Destroy() {
    for (Handle& child : children) child->parent = nullptr;
    value.reset();
    if (!has_vector) return;
    world.WriteVector(children.size());
    for (Handle& child : children) {
      --world.elements;
      child.reset();
    }
    children.clear();
    has_vector = false;
    --world.vectors;
  }

  Handle DuplicateFromHereDown(bool unused) {
    Handle copy(new Node(world));
    copy->name = name;
    if (IsLeaf() && value != nullptr) {
      copy->value = std::make_unique<Value>(world, value->text, value->flag);
      copy->allows_children = false;
    }
    for (int i = 0; i < GetChildCount(); ++i) {
      Handle child = GetChildAt(i)->DuplicateFromHereDown(unused);
      copy->Insert(child, i, GetChildCount());
    }
    return copy;
  }

  void ExecuteOnEntireSubtree(void (*fn)(Node*)) {
    fn(this);
    for (int i = 0; i < GetChildCount(); ++i) {
      Handle child = GetChildAt(i);
      child->ExecuteOnEntireSubtree(fn);
    }
  }

  bool RemoveEmptyBranches() {
    int n = GetChildCount();
    for (int i = n - 1; i >= 0; --i) {
      Handle child = GetChildAt(i);
      if (child->IsLeaf()) continue;
      if (child->GetChildCount() > 0) child->RemoveEmptyBranches();
      if (child->GetChildCount() > 0) continue;
      Remove(i);
      --n;
    }
    return n != 0 || GetTreeValue() != nullptr;
  }

  int GetNodeNum() const {
    int number = 1;
    for (const Handle& child : children) number += child->GetNodeNum();
    return number;
  }

  static void GetRecursiveChildCount(const Handle& node, int& count) {
    if (node == nullptr) return;
    count += node->GetChildCount();
    for (const Handle& child : node->children) GetRecursiveChildCount(child, count);
  }

  std::size_t GetTotalSize() const {
    std::size_t size = name.size();
    if (value != nullptr) size += value->text.size();
    for (const Handle& child : children) size += child->GetTotalSize();
    return size;
  }

  // --- Navigation -----------------------------------------------------------------

  Handle Get(const char* child_name, Handle& this_ptr) {
    return *FindZeroEnded(child_name, this_ptr);
  }
  Handle Get(const std::string& child_name, Handle& this_ptr) {
    return Get(child_name.c_str(), this_ptr);
  }
  Node* Get(const std::string& child_name, Node* this_node) {
    if (child_name.empty()) return this_node;
    for (Handle& child : children) {
      if (child->name == child_name) return child.get();
    }
    return nullptr;
  }
  Handle& GetByRef(const std::string& child_name, Handle& this_ptr) {
    if (child_name.empty()) return this_ptr;
    for (Handle& child : children) {
      if (child->name == child_name) return child;
    }
    return world.null;
  }

  Handle GetRelativeNode(Path& path, Handle& this_ptr) {
    const std::string segment = path.GetRoot();
    if (segment.empty()) return this_ptr;
    Handle child = Get(segment, this_ptr);
    if (child == nullptr || path.IsOnlyRoot()) return child;
    return child->GetRelativeNode(path, child);
  }

  Handle& GetRelativeNodeByRef(Path& path, Handle& this_ptr) {
    const std::string segment = path.GetRoot();
    if (segment.empty()) return this_ptr;
    Handle& child = *FindZeroEnded(segment.c_str(), this_ptr);
    if (child == nullptr || path.IsOnlyRoot()) return child;
    return child->GetRelativeNodeByRef(path, child);
  }

  Handle GetOrCreateRelativeNode(Path& path, Handle this_ptr) {
    const std::string segment = path.GetRoot();
    if (segment.empty()) return this_ptr;
    Handle child = Get(segment, this_ptr);
    if (child == nullptr) {
      child = Make(world, segment);
      Insert(child, GetChildCount(), -1);
    }
    if (path.IsOnlyRoot()) return child;
    return child->GetOrCreateRelativeNode(path, child);
  }
  Handle GetOrCreateUnProtectedRelativeNode(Path& path, Handle this_ptr) {
    return GetOrCreateRelativeNode(path, this_ptr);
  }

  Handle GetRelativeSubTree(Path& path, Handle& this_ptr) {
    return GetRelativeSubTreeByRef(path, this_ptr);
  }
  Handle& GetRelativeSubTreeByRef(Path& path, Handle& this_ptr) {
    Handle& node = this_ptr->GetRelativeNodeByRef(path, this_ptr);
    if (node == nullptr || node->IsLeaf()) return world.null;
    return node;
  }

  Handle GetRelativeSubTree(const std::string& path, int index, Handle& this_ptr) {
    Handle& child = NthSubTree("GetRelativeSubTree", path, index, this_ptr);
    if (child != nullptr) {
      Write(7, "GetRelativeSubTree", std::string("End ") + kSubTreeText + "\n");
    }
    return child;
  }
  Handle& GetRelativeSubTreeByRef(const std::string& path, int index, Handle& this_ptr) {
    return NthSubTree("GetRelativeSubTreeByRef", path, index, this_ptr);
  }

  StringArray Search(const std::string& path, Handle& this_ptr, int strip_top) {
    Write(7, "Search", "Start Search(RWCString & path,Tree_NodePtr & this_ptr)\n");
    if (path.empty()) {
      Write(3, "Search",
            "Search(RWCString & path,Tree_NodePtr & this_ptr): path is NULL, return NULL\n");
      return nullptr;
    }
    auto found = std::make_unique<std::vector<std::string>>();
    Collect(path, this_ptr, *found);
    if (found->empty()) {
      Write(7, "Search",
            "Search(RWCString & path,Tree_NodePtr & this_ptr): Search(path,this_ptr,ret) return "
            "empty vec (empty search result), return NULL\n");
      return nullptr;
    }
    for (std::string& text : *found) {
      const std::size_t at = text.find(world.separator);
      if (strip_top != 0 && at != std::string::npos) text.erase(0, at + world.separator.size());
      text = Slot(text);
    }
    Write(7, "Search", "End Search(RWCString & path,Tree_NodePtr & this_ptr)\n");
    return found;
  }

  // --- Values and listings --------------------------------------------------------

  std::string GetValue(const std::string& path, Handle& this_ptr) {
    Handle node = NodeAt(path, this_ptr);
    if (node == nullptr) {
      Write(7, "GetValue",
            std::string(kValueText) + ": path " + Printed(path) + " does not exist, return \n");
      return "";
    }
    if (!node->IsLeaf()) {
      Write(7, "GetValue",
            "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path represent a sub "
            "tree,return empty string\n");
      return "";
    }
    Value* found = node->GetTreeValue();
    if (found == nullptr) {
      Write(7, "GetValue",
            "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path tree value is NULL,return "
            "empty string\n");
      return "";
    }
    return found->text;
  }

  std::string GetValue(const std::string& path, int index, Handle& this_ptr) {
    Write(7, "GetValue", std::string("Start ") + kValueText + " " + Printed(path) + "\n");
    Handle leaf = NthLeaf("GetValue", kValueText, path, index, this_ptr);
    if (leaf == nullptr) return "";
    Value* found = leaf->GetTreeValue();
    return found == nullptr ? "" : found->text;
  }

  std::string GetValueName(const std::string& path, int index, Handle& this_ptr) {
    Write(7, "GetValueName", std::string("Start ") + kValueNameText + "\n");
    Handle leaf = NthLeaf("GetValueName", kValueNameText, path, index, this_ptr);
    return leaf == nullptr ? "" : leaf->name;
  }

  int GetValueNum(const std::string& path, Handle& this_ptr) {
    Write(7, "GetValueNum", "Start GetValueNum(RWCString path,Tree_NodePtr& this_ptr\n");
    Handle node = NodeAt(path, this_ptr);
    if (node == nullptr) {
      Write(7, "GetValueNum",
            "GetValueNum(RWCString path,Tree_NodePtr& this_ptr) : path not exist, return -1: " +
                Printed(path) + "\n");
      return 0;
    }
    int number = 0;
    for (const Handle& child : node->children) number += child->IsLeaf() ? 1 : 0;
    Write(7, "GetValueNum",
          "End GetValueNum(RWCString path,Tree_NodePtr& this_ptr) return " +
              std::to_string(number) + "\n");
    return number;
  }

  int GetSubTreeNum(const std::string& path, Handle& this_node) {
    Write(7, "GetSubTreeNum", "Start GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node)\n");
    Handle node = NodeAt(path, this_node);
    if (node == nullptr) {
      Write(7, "GetSubTreeNum",
            "GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) path not exist : " +
                Printed(path) + " , return -1\n");
      return 0;
    }
    int number = 0;
    for (const Handle& child : node->children) number += child->IsLeaf() ? 0 : 1;
    WriteCountEnd("GetSubTreeNum", number);
    return number;
  }

  int GetTreeNodeEntriesCount(const Handle& tree_node) {
    Write(7, "GetTreeNodeEntriesCount",
          "Start GetTreeNodeEntriesCount(Tree_NodePtr & tree_node)\n");
    if (tree_node == nullptr) {
      Write(7, "GetTreeNodeEntriesCount",
            "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) empty node: "
            "return 0\n");
      return 0;
    }
    int number = tree_node->GetChildCount();
    for (const Handle& child : tree_node->children) {
      if (!child->IsLeaf()) number += GetTreeNodeEntriesCount(child);
    }
    WriteCountEnd("GetTreeNodeEntriesCount", number);
    return number;
  }

  int GetSubTreeEntriesCount(const std::string& path, Handle& this_node) {
    Write(7, "GetSubTreeEntriesCount",
          "Start GetSubTreeEntriesCount(RWCString  path,Tree_NodePtr & this_node)\n");
    Handle node = NodeAt(path, this_node);
    if (node == nullptr) {
      Write(7, "GetSubTreeEntriesCount",
            "GetTreeNodeEntriesCount(RWCString  path,Tree_NodePtr & this_node) path not exist : " +
                Printed(path) + " , return 0\n");
      return 0;
    }
    const int number = GetTreeNodeEntriesCount(node);
    WriteCountEnd("GetSubTreeEntriesCount", number);
    return number;
  }

  StringArray GetSubTreePaths(const std::string& path, Handle& this_ptr) {
    const std::string text = "GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr)";
    Write(7, "GetSubTreePaths", "Start " + text + "\n");
    Handle node = NodeAt(path, this_ptr);
    if (node == nullptr) {
      Write(5, "GetSubTreePaths",
            text + " : under <" + Printed(GetPath()) + "> path <" + Printed(path) +
                "> tree_node  is null, return NULL\n");
      return nullptr;
    }
    if (node->GetSubTreeNum("", node) == 0) {
      Write(7, "GetSubTreePaths",
            text + " : no sub trees in path <" + Printed(GetPath()) + "><" + Printed(path) +
                "> under this node, return NULL\n");
      return nullptr;
    }
    auto array = std::make_unique<std::vector<std::string>>();
    for (const Handle& child : node->children) {
      if (!child->IsLeaf()) array->push_back(Slot(child->name));
    }
    Write(7, "GetSubTreePaths", "End " + text + "\n");
    return array;
  }

  NameAndValueArray GetSubTreeValues(const std::string& path, Handle& this_ptr) {
    const std::string text = "GetSubTreeValues(RWCString & path,Tree_NodePtr & this_ptr)";
    Write(7, "GetSubTreeValues", "Start " + text + "\n");
    Handle node = NodeAt(path, this_ptr);
    if (node == nullptr) {
      Write(5, "GetSubTreeValues",
            text + " :under <" + Printed(GetPath()) + "> path <" + Printed(path) +
                "> tree_node is null, return NULL\n");
      return nullptr;
    }
    if (node->GetValueNum("", node) == 0) {
      Write(7, "GetSubTreeValues", text + " : no values under thos node, return NULL\n");
      return nullptr;
    }
    auto array = std::make_unique<std::vector<NameAndValue>>();
    for (const Handle& child : node->children) {
      if (!child->IsLeaf()) continue;
      Value* found = child->GetTreeValue();
      array->push_back({Field(child->name, 600), Field(found == nullptr ? "" : found->text, 3072)});
    }
    Write(7, "GetSubTreeValues", "End " + text + "\n");
    return array;
  }

 private:
  static constexpr const char* kSubTreeText =
      "GetRelativeSubTree(RWCString & path,int index,Tree_NodePtr & this_ptr)";
  static constexpr const char* kValueText =
      "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr)";
  static constexpr const char* kValueNameText =
      "GetValueName(RWCString & path,int index,Tree_NodePtr & this_ptr)";

  explicit Node(World& in) : world(in) {
    serial = ++world.made;
    ++world.nodes;
    world.all[serial] = this;
  }

  void Write(int level, const char* method, const std::string& text) {
    world.Write(level, method, text);
  }

  void Test(long long index) const {
    if (index < 0 || index >= GetChildCount()) throw BoundsError{index, children.size()};
  }

  Handle* FindZeroEnded(const char* child_name, Handle& this_ptr) {
    if (*child_name == '\0') return &this_ptr;
    for (Handle& child : children) {
      if (std::strcmp(child->name.c_str(), child_name) == 0) return &child;
    }
    return &world.null;
  }

  Handle NodeAt(const std::string& path, Handle& this_ptr) {
    Path segments(path);
    return GetRelativeNode(segments, this_ptr);
  }

  Handle& NthSubTree(const char* method, const std::string& path, int index, Handle& this_ptr) {
    const std::string text = kSubTreeText;
    Write(7, method, "Start " + text + "\n");
    if (index < 0) {
      Write(7, method, text + " : index less then 0 , return null Tree_NodePtr\n");
      return world.null;
    }
    Path segments(path);
    Handle& node = GetRelativeNodeByRef(segments, this_ptr);
    if (node == nullptr) {
      Write(7, method,
            text + " : path does not exist : " + Printed(path) + " , return null Tree_NodePtr\n");
      return world.null;
    }
    if (index >= node->GetChildCount()) {
      const std::string end = "index must be less then child count , return null Tree_NodePtr\n";
      if (std::strcmp(method, "GetRelativeSubTree") == 0) {
        Write(7, method, text + " : " + end);
      } else {
        Write(3, method,
              text + " under <" + Printed(GetPath()) + "> path <" + Printed(path) + "> index <" +
                  std::to_string(index) + ">: " + end);
      }
      return world.null;
    }
    int number = 0;
    for (Handle& child : node->children) {
      if (!child->IsLeaf() && number++ == index) return child;
    }
    Write(7, method,
          text + " : index not exist : " + std::to_string(index) + " , return null Tree_NodePtr\n");
    return world.null;
  }

  Handle NthLeaf(const char* method, const std::string& text, const std::string& path, int index,
                 Handle& this_ptr) {
    if (index < 0) {
      Write(7, method, text + ": index is less then 0, return empty string\n");
      return nullptr;
    }
    Handle node = NodeAt(path, this_ptr);
    if (node == nullptr) {
      Write(7, method, text + ": path " + Printed(path) + " does not exist, return \n");
      return nullptr;
    }
    if (index >= node->GetChildCount()) {
      Write(7, method, text + ": index is more then child num, return empty string\n");
      return nullptr;
    }
    int number = 0;
    for (const Handle& child : node->children) {
      if (child->IsLeaf() && number++ == index) return child;
    }
    Write(7, method, text + ": index " + std::to_string(index) + " does not exist, return \n");
    return nullptr;
  }

  void WriteCountEnd(const char* method, int number) {
    Write(7, method,
          "End GetSubTreeNum(RWCString  path,Tree_NodePtr & this_node) return " +
              std::to_string(number) + "\n");
  }

  void Collect(const std::string& path, Handle& this_ptr, std::vector<std::string>& found) {
    Handle node = NodeAt(path, this_ptr);
    if (node != nullptr) found.push_back(node->GetPath());
    for (Handle& child : children) child->Collect(path, child, found);
  }
};

}  // namespace naive

#endif  // TREE_TESTS_PROPERTY_NAIVE_TREE_H
