// Looking names up among few siblings.
//
// A narrow node keeps shortcuts to its children.  They must never show: every look-up
// yields what a scan of the children yields, whatever happened to the children, to their
// names and to the handles that callers were given.  The trees here are read by name only,
// and what they should hold is kept beside them: a child that was reached by its position
// is one whose handle was given away.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/Random.h"
#include "support/TreeMaking.h"

namespace {

Tree_Node* ByName(Tree_NodePtr& node, const char* name) {
  return node->Get(name, node).get();
}

Tree_Node* ByPath(Tree_NodePtr& node, const char* path) {
  Tree_Path reader{RWCString(path)};
  return node->GetRelativeNode(reader, node).get();
}

TEST(NarrowLookup, FollowsAPathDownNodesThatGotTheirChildrenLater) {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr b = Inner("b");
  Tree_NodePtr c = Leaf("c", "1");
  top->Add(a);
  EXPECT_EQ(nullptr, ByPath(top, "a\\b"));
  a->Add(b);
  EXPECT_EQ(b.get(), ByPath(top, "a\\b"));
  b->Add(c);
  EXPECT_EQ(c.get(), ByPath(top, "a\\b\\c"));

  b->Destroy();
  EXPECT_EQ(b.get(), ByPath(top, "a\\b"));
  EXPECT_EQ(nullptr, ByPath(top, "a\\b\\c"));
  b->Add(c);
  EXPECT_EQ(c.get(), ByPath(top, "a\\b\\c"));
}

// `this_ptr` is another node's handle here, and that node lies on the way.
TEST(NarrowLookup, CreatesBelowTheNodeWhoseHandleIsTakenForThisNode) {
  Tree_NodePtr top = Inner("top", {Inner("a", {Inner("b")})});
  Tree_NodePtr a = top->Get("a", top);
  Tree_Path path("a\\b\\c");
  Tree_NodePtr made = top->GetOrCreateRelativeNode(path, a->GetChildAt(0));
  EXPECT_EQ(made.get(), ByPath(top, "a\\b\\c"));
  EXPECT_EQ(1, top->GetChildCount());
}

TEST(NarrowLookup, FindsANodeThatWasPutIntoAHandle) {
  using GiveAway = Tree_NodePtr& (*)(Tree_NodePtr&);
  const GiveAway ways[] = {
      [](Tree_NodePtr& top) -> Tree_NodePtr& { return top->GetChildAt(1); },
      [](Tree_NodePtr& top) -> Tree_NodePtr& {
        RWCString name("b");
        return top->GetByRef(name, top);
      },
      [](Tree_NodePtr& top) -> Tree_NodePtr& {
        Tree_Path path(RWCString("b"));
        return top->GetRelativeNodeByRef(path, top);
      },
      [](Tree_NodePtr& top) -> Tree_NodePtr& {
        Tree_Path path(RWCString("b"));
        return top->GetRelativeSubTreeByRef(path, top);
      },
      [](Tree_NodePtr& top) -> Tree_NodePtr& {
        RWCString here;
        return top->GetRelativeSubTreeByRef(here, 1, top);
      },
  };
  for (const GiveAway give_away : ways) {
    Tree_NodePtr top =
        Inner("top", {Inner("a"), Inner("b", {Leaf("x", "old")}), Inner("c", {Leaf("x", "c")})});
    EXPECT_NE(nullptr, ByPath(top, "b\\x"));
    Tree_NodePtr& handle = give_away(top);
    Tree_NodePtr old = handle;
    Tree_NodePtr other = Inner("other", {Leaf("x", "new"), Leaf("y", "new")});
    handle = other;
    old->SetParent(nullptr);

    EXPECT_EQ(nullptr, ByName(top, "b"));
    EXPECT_EQ(other.get(), ByName(top, "other"));
    EXPECT_EQ(nullptr, ByPath(top, "b\\x"));
    RWCString path("other\\x");
    EXPECT_EQ("new", Text(top->GetValue(path, top)));
    RWCString behind("c\\x");
    EXPECT_EQ("c", Text(top->GetValue(behind, top)));
    EXPECT_EQ(nullptr, ByName(top, "none"));
  }
}

TEST(NarrowLookup, FindsANodeOfTheSameNameThatWasPutIntoAHandle) {
  Tree_NodePtr top = Inner("top", {Inner("a", {Leaf("x", "old")})});
  Tree_NodePtr old = top->GetChildAt(0);
  Tree_NodePtr same = Inner("a", {Leaf("y", "new")});
  top->GetChildAt(0) = same;
  old->SetParent(nullptr);
  EXPECT_EQ(same.get(), ByName(top, "a"));
  EXPECT_NE(nullptr, ByPath(top, "a\\y"));
  EXPECT_EQ(nullptr, ByPath(top, "a\\x"));
}

TEST(NarrowLookup, FindsNothingInAHandleThatWasEmptied) {
  Tree_NodePtr top = Inner("top", {Leaf("a", "1"), Leaf("b", "2")});
  Tree_NodePtr old = top->GetChildAt(0);
  top->GetChildAt(0) = Tree_NodePtr();
  EXPECT_EQ(nullptr, ByName(top, "a"));
  EXPECT_NE(nullptr, ByName(top, "b"));
  old->SetParent(nullptr);
}

// The pool hands out first what came back last.
TEST(NarrowLookup, FindsANodeThatStandsWhereAnotherOneStood) {
  Tree_NodePtr top = Inner("top", {Inner("a"), Inner("b")});
  const Tree_Node* const gone = top->GetChildAt(0).get();
  top->GetChildAt(0) = Tree_NodePtr();
  Tree_NodePtr fresh(new Tree_Node("c"));
  top->GetChildAt(0) = fresh;
  if (fresh.get() != gone) GTEST_SKIP() << "the node stands elsewhere";
  EXPECT_EQ(fresh.get(), ByName(top, "c"));
  EXPECT_EQ(nullptr, ByName(top, "a"));
}

// Among few siblings and among so many that an index is asked.
class LeafLookup : public testing::TestWithParam<int> {
 protected:
  LeafLookup() {
    for (int i = 0; i < GetParam(); ++i) {
      Tree_NodePtr sibling = Leaf(RWCString(("sibling" + std::to_string(i)).c_str()), "its own");
      top->Add(sibling);
    }
    top->Add(leaf);
  }

  std::string Read(const char* path) {
    RWCString text(path);
    return top->GetValue(text, top).data();
  }

  Tree_NodePtr leaf = Leaf("leaf", "first");
  Tree_NodePtr top = Inner("top");
};

TEST_P(LeafLookup, ReadsTheValueThatTheLeafHasNow) {
  EXPECT_EQ("first", Read("leaf"));
  leaf->GetTreeValue()->SetValue(RWCString("second"));
  EXPECT_EQ("second", Read("leaf"));

  Tree_Value* former = leaf->GetTreeValue();
  leaf->SetTreeValue(new Tree_Value("third", 0));
  delete former;
  EXPECT_EQ("third", Read("leaf"));

  leaf->SetKeyName("renamed");
  EXPECT_EQ("", Read("leaf"));
  EXPECT_EQ("third", Read("renamed"));
}

TEST_P(LeafLookup, ReadsNothingFromALeafThatBecameAnInnerNode) {
  delete leaf->GetTreeValue();
  leaf->SetTreeValue(nullptr);
  EXPECT_EQ("", Read("leaf"));

  Tree_NodePtr below = Leaf("below", "deep");
  leaf->Add(below);
  EXPECT_EQ("", Read("leaf"));
  EXPECT_EQ("deep", Read("leaf\\below"));

  leaf->SetTreeValue(new Tree_Value("of an inner node", 0));
  EXPECT_EQ("", Read("leaf"));
  EXPECT_EQ("deep", Read("leaf\\below"));
}

TEST_P(LeafLookup, ReadsTheLeafThatWasPutIntoAHandle) {
  RWCString name("leaf");
  Tree_NodePtr& handle = top->GetByRef(name, top);
  leaf = Tree_NodePtr();
  handle = Leaf("leaf", "another's");
  EXPECT_EQ("another's", Read("leaf"));
}

TEST_P(LeafLookup, SurvivesARenameOfALeafWhoseParentWasSetByHand) {
  Tree_NodePtr elsewhere = Inner("elsewhere");
  delete leaf->GetTreeValue();
  leaf->SetTreeValue(new Tree_Value("second", 0));
  leaf->SetParent(elsewhere.get());
  leaf->SetKeyName("renamed");
  EXPECT_EQ("", Read("leaf"));
  EXPECT_EQ("second", Read("renamed"));
}

INSTANTIATE_TEST_SUITE_P(Siblings, LeafLookup, testing::Values(0, 3, 22, 23, 200));

TEST(NarrowLookup, SurvivesARenameOfAChildWhoseParentWasSetByHand) {
  Tree_NodePtr top = Inner("top", {Leaf("a", "1"), Leaf("b", "2")});
  Tree_NodePtr stranger = Inner("stranger");
  Tree_NodePtr b = top->Get("b", top);
  b->SetParent(stranger.get());
  b->SetKeyName("renamed");
  EXPECT_EQ(nullptr, ByName(top, "b"));
  EXPECT_EQ(b.get(), ByName(top, "renamed"));

  // One that had its parent set before it came.
  Tree_NodePtr c = Leaf("c", "3");
  c->SetParent(nullptr);
  Tree_NodePtr other = Inner("other");
  other->Add(c);
  c->SetParent(nullptr);
  c->SetKeyName("renamed too");
  EXPECT_EQ(c.get(), ByName(other, "renamed too"));
  EXPECT_EQ(nullptr, ByName(other, "c"));
}

TEST(NarrowLookup, SurvivesARenameOfAChildThatLostItsChildren) {
  Tree_NodePtr top = Inner("top", {Inner("a", {Leaf("x", "1")}), Leaf("b", "2")});
  Tree_NodePtr a = top->Get("a", top);
  Tree_NodePtr stranger = Inner("stranger");
  a->Destroy();
  EXPECT_EQ(a.get(), ByName(top, "a"));
  EXPECT_EQ(nullptr, ByPath(top, "a\\x"));
  a->SetParent(stranger.get());
  a->SetKeyName("renamed");
  EXPECT_EQ(a.get(), ByName(top, "renamed"));
  EXPECT_EQ(nullptr, ByName(top, "a"));
}

TEST(NarrowLookup, SurvivesARenameBelowANodeThatIsNotFromThePool) {
  Tree_Node::m_NodesPool.FailNextAllocations(1);
  Tree_NodePtr top(new Tree_Node("top"));
  Tree_NodePtr a = Leaf("a", "1");
  top->Add(a);
  a->SetKeyName("renamed");
  EXPECT_EQ(a.get(), ByName(top, "renamed"));
  EXPECT_EQ(nullptr, ByName(top, "a"));
}

// Different names that a shortcut cannot tell apart.
TEST(NarrowLookup, TellsNamesWithEqualTagsApart) {
  std::map<std::uint64_t, std::string> seen;
  std::vector<std::vector<std::string>> alike;
  for (int i = 0; alike.size() < 5 && i < 20000; ++i) {
    const std::string name = "tag" + std::to_string(i);
    const Tree_Node node(RWCString(name.c_str()));
    const auto address = reinterpret_cast<std::uintptr_t>(&node.GetKeyName());
    const std::uint64_t tag = (static_cast<std::uint64_t>(address) * 0x9E3779B97F4A7C15u) >> 48;
    const auto [first, is_new] = seen.try_emplace(tag, name);
    if (!is_new) alike.push_back({first->second, name});
  }
  ASSERT_EQ(5u, alike.size());
  for (const std::vector<std::string>& names : alike) {
    Tree_NodePtr first = Inner(names[0].c_str());
    Tree_NodePtr second = Inner(names[1].c_str());
    Tree_NodePtr top = Inner("top", {first});
    EXPECT_EQ(nullptr, ByName(top, names[1].c_str()));
    top->Add(second);
    EXPECT_EQ(first.get(), ByName(top, names[0].c_str()));
    EXPECT_EQ(second.get(), ByName(top, names[1].c_str()));
  }
}

// A node with some children and grandchildren, and beside it what it should hold.
class Family {
 public:
  explicit Family(std::uint32_t seed) : m_random(seed) {}

  void Step() {
    switch (m_random.Below(8)) {
      case 0:
      case 1:
      case 2:
        if (m_expected.size() < 26) Add();
        break;
      case 3:
        Remove();
        break;
      case 4:
        Rename();
        break;
      case 5:
        Move();
        break;
      case 6:
        AddBelow();
        break;
      default:
        if (m_random.OneIn(20)) Replace();
        break;
    }
  }

  void Check() {
    for (const char* name : kNames) {
      ASSERT_EQ(Scan(m_expected, name), ByName(m_top, name)) << name;
      for (const char* below : {"p", "q"}) {
        const std::string path = std::string(name) + "\\" + below;
        Tree_Node* const child = Scan(m_expected, name);
        ASSERT_EQ(child == nullptr ? nullptr : Scan(m_below[child], below),
                  ByPath(m_top, path.c_str()))
            << path;
      }
    }
  }

 private:
  static constexpr const char* kNames[] = {"a", "b", "c", "d", "e", "f", "g", "h",
                                           "i", "j", "k", "l", "m", "n", "o"};

  RWCString SomeName() { return RWCString(kNames[m_random.Below(15)]); }
  int SomePlace() { return m_random.Below(static_cast<int>(m_expected.size())); }
  static auto At(std::vector<Tree_NodePtr>& list, int place) { return list.begin() + place; }

  static Tree_Node* Scan(const std::vector<Tree_NodePtr>& list, const char* name) {
    const auto found = std::find_if(list.begin(), list.end(), [name](const Tree_NodePtr& node) {
      return node->GetKeyName() == name;
    });
    return found == list.end() ? nullptr : found->get();
  }

  void Add() {
    Tree_NodePtr child = Inner(SomeName());
    const int place = m_random.Below(static_cast<int>(m_expected.size()) + 1);
    m_top->Insert(child, place, -1);
    m_expected.insert(At(m_expected, place), child);
  }
  void Remove() {
    if (m_expected.empty()) return;
    const int place = SomePlace();
    m_top->Remove(place);
    m_below.erase(At(m_expected, place)->get());
    m_expected.erase(At(m_expected, place));
  }
  void Rename() {
    if (m_expected.empty()) return;
    (*At(m_expected, SomePlace()))->SetKeyName(SomeName());
  }
  void Move() {
    if (m_expected.empty()) return;
    const int from = SomePlace();
    Tree_NodePtr child = *At(m_expected, from);
    m_expected.erase(At(m_expected, from));
    const int to = m_random.Below(static_cast<int>(m_expected.size()) + 1);
    m_top->Insert(child, to, -1);
    m_expected.insert(At(m_expected, to), child);
  }
  void AddBelow() {
    if (m_expected.empty()) return;
    Tree_NodePtr& child = *At(m_expected, SomePlace());
    Tree_NodePtr grandchild = Leaf(m_random.OneIn(2) ? "p" : "q", "v");
    child->Add(grandchild);
    m_below[child.get()].push_back(grandchild);
  }
  // Gives a handle away.  A name that another child bears as well would be found there first.
  void Replace() {
    if (m_expected.empty()) return;
    const int place = SomePlace();
    const RWCString name = SomeName();
    if (Scan(m_expected, name.data()) != nullptr) return;
    Tree_NodePtr fresh = Inner(name);
    m_top->GetChildAt(place) = fresh;
    (*At(m_expected, place))->SetParent(nullptr);
    m_below.erase(At(m_expected, place)->get());
    fresh->SetParent(m_top.get());
    *At(m_expected, place) = fresh;
  }

  Random m_random;
  Tree_NodePtr m_top = Inner("top");
  std::vector<Tree_NodePtr> m_expected;
  std::map<Tree_Node*, std::vector<Tree_NodePtr>> m_below;
};

TEST(NarrowLookup, AgreesWithAScanWhateverHappens) {
  for (std::uint32_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    Family family(seed);
    for (int step = 0; step < 60; ++step) {
      family.Step();
      ASSERT_NO_FATAL_FAILURE(family.Check()) << "step " << step;
    }
  }
}

}  // namespace
