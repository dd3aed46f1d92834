// The first interning of a process, done by several threads at once.
//
// A program of its own, without the usual main function: that one interns before the
// tests begin.  There is one first time per process, so there is one test.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "thread/Crew.h"

namespace {

TEST(FirstInterning, MakesOneContainer) {
  constexpr int kWorkers = 8;
  constexpr int kNames = 50;
  LogCapture log;
  Crew crew(kWorkers);
  std::vector<std::vector<const RWCString*>> found(kWorkers);
  crew.Run([&](int worker) {
    std::vector<const RWCString*>& mine = found[static_cast<std::size_t>(worker)];
    for (int i = 0; i < kNames; ++i) {
      Tree_Node node(RWCString(("name " + std::to_string(i)).c_str()));
      mine.push_back(&node.GetKeyName());
    }
  });
  for (int i = 0; i < kNames; ++i) {
    const auto at = static_cast<std::size_t>(i);
    EXPECT_STREQ(("name " + std::to_string(i)).c_str(), found[0][at]->data());
    for (const auto& other : found) EXPECT_EQ(found[0][at], other[at]);
  }
  const std::string method = "Zel_FlyweightContainer";
  EXPECT_LOG(
      log,
      FlyweightLine(6, method,
                    "Zel_FlyweightContainer, Created with thread_safe = 1, fly_size = 40000\n"),
      FlyweightLine(6, method, "Zel_FlyweightContainer, Initializing Readers-Writers Lock\n"),
      FlyweightLine(7, method, "Zel_FlyweightContainer, Expend buffer, fly size is 40000\n"));
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
