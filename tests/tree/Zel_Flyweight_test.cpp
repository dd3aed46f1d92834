// The container that stores equal strings once.

#include "Zel/Zel_Flyweight.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "ThreadAPI/ThreadAPI_RWSpinLock.h"
#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

using Container = Zel_FlyweightContainer<RWCString>;

constexpr auto kNoBuffers = static_cast<std::size_t>(-1);

LogLine Created(bool thread_safe, int fly_size) {
  return FlyweightLine(
      6, "Zel_FlyweightContainer",
      "Zel_FlyweightContainer, Created with thread_safe = " + std::to_string(thread_safe ? 1 : 0) +
          ", fly_size = " + std::to_string(fly_size) + "\n");
}
LogLine Initializing() {
  return FlyweightLine(6, "Zel_FlyweightContainer",
                       "Zel_FlyweightContainer, Initializing Readers-Writers Lock\n");
}
LogLine Critical() {
  return FlyweightLine(
      3, "Zel_FlyweightContainer",
      "Major Critical Problem, Can't use readers writers lock! Using regular mutex\n");
}
LogLine Expend(const std::string& method, int strings) {
  return FlyweightLine(
      7, method,
      "Zel_FlyweightContainer, Expend buffer, fly size is " + std::to_string(strings) + "\n");
}
LogLine FirstBuffer(int strings) {
  return Expend("Zel_FlyweightContainer", strings);
}
LogLine NextBuffer(int strings) {
  return Expend("insert_value", strings);
}
LogLine NotThreadSafe() {
  return FlyweightLine(7, "GetValue", "Working non threadsafe\n");
}
LogLine RegularMutex() {
  return FlyweightLine(7, "GetValue", "Using regular mutex\n");
}
LogLine NotSupported() {
  return FlyweightLine(3, "GetValue", "This function is not supported if Flyweight size if -1\n");
}
LogLine Gone() {
  return FlyweightLine(6, "~Zel_FlyweightContainer", "Dtor ~Zel_FlyweightContainer\n");
}

// Every way in which a container locks.
enum class Mode { kReadersWriters, kRegularMutex, kNotThreadSafe };
const struct {
  const char* name;
  Mode mode;
} kModes[] = {{"readers and writers", Mode::kReadersWriters},
              {"regular mutex", Mode::kRegularMutex},
              {"not thread-safe", Mode::kNotThreadSafe}};

// A container of the given mode.  Its lines so far are those of its construction.
struct Made {
  Made(Mode mode, std::size_t fly_size)
      : fail((ThreadAPI_RWSpinLock::FailNextReadLocks(mode == Mode::kRegularMutex ? 1 : 0), 0)),
        container(mode != Mode::kNotThreadSafe, fly_size) {
    ThreadAPI_RWSpinLock::FailNextReadLocks(0);
  }
  int fail;
  Container container;
};

// The line of a look-up, if the mode has one.
std::vector<LogLine> LookUp(Mode mode) {
  if (mode == Mode::kNotThreadSafe) return {NotThreadSafe()};
  if (mode == Mode::kRegularMutex) return {RegularMutex()};
  return {};
}

// --- Construction and destruction ---------------------------------------------------

TEST(ZelFlyweight, WritesTheLinesOfItsConstructionInOrder) {
  for (const bool thread_safe : {true, false}) {
    for (const int fly_size : {40000, 1000, 2, 1, 0}) {
      SCOPED_TRACE(testing::Message() << thread_safe << " " << fly_size);
      LogCapture log;
      {
        Container container(thread_safe, static_cast<std::size_t>(fly_size));
        EXPECT_LOG(log, Created(thread_safe, fly_size), Initializing(), FirstBuffer(fly_size));
      }
      EXPECT_LOG(log, Gone());
    }
  }
}

TEST(ZelFlyweight, FallsBackToTheMutexWhenTheLockCannotBeUsed) {
  for (const bool thread_safe : {true, false}) {
    LogCapture log;
    ThreadAPI_RWSpinLock::FailNextReadLocks(1);
    Container container(thread_safe, 10);
    EXPECT_LOG(log, Created(thread_safe, 10), Initializing(), Critical(), FirstBuffer(10));
  }
}

TEST(ZelFlyweight, StopsBeforeTheBufferWithAFlySizeOfMinusOne) {
  {
    LogCapture log;
    {
      Container container(true, kNoBuffers);
      EXPECT_LOG(log, Created(true, -1), Initializing());
    }
    EXPECT_LOG(log, Gone());
  }
  LogCapture log;
  ThreadAPI_RWSpinLock::FailNextReadLocks(1);
  Container container(true, kNoBuffers);
  EXPECT_LOG(log, Created(true, -1), Initializing(), Critical());
}

TEST(ZelFlyweight, RefusesEveryStringWithAFlySizeOfMinusOne) {
  for (const auto& mode : kModes) {
    SCOPED_TRACE(mode.name);
    Made made(mode.mode, kNoBuffers);
    LogCapture log;
    for (const bool look_up_first : {true, false}) {
      for (const char* text : {"", "a", "a"}) {
        EXPECT_EQ(nullptr, made.container.GetValue(text, look_up_first));
        EXPECT_LOG(log, NotSupported());
      }
    }
  }
}

TEST(ZelFlyweight, KeepsToTheLevelsOfItsLines) {
  {
    LogCapture log(6);
    {
      Container container(false, 1);
      EXPECT_LOG(log, Created(false, 1), Initializing());
      container.GetValue("a", true);
      container.GetValue("b", true);
      EXPECT_NO_LOG(log);
    }
    EXPECT_LOG(log, Gone());
  }
  {
    LogCapture log(5);
    ThreadAPI_RWSpinLock::FailNextReadLocks(1);
    Container container(true, kNoBuffers);
    EXPECT_LOG(log, Critical());
    container.GetValue("a", true);
    EXPECT_LOG(log, NotSupported());
  }
}

// --- Storing and finding ----------------------------------------------------------------

TEST(ZelFlyweight, StoresEqualStringsOnceAndOthersApart) {
  const std::string kTexts[] = {
      "",
      "a",
      "A",
      "b",
      "ab",
      "aB",
      " a",
      "a ",
      std::string("\0", 1),
      std::string("a\0", 2),
      std::string("a\0b", 3),
      std::string("a\0B", 3),
      std::string("\0\0", 2),
      std::string(10000, 'x'),
      std::string(10001, 'x'),
      "\xFF",
      "\x7F",
  };
  for (const auto& mode : kModes) {
    for (const std::size_t fly_size :
         {std::size_t{40000}, std::size_t{3}, std::size_t{1}, std::size_t{0}}) {
      SCOPED_TRACE(testing::Message() << mode.name << " " << fly_size);
      Made made(mode.mode, fly_size);
      std::vector<const RWCString*> stored;
      for (const std::string& text : kTexts) {
        const RWCString* const value = made.container.GetValue(Bytes(text), true);
        ASSERT_NE(nullptr, value);
        for (const RWCString* other : stored) EXPECT_NE(other, value);
        stored.push_back(value);
      }
      std::size_t i = 0;
      for (const std::string& text : kTexts) {
        SCOPED_TRACE(testing::PrintToString(text.substr(0, 10)));
        EXPECT_EQ(text, Text(*stored[i]));
        EXPECT_EQ(stored[i], made.container.GetValue(Bytes(text), true));
        EXPECT_EQ(stored[i], made.container.GetValue(Bytes(text), false));
        ++i;
      }
    }
  }
}

TEST(ZelFlyweight, KeepsItsStringWhenTheCallersChanges) {
  Container container(true, 10);
  RWCString text("before");
  const RWCString* const stored = container.GetValue(text, true);
  text.append(" after");
  EXPECT_EQ("before", Text(*stored));
  RWCString copy(*stored);
  copy.append(" more");
  EXPECT_EQ("before", Text(*stored));
  EXPECT_EQ(stored, container.GetValue("before", true));
}

TEST(ZelFlyweight, WritesALineForEveryLookUpThatTakesNoReadLock) {
  for (const auto& mode : kModes) {
    SCOPED_TRACE(mode.name);
    Made made(mode.mode, 10);
    LogCapture log;
    made.container.GetValue("new", true);
    EXPECT_EQ(LookUp(mode.mode), log.Take());
    made.container.GetValue("new", true);
    EXPECT_EQ(LookUp(mode.mode), log.Take());
    // Without a look-up there is no line.
    made.container.GetValue("new", false);
    made.container.GetValue("newer", false);
    EXPECT_NO_LOG(log);
  }
}

// --- Buffers ------------------------------------------------------------------------------

TEST(ZelFlyweight, BeginsABufferWhenTheLastOneIsFull) {
  for (const auto& mode : kModes) {
    for (const int fly_size : {1, 2, 3, 10}) {
      SCOPED_TRACE(testing::Message() << mode.name << " " << fly_size);
      Made made(mode.mode, static_cast<std::size_t>(fly_size));
      LogCapture log;
      for (int i = 0; i < 5 * fly_size + 1; ++i) {
        SCOPED_TRACE(i);
        std::vector<LogLine> expected = LookUp(mode.mode);
        if (i > 0 && i % fly_size == 0) expected.push_back(NextBuffer(fly_size + i));
        made.container.GetValue(Bytes("s" + std::to_string(i)), true);
        EXPECT_EQ(expected, log.Take());
      }
    }
  }
}

TEST(ZelFlyweight, BeginsASecondBufferWithString40001) {
  Container container(true, 40000);
  LogCapture log;
  std::vector<const RWCString*> stored;
  for (int i = 0; i < 40000; ++i) {
    stored.push_back(container.GetValue(Bytes(std::to_string(i)), true));
  }
  EXPECT_NO_LOG(log);
  const RWCString* const one_more = container.GetValue("one more", true);
  EXPECT_LOG(log, NextBuffer(80000));
  for (int i = 0; i < 40000; ++i) {
    const RWCString* const value = stored[static_cast<std::size_t>(i)];
    ASSERT_EQ(std::to_string(i), Text(*value));
    ASSERT_EQ(value, container.GetValue(Bytes(std::to_string(i)), true));
    ASSERT_NE(one_more, value);
  }
  EXPECT_NO_LOG(log);
  for (int i = 40001; i < 80000; ++i) container.GetValue(Bytes(std::to_string(i)), true);
  EXPECT_NO_LOG(log);
  container.GetValue("the next one", true);
  EXPECT_LOG(log, NextBuffer(120000));
}

TEST(ZelFlyweight, CountsStringsThatItKnowsOnce) {
  Container container(true, 2);
  LogCapture log;
  const RWCString* const a = container.GetValue("a", true);
  for (const bool look_up_first : {true, false, false, true}) {
    EXPECT_EQ(a, container.GetValue("a", look_up_first));
  }
  EXPECT_EQ(a, container.insert_value("a"));
  EXPECT_NO_LOG(log);
  // The second slot is still there.
  container.GetValue("b", true);
  EXPECT_NO_LOG(log);
  container.GetValue("c", true);
  EXPECT_LOG(log, NextBuffer(4));
}

TEST(ZelFlyweight, ExpandsAFullBufferBeforeItFindsTheStringKnown) {
  for (const auto& mode : kModes) {
    SCOPED_TRACE(mode.name);
    Made made(mode.mode, 2);
    const RWCString* const a = made.container.GetValue("a", false);
    made.container.GetValue("b", false);
    LogCapture log;
    EXPECT_EQ(a, made.container.GetValue("a", false));
    EXPECT_LOG(log, NextBuffer(4));
    // The new buffer is empty, so the same does not happen again.
    EXPECT_EQ(a, made.container.GetValue("a", false));
    EXPECT_EQ(a, made.container.insert_value("a"));
    made.container.GetValue("c", false);
    made.container.GetValue("d", false);
    EXPECT_NO_LOG(log);
    EXPECT_EQ(a, made.container.insert_value("a"));
    EXPECT_LOG(log, NextBuffer(6));
    EXPECT_EQ(a, made.container.GetValue("a", true));
    EXPECT_EQ(LookUp(mode.mode), log.Take());
  }
}

TEST(ZelFlyweight, InsertsWithoutALineOfItsOwn) {
  for (const auto& mode : kModes) {
    SCOPED_TRACE(mode.name);
    Made made(mode.mode, 10);
    LogCapture log;
    const RWCString* const a = made.container.insert_value("a");
    EXPECT_EQ("a", Text(*a));
    EXPECT_EQ(a, made.container.insert_value("a"));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(a, made.container.GetValue("a", true));
  }
}

TEST(ZelFlyweight, WorksWithAFlySizeOfZero) {
  for (const auto& mode : kModes) {
    SCOPED_TRACE(mode.name);
    Made made(mode.mode, 0);
    LogCapture log;
    // A buffer without slots is always full; no number of them holds a string.
    const RWCString* const a = made.container.GetValue("a", false);
    EXPECT_LOG(log, NextBuffer(0));
    std::vector<const RWCString*> stored;
    for (int i = 0; i < 1000; ++i) {
      stored.push_back(made.container.GetValue(Bytes(std::to_string(i)), true));
    }
    for (int i = 0; i < 1000; ++i) {
      const RWCString* const value = stored[static_cast<std::size_t>(i)];
      EXPECT_EQ(std::to_string(i), Text(*value));
      EXPECT_EQ(value, made.container.GetValue(Bytes(std::to_string(i)), true));
    }
    EXPECT_EQ("a", Text(*a));
    EXPECT_EQ(a, made.container.GetValue("a", true));
  }
}

TEST(ZelFlyweight, KeepsPointersValidWhateverComesAfterThem) {
  for (const auto& mode : kModes) {
    for (const std::size_t fly_size : {std::size_t{1}, std::size_t{7}, std::size_t{1000}}) {
      SCOPED_TRACE(testing::Message() << mode.name << " " << fly_size);
      Made made(mode.mode, fly_size);
      std::unordered_map<std::string, const RWCString*> model;
      std::unordered_map<const RWCString*, const char*> texts;
      std::mt19937 random(fly_size == 7 ? 7u : 8u);
      for (int i = 0; i < 6000; ++i) {
        const std::string text = "t" + std::to_string(random() % 3000u);
        const RWCString* const value = made.container.GetValue(Bytes(text), random() % 2u == 0u);
        const auto [known, is_new] = model.emplace(text, value);
        ASSERT_EQ(known->second, value);
        if (is_new) texts[value] = value->data();
      }
      ASSERT_EQ(model.size(), texts.size());
      for (const auto& [text, value] : model) {
        ASSERT_EQ(text, Text(*value));
        ASSERT_EQ(texts[value], value->data());
      }
    }
  }
}

// --- Threads ------------------------------------------------------------------------------

TEST(ZelFlyweight, YieldsOnePointerToAllThreads) {
  for (const Mode mode : {Mode::kReadersWriters, Mode::kRegularMutex}) {
    Made made(mode, 100);
    constexpr int kThreads = 4;
    constexpr int kStrings = 3000;
    std::vector<std::vector<const RWCString*>> seen(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t) {
      threads.emplace_back([&made, &mine = seen[t], t] {
        mine.resize(kStrings);
        for (int i = 0; i < kStrings; ++i) {
          // Each thread goes another way round.
          const int number = t % 2 == 0 ? i : kStrings - 1 - i;
          mine[static_cast<std::size_t>(number)] =
              made.container.GetValue(Bytes("t" + std::to_string(number)), t < 2);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t t = 1; t < kThreads; ++t) EXPECT_EQ(seen[0], seen[t]);
    for (int i = 0; i < kStrings; ++i) {
      ASSERT_EQ("t" + std::to_string(i), Text(*seen[0][static_cast<std::size_t>(i)]));
    }
  }
}

// Permanent strings are stored side by side; buffers begin when they would otherwise.
TEST(ZelFlyweight, BeginsBuffersOfPermanentStringsAtTheSameStrings) {
  for (const int fly_size : {1, 2, 3, 10, 1000}) {
    SCOPED_TRACE(fly_size);
    Container container(true, static_cast<std::size_t>(fly_size), Container::Texts::kPermanent);
    LogCapture log;
    for (int i = 0; i < 3 * fly_size + 1; ++i) {
      SCOPED_TRACE(i);
      const RWCString text = Bytes("permanent " + std::to_string(i));
      const RWCString* const stored = container.GetValue(text, true);
      if (i > 0 && i % fly_size == 0) {
        EXPECT_LOG(log, NextBuffer(fly_size + i));
      }
      ASSERT_EQ(stored, container.GetValue(text, true));
      EXPECT_NO_LOG(log);
    }
  }
}

TEST(ZelFlyweight, WorksWithPermanentStringsAndAFlySizeOfZero) {
  Container container(true, 0, Container::Texts::kPermanent);
  LogCapture log;
  const RWCString* const a = container.GetValue("a", true);
  EXPECT_LOG(log, NextBuffer(0));
  EXPECT_EQ(a, container.GetValue("a", false));
  EXPECT_LOG(log, NextBuffer(0));
  EXPECT_NE(a, container.GetValue("b", true));
  EXPECT_LOG(log, NextBuffer(0));
  EXPECT_EQ(a, container.GetValue("a", true));
  EXPECT_NO_LOG(log);
}

// More threads than lanes.  They all store the same strings, or each its own; no buffer may
// begin before the last one is full, whoever has its slots.
TEST(ZelFlyweight, CountsTheStringsOfAllThreads) {
  constexpr int kThreads = 20;
  constexpr int kStrings = 300;
  for (const bool same : {true, false}) {
    for (const int fly_size : {1, 7, 64, 997}) {
      SCOPED_TRACE(testing::Message() << same << " " << fly_size);
      Container container(true, static_cast<std::size_t>(fly_size), Container::Texts::kPermanent);
      std::vector<std::vector<const RWCString*>> stored(kThreads);
      LogCapture log;
      std::vector<std::thread> threads;
      for (std::size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&container, &mine = stored[t], same, t] {
          for (int i = 0; i < kStrings; ++i) {
            const std::string text = (same ? "" : std::to_string(t)) + "." + std::to_string(i);
            mine.push_back(container.GetValue(Bytes(text), true));
          }
        });
      }
      for (std::thread& thread : threads) thread.join();
      const std::vector<LogLine> lines = log.Take();

      std::set<const RWCString*> distinct;
      for (const auto& mine : stored) distinct.insert(mine.begin(), mine.end());
      const int strings = same ? kStrings : kThreads * kStrings;
      ASSERT_EQ(static_cast<std::size_t>(strings), distinct.size());
      std::vector<LogLine> expected;
      for (int full = fly_size; full < strings; full += fly_size) {
        expected.push_back(NextBuffer(full + fly_size));
      }
      // A thread that comes with a string which another has just stored may find the last
      // buffer full.
      if (same && strings % fly_size == 0 && lines.size() == expected.size() + 1) {
        expected.push_back(NextBuffer(strings + fly_size));
      }
      EXPECT_EQ(expected, lines);
    }
  }
}

// --- The container of the process -----------------------------------------------------------

TEST(TreeInterning, YieldsOnePointerForEqualNames) {
  const std::string kNames[] = {
      "name", "Name", "NAME", "", "a\\b", std::string("n\0ame", 5), std::string("n\0AME", 5)};
  for (const std::string& name : kNames) {
    SCOPED_TRACE(testing::PrintToString(name));
    Tree_NodePtr a = Inner("a");
    Tree_NodePtr b = Inner("b");
    LogCapture log;
    a->SetKeyName(Bytes(name));
    b->SetKeyName(Bytes(name));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(&a->GetKeyName(), &b->GetKeyName());
    EXPECT_EQ(name, Text(a->GetKeyName()));
    for (const std::string& other : kNames) {
      b->SetKeyName(Bytes(other));
      EXPECT_EQ(other == name, &a->GetKeyName() == &b->GetKeyName());
    }
  }
}

TEST(TreeInterning, StoresNamesValuesAndVirtualParentPathsTogether) {
  Tree_NodePtr top = Inner("a text of all three");
  Tree_Value value("a text of all three", 0);
  RWCString path("a text of all three");
  top->SetVirtualParentPath(path);
  EXPECT_EQ(top->GetKeyName().data(), value.GetValue().data());
  EXPECT_EQ(top->GetKeyName().data(), top->GetVirtualParentPath().data());
}

TEST(TreeInterning, HoldsMoreStringsThanOneBuffer) {
  // Every 40,000 strings the process-wide container writes one line, wherever it is.
  LogCapture log;
  for (int i = 0; i < 80000; ++i) {
    Tree_Value value(Bytes("one of the eighty thousand " + std::to_string(i)), 0);
  }
  for (const LogLine& line : log.Take()) {
    EXPECT_EQ(7, line.level);
    EXPECT_EQ(234, line.category);
    EXPECT_EQ("Zel_FlyweightContainer<class RWCString>::insert_value", line.function);
    EXPECT_EQ(0u, line.text.find("Zel_FlyweightContainer, Expend buffer, fly size is "));
    EXPECT_NE(std::string::npos, line.text.find("0000\n"));
  }
  Tree_Value again("one of the eighty thousand 12345", 0);
  EXPECT_NO_LOG(log);
}

}  // namespace
