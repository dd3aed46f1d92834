// The index that wide nodes keep from name to child, under random changes of several
// nodes, some of whose children they share.

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/NameLookUps.h"
#include "support/TreeText.h"

namespace {

using namespace name_look_ups;

// Some nodes and what their lists of children must look like.
class Model {
 public:
  Model(unsigned seed, bool zero_bytes) : m_random(seed) {
    for (int i = 0; i < 40; ++i) m_names.push_back(Name(i));
    m_names.push_back("");
    m_names.push_back("N1");
    m_names.push_back(" n1");
    if (zero_bytes) {
      for (const char* start : {"", "n1", "n2", "odd"}) {
        m_names.push_back(std::string(start) + std::string("\0", 1));
        m_names.push_back(std::string(start) + std::string("\0a", 2));
      }
    }
    for (int i = 0; i < 3; ++i) {
      m_tops.push_back(Inner(Bytes("top" + std::to_string(i))));
      m_lists.emplace_back();
    }
  }

  void Step() {
    const std::size_t t = Any(m_tops);
    Tree_NodePtr& top = m_tops[t];
    std::vector<Tree_NodePtr>& list = m_lists[t];
    const int kind = Below(20);
    if (kind < 5 || (kind < 9 && list.size() < 20)) {
      Insert(t, NewNode());
    } else if (kind < 7) {
      if (!list.empty()) Insert(t, AnyChild(Any(m_tops)));
    } else if (kind == 7) {
      if (!list.empty()) RemoveAt(t, Below(static_cast<int>(list.size())));
    } else if (kind == 8) {
      RemoveNamed(t, m_names[Any(m_names)]);
    } else if (kind < 14) {
      if (!list.empty()) Rename(list[Any(list)]);
    } else if (kind == 14) {
      // A parent that was set by hand; the list does not follow.
      if (!list.empty()) {
        Tree_NodePtr& child = list[Any(list)];
        Tree_Node* const real = child->GetParent();
        child->SetParent(Below(2) == 0 ? nullptr : m_tops[Any(m_tops)].get());
        Rename(child);
        if (Below(3) != 0) child->SetParent(real);
      }
    } else if (kind == 15) {
      // Listed once more, maybe below another node.
      if (!list.empty()) {
        Tree_NodePtr child = list[Any(list)];
        child->SetParent(nullptr);
        Insert(Any(m_tops), child);
      }
    } else if (kind == 16) {
      if (!list.empty()) {
        Tree_NodePtr child = list[Any(list)];
        Tree_Node other("x");
        other.SetKeyName(Bytes(m_names[Any(m_names)]));
        Tree_Node* const real = child->GetParent();
        *child = other;
        if (Below(2) == 0) child->SetParent(real);
      }
    } else if (kind == 17 && Below(20) == 0) {
      top->Destroy();
      list.clear();
    } else if (kind == 18 && Below(20) == 0) {
      // A node of the same name and children takes the place of this one.
      for (const std::vector<Tree_NodePtr>& children : m_lists) {
        for (const Tree_NodePtr& child : children) {
          if (child->GetParent() == top.get()) child->SetParent(nullptr);
        }
      }
      Tree_NodePtr copy = top->DuplicateFromHereDown(false);
      top = copy;
      for (std::size_t i = 0; i < list.size(); ++i) {
        list[i] = top->GetChildAt(static_cast<int>(i));
      }
    } else if (list.size() > 60) {
      for (int i = 0; i < 30; ++i) RemoveAt(t, Below(static_cast<int>(list.size())));
    }
  }

  void CheckSome() {
    for (Tree_NodePtr& top : m_tops) {
      for (int i = 0; i < 3; ++i) CheckName(top, m_names[Any(m_names)]);
    }
  }

  void CheckEverything() {
    for (std::size_t t = 0; t < m_tops.size(); ++t) {
      ASSERT_EQ(static_cast<int>(m_lists[t].size()), m_tops[t]->GetChildCount());
      for (std::size_t i = 0; i < m_lists[t].size(); ++i) {
        ASSERT_EQ(m_lists[t][i], m_tops[t]->GetChildAt(static_cast<int>(i)));
      }
      CheckNames(m_tops[t], m_names);
    }
  }

 private:
  int Below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_random); }
  template <class T>
  std::size_t Any(const std::vector<T>& items) {
    return static_cast<std::size_t>(Below(static_cast<int>(items.size())));
  }

  Tree_NodePtr NewNode() {
    Tree_NodePtr node = Inner("x");
    node->SetKeyName(Bytes(m_names[Any(m_names)]));
    return node;
  }

  Tree_NodePtr AnyChild(std::size_t t) {
    return m_lists[t].empty() ? NewNode() : m_lists[t][Any(m_lists[t])];
  }

  void Rename(const Tree_NodePtr& child) { child->SetKeyName(Bytes(m_names[Any(m_names)])); }

  static std::size_t PlaceOf(const std::vector<Tree_NodePtr>& list, const Tree_NodePtr& node) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (list[i] == node) return i;
    }
    return list.size();
  }

  void Insert(std::size_t t, Tree_NodePtr child) {
    for (std::size_t p = 0; p < m_tops.size(); ++p) {
      if (child->GetParent() != m_tops[p].get()) continue;
      const std::size_t place = PlaceOf(m_lists[p], child);
      // A parent that does not list the child would throw: forget it first.
      if (place == m_lists[p].size()) {
        child->SetParent(nullptr);
      } else {
        m_lists[p].erase(m_lists[p].begin() + static_cast<std::ptrdiff_t>(place));
      }
      break;
    }
    const int at = Below(static_cast<int>(m_lists[t].size()) + 1);
    EXPECT_EQ(1, m_tops[t]->Insert(child, at, -1));
    m_lists[t].insert(m_lists[t].begin() + at, child);
  }

  void RemoveAt(std::size_t t, int at) {
    EXPECT_EQ(1, m_tops[t]->Remove(at));
    m_lists[t].erase(m_lists[t].begin() + at);
  }

  void RemoveNamed(std::size_t t, const std::string& name) {
    const int first = name.empty() ? -1 : Scan(m_tops[t], name, true);
    EXPECT_EQ(first < 0 ? 0 : 1, m_tops[t]->Remove(Bytes(name)));
    if (first < 0) return;
    // The child that is found is removed as a child: the first listing of it goes.
    const Tree_NodePtr child = m_lists[t][static_cast<std::size_t>(first)];
    m_lists[t].erase(m_lists[t].begin() + static_cast<std::ptrdiff_t>(PlaceOf(m_lists[t], child)));
  }

  std::mt19937 m_random;
  std::vector<std::string> m_names;
  std::vector<Tree_NodePtr> m_tops;
  std::vector<std::vector<Tree_NodePtr>> m_lists;
};

TEST(TreeNameIndex, NeverShowsWhateverChanges) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    LogCapture refusals(2);
    Model model(seed, seed % 2 == 0);
    for (int step = 0; step < 3000; ++step) {
      SCOPED_TRACE(testing::Message() << "step " << step);
      model.Step();
      model.CheckSome();
      if (step % 100 == 0) model.CheckEverything();
      if (testing::Test::HasFailure()) return;
    }
    model.CheckEverything();
  }
}

}  // namespace
