// Looking names up among many siblings.
//
// Wide nodes keep an index from name to child.  It must never show: every look-up
// yields what a scan of the children from the first to the last yields, whatever
// happened to the children and to their names.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/NameLookUps.h"
#include "support/TreeText.h"

namespace {

using namespace name_look_ups;

// --- Widths -----------------------------------------------------------------------

TEST(TreeNameIndex, FindsEveryChildAtEveryWidth) {
  Tree_NodePtr top = Inner("top");
  for (int width = 0; width <= 70; ++width) {
    SCOPED_TRACE(width);
    CheckAll(top);
    Tree_NodePtr child = Inner(Bytes(Name(width)));
    top->Insert(child, width / 2, -1);
  }
  while (top->GetChildCount() > 0) {
    SCOPED_TRACE(top->GetChildCount());
    top->Remove(top->GetChildCount() / 3);
    CheckAll(top);
  }
}

TEST(TreeNameIndex, FindsEveryChildAmongThousands) {
  Tree_NodePtr top = Wide(5000);
  for (int i = 0; i < 5000; ++i) {
    RWCString name = Bytes(Name(i));
    ASSERT_EQ(&top->GetChildAt(i), &top->GetByRef(name, top));
    ASSERT_EQ(top->GetChildAt(i), top->Get(name, top));
    ASSERT_EQ(top->GetChildAt(i).get(), top->Get(name, top.get()));
  }
  for (int i = 5000; i < 6000; ++i) {
    RWCString name = Bytes(Name(i));
    ASSERT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetByRef(name, top));
    ASSERT_EQ(nullptr, top->Get(name, top.get()));
  }
}

TEST(TreeNameIndex, FindsNamesThatNobodyEverMade) {
  // Strings that were never interned cannot be anybody's name.
  for (const int width : {0, 5, 24, 100}) {
    Tree_NodePtr top = Wide(width);
    EXPECT_TRUE(top->Get("this name was never given to anything 1", top).isNull());
    RWCString name("this name was never given to anything 2");
    EXPECT_EQ(nullptr, top->Get(name, top.get()));
    EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetByRef(name, top));
    EXPECT_EQ(0, top->Remove(name));
    // Looking for it did not make it one: it can still be given.
    Tree_NodePtr child = Inner("this name was never given to anything 2");
    top->Add(child);
    EXPECT_EQ(child.get(), top->Get(name, top.get()));
  }
}

TEST(TreeNameIndex, WritesNoLines) {
  Tree_NodePtr top = Wide(100);
  LogCapture log;
  RWCString name("n50");
  top->Get("n50", top);
  top->GetByRef(name, top);
  top->GetChildAt(50)->SetKeyName("renamed");
  top->Get("renamed", top);
  EXPECT_NO_LOG(log);
}

// --- Equal names ------------------------------------------------------------------

TEST(TreeNameIndex, YieldsTheFirstOfEqualNames) {
  for (const int width : {3, 22, 23, 24, 25, 60}) {
    SCOPED_TRACE(width);
    Tree_NodePtr top = Wide(width);
    for (int i = 0; i < 6; ++i) {
      Tree_NodePtr twin = Inner("twin");
      top->Insert(twin, (i * 7) % (top->GetChildCount() + 1), -1);
      CheckAll(top);
    }
    // The first twin goes, moves behind the others and comes back.
    while (Scan(top, "twin", true) >= 0) {
      const int first = Scan(top, "twin", true);
      Tree_NodePtr twin = top->GetChildAt(first);
      top->Insert(twin, top->GetChildCount() - 1, -1);
      CheckAll(top);
      top->Insert(twin, 0, -1);
      CheckAll(top);
      EXPECT_EQ(1, top->Remove(RWCString("twin")));
      EXPECT_EQ(nullptr, twin->GetParent());
      CheckAll(top);
    }
    EXPECT_EQ(width, top->GetChildCount());
  }
}

TEST(TreeNameIndex, RemovesTheFirstOfEqualNames) {
  Tree_NodePtr top = Wide(50);
  Tree_NodePtr early = Inner("n40");
  top->Insert(early, 10, -1);
  Tree_NodePtr late = top->GetChildAt(41);
  ASSERT_EQ("n40", Text(late->GetKeyName()));
  EXPECT_EQ(1, top->Remove(RWCString("n40")));
  EXPECT_EQ(nullptr, early->GetParent());
  EXPECT_EQ(top.get(), late->GetParent());
  CheckAll(top);
  EXPECT_EQ(1, top->Remove(RWCString("n40")));
  EXPECT_EQ(nullptr, late->GetParent());
  EXPECT_EQ(0, top->Remove(RWCString("n40")));
  CheckAll(top);
}

TEST(TreeNameIndex, HandlesAThousandChildrenOfOneName) {
  Tree_NodePtr top = Inner("top");
  for (int i = 0; i < 1000; ++i) {
    Tree_NodePtr child = Inner("same");
    top->Insert(child, i / 2, -1);
  }
  for (int i = 0; i < 1000; i += 3) {
    CheckName(top, "same");
    top->GetChildAt(i % top->GetChildCount())->SetKeyName(Bytes("other" + std::to_string(i % 5)));
    CheckName(top, "other0");
    CheckName(top, "other3");
  }
  while (top->Remove(RWCString("same")) == 1) CheckName(top, "same");
  CheckAll(top);
}

// --- Zero bytes inside names --------------------------------------------------------

TEST(TreeNameIndex, ComparesUpToAZeroByteOrWholeAsTheOperationSays) {
  const std::string kOdd[] = {
      std::string("n5\0", 3),   std::string("n5\0a", 4), std::string("\0", 1),
      std::string("\0n5", 3),   std::string("n", 1),     std::string("odd\0", 4),
      std::string("odd\0b", 5), std::string("odd", 3),   "",
  };
  const std::vector<std::string> names(std::begin(kOdd), std::end(kOdd));
  for (const int width : {4, 24, 60}) {
    for (const int at : {0, 3, 1000}) {
      SCOPED_TRACE(testing::Message() << width << " " << at);
      Tree_NodePtr top = Wide(width);
      CheckAll(top);
      for (const std::string& name : names) {
        Tree_NodePtr child = Inner("x");
        child->SetKeyName(Bytes(name));
        top->Insert(child, std::min(at, top->GetChildCount()), -1);
        CheckNames(top, names);
      }
      CheckAll(top);
      // They come and go by renaming as well.
      for (int i = 0; i < top->GetChildCount(); i += 2) {
        top->GetChildAt(i)->SetKeyName(Bytes(names[static_cast<std::size_t>(i) % names.size()]));
        CheckNames(top, names);
      }
      CheckAll(top);
      for (const std::string& name : names) {
        const int expected = name.empty() ? -1 : Scan(top, name, true);
        Tree_NodePtr first = expected < 0 ? Tree_NodePtr() : top->GetChildAt(expected);
        EXPECT_EQ(expected < 0 ? 0 : 1, top->Remove(Bytes(name)));
        EXPECT_EQ(-1, first.isNull() ? -1 : top->GetIndex(first));
        CheckNames(top, names);
      }
    }
  }
}

// --- Slots ------------------------------------------------------------------------

TEST(TreeNameIndex, SurvivesAssignmentsThroughTheReferencesItYields) {
  std::mt19937 random(77);
  const auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    Tree_NodePtr top = Wide(20 + round * 3);
    std::vector<Tree_NodePtr> held;
    for (int step = 0; step < 300; ++step) {
      const int count = top->GetChildCount();
      const std::string name = Name(below(2 * count));
      RWCString text = Bytes(name);
      switch (below(8)) {
        case 0:
        case 1: {
          // What a look-up found is replaced in place, by a node of whatever name.
          Tree_NodePtr& slot = top->GetByRef(text, top);
          if (&slot == &Tree_Node::NULL_TREE_NODE_PTR) break;
          if (below(2) == 0) held.push_back(slot);
          slot = Inner(Bytes(Name(below(2 * count))));
          break;
        }
        case 2:
          if (count == 0) break;
          top->GetChildAt(below(count)) = Inner(Bytes(Name(below(2 * count))));
          break;
        case 3:
          if (count == 0) break;
          top->GetChildAt(below(count))->SetKeyName(text);
          break;
        case 4: {
          Tree_NodePtr child = Inner(Bytes(name));
          top->Insert(child, below(count + 1), -1);
          break;
        }
        case 5:
          if (count < 10) break;
          top->Remove(below(count));
          break;
        case 6:
          if (count < 10) break;
          top->Remove(text);
          break;
        default:
          // Nodes that were replaced live on elsewhere.
          if (held.empty()) break;
          held.back()->SetKeyName(text);
          if (below(3) == 0) held.pop_back();
          break;
      }
      // Whatever a look-up yields is one of the children.
      Tree_NodePtr found = top->Get(text, top);
      ASSERT_TRUE(found.isNull() || top->GetIndex(found) >= 0);
      Tree_Node* const raw = top->Get(text, top.get());
      bool listed = raw == nullptr || raw == top.get();
      for (int i = 0; i < top->GetChildCount(); ++i) {
        if (top->GetChildAt(i).get() == raw) listed = true;
      }
      ASSERT_TRUE(listed);
    }
  }
}

TEST(TreeNameIndex, FindsTheOthersAfterAnAssignmentThroughAReference) {
  Tree_NodePtr top = Wide(60);
  CheckAll(top);
  RWCString name("n30");
  top->GetByRef(name, top) = Inner("replacement");
  for (int i = 0; i < 60; ++i) {
    if (i != 30) CheckName(top, Name(i));
  }
  EXPECT_EQ("replacement", Text(top->GetChildAt(30)->GetKeyName()));
  EXPECT_EQ(1, top->Remove(30));
  CheckAll(top);
}

}  // namespace
