// Threads that intern strings together.
//
// What must hold whatever the threads do: equal strings are one string, its text is
// right, and a pointer once handed out stays what it is.  Strings are known by the
// address of a node's name.

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ThreadAPI/ThreadAPI_RWSpinLock.h"
#include "Tree/Tree_Node.h"
#include "Zel/Zel_Flyweight.h"
#include "support/TreeMaking.h"
#include "thread/Crew.h"

namespace {

constexpr int kWorkers = 4;
constexpr int kRounds = 20;
constexpr int kStrings = 400;  // per round

using Interned = std::vector<const RWCString*>;

std::string Numbered(const char* test, int round, int number) {
  return std::string(test) + " " + std::to_string(round) + "." + std::to_string(number);
}

// Interns through a node of its own.
class Interner {
 public:
  const RWCString* Name(const std::string& text) {
    m_node->SetKeyName(Bytes(text));
    return &m_node->GetKeyName();
  }

  // The text of an equal value and of an equal virtual parent path.
  const char* ValueData(const std::string& text) {
    m_value.SetValue(Bytes(text));
    return m_value.GetValue().data();
  }
  const char* PathData(const std::string& text) {
    RWCString path = Bytes(text);
    m_node->SetVirtualParentPath(path);
    return m_node->GetVirtualParentPath().data();
  }

 private:
  Tree_NodePtr m_node{new Tree_Node("interner")};
  Tree_Value m_value{"interner", 0};
};

// All threads meet the same new strings, each from another starting point and half of
// them backwards.
TEST(InterningThreads, GetOnePointerForOneNewString) {
  Crew crew(kWorkers);
  for (int round = 0; round < kRounds; ++round) {
    std::vector<Interned> found(kWorkers, Interned(kStrings));
    crew.Run([&](int worker) {
      Interner interner;
      Interned& mine = found[static_cast<std::size_t>(worker)];
      for (int i = 0; i < kStrings; ++i) {
        const int step = worker % 2 == 0 ? i : kStrings - i;
        const int number = (step + worker * kStrings / kWorkers) % kStrings;
        mine[static_cast<std::size_t>(number)] = interner.Name(Numbered("same", round, number));
      }
    });
    std::set<const RWCString*> distinct;
    for (std::size_t i = 0; i < kStrings; ++i) {
      ASSERT_EQ(Numbered("same", round, static_cast<int>(i)), Text(*found[0][i]));
      for (const Interned& other : found) ASSERT_EQ(found[0][i], other[i]);
      distinct.insert(found[0][i]);
    }
    ASSERT_EQ(std::size_t{kStrings}, distinct.size());
  }
}

TEST(InterningThreads, KeepDistinctStringsApart) {
  Crew crew(kWorkers);
  std::vector<Interned> found(kWorkers);
  crew.Run([&](int worker) {
    Interner interner;
    for (int i = 0; i < kRounds * kStrings; ++i) {
      found[static_cast<std::size_t>(worker)].push_back(interner.Name(Numbered("own", worker, i)));
    }
  });
  std::set<const RWCString*> distinct;
  for (int worker = 0; worker < kWorkers; ++worker) {
    const Interned& mine = found[static_cast<std::size_t>(worker)];
    for (std::size_t i = 0; i < mine.size(); ++i) {
      ASSERT_EQ(Numbered("own", worker, static_cast<int>(i)), Text(*mine[i]));
      distinct.insert(mine[i]);
    }
  }
  EXPECT_EQ(std::size_t{kWorkers} * kRounds * kStrings, distinct.size());
}

// Half of the threads ask for strings that are known while the others add new ones.
TEST(InterningThreads, FindKnownStringsWhileOthersAddNewOnes) {
  Interner first;
  Interned known;
  for (int i = 0; i < kStrings; ++i) known.push_back(first.Name(Numbered("known", 0, i)));

  Crew crew(kWorkers);
  std::vector<int> wrong(kWorkers, 0);
  crew.Run([&](int worker) {
    Interner interner;
    for (int i = 0; i < kRounds * kStrings; ++i) {
      if (worker % 2 == 0) {
        interner.Name(Numbered("new", worker, i));
        continue;
      }
      const int number = i % kStrings;
      const std::string text = Numbered("known", 0, number);
      const RWCString* found = interner.Name(text);
      if (found != known[static_cast<std::size_t>(number)] || Text(*found) != text) {
        ++wrong[static_cast<std::size_t>(worker)];
      }
    }
  });
  EXPECT_EQ(std::vector<int>(kWorkers, 0), wrong);
}

TEST(InterningThreads, ShareOneTextBetweenNamesValuesAndPaths) {
  Crew crew(3);
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::vector<const char*>> found(3, std::vector<const char*>(kStrings));
    crew.Run([&](int worker) {
      Interner interner;
      for (int i = 0; i < kStrings; ++i) {
        const std::string text = Numbered("shared", round, i);
        const char*& data = found[static_cast<std::size_t>(worker)][static_cast<std::size_t>(i)];
        if (worker == 0) data = interner.Name(text)->data();
        if (worker == 1) data = interner.ValueData(text);
        if (worker == 2) data = interner.PathData(text);
      }
    });
    ASSERT_EQ(found[0], found[1]);
    ASSERT_EQ(found[0], found[2]);
  }
}

// Copies of interned strings are made, changed and dropped by everyone; the interned
// ones stay as they are.
TEST(InterningThreads, CopyInternedStringsAndChangeTheCopies) {
  Interner first;
  Interned known;
  for (int i = 0; i < 50; ++i) known.push_back(first.Name(Numbered("copied", 0, i)));
  Crew crew(kWorkers);
  std::vector<int> wrong(kWorkers, 0);
  crew.Run([&](int worker) {
    std::vector<RWCString> copies(known.size());
    for (int i = 0; i < 20'000; ++i) {
      const auto at = static_cast<std::size_t>(i * (worker + 1)) % known.size();
      copies[at] = *known[at];
      if (copies[at].data() != known[at]->data()) ++wrong[static_cast<std::size_t>(worker)];
      if (i % 3 == 0) copies[at].append("changed");
    }
  });
  EXPECT_EQ(std::vector<int>(kWorkers, 0), wrong);
  for (std::size_t i = 0; i < known.size(); ++i) {
    EXPECT_EQ(Numbered("copied", 0, static_cast<int>(i)), Text(*known[i]));
  }
}

// --- Containers of their own --------------------------------------------------------

// Small buffers, so that the threads open a new one all the time.
void InternTogether(Zel_FlyweightContainer<RWCString>& container) {
  Crew crew(kWorkers);
  std::vector<Interned> found(kWorkers, Interned(kStrings));
  crew.Run([&](int worker) {
    for (int i = 0; i < kStrings; ++i) {
      const int number = worker % 2 == 0 ? i : kStrings - 1 - i;
      const RWCString text = Bytes(Numbered("small buffers", 0, number));
      // A caller that believes the string to be new gets the same answer.
      const bool look_up_first = (i + worker) % 3 != 0;
      found[static_cast<std::size_t>(worker)][static_cast<std::size_t>(number)] =
          container.GetValue(text, look_up_first);
    }
  });
  std::set<const RWCString*> distinct;
  for (std::size_t i = 0; i < kStrings; ++i) {
    ASSERT_EQ(Numbered("small buffers", 0, static_cast<int>(i)), Text(*found[0][i]));
    for (const Interned& other : found) ASSERT_EQ(found[0][i], other[i]);
    distinct.insert(found[0][i]);
  }
  EXPECT_EQ(std::size_t{kStrings}, distinct.size());
}

TEST(FlyweightThreads, AgreeWhileBuffersFillUp) {
  for (int round = 0; round < kRounds; ++round) {
    Zel_FlyweightContainer<RWCString> container(true, 3);
    ASSERT_NO_FATAL_FAILURE(InternTogether(container));
  }
}

TEST(FlyweightThreads, AgreeWhenTheReadersWritersLockCannotBeUsed) {
  ZelGLog.SetLevel(2);  // the container calls it a critical problem
  for (int round = 0; round < kRounds; ++round) {
    ThreadAPI_RWSpinLock::FailNextReadLocks(1);
    Zel_FlyweightContainer<RWCString> container(true, 64);
    ASSERT_NO_FATAL_FAILURE(InternTogether(container));
  }
  ZelGLog.SetLevel(5);
}

// A small container lets its index grow many times.  Readers must find what is stored all
// the while, whether it is on its way to another cell or not.
TEST(InterningThreads, FindWhatIsStoredWhileTheIndexGrows) {
  using Container = Zel_FlyweightContainer<RWCString>;
  constexpr int kKnown = 30;
  constexpr int kNew = 20000;
  for (const Container::Texts texts :
       {Container::Texts::kWithContainer, Container::Texts::kPermanent}) {
    Container container(true, 10, texts);
    std::vector<std::string> known;
    std::vector<const RWCString*> stored;
    for (int i = 0; i < kKnown; ++i) {
      known.push_back(Numbered("known", static_cast<int>(texts), i));
      stored.push_back(container.GetValue(Bytes(known.back()), true));
    }
    std::atomic<bool> growing{true};
    std::atomic<int> wrong{0};
    Crew crew(kWorkers);
    crew.Run([&](int worker) {
      if (worker == 0) {
        for (int i = 0; i < kNew; ++i) {
          container.GetValue(Bytes(Numbered("new", static_cast<int>(texts), i)), true);
        }
        growing = false;
        return;
      }
      do {
        for (std::size_t i = 0; i < known.size(); ++i) {
          if (container.Find(known[i].data(), known[i].size()) != stored[i]) ++wrong;
          if (container.GetValue(Bytes(known[i]), true) != stored[i]) ++wrong;
        }
        if (container.Find("unknown", 7) != nullptr) ++wrong;
      } while (growing);
    });
    EXPECT_EQ(0, wrong);
    std::set<const RWCString*> all(stored.begin(), stored.end());
    for (int i = 0; i < kNew; ++i) {
      const std::string text = Numbered("new", static_cast<int>(texts), i);
      const RWCString* const found = container.Find(text.data(), text.size());
      ASSERT_NE(nullptr, found) << text;
      all.insert(found);
    }
    EXPECT_EQ(static_cast<std::size_t>(kKnown + kNew), all.size());
  }
}

}  // namespace
