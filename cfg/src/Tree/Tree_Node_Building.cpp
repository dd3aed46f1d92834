// Tree_Node: from a tree to path/value records, and from records to a tree.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "Tree/Tree_Interning.h"
#include "Tree/Tree_Log.h"
#include "Tree/Tree_Node.h"
#include "Tree/Tree_NodeMaker.h"
#include "Tree/Tree_Statics.h"

namespace {

constexpr char kBackslash = '\\';

std::string_view View(const RWCString& text) {
  return {text.data(), text.length()};
}

RWCString ToRWCString(std::string_view text) {
  return RWCString(text.data(), text.size());
}

}  // namespace

// --- From a tree to records --------------------------------------------------

// Calls `take` with a new record for a node and for everything below it, in pre-order.
template <class Take>
void Tree_Node::VisitRecords(Tree_Node* top, const RWCString& parent_path, Take take) {
  struct Level {
    Tree_Node* node;
    int next;  // position of the next child
    RWCString path;
  };
  const auto record_of = [](const Tree_Node* node, const RWCString& parent) {
    auto record = std::make_unique<Tree_NodeInfo>();
    record->m_path = parent;
    if (!parent.isNull()) record->m_path.append(separator);
    record->m_path.append(*node->m_key_name);
    record->m_parent_path_index = static_cast<int>(parent.length());
    if (!node->m_allows_children) {
      record->m_value = node->m_value == nullptr
                            ? tree_interning::Intern(tree_statics::empty_string)
                            : tree_interning::InternAgain(node->m_value->m_value);
      record->m_is_change = node->m_value == nullptr ? 0 : node->m_value->m_is_change;
    }
    return record;
  };
  std::vector<Level> way;
  const auto enter = [&](Tree_Node* node, const RWCString& parent) {
    std::unique_ptr<Tree_NodeInfo> record = record_of(node, parent);
    if (node->m_children != nullptr) way.push_back({node, 0, record->m_path});
    take(std::move(record));
  };
  enter(top, parent_path);
  while (!way.empty()) {
    Level& level = way.back();
    if (level.next >= level.node->GetChildCount()) {
      way.pop_back();
      continue;
    }
    Tree_Node* const child = level.node->m_children->HandleAt(level.next++).get();
    // Entering may move the level; its path is shared, not copied.
    if (child != nullptr) enter(child, RWCString(level.path));
  }
}

void Tree_Node::ConvertTreeNodeToVec(Tree_NodePtr& node, RWCString& parent_path,
                                     Zel_PtrSortedVector<Tree_NodeInfo>* vec) {
  if (node.isNull() || vec == nullptr) return;
  std::vector<std::unique_ptr<Tree_NodeInfo>> records;
  VisitRecords(node.get(), parent_path, [&records](std::unique_ptr<Tree_NodeInfo> record) {
    records.push_back(std::move(record));
  });
  // Inserting one by one as they come would move the rest of the list each time.  A stable
  // sort and a merge behind equal paths give the same order.
  std::stable_sort(records.begin(), records.end(),
                   [](const auto& a, const auto& b) { return *a < *b; });
  vec->resize(vec->entries() + records.size());
  const bool belong_behind =
      vec->entries() == 0 || !(*records.front() < *vec->at(vec->entries() - 1));
  if (belong_behind || records.size() < vec->entries() / 64) {
    // There is room, so that nothing fails.
    for (std::unique_ptr<Tree_NodeInfo>& record : records) vec->insert(record.release());
    return;
  }
  std::vector<Tree_NodeInfo*> all;
  all.reserve(vec->entries() + records.size());
  std::size_t present = 0;
  for (const std::unique_ptr<Tree_NodeInfo>& record : records) {
    while (present < vec->entries() && !(*record < *vec->at(present))) {
      all.push_back(vec->at(present++));
    }
    all.push_back(record.get());
  }
  while (present < vec->entries()) all.push_back(vec->at(present++));

  // From here on nothing fails: there is room, and every record belongs at the end.
  vec->clear();
  for (Tree_NodeInfo* record : all) vec->insert(record);
  for (std::unique_ptr<Tree_NodeInfo>& record : records) static_cast<void>(record.release());
}

void Tree_Node::ConvertTreeToSimpleVec(Tree_NodePtr& node, RWCString& parent_path,
                                       std::vector<Tree_NodeInfo*>* vec) {
  if (node.isNull() || vec == nullptr) return;
  VisitRecords(node.get(), parent_path, [vec](std::unique_ptr<Tree_NodeInfo> record) {
    vec->push_back(record.get());
    static_cast<void>(record.release());
  });
}

// --- From records to a tree --------------------------------------------------

// A Builder is one BuildSubTree() at work.  It stands on the parent of the record that it
// has dealt with last; records are sorted, so that the next one is usually at home there or
// nearby.
//
// Nodes that a leaf has refused stand in no tree.  They live as long as one of the handles
// here counts them.
class Tree_Node::Builder {
 public:
  explicit Builder(Tree_NodePtr& root) : m_root(root) {}

  // False when the record's parent cannot be found.
  bool Take(Tree_NodeInfo& record) {
    const std::string_view path = View(record.m_path);
    const std::string_view parent_path = path.substr(0, record.ParentLength());
    const bool stays = GoToParent(parent_path);
    if (m_parent.isNull()) {
      // Intended: no newline.
      TREE_LOG("BuildSubTree", tree_log::kError, "there is an element without a root in the vec:");
      return false;
    }
    const std::string_view name = NameBehind(path, parent_path.size());
    const bool is_plain = IsPlain(name);
    // Records are sorted, so that mostly a name comes behind all that its parent has got.
    if (!stays) m_in_order = m_parent->m_children == nullptr;
    m_in_order = m_in_order && is_plain &&
                 (!stays || NameBehind(View(m_previous_path), m_previous_parent_length) < name);
    const RWCString* const known = is_plain ? StoredName(name) : nullptr;
    if (!m_in_order && Exists(name, known)) {
      TREE_LOG("BuildSubTree", tree_log::kNotable, "entry exists for path %s skip it\n",
               record.m_path.data());
    } else {
      AddNode(name, known, record);
    }
    m_previous_parent_length = parent_path.size();
    m_previous_path = std::move(record.m_path);
    return true;
  }

 private:
  // What stands behind the parent's path and a separator.
  static std::string_view NameBehind(std::string_view path, std::size_t parent_length) {
    if (parent_length != 0) path.remove_prefix(std::min(parent_length + 1, path.size()));
    return path;
  }

  // Whether the parent is that of the record before, to which nothing else was added since.
  bool GoToParent(std::string_view path) {
    if (path.empty()) {
      if (m_parent == m_root) return true;
      m_parent = m_root;
      return false;
    }
    const std::string_view previous_path = View(m_previous_path);
    const std::string_view previous = previous_path.substr(0, m_previous_parent_length);
    if (path == previous) return true;
    if (path == previous_path) {
      // Intended: what counts is the last inner node made, whether or not the record
      // before made it.
      m_parent = m_last_inner;
      return false;
    }
    const std::size_t cut = CommonAncestor(previous, path);
    if (cut == std::string_view::npos) {
      Descend(m_root, path);
      return false;
    }
    if (previous.size() > cut) {
      const std::string_view below = previous.substr(cut + 1);
      Climb(1 + std::count(below.begin(), below.end(), kBackslash));
    }
    if (path.size() > cut && !m_parent.isNull()) Descend(m_parent, path.substr(cut + 1));
    return false;
  }

  // Where the path of the closest node that two different paths have in common ends; npos
  // when there is none.  Both paths go on with a backslash there, or end.
  static std::size_t CommonAncestor(std::string_view a, std::string_view b) {
    if (a.size() > b.size()) std::swap(a, b);
    const auto equal =
        static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin());
    if (equal == a.size() && (b.size() == equal || b[equal] == kBackslash)) return equal;
    return a.substr(0, equal).rfind(kBackslash);
  }

  // Goes up, unless the way ends before or at a top node.
  void Climb(std::ptrdiff_t levels) {
    const Tree_Node* node = m_parent.get();
    for (; node != nullptr && levels > 0; --levels) node = node->m_parent;
    if (node == nullptr || node->m_parent == nullptr) return;
    Tree_NodePtrVec& siblings = *node->m_parent->m_children;
    const Tree_NodePtr* handle = siblings.Find(node->m_key_name);
    // Names that were given with blanks around them may have become one.
    if (handle == nullptr || *handle != node) handle = FindHandle(siblings, node);
    if (handle != nullptr) m_parent = Tree_NodePtr(*handle);
  }

  static const Tree_NodePtr* FindHandle(Tree_NodePtrVec& siblings, const Tree_Node* node) {
    for (int i = 0; i < siblings.entries(); ++i) {
      if (siblings.HandleAt(i) == node) return &siblings.HandleAt(i);
    }
    return nullptr;
  }

  // Goes to the node at `path` below another, made where it is missing.
  void Descend(Tree_NodePtr from, std::string_view path) {
    for (;;) {
      const std::size_t cut = path.find(kBackslash);
      const std::string_view first = path.substr(0, cut);
      const RWCString* const name = IsPlain(first) ? StoredName(first) : nullptr;
      if (name == nullptr) {
        Tree_Path rest(ToRWCString(path));
        m_parent = from->GetOrCreateRelativeNode(rest, from);
        return;
      }
      if (const Tree_NodePtr* const child = FindChild(from, name)) {
        from = Tree_NodePtr(*child);
      } else {
        Tree_NodePtr made = m_maker.MakeInner(name);
        from->InsertNew(Tree_NodePtr(made), from->GetChildCount(), -1);
        from = std::move(made);
      }
      if (cut == std::string_view::npos) break;
      path.remove_prefix(cut + 1);
    }
    m_parent = std::move(from);
  }

  // Whether a text is one name to look-ups and to new nodes alike, which nearly all are.  Not
  // while look-ups or interning have something to trace.
  static bool IsPlain(std::string_view name) {
    if (name.empty() || name.front() == ' ' || name.back() == ' ') return false;
    if (ZelGLog.GetLevel() >= tree_log::kTrace || tree_interning::AnyNameHasZeroByte()) {
      return false;
    }
    return name.find(kBackslash) == std::string_view::npos &&
           name.find('\0') == std::string_view::npos;
  }

  // The stored string of a plain name, which spares look-ups and new nodes the text; null when
  // there is none.
  static const RWCString* StoredName(std::string_view name) {
    return tree_interning::Find(name.data(), name.size());
  }

  static const Tree_NodePtr* FindChild(const Tree_NodePtr& parent, const RWCString* name) {
    const Tree_NodePtrVec* const children = parent->m_children;
    return children == nullptr ? nullptr : children->Find(name);
  }

  bool Exists(std::string_view name, const RWCString* known) {
    if (known != nullptr) return FindChild(m_parent, known) != nullptr;
    return m_parent->NodeAt(name.data(), name.size(), m_parent) != nullptr;
  }

  void AddNode(std::string_view name, const RWCString* known, const Tree_NodeInfo& record) {
    // Intended: an empty value makes an inner node, just as none does.
    const bool is_leaf = record.m_value != nullptr && !record.m_value->isNull();
    Tree_NodePtr node = is_leaf ? NewLeaf(name, known, record) : NewInner(name, known);
    if (!is_leaf) m_last_inner = node;
    m_maker.Add(*m_parent, std::move(node));
  }

  Tree_NodePtr NewLeaf(std::string_view name, const RWCString* known, const Tree_NodeInfo& record) {
    const RWCString* const value = tree_interning::InternAgain(record.m_value);
    if (known != nullptr) return m_maker.MakeLeaf(known, value, record.m_is_change);
    std::unique_ptr<Tree_Value> carried(new Tree_Value(value, record.m_is_change));
    Tree_Node* const leaf = NewNode(name.data(), name.size(), carried.get());
    // The node owns the value from here on, and the handle the node.
    static_cast<void>(carried.release());
    return Tree_NodePtr(leaf);
  }

  Tree_NodePtr NewInner(std::string_view name, const RWCString* known) {
    if (known != nullptr) return m_maker.MakeInner(known);
    return Tree_NodePtr(NewNode(name.data(), name.size(), nullptr));
  }

  Maker m_maker;
  Tree_NodePtr& m_root;
  Tree_NodePtr m_parent;
  Tree_NodePtr m_last_inner;
  // The path of the record before; the beginning of it is the previous parent's path.
  RWCString m_previous_path;
  std::size_t m_previous_parent_length = 0;
  // Whether the parent's children all stem from records, the last one from the record before,
  // and none has a name that is not less than the next one's.
  bool m_in_order = false;
};

Tree_NodePtr Tree_Node::BuildSubTree(Zel_PtrSortedVector<Tree_NodeInfo>* vec,
                                     RWCString& root_path) {
  if (root_path.isNull()) return Tree_NodePtr();
  const std::string_view path = View(root_path);
  const std::string_view root_name = path.substr(path.rfind(kBackslash) + 1);
  if (root_name.empty()) return Tree_NodePtr();

  // From here on the records are ours, and are deleted once whatever happens.
  struct Records {
    std::unique_ptr<Zel_PtrSortedVector<Tree_NodeInfo>> list;
    std::size_t count;
    std::size_t next = 0;
    std::unique_ptr<Tree_NodeInfo> Next() {
      return std::unique_ptr<Tree_NodeInfo>(list->at(next++));
    }
    ~Records() {
      while (next < count) Next();
    }
  };
  Records records{std::unique_ptr<Zel_PtrSortedVector<Tree_NodeInfo>>(vec),
                  vec == nullptr ? 0 : vec->entries()};

  Tree_NodePtr root(new Tree_Node(ToRWCString(root_name)));
  TREE_LOG("BuildSubTree", tree_log::kLifecycle, "BuildSubTree :: Start build <%s>\n",
           root_path.data());
  Builder builder(root);
  while (records.next < records.count) {
    const std::unique_ptr<Tree_NodeInfo> record = records.Next();
    if (!builder.Take(*record)) {
      TREE_LOG("BuildSubTree", tree_log::kError, "path_elem_parent_path\n");
      return Tree_NodePtr();
    }
  }
  // Intended: all of the root path, its last part included, so that GetPath() of the root
  // names that part twice.
  root->SetVirtualParentPath(root_path);
  TREE_LOG("BuildSubTree", tree_log::kLifecycle, "BuildSubTree :: End build <%s>\n",
           root_path.data());
  return root;
}
