#include "commands/TreeDiff.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Places.h"
#include "Text.h"
#include "commands/NodeFields.h"

namespace cfgtree {
namespace {

// The children of a node by name, siblings of one name in their order and numbered from 1.
struct Child {
  std::string_view name;
  int number;
  Tree_Node* node;
};

bool NameBefore(const Child& a, const Child& b) {
  return a.name < b.name;
}

std::vector<Child> SortedChildren(Tree_Node* node) {
  std::vector<Child> children;
  if (node == nullptr) return children;
  const int count = node->GetChildCount();
  children.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    Tree_Node* const child = node->GetChildAt(i).get();
    children.push_back({View(child->GetKeyName()), 1, child});
  }
  std::stable_sort(children.begin(), children.end(), NameBefore);
  for (std::size_t i = 1; i < children.size(); ++i) {
    if (children[i].name == children[i - 1].name) children[i].number = children[i - 1].number + 1;
  }
  return children;
}

bool IsNameOf(const std::vector<Child>& children, std::string_view name) {
  return std::binary_search(children.begin(), children.end(), Child{name, 1, nullptr}, NameBefore);
}

// Corresponding nodes; one of them may be missing.
struct Pair {
  std::string_view name;
  std::string number;  // what stands behind the name in a path; empty for the first of a name
  bool repeated;
  Tree_Node* old_node;
  Tree_Node* new_node;
};

std::vector<Pair> PairChildren(Tree_Node* old_parent, Tree_Node* new_parent) {
  const std::vector<Child> olds = SortedChildren(old_parent);
  const std::vector<Child> news = SortedChildren(new_parent);
  std::vector<Pair> pairs;
  pairs.reserve(std::max(olds.size(), news.size()));
  auto o = olds.begin();
  auto n = news.begin();
  while (o != olds.end() || n != news.end()) {
    const auto key = [](const Child& child) { return std::pair(child.name, child.number); };
    const bool take_old = n == news.end() || (o != olds.end() && key(*o) <= key(*n));
    const bool take_new = o == olds.end() || (n != news.end() && key(*n) <= key(*o));
    const Child& child = take_old ? *o : *n;
    const auto is_name = [&](std::string_view name) {
      return IsNameOf(olds, name) || IsNameOf(news, name);
    };
    const bool repeated = child.number > 1;
    pairs.push_back({child.name, repeated ? NumberBehind(child.name, child.number, is_name) : "",
                     repeated, take_old ? o->node : nullptr, take_new ? n->node : nullptr});
    // The first of a name learns that it repeats when the second comes.
    if (child.number == 2) pairs[pairs.size() - 2].repeated = true;
    if (take_old) ++o;
    if (take_new) ++n;
  }
  return pairs;
}

bool IsInner(Tree_Node* node) {
  return node != nullptr && !node->IsLeaf();
}

class Comparison {
 public:
  explicit Comparison(const std::function<void(const Difference&)>& report) : m_report(report) {}

  void Run(Tree_Node& old_top, Tree_Node& new_top) {
    Visit({"", "", false, &old_top, &new_top}, Surroundings());
    while (!m_open.empty()) {
      Level& level = m_open.back();
      const Pair pair = std::move(level.pairs[level.next++]);
      const Surroundings around = level.around;
      m_path.resize(level.path_length);
      // Before the next level is opened, so that a long chain needs no long stack.
      if (level.next == level.pairs.size()) m_open.pop_back();
      if (!m_path.empty()) m_path += '\\';
      m_path += pair.name;
      m_path += pair.number;
      Visit(pair, around);
    }
  }

 private:
  // What holds for everything below a node.
  struct Surroundings {
    bool repeated = false;
    Tree_Node* new_parent = nullptr;
    Tree_Node* replacement = nullptr;
  };

  struct Level {
    std::vector<Pair> pairs;
    std::size_t next;
    std::size_t path_length;  // of the node whose children these are
    Surroundings around;
  };

  void Visit(const Pair& pair, Surroundings around) {
    around.repeated |= pair.repeated;
    Tree_Node* const old_node = pair.old_node;
    Tree_Node* const new_node = pair.new_node;
    if (old_node == nullptr || new_node == nullptr) {
      return VisitAlone(old_node, new_node, around);
    }
    if (IsInner(old_node) && IsInner(new_node)) {
      around.new_parent = new_node;
      return Open(old_node, new_node, around);
    }
    if (!IsInner(old_node) && !IsInner(new_node)) {
      if (ValueOf(*old_node) != ValueOf(*new_node)) {
        Report(Change::kChanged, old_node, new_node, around);
      }
      return;
    }
    // A leaf on one side, an inner node on the other; the leaf comes first, since its path
    // is the shorter one.
    Surroundings removed = around;
    removed.replacement = new_node;
    if (IsInner(new_node)) {
      VisitAlone(old_node, nullptr, removed);
      VisitAlone(nullptr, new_node, around);
    } else {
      VisitAlone(nullptr, new_node, around);
      VisitAlone(old_node, nullptr, removed);
    }
  }

  // A node that only one of the trees has.
  void VisitAlone(Tree_Node* old_node, Tree_Node* new_node, const Surroundings& around) {
    Tree_Node* const node = old_node != nullptr ? old_node : new_node;
    if (node->GetChildCount() > 0) return Open(old_node, new_node, around);
    Report(old_node != nullptr ? Change::kRemoved : Change::kAdded, old_node, new_node, around);
  }

  void Open(Tree_Node* old_node, Tree_Node* new_node, const Surroundings& around) {
    std::vector<Pair> pairs = PairChildren(old_node, new_node);
    if (!pairs.empty()) m_open.push_back({std::move(pairs), 0, m_path.size(), around});
  }

  void Report(Change change, Tree_Node* old_node, Tree_Node* new_node, const Surroundings& around) {
    const bool removed = change == Change::kRemoved;
    m_report({change, old_node, new_node, m_path, around.repeated,
              removed ? around.new_parent : nullptr, removed ? around.replacement : nullptr});
  }

  const std::function<void(const Difference&)>& m_report;
  std::string m_path;
  std::vector<Level> m_open;
};

}  // namespace

void CompareTrees(Tree_Node& old_top, Tree_Node& new_top,
                  const std::function<void(const Difference&)>& report) {
  Comparison(report).Run(old_top, new_top);
}

}  // namespace cfgtree
