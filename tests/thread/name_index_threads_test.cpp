// The index that wide nodes keep from name to child, read by many threads at once.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/NameLookUps.h"
#include "support/TreeText.h"

namespace {

using namespace name_look_ups;

TEST(TreeNameIndex, ServesManyReadersAtOnce) {
  constexpr int kWidth = 300;
  constexpr int kThreads = 4;
  for (int round = 0; round < 21; ++round) {
    Tree_NodePtr top = Wide(kWidth);
    // The readers make the index, or find one that is up to date, or replace it: nobody
    // told it of the renames.
    if (round % 3 != 0) CheckName(top, "n7");
    for (int i = 0; i < kWidth; i += 10) {
      Tree_NodePtr& child = top->GetChildAt(i);
      if (round % 3 == 2) child->SetParent(nullptr);
      child->SetKeyName("several");
    }
    for (int change = 0; change < 2; ++change) {
      // The first look-ups of all threads come at the same time.
      std::atomic<int> ready{0};
      std::atomic<int> wrong{0};
      std::vector<std::thread> threads;
      for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
          Tree_NodePtr mine(top);
          RWCString several("several");
          RWCString missing("missing");
          ++ready;
          while (ready.load() < kThreads) std::this_thread::yield();
          for (int i = 0; i < kWidth; ++i) {
            const int number = (i * 7 + t * 31) % kWidth;
            RWCString name(Bytes(Name(number)));
            const bool renamed = number % 10 == 0;
            Tree_NodePtr found = mine->Get(name, mine);
            if (renamed ? !found.isNull() : found != mine->GetChildAt(number)) ++wrong;
            if (mine->Get(several, mine.get()) != mine->GetChildAt(0).get()) ++wrong;
            if (&mine->GetByRef(missing, mine) != &Tree_Node::NULL_TREE_NODE_PTR) ++wrong;
            Tree_Path path(name);
            if (mine->GetRelativeNode(path, mine) != found) ++wrong;
          }
        });
      }
      for (std::thread& thread : threads) thread.join();
      ASSERT_EQ(0, wrong.load());
      // One thread changes the tree while nobody else looks.
      Tree_NodePtr last = top->GetChildAt(kWidth - 1);
      top->Remove(kWidth - 1);
      top->Add(last);
    }
  }
}

}  // namespace
