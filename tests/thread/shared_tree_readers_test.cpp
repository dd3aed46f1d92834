// Many threads that read one tree.
//
// Readers take no lock and need none.  What they find is compared with what one thread
// alone found before, or with a plain scan of the children.

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"
#include "thread/Crew.h"

namespace {

constexpr int kWorkers = 4;

RWCString Number(const char* prefix, int number) {
  return RWCString((prefix + std::to_string(number)).c_str());
}

// A tree with a wide node of sub-trees, a wide node of leaves, names that siblings
// share, and a long way down.
Tree_NodePtr MakeTree() {
  Tree_NodePtr top = Inner("top");
  Tree_NodePtr wide = Inner("wide");
  Tree_NodePtr leaves = Inner("leaves");
  for (int i = 0; i < 300; ++i) {
    Tree_NodePtr child = Inner(Number("n", i % 200), {Leaf("value", Number("v", i))});
    Tree_NodePtr leaf = Leaf(Number("n", i % 250), Number("w", i), i % 2);
    wide->Add(child);
    leaves->Add(leaf);
  }
  Tree_NodePtr bottom;
  Tree_NodePtr deep = Chain(100, "d", bottom);
  Tree_NodePtr end = Leaf("end", "reached");
  bottom->Add(end);
  top->Add(wide);
  top->Add(leaves);
  top->Add(deep);
  RWCString above("sys");
  top->SetVirtualParentPath(above);
  return top;
}

// Everything that there is to see of a tree.
std::string Draw(const Tree_NodePtr& node) {
  std::string text = Text(node->GetKeyName());
  if (node->IsLeaf()) {
    Tree_Value* value = node->GetTreeValue();
    text += "=" + Text(value->GetValue()) + (value->IsChange() != 0 ? "*" : "");
  }
  text += "(";
  for (int i = 0; i < node->GetChildCount(); ++i) text += Draw(node->GetChildAt(i));
  return text + ")";
}

std::string Take(String_Arr* array) {
  const std::unique_ptr<String_Arr> owned(array);
  if (array == nullptr) return "none";
  std::string text;
  for (int i = 0; i < array->GetInsertedNum(); ++i) text += std::string(array->GetStr(i)) + ";";
  return text;
}

std::string Take(Tree_PathAndValueArray* array) {
  const std::unique_ptr<Tree_PathAndValueArray> owned(array);
  if (array == nullptr) return "none";
  std::string text;
  for (int i = 0; i < array->GetArrLen(); ++i) {
    text += std::string(array->GetPV(i)->GetPath()) + "=" + array->GetPV(i)->GetValue() + ";";
  }
  return text;
}

// Asks one question of a list that covers every reading operation.  `top` is the
// caller's own handle.
constexpr int kQuestions = 24;
std::string Ask(int question, int number, Tree_NodePtr& top) {
  RWCString name = Number("n", number % 260);
  RWCString wide("wide");
  RWCString leaves("leaves");
  RWCString below = RWCString("wide\\") + name;
  RWCString value = below + "\\value";
  RWCString leaf = RWCString("leaves\\") + name;
  Tree_NodePtr wide_node = top->GetChildAt(0);
  const auto told = [](Tree_Node* node) {
    return node == nullptr ? std::string("null") : Text(node->GetPath());
  };
  switch (question) {
    case 0:
      return told(wide_node->Get(name.data(), wide_node).get());
    case 1:
      return told(wide_node->Get(name, wide_node).get());
    case 2:
      return told(wide_node->Get(name, wide_node.get()));
    case 3:
      return told(wide_node->GetByRef(name, wide_node).get());
    case 4: {
      Tree_Path path(below);
      return told(top->GetRelativeNode(path, top).get());
    }
    case 5: {
      Tree_Path path(below);
      return told(top->GetRelativeNodeByRef(path, top).get());
    }
    case 6: {
      Tree_Path path(below);
      return told(top->GetRelativeSubTree(path, top).get());
    }
    case 7: {
      Tree_Path path(leaf);
      return told(top->GetRelativeSubTreeByRef(path, top).get());
    }
    case 8:
      return told(top->GetRelativeSubTree(wide, number, top).get());
    case 9:
      return told(top->GetRelativeSubTreeByRef(wide, number, top).get());
    case 10:
      return Text(top->GetValue(value, top));
    case 11:
      return Text(top->GetValue(leaf, top));
    case 12:
      return Text(top->GetValue(leaves, number, top));
    case 13:
      return Text(top->GetValueName(leaves, number, top));
    case 14:
      return std::to_string(top->GetValueNum(leaves, top));
    case 15:
      return std::to_string(top->GetSubTreeNum(wide, top));
    case 16:
      return std::to_string(top->GetTreeNodeEntriesCount(top)) + " " +
             std::to_string(top->GetSubTreeEntriesCount(wide, top));
    case 17:
      return Take(top->GetSubTreePaths(wide, top));
    case 18:
      return Take(top->GetSubTreeValues(below, top));
    case 19:
      return Take(top->Search(name, top, number % 2));
    case 20: {
      Tree_Path path("d\\d\\d\\d\\d\\d\\d\\d");
      return told(top->GetRelativeNode(path, top).get());
    }
    case 21: {
      int count = 0;
      Tree_Node::GetRecursiveChildCount(top, count);
      return std::to_string(count) + " " + std::to_string(top->GetNodeNum()) + " " +
             std::to_string(top->GetTotalSize());
    }
    case 22: {
      Tree_NodePtr child = wide_node->GetChildAt(number % 300);
      return std::to_string(wide_node->GetIndex(child)) +
             std::to_string(wide_node->IsNodeChild(child)) +
             std::to_string(child->IsNodeAncestor(top)) + Text(child->GetKeyName());
    }
    default: {
      // The copy belongs to the reader alone.
      Tree_NodePtr copy = wide_node->DuplicateFromHereDown(true);
      copy->SetKeyName("copy");
      copy->Remove(0);
      Tree_Path path(name);
      Tree_NodePtr made = copy->GetOrCreateRelativeNode(path, copy);
      return told(made.get()) + " " + std::to_string(copy->GetNodeNum());
    }
  }
}

TEST(ReadersOfOneTree, AllFindWhatOneReaderFinds) {
  LogCapture log(4);  // a missing path in a listing is of level 5
  Tree_NodePtr top = MakeTree();
  const std::string drawn = Draw(top);
  constexpr int kNumbers = 31;
  std::vector<std::string> expected;
  for (int question = 0; question < kQuestions; ++question) {
    for (int number = 0; number < kNumbers; ++number) {
      expected.push_back(Ask(question, number * 9, top));
    }
  }
  Crew crew(kWorkers);
  std::vector<std::string> first_wrong(kWorkers);
  crew.Run([&](int worker) {
    std::string& wrong = first_wrong[static_cast<std::size_t>(worker)];
    Tree_NodePtr mine = top;
    std::mt19937 random(static_cast<unsigned>(worker));
    for (int i = 0; i < 2000 && wrong.empty(); ++i) {
      const int question = static_cast<int>(random() % kQuestions);
      const int number = static_cast<int>(random() % kNumbers);
      const std::string answer = Ask(question, number * 9, mine);
      if (answer != expected[static_cast<std::size_t>(question * kNumbers + number)]) {
        wrong = "question " + std::to_string(question) + ", number " + std::to_string(number * 9) +
                ": " + answer;
      }
    }
  });
  EXPECT_EQ(std::vector<std::string>(kWorkers), first_wrong);
  EXPECT_EQ(drawn, Draw(top));
  EXPECT_EQ(1u, top.UseCount());
  EXPECT_NO_LOG(log);
}

TEST(ReadersOfOneTree, DuplicateItTogether) {
  Tree_NodePtr top = MakeTree();
  const std::string drawn = Draw(top);
  Crew crew(kWorkers);
  const PoolFigures before = PoolFigures::Now();
  for (int round = 0; round < 10; ++round) {
    std::vector<Tree_NodePtr> copies(kWorkers);
    crew.Run([&](int worker) {
      copies[static_cast<std::size_t>(worker)] = top->DuplicateFromHereDown(worker % 2 == 0);
    });
    for (const Tree_NodePtr& copy : copies) ASSERT_EQ(drawn, Draw(copy));
    // Each copy is dropped by another thread than made it.
    crew.Run([&](int worker) {
      copies[static_cast<std::size_t>(worker + 1) % kWorkers] = Tree_NodePtr();
    });
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

// --- After renames --------------------------------------------------------------------

// Wide nodes whose children are renamed between the rounds, so that the readers are the
// first to find out that what is known about names no longer holds.
class ReadersAfterRenames : public testing::Test {
 protected:
  static constexpr int kNodes = 3;
  static constexpr int kChildren = 60;
  static constexpr int kNames = 45;  // fewer than children, so some share one

  ReadersAfterRenames() {
    for (int node = 0; node < kNodes; ++node) {
      tops.push_back(Inner("top"));
      for (int i = 0; i < kChildren; ++i) {
        Tree_NodePtr child = Inner(Number("n", i % kNames));
        tops.back()->Add(child);
      }
    }
  }
  ~ReadersAfterRenames() override {
    // No child may point at a node that goes before it.
    for (Tree_NodePtr& top : tops) {
      for (int i = 0; i < kChildren; ++i) top->GetChildAt(i)->SetParent(nullptr);
    }
  }

  unsigned Below(int n) { return static_cast<unsigned>(random() % static_cast<unsigned>(n)); }

  void RenameSome() {
    for (unsigned i = 1 + Below(4); i > 0; --i) {
      Tree_NodePtr& top = tops[Below(kNodes)];
      Tree_NodePtr& child = top->GetChildAt(static_cast<int>(Below(kChildren)));
      switch (Below(4)) {
        case 0:
          child->SetParent(nullptr);
          break;
        case 1:
          child->SetParent(tops[Below(kNodes)].get());
          break;
        default:
          child->SetParent(top.get());
          break;
      }
      child->SetKeyName(Number("n", static_cast<int>(Below(kNames))));
    }
  }

  // What a scan finds, by node and name.
  std::vector<std::vector<Tree_NodePtr*>> Scan() {
    std::vector<std::vector<Tree_NodePtr*>> firsts(kNodes);
    for (std::size_t node = 0; node < kNodes; ++node) {
      for (int name = 0; name < kNames; ++name) {
        Tree_NodePtr* first = &Tree_Node::NULL_TREE_NODE_PTR;
        for (int i = kChildren - 1; i >= 0; --i) {
          Tree_NodePtr& child = tops[node]->GetChildAt(i);
          if (child->GetKeyName() == Number("n", name)) first = &child;
        }
        firsts[node].push_back(first);
      }
    }
    return firsts;
  }

  std::mt19937 random{20};
  std::vector<Tree_NodePtr> tops;
};

TEST_F(ReadersAfterRenames, AllFindTheFirstChildOfEveryName) {
  Crew crew(kWorkers);
  for (int round = 0; round < 400; ++round) {
    RenameSome();
    const auto firsts = Scan();
    std::vector<int> wrong(kWorkers, 0);
    crew.Run([&](int worker) {
      int& mine = wrong[static_cast<std::size_t>(worker)];
      for (std::size_t node = 0; node < kNodes; ++node) {
        Tree_NodePtr top = tops[node];
        for (int i = 0; i < kNames; ++i) {
          const int name = (i + worker * 11) % kNames;
          Tree_NodePtr* const first = firsts[node][static_cast<std::size_t>(name)];
          RWCString text = Number("n", name);
          Tree_Path path(text);
          Tree_Path by_ref(text);
          if (&top->GetByRef(text, top) != first) ++mine;
          if (top->Get(text.data(), top) != *first) ++mine;
          if (top->Get(text, top.get()) != first->get()) ++mine;
          if (top->GetRelativeNode(path, top) != *first) ++mine;
          if (&top->GetRelativeNodeByRef(by_ref, top) != first) ++mine;
        }
      }
    });
    ASSERT_EQ(std::vector<int>(kWorkers, 0), wrong) << "in round " << round;
  }
}

// One thread changes and renames in its own tree while the others read theirs: names of
// different trees have nothing to do with each other.
TEST_F(ReadersAfterRenames, AreNotDisturbedByRenamesInOtherTrees) {
  for (Tree_NodePtr& top : tops) {
    for (int i = 0; i < kChildren; ++i) top->GetChildAt(i)->SetParent(top.get());
  }
  const auto firsts = Scan();
  Crew crew(kWorkers);
  std::vector<int> wrong(kWorkers, 0);
  crew.Run([&](int worker) {
    int& mine = wrong[static_cast<std::size_t>(worker)];
    if (worker == 0) {
      // Many wide nodes of its own, so that they fall into every group of indexes that
      // the readers' nodes may belong to.
      std::vector<Tree_NodePtr> own;
      for (int i = 0; i < 300; ++i) {
        own.push_back(Inner("own"));
        for (int k = 0; k < 30; ++k) {
          Tree_NodePtr child = Inner(Number("n", k));
          own.back()->Add(child);
        }
      }
      for (int k = 0; k < 30; ++k) {
        for (Tree_NodePtr& node : own) {
          Tree_NodePtr& child = node->GetChildAt(k);
          child->SetKeyName("renamed");
          if (node->Get("renamed", node) != node->GetChildAt(0)) ++mine;
        }
      }
      return;
    }
    for (int i = 0; i < 15'000; ++i) {
      const auto node = static_cast<std::size_t>(i % kNodes);
      const auto name = static_cast<std::size_t>(i * worker % kNames);
      RWCString text = Number("n", static_cast<int>(name));
      if (&tops[node]->GetByRef(text, tops[node]) != firsts[node][name]) ++mine;
    }
  });
  EXPECT_EQ(std::vector<int>(kWorkers, 0), wrong);
}

// A node that was given another parent by hand stands in two lists.  Each of them makes its
// index while the other does, and both hear of the node's new name.
TEST(ReadersOfTwoNodes, MakeIndexesThatListTheSameChild) {
  Crew crew(2);
  for (int round = 0; round < 300; ++round) {
    Tree_NodePtr shared = Inner("shared");
    std::vector<Tree_NodePtr> parents{Inner("one"), Inner("two")};
    for (Tree_NodePtr& parent : parents) {
      shared->SetParent(nullptr);
      parent->Add(shared);
      for (int k = 0; k < 30; ++k) {
        Tree_NodePtr child = Inner(Number("n", k));
        parent->Add(child);
      }
    }
    crew.Run([&parents](int worker) {
      Tree_NodePtr& parent = parents[static_cast<std::size_t>(worker)];
      EXPECT_FALSE(parent->Get("n1", parent).isNull());
    });
    shared->SetKeyName("renamed");
    for (Tree_NodePtr& parent : parents) {
      ASSERT_EQ(shared, parent->Get("renamed", parent)) << "round " << round;
    }
  }
}

}  // namespace
