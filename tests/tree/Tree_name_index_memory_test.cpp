// The index that wide nodes keep from name to child, when memory runs out.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <new>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/NameLookUps.h"

namespace {

using namespace name_look_ups;

// Runs `change` on a wide node, with operator new failing after ever more calls, until it
// comes through.  Every look-up must be right after each failure.
void FailAtEveryPoint(int width, int& failures, const std::function<void(Tree_NodePtr&)>& change) {
  for (const bool looked_up_before : {false, true}) {
    for (int allowed = 0;; ++allowed) {
      ASSERT_LT(allowed, 1000);
      SCOPED_TRACE(testing::Message() << "width " << width << ", " << allowed << " allowed");
      Tree_NodePtr top = Wide(width);
      if (looked_up_before) CheckAll(top);
      bool failed = false;
      try {
        HeapDenied denied(allowed);
        change(top);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      CheckAll(top);
      CheckNames(top, {"new", "n0", "n5", "n6", "n20"});
      if (testing::Test::HasFatalFailure()) return;
      if (!failed) break;
      ++failures;
    }
  }
}

TEST(TreeNameIndex, StaysRightWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  int failures = 0;
  const RWCString new_name("new");
  Tree_Node known(new_name);  // interned from here on
  for (const int width : {22, 23, 24, 25, 31, 32, 47, 48, 64, 100}) {
    FailAtEveryPoint(width, failures, [&](Tree_NodePtr& top) {
      for (int i = 0; i < 40; ++i) {
        Tree_NodePtr child(new Tree_Node(new_name));
        top->Insert(child, i, -1);
      }
    });
    FailAtEveryPoint(width, failures, [&](Tree_NodePtr& top) {
      for (int i = 0; i < 20; ++i) top->GetChildAt(i)->SetKeyName(new_name);
    });
    FailAtEveryPoint(width, failures, [](Tree_NodePtr& top) {
      Tree_NodePtr child = top->GetChildAt(5);
      top->Insert(child, 20, -1);
      top->Insert(child, 0, -1);
      top->Remove(child);
    });
    if (HasFailure()) return;
  }
  EXPECT_LT(20, failures);
}

TEST(TreeNameIndex, IsMadeByTheFirstLookUpAndNotBefore) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr source = Wide(100);
  Tree_NodePtr copy = source->DuplicateFromHereDown(false);
  const RWCString name("n70");
  for (Tree_NodePtr* top : {&source, &copy}) {
    Tree_Node* const expected = (*top)->GetChildAt(70).get();
    const auto blocks_made = [&] {
      const std::int64_t before = HeapBlocksMade();
      EXPECT_EQ(expected, (*top)->Get(name, top->get()));
      return HeapBlocksMade() - before;
    };
    EXPECT_LT(0, blocks_made());
    EXPECT_EQ(0, blocks_made());
  }
}

TEST(TreeNameIndex, IsDoneWithoutWhileThereIsNoMemoryForIt) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Wide(100);
  const RWCString name("n70");
  const RWCString missing("missing");
  Tree_Node* const expected = top->GetChildAt(70).get();
  for (int allowed = 0; allowed < 3; ++allowed) {
    SCOPED_TRACE(allowed);
    HeapDenied denied(allowed);
    EXPECT_EQ(expected, top->Get(name, top.get()));
    EXPECT_EQ(nullptr, top->Get(missing, top.get()));
  }
  CheckAll(top);
}

TEST(TreeNameIndex, NeedsNoMemoryToRemoveChildren) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  for (const int width : {10, 24, 100}) {
    SCOPED_TRACE(width);
    for (const bool looked_up_before : {false, true}) {
      Tree_NodePtr top = Wide(width);
      if (looked_up_before) CheckAll(top);
      Tree_NodePtr held = top->GetChildAt(3);
      {
        HeapDenied denied;
        top->Remove(7);
        top->Remove(held);
      }
      CheckAll(top);
      {
        HeapDenied denied;
        while (top->GetChildCount() > 1) top->Remove(1);
      }
      CheckAll(top);
    }
  }
}

}  // namespace
