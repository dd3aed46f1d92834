// Tree_Node::Get, GetByRef, GetRelativeNode and GetRelativeNodeByRef.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

Tree_Node* Found(const Tree_NodePtr& node) {
  return node.get();
}

// A child by name, asked for in all four ways.  `exact` is what the two whole-name
// comparisons find, `zero_terminated` what the other two find; null for nothing.
void ExpectChild(Tree_NodePtr& top, RWCString name, const Tree_Node* exact,
                 const Tree_Node* zero_terminated) {
  SCOPED_TRACE(testing::PrintToString(Text(name)));
  EXPECT_EQ(zero_terminated, Found(top->Get(name.data(), top)));
  EXPECT_EQ(zero_terminated, Found(top->Get(name, top)));
  EXPECT_EQ(exact, top->Get(name, top.get()));
  Tree_NodePtr& slot = top->GetByRef(name, top);
  EXPECT_EQ(exact, slot.get());
  if (exact == nullptr) {
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &slot);
  } else {
    EXPECT_EQ(&top->GetChildAt(top->GetIndex(slot)), &slot);
  }
}

void ExpectChild(Tree_NodePtr& top, const RWCString& name, const Tree_Node* expected) {
  ExpectChild(top, name, expected, expected);
}

// The node at a path, asked for in both ways.
void ExpectNode(Tree_NodePtr& start, const RWCString& path, const Tree_NodePtr& expected) {
  SCOPED_TRACE(testing::PrintToString(Text(path)));
  Tree_Path plain(path);
  EXPECT_EQ(expected.get(), start->GetRelativeNode(plain, start).get());
  Tree_Path by_ref(path);
  Tree_NodePtr& slot = start->GetRelativeNodeByRef(by_ref, start);
  EXPECT_EQ(expected.get(), slot.get());
  if (expected.isNull()) {
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &slot);
  } else if (expected == start) {
    EXPECT_EQ(&start, &slot);
  } else {
    Tree_Node* const parent = slot->GetParent();
    ASSERT_NE(nullptr, parent);
    EXPECT_EQ(&parent->GetChildAt(parent->GetIndex(slot)), &slot);
  }
}

TEST(NodeLookup, FindsAChildByName) {
  Tree_NodePtr a = Leaf("a", "1");
  Tree_NodePtr b = Inner("b");
  Tree_NodePtr top = Inner("cfg", {a, b});
  ExpectChild(top, "a", a.get());
  ExpectChild(top, "b", b.get());
  ExpectChild(top, "c", nullptr);
  ExpectChild(top, "cfg", nullptr);
}

TEST(NodeLookup, FindsTheFirstOfEqualNames) {
  Tree_NodePtr first = Inner("a");
  Tree_NodePtr second = Leaf("a", "1");
  Tree_NodePtr top = Inner("cfg", {Leaf("b", ""), first, second});
  ExpectChild(top, "a", first.get());
  EXPECT_EQ(1, top->Insert(second, 0, -1));
  ExpectChild(top, "a", second.get());
  EXPECT_EQ(1, top->Remove("a"));
  ExpectChild(top, "a", first.get());
}

TEST(NodeLookup, ComparesByteForByte) {
  Tree_NodePtr top = Inner("cfg", {Leaf("Name", "1"), Leaf("x ", "2"), Leaf("\xc3\xa4", "3")});
  ExpectChild(top, "name", nullptr);
  ExpectChild(top, "NAME", nullptr);
  ExpectChild(top, "Nam", nullptr);
  ExpectChild(top, "Names", nullptr);
  ExpectChild(top, "x", nullptr);
  ExpectChild(top, " x", nullptr);
  ExpectChild(top, "x ", top->GetChildAt(1).get());
  ExpectChild(top, "\xc3\xa4", top->GetChildAt(2).get());
  ExpectChild(top, "\xc3", nullptr);
}

TEST(NodeLookup, TakesANameForOneNameWhateverIsInIt) {
  Tree_NodePtr odd = Leaf("a\\b", "1");
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("b", "2")}), odd});
  ExpectChild(top, "a\\b", odd.get());
  ExpectChild(top, "a\\", nullptr);
}

TEST(NodeLookup, YieldsThisPtrForAnEmptyName) {
  Tree_NodePtr nameless = Leaf("", "1");
  Tree_NodePtr top = Inner("cfg", {nameless});
  Tree_NodePtr elsewhere = Inner("elsewhere");
  Tree_NodePtr null;
  RWCString nothing;
  for (Tree_NodePtr* this_ptr : {&top, &elsewhere, &null}) {
    EXPECT_EQ(this_ptr->get(), Found(top->Get("", *this_ptr)));
    EXPECT_EQ(this_ptr->get(), Found(top->Get(nothing, *this_ptr)));
    EXPECT_EQ(this_ptr->get(), top->Get(nothing, this_ptr->get()));
    EXPECT_EQ(this_ptr, &top->GetByRef(nothing, *this_ptr));
    EXPECT_EQ(this_ptr->get(), Found(nameless->Get("", *this_ptr)));
    EXPECT_EQ(this_ptr, &nameless->GetByRef(nothing, *this_ptr));
  }
}

TEST(NodeLookup, FindsNothingWhereThereAreNoChildren) {
  Tree_NodePtr leaf = Leaf("a", "1");
  Tree_NodePtr inner = Inner("a");
  Tree_NodePtr emptied = Inner("a", {Leaf("a", "1")});
  EXPECT_EQ(1, emptied->Remove(0));
  for (Tree_NodePtr* node : {&leaf, &inner, &emptied}) {
    ExpectChild(*node, "a", nullptr);
    ExpectNode(*node, "a", Tree_NodePtr());
    ExpectNode(*node, "a\\a", Tree_NodePtr());
    ExpectNode(*node, "", *node);
    ExpectNode(*node, "\\a", *node);
  }
}

TEST(NodeLookup, NeverYieldsThisPtrForANameThatIsMissing) {
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr elsewhere = Inner("elsewhere", {Leaf("a", "1")});
  RWCString a("a");
  EXPECT_EQ(nullptr, Found(top->Get("a", elsewhere)));
  EXPECT_EQ(nullptr, Found(top->Get(a, elsewhere)));
  EXPECT_EQ(nullptr, top->Get(a, elsewhere.get()));
  EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetByRef(a, elsewhere));
}

// Names with zero bytes inside tell the two comparisons apart, among few children
// and among many.
void ExpectTwoWaysOfComparing(int others) {
  SCOPED_TRACE(others);
  Tree_NodePtr long_a = Leaf(Bytes("a\0x"), "1");
  Tree_NodePtr a = Leaf("a", "2");
  Tree_NodePtr other_long_a = Leaf(Bytes("a\0y"), "3");
  Tree_NodePtr b = Leaf("b", "4");
  Tree_NodePtr long_b = Leaf(Bytes("b\0"), "5");
  Tree_NodePtr zero = Leaf(Bytes("\0"), "6");
  Tree_NodePtr top = Inner("cfg");
  for (int i = 0; i < others; ++i) {
    Tree_NodePtr other = Leaf(RWCString(("o" + std::to_string(i)).c_str()), "");
    top->Insert(other, i, -1);
  }
  for (Tree_NodePtr* child : {&long_a, &a, &other_long_a, &b, &long_b, &zero}) {
    top->Insert(*child, top->GetChildCount(), -1);
  }
  ExpectChild(top, "a", a.get(), long_a.get());
  ExpectChild(top, Bytes("a\0x"), long_a.get(), long_a.get());
  ExpectChild(top, Bytes("a\0y"), other_long_a.get(), long_a.get());
  ExpectChild(top, Bytes("a\0z"), nullptr, long_a.get());
  ExpectChild(top, "b", b.get(), b.get());
  ExpectChild(top, Bytes("b\0"), long_b.get(), b.get());
  ExpectChild(top, Bytes("c\0"), nullptr, nullptr);
  // To the comparison that stops at a zero byte this name is an empty one.
  ExpectChild(top, Bytes("\0"), zero.get(), top.get());

  // Paths compare like the forms that stop at a zero byte, in both forms.
  ExpectNode(top, "a", long_a);
  ExpectNode(top, Bytes("a\0y"), long_a);
  ExpectNode(top, "b", b);
  ExpectNode(top, Bytes("b\0"), b);
  ExpectNode(top, Bytes("\0"), top);

  // The first match goes; the next one is found.
  EXPECT_EQ(1, top->Remove(Bytes("a\0x")));
  ExpectChild(top, "a", a.get(), a.get());
  ExpectChild(top, Bytes("a\0x"), nullptr, a.get());
  a->SetKeyName("renamed");
  ExpectChild(top, "a", nullptr, other_long_a.get());
  ExpectNode(top, "a", other_long_a);
  a->SetKeyName(Bytes("a\0w"));
  ExpectChild(top, "a", nullptr, a.get());
}

TEST(NodeLookup, ComparesUpToAZeroByteOrWholeByForm) {
  ExpectTwoWaysOfComparing(0);
  ExpectTwoWaysOfComparing(40);
}

TEST(NodeLookup, PlainFormsCountTheNode) {
  Tree_NodePtr top = Inner("cfg", {Leaf("a", "1"), Leaf("b", "2"), Leaf("c", "3")});
  Tree_NodePtr a = top->Get("a", top);
  Tree_NodePtr b = top->Get(RWCString("b"), top);
  Tree_Path path("c");
  Tree_NodePtr c = top->GetRelativeNode(path, top);
  Tree_Path here("");
  Tree_NodePtr same = top->GetRelativeNode(here, top);
  top = Tree_NodePtr();
  EXPECT_EQ("cfg", Text(same->GetKeyName()));
  same = Tree_NodePtr();
  EXPECT_EQ("1", Text(a->GetTreeValue()->GetValue()));
  EXPECT_EQ("2", Text(b->GetTreeValue()->GetValue()));
  EXPECT_EQ("3", Text(c->GetTreeValue()->GetValue()));
  EXPECT_EQ(nullptr, a->GetParent());
}

TEST(NodeLookup, TheSharedNullHandleStaysNull) {
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr missing = top->Get("a", top);
  missing = Leaf("b", "1");
  EXPECT_TRUE(Tree_Node::NULL_TREE_NODE_PTR.isNull());
}

struct PathCase {
  const char* path;
  const char* found;  // value of the node that is found; null when there is none
};

const PathCase kPathCases[] = {
    {"", "cfg"},
    {"a", "a"},
    {"a\\b", "b"},
    {"a\\b\\c", "c"},
    {"x", "x"},
    // Missing at the first, a middle and the last segment.
    {"z", nullptr},
    {"z\\b\\c", nullptr},
    {"a\\z\\c", nullptr},
    {"a\\b\\z", nullptr},
    {"A", nullptr},
    {"a\\B", nullptr},
    // A path does not name its start.
    {"cfg", nullptr},
    {"cfg\\a", nullptr},
    // A leaf is found, but nothing is found below it.
    {"x\\a", nullptr},
    {"a\\b\\c\\c", nullptr},
    // An empty segment ends the walk, whatever follows.
    {"\\", "cfg"},
    {"\\a", "cfg"},
    {"\\z", "cfg"},
    {"a\\", "a"},
    {"a\\\\b", "a"},
    {"a\\\\z\\z", "a"},
    {"a\\b\\", "b"},
    {"a\\b\\\\\\", "b"},
    {"x\\", "x"},
    // But not where the walk has failed before.
    {"z\\", nullptr},
    {"z\\\\a", nullptr},
    {"a\\z\\", nullptr},
    // Nothing is stripped.
    {" a", nullptr},
    {"a ", nullptr},
};

TEST(NodeLookup, FollowsAPath) {
  Tree_NodePtr c = Leaf("c", "1");
  Tree_NodePtr b = Inner("b", {c});
  Tree_NodePtr a = Inner("a", {Leaf("d", "2"), b});
  Tree_NodePtr x = Leaf("x", "3");
  Tree_NodePtr top = Inner("cfg", {x, a, Inner("", {Leaf("a", "4")})});
  const std::vector<std::pair<std::string, Tree_NodePtr>> nodes = {
      {"cfg", top}, {"a", a}, {"b", b}, {"c", c}, {"x", x}};
  for (const PathCase& row : kPathCases) {
    Tree_NodePtr expected;
    for (const auto& node : nodes) {
      if (row.found != nullptr && node.first == row.found) expected = node.second;
    }
    ASSERT_EQ(row.found == nullptr, expected.isNull());
    ExpectNode(top, row.path, expected);
  }
}

TEST(NodeLookup, TakesTheFirstOfEqualNamesAtEveryStepAndNeverTurnsBack) {
  Tree_NodePtr first = Inner("a", {Leaf("x", "1")});
  Tree_NodePtr second = Inner("a", {Leaf("y", "2")});
  Tree_NodePtr top = Inner("cfg", {first, second});
  ExpectNode(top, "a", first);
  ExpectNode(top, "a\\x", first->GetChildAt(0));
  ExpectNode(top, "a\\y", Tree_NodePtr());
  // A leaf before the sub-tree of the same name hides it.
  Tree_NodePtr leaf = Leaf("a", "3");
  top->Insert(leaf, 0, -1);
  ExpectNode(top, "a", leaf);
  ExpectNode(top, "a\\x", Tree_NodePtr());
}

TEST(NodeLookup, StartsAtTheNodeAskedWhateverThisPtrIs) {
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr top = Inner("cfg", {a});
  Tree_NodePtr elsewhere = Inner("elsewhere", {Leaf("a", "1"), Leaf("b", "2")});
  Tree_NodePtr null;
  for (Tree_NodePtr* this_ptr : {&elsewhere, &null}) {
    Tree_Path found("a");
    EXPECT_EQ(a.get(), Found(top->GetRelativeNode(found, *this_ptr)));
    Tree_Path missing("b");
    EXPECT_EQ(nullptr, Found(top->GetRelativeNode(missing, *this_ptr)));
    Tree_Path found_ref("a");
    EXPECT_EQ(&top->GetChildAt(0), &top->GetRelativeNodeByRef(found_ref, *this_ptr));
    Tree_Path missing_ref("b");
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetRelativeNodeByRef(missing_ref, *this_ptr));
    // An empty segment yields it only when nothing was passed on the way.
    Tree_Path here("\\b");
    EXPECT_EQ(this_ptr->get(), Found(top->GetRelativeNode(here, *this_ptr)));
    Tree_Path here_ref("");
    EXPECT_EQ(this_ptr, &top->GetRelativeNodeByRef(here_ref, *this_ptr));
    Tree_Path behind("a\\");
    EXPECT_EQ(a.get(), Found(top->GetRelativeNode(behind, *this_ptr)));
    Tree_Path behind_ref("a\\\\b");
    EXPECT_EQ(&top->GetChildAt(0), &top->GetRelativeNodeByRef(behind_ref, *this_ptr));
  }
}

struct UsedPathCase {
  const char* path;
  int taken;            // segments handed out before the walk
  const char* reached;  // name of the node reached
};

const UsedPathCase kUsedPathCases[] = {
    {"a\\b", 0, "b below a"},
    {"a\\b", 1, "b"},
    // An exhausted path repeats its last segment.
    {"a\\b", 2, "b"},
    {"z\\a\\b", 1, "b below a"},
    {"z\\\\a", 1, "cfg"},
    {"z\\\\a", 2, "a"},
    {"a\\", 2, "cfg"},
    {"a\\z", 1, "none"},
};

TEST(NodeLookup, GoesOnWhereAUsedPathStopped) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("b", "b below a")}), Leaf("b", "b")});
  for (const UsedPathCase& row : kUsedPathCases) {
    SCOPED_TRACE(testing::Message() << row.path << " after " << row.taken);
    Tree_Path plain(row.path);
    Tree_Path by_ref(row.path);
    for (int i = 0; i < row.taken; ++i) {
      plain.GetRootAsCharPtr();
      by_ref.GetRootAsCharPtr();
    }
    Tree_NodePtr node = top->GetRelativeNode(plain, top);
    EXPECT_EQ(node.get(), top->GetRelativeNodeByRef(by_ref, top).get());
    const std::string reached = node.isNull()    ? "none"
                                : node->IsLeaf() ? Text(node->GetTreeValue()->GetValue())
                                                 : Text(node->GetKeyName());
    EXPECT_EQ(row.reached, reached);
  }
}

TEST(NodeLookup, LeavesAPathWhereItsWalkEnded) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Inner("b")})});
  const auto rest = [&top](const char* text, bool by_ref) {
    Tree_Path path(text);
    if (by_ref) {
      top->GetRelativeNodeByRef(path, top);
    } else {
      top->GetRelativeNode(path, top);
    }
    const bool exhausted = path.IsOnlyRoot() != 0;
    return Text(path.GetRoot()) + (exhausted ? " again" : "");
  };
  for (bool by_ref : {false, true}) {
    SCOPED_TRACE(by_ref);
    EXPECT_EQ("b again", rest("a\\b", by_ref));
    // A missing child, or an empty segment, leaves what follows it in the path.
    EXPECT_EQ("b", rest("z\\b\\c", by_ref));
    EXPECT_EQ("c", rest("a\\z\\c", by_ref));
    EXPECT_EQ("b", rest("a\\\\b\\c", by_ref));
    EXPECT_EQ(" again", rest("a\\", by_ref));
    EXPECT_EQ("a", rest("\\a", by_ref));
  }
}

// Walks the whole of a wide node: every distinct name must find the first child
// that bears it.
void ExpectEveryChildFound(Tree_NodePtr& top) {
  for (int i = 0; i < top->GetChildCount(); ++i) {
    const RWCString name = top->GetChildAt(i)->GetKeyName();
    int first = 0;
    while (top->GetChildAt(first)->GetKeyName() != name) ++first;
    ExpectChild(top, name, top->GetChildAt(first).get());
    ExpectNode(top, name, top->GetChildAt(first));
  }
  ExpectChild(top, "no such name", nullptr);
}

RWCString Numbered(const char* prefix, int i) {
  return RWCString((prefix + std::to_string(i)).c_str());
}

TEST(NodeLookup, FindsTheFirstAmongAnyNumberOfSiblings) {
  for (int width : {1, 2, 22, 23, 24, 25, 26, 48, 100, 200}) {
    SCOPED_TRACE(width);
    Tree_NodePtr top = Inner("cfg");
    for (int i = 0; i < width; ++i) {
      Tree_NodePtr child = Inner(Numbered("n", i % (width / 2 + 1)));
      top->Insert(child, top->GetChildCount(), -1);
    }
    ExpectEveryChildFound(top);
  }
}

TEST(NodeLookup, NoticesEveryChangeAmongManySiblings) {
  Tree_NodePtr top = Inner("cfg");
  for (int i = 0; i < 40; ++i) {
    Tree_NodePtr child = Leaf(Numbered("n", i % 20), Numbered("", i));
    top->Insert(child, i, -1);
  }
  ExpectEveryChildFound(top);

  // Renames, of the first and of a later bearer of a name, and back.
  top->GetChildAt(0)->SetKeyName("other");
  ExpectChild(top, "n0", top->GetChildAt(20).get());
  top->GetChildAt(20)->SetKeyName("other");
  ExpectChild(top, "n0", nullptr);
  ExpectChild(top, "other", top->GetChildAt(0).get());
  top->GetChildAt(20)->SetKeyName("n0");
  top->GetChildAt(0)->SetKeyName("n0");
  ExpectEveryChildFound(top);

  // A node renamed while its parent pointer names nobody, or another node.
  Tree_NodePtr elsewhere = Inner("elsewhere");
  for (Tree_Node* parent : {static_cast<Tree_Node*>(nullptr), elsewhere.get()}) {
    Tree_NodePtr child = top->GetChildAt(3);
    child->SetParent(parent);
    child->SetKeyName(parent == nullptr ? "fatherless" : "adopted");
    ExpectChild(top, child->GetKeyName(), child.get());
    ExpectChild(top, "n3", top->GetChildAt(23).get());
    child->SetParent(top.get());
    child->SetKeyName("n3");
    ExpectEveryChildFound(top);
  }

  // A second bearer goes before the first; the last one comes to the front.
  Tree_NodePtr front = Inner("n7");
  top->Insert(front, 0, -1);
  ExpectChild(top, "n7", front.get());
  Tree_NodePtr last = top->GetChildAt(40);
  top->Insert(last, 0, -1);
  ExpectEveryChildFound(top);

  // Children go, from wide to narrow and on to none.
  while (top->GetChildCount() > 0) {
    top->Remove(top->GetChildCount() / 3);
    ExpectEveryChildFound(top);
  }
  // And come again, each before the others.
  for (int i = 0; i < 40; ++i) {
    Tree_NodePtr child = Inner(Numbered("m", i % 13));
    top->Insert(child, 0, -1);
    ExpectEveryChildFound(top);
  }
}

TEST(NodeLookup, NoticesMovesBetweenManySiblings) {
  Tree_NodePtr from = Inner("from");
  Tree_NodePtr to = Inner("to");
  for (int i = 0; i < 60; ++i) {
    Tree_NodePtr child = Inner(Numbered("n", i));
    (i % 2 == 0 ? from : to)->Add(child);
  }
  for (int i = 0; i < 30; ++i) {
    Tree_NodePtr child = from->GetChildAt(0);
    to->Insert(child, 1, -1);
    ExpectChild(from, child->GetKeyName(), nullptr);
    ExpectChild(to, child->GetKeyName(), child.get());
  }
  ExpectEveryChildFound(to);
  // A child of `to` that is let go with it can be renamed and used elsewhere.
  Tree_NodePtr kept = to->GetChildAt(5);
  to = Tree_NodePtr();
  kept->SetKeyName("kept");
  from->Add(kept);
  ExpectChild(from, "kept", kept.get());
}

// A child stands in two lists when its parent pointer was cleared before it was
// inserted again; renaming it counts in both.
TEST(NodeLookup, NoticesTheRenameOfANodeThatStandsInTwoLists) {
  Tree_NodePtr one = Inner("one");
  Tree_NodePtr two = Inner("two");
  for (int i = 0; i < 40; ++i) {
    Tree_NodePtr a = Inner(Numbered("a", i));
    Tree_NodePtr b = Inner(Numbered("b", i));
    one->Add(a);
    two->Add(b);
  }
  Tree_NodePtr shared = one->GetChildAt(10);
  shared->SetParent(nullptr);
  two->Insert(shared, 5, -1);
  ExpectChild(one, "a10", shared.get());
  ExpectChild(two, "a10", shared.get());
  shared->SetKeyName("shared");
  ExpectChild(one, "a10", nullptr);
  ExpectChild(two, "a10", nullptr);
  ExpectChild(one, "shared", shared.get());
  ExpectChild(two, "shared", shared.get());
  two->Remove(shared);
  shared->SetKeyName("alone");
  ExpectChild(one, "shared", nullptr);
  ExpectChild(one, "alone", shared.get());
  ExpectChild(two, "alone", nullptr);
}

// More wide nodes than can be told apart cheaply, each with its own children and one
// that all of them list.
TEST(NodeLookup, NoticesRenamesAmongHundredsOfWideNodes) {
  constexpr int kNodes = 600;
  constexpr int kWidth = 30;
  Tree_NodePtr shared = Inner("shared");
  std::vector<Tree_NodePtr> nodes;
  for (int n = 0; n < kNodes; ++n) {
    nodes.push_back(Inner("wide"));
    for (int i = 0; i < kWidth; ++i) {
      Tree_NodePtr child = Inner(Numbered("n", i));
      nodes.back()->Insert(child, i, kWidth + 1);
    }
    shared->SetParent(nullptr);
    nodes.back()->Insert(shared, n % kWidth, -1);
    ExpectChild(nodes.back(), "shared", shared.get());
  }
  shared->SetKeyName("n3");
  for (int n = 0; n < kNodes; ++n) {
    SCOPED_TRACE(n);
    Tree_NodePtr& node = nodes[static_cast<std::size_t>(n)];
    ExpectChild(node, "shared", nullptr);
    ExpectChild(node, "n3", n % kWidth <= 3 ? shared.get() : node->GetChildAt(3).get());
  }
  shared->SetKeyName("again");
  for (int n = kNodes - 1; n >= 0; --n) {
    SCOPED_TRACE(n);
    Tree_NodePtr& node = nodes[static_cast<std::size_t>(n)];
    ExpectChild(node, "again", shared.get());
    Tree_NodePtr child = node->GetChildAt(node->GetChildCount() - 1);
    const RWCString old_name = child->GetKeyName();
    child->SetParent(n % 2 == 0 ? nullptr : nodes[0].get());
    child->SetKeyName("odd");
    ExpectChild(node, "odd", child.get());
    ExpectChild(node, old_name, nullptr);
    child->SetParent(node.get());
  }
  for (int n = 0; n < kNodes; ++n) {
    SCOPED_TRACE(n);
    Tree_NodePtr& node = nodes[static_cast<std::size_t>(n)];
    EXPECT_EQ(1, node->Remove("again"));
    ExpectChild(node, "again", nullptr);
    ExpectChild(node, "n5", node->GetChildAt(5).get());
    // Removing it cleared its parent pointer; the others list it still.
    EXPECT_EQ(nullptr, shared->GetParent());
  }
}

TEST(NodeLookup, WalksDownAMillionNodes) {
  constexpr int kNodes = 1000000;
  Tree_NodePtr bottom;
  Tree_NodePtr top = Chain(kNodes, "n", bottom);
  std::string text;
  for (int i = 1; i < kNodes; ++i) text += i == 1 ? "n" : "\\n";
  const RWCString path(text.data(), text.size());
  Tree_Path plain(path);
  EXPECT_EQ(bottom.get(), Found(top->GetRelativeNode(plain, top)));
  Tree_Path by_ref(path);
  EXPECT_EQ(bottom.get(), Found(top->GetRelativeNodeByRef(by_ref, top)));
  Tree_Path too_far(path + RWCString("\\n"));
  EXPECT_EQ(nullptr, Found(top->GetRelativeNode(too_far, top)));
}

TEST(NodeLookup, WritesNothing) {
  Tree_NodePtr top = Inner("cfg", {Inner("a", {Leaf("b", "1")})});
  Tree_NodePtr leaf = Leaf("x", "1");
  LogCapture log;
  for (const char* text : {"", "a", "z", "a\\b", "a\\z", "a\\b\\c", "\\a", "a\\"}) {
    RWCString name(text);
    for (Tree_NodePtr* node : {&top, &leaf}) {
      (*node)->Get(text, *node);
      (*node)->Get(name, *node);
      (*node)->Get(name, node->get());
      (*node)->GetByRef(name, *node);
      Tree_Path plain(name);
      (*node)->GetRelativeNode(plain, *node);
      Tree_Path by_ref(name);
      (*node)->GetRelativeNodeByRef(by_ref, *node);
    }
  }
  EXPECT_NO_LOG(log);
}

}  // namespace
