// Rounds of random operations (see property/round.h), each from a seed.
//
//   TREE_TEST_ROUNDS  number of forests per test (50)
//   TREE_TEST_SEED    seed of the first one (a new one every time); a failure names the
//                     seed of its round, to be repeated with one round

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <random>
#include <string>

#include "Tree/Tree_Node.h"
#include "property/round.h"
#include "property/settings.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

using Pools = property::RoundOptions::Pools;

constexpr int kMostLost = 400;  // elements, per run of the test

class RandomChoices : public property::Choices {
 public:
  explicit RandomChoices(std::uint64_t seed) : m_random(seed) {}
  std::size_t Below(std::size_t n) override { return static_cast<std::size_t>(m_random() % n); }

 private:
  std::mt19937_64 m_random;
};

class RandomOperations : public testing::Test {
 protected:
  // Interns all strings that a round may need, makes the pools large enough and opens
  // the log, so that a round leaves the heap as it finds it.
  static void SetUpTestSuite() {
    constexpr int kInOneForest = 6000;
    SCOPED_TRACE("GoogleTest's own first allocation");
    LogCapture log;
    InternNamesMadeAfterTheClock();
    Tree_NodePtr top(new Tree_Node("top"));
    for (int i = 0; i < kInOneForest; ++i) {
      Tree_NodePtr child = Inner("child", {Leaf("leaf", "value")});
      top->Add(child);
    }
    const auto intern = [&](const std::string& text) { top->SetKeyName(Bytes(text)); };
    for (const std::string& text : property::kNames) intern(text);
    for (const std::string& text : property::kOddNames) {
      intern(text);
      const std::size_t first = text.find_first_not_of(' ');
      if (first != std::string::npos) {
        intern(text.substr(first, text.find_last_not_of(' ') - first + 1));
      }
    }
    // These are not names yet.
    for (const std::string& text : property::kZeroNames) Tree_Value value(Bytes(text), 0);
    for (const std::string& text : property::kValues) Tree_Value value(Bytes(text), 0);
    for (const std::string& text : property::kVirtualPaths) Tree_Value value(Bytes(text), 0);
  }

  void Run(bool zero_names) {
    const std::uint64_t first = settings::Seed();
    const std::uint64_t rounds = settings::Rounds(50);
    std::cout << rounds << " rounds from seed " << first << "\n";
    int losses_left = kMostLost;
    long long steps = 0;
    for (std::uint64_t seed = first; seed < first + rounds; ++seed) {
      SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed) + " TREE_TEST_ROUNDS=1");
      RandomChoices choices(seed);
      property::Round round(choices,
                            {.zero_names = zero_names,
                             .pools = seed % 8 == 0 ? Pools::kStarvedNowAndThen : Pools::kFed,
                             .losses = losses_left});
      try {
        round.Run();
      } catch (const property::Parted& parted) {
        FAIL() << parted.what << "\nThe last operations:\n" << round.Story();
      }
      ExpectLost(round.LostForGood());
      losses_left -= round.lost();
      steps += round.steps();
    }
    std::cout << steps << " operations\n";
  }
};

// As long as no node ever had a name with a zero byte inside, all ways of comparing
// names agree, and the library may rely on it; so this comes first.
TEST_F(RandomOperations, AgreeWithANaiveTree) {
  Run(false);
}

TEST_F(RandomOperations, AgreeWithANaiveTreeWhenNamesHaveZeroBytes) {
  Run(true);
}

}  // namespace