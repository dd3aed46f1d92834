#include "Zel/Zel_LogFile.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// A file of this process alone: the tests of several builds may run at once.
std::string FreshPath() {
  std::random_device random;
  const std::string name =
      "Zel_LogFile_test." + std::to_string(random()) + "." + std::to_string(random()) + ".log";
  return (std::filesystem::path(testing::TempDir()) / name).string();
}

// What a static object's constructor logged before main, through a sink that
// it had set itself.
struct EarlyUse {
  EarlyUse() {
    ZelGLog.SetSink([this](const Zel_LogRecord& record) { text = record.text; });
    if (ZelGLog.StoreParams("Early", "EarlyUse", 1, 3, 1, 1)) ZelGLog.Log("before %s\n", "main");
    ZelGLog.SetSink(nullptr);
  }
  std::string text;
};
const EarlyUse g_early_use;

// Logs through the default sink while static objects are destroyed, and fails
// the test program when the line does not arrive.
struct LateUse {
  ~LateUse() {
    // Test processes run side by side.
    const std::string path = testing::TempDir() + "/Zel_LogFile_test.late." +
                             std::to_string(std::random_device()()) + ".log";
    std::remove(path.c_str());
    ZelGLog.SetFile(path.c_str());
    if (ZelGLog.StoreParams("Late", "LateUse", 1, 3, 1, 1)) ZelGLog.Log("after main\n");
    ZelGLog.SetFile(nullptr);
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    in.close();
    std::remove(path.c_str());
    if (line.find("Late:1 LateUse: after main") == std::string::npos) {
      std::fprintf(stderr, "Logging after main failed: <%s>\n", line.c_str());
      std::_Exit(1);
    }
  }
};
const LateUse g_late_use;

// Collects messages and puts level and default sink back at the end.
class LogTest : public testing::Test {
 protected:
  void SetUp() override {
    ZelGLog.SetSink([this](const Zel_LogRecord& record) { m_records.push_back(record); });
  }
  void TearDown() override {
    ZelGLog.SetSink(nullptr);
    ZelGLog.SetFile(nullptr);
    ZelGLog.SetLevel(5);
  }

  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const Zel_LogRecord& record : m_records) texts.push_back(record.text);
    return texts;
  }

  std::vector<Zel_LogRecord> m_records;
};

int Store(const char* function, int level = 3) {
  return ZelGLog.StoreParams("Source", function, 42, level, 501, 1);
}

TEST_F(LogTest, HandsTheWholeMessageToTheSink) {
  ASSERT_EQ(1, ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::Add", 17, 4, 501, 1));
  ZelGLog.Log("%s has %d children, %.1f%%\n", "node", 3, 99.5);
  ASSERT_EQ(1u, m_records.size());
  const Zel_LogRecord& record = m_records[0];
  EXPECT_STREQ("Tree/Tree_Node", record.source);
  EXPECT_STREQ("Tree_Node::Add", record.function);
  EXPECT_EQ(17, record.line);
  EXPECT_EQ(4, record.level);
  EXPECT_EQ(501, record.category);
  EXPECT_EQ("node has 3 children, 99.5%\n", record.text);
}

TEST_F(LogTest, KeepsTheNewlineThatTheMessageHas) {
  for (const char* text : {"", "no newline", "one\n", "two\n\n", "in\nside"}) {
    Store("f");
    ZelGLog.Log("%s", text);
    EXPECT_EQ(text, m_records.back().text);
  }
}

struct LevelCase {
  int set;
  int level;
  int accepted;
};

const LevelCase kLevelCases[] = {
    {5, 3, 1}, {5, 5, 1}, {5, 6, 0}, {5, 7, 0}, {7, 7, 1},
    {7, 8, 0}, {2, 3, 0}, {0, 1, 0}, {0, 0, 1}, {-1, 0, 0},
};

TEST_F(LogTest, RefusesLevelsAboveTheOneSet) {
  EXPECT_EQ(5, ZelGLog.GetLevel());
  for (const LevelCase& c : kLevelCases) {
    SCOPED_TRACE(testing::Message() << c.set << " " << c.level);
    ZelGLog.SetLevel(c.set);
    EXPECT_EQ(c.set, ZelGLog.GetLevel());
    EXPECT_EQ(c.accepted, Store("f", c.level));
  }
  EXPECT_TRUE(m_records.empty()) << "nothing is written before Log";
}

TEST_F(LogTest, WritesTextsOfAnyLength) {
  for (const std::size_t length : {510u, 511u, 512u, 513u, 5000u, 1000000u}) {
    const std::string text(length, 'x');
    Store("f");
    ZelGLog.Log("%s", text.c_str());
    EXPECT_EQ(length, m_records.back().text.size());
    EXPECT_EQ(text, m_records.back().text);
  }
}

const char* LoggedArgument(const char* text) {
  if (Store("inner")) ZelGLog.Log("inner %s", text);
  return text;
}

TEST_F(LogTest, ArgumentsMayLogThemselves) {
  if (Store("outer")) ZelGLog.Log("outer %s", LoggedArgument("a"));
  if (Store("next")) ZelGLog.Log("next");
  ASSERT_EQ((std::vector<std::string>{"inner a", "outer a", "next"}), Texts());
  EXPECT_STREQ("inner", m_records[0].function);
  EXPECT_STREQ("outer", m_records[1].function);
  EXPECT_STREQ("next", m_records[2].function);
}

TEST_F(LogTest, AMessageGoesUnderTheParametersStoredLast) {
  Store("abandoned");
  Store("last");
  ZelGLog.Log("1");
  EXPECT_STREQ("last", m_records[0].function);
  // However many were abandoned.
  for (int i = 0; i < 100; ++i) Store("abandoned");
  Store("newest");
  ZelGLog.Log("2");
  EXPECT_STREQ("newest", m_records[1].function);
}

TEST_F(LogTest, ASecondMessageWithoutParametersRepeatsThem) {
  std::thread([] {
    Store("f");
    ZelGLog.Log("1");
    ZelGLog.Log("2");
  }).join();
  ASSERT_EQ(2u, m_records.size());
  EXPECT_STREQ("f", m_records[1].function);
}

TEST_F(LogTest, ParametersAreTheThreadsOwn) {
  Store("mine");
  std::thread([] {
    ZelGLog.Log("without parameters");
    Store("other");
    ZelGLog.Log("theirs");
  }).join();
  ZelGLog.Log("mine");
  ASSERT_EQ(3u, m_records.size());
  EXPECT_STREQ("", m_records[0].function);
  EXPECT_STREQ("other", m_records[1].function);
  EXPECT_STREQ("mine", m_records[2].function);
}

TEST_F(LogTest, ASinkMayLog) {
  int depth = 0;
  ZelGLog.SetSink([&](const Zel_LogRecord& record) {
    m_records.push_back(record);
    if (++depth < 3 && Store("from the sink")) ZelGLog.Log("depth %d", depth);
  });
  Store("f");
  ZelGLog.Log("depth 0");
  EXPECT_EQ((std::vector<std::string>{"depth 0", "depth 1", "depth 2"}), Texts());
  Store("g");
  ZelGLog.Log("after");
  EXPECT_STREQ("g", m_records.back().function);
}

TEST_F(LogTest, ASinkMayReplaceItself) {
  auto alive = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = alive;
  ZelGLog.SetSink([this, alive](const Zel_LogRecord& record) {
    ZelGLog.SetSink([this](const Zel_LogRecord& next) { m_records.push_back(next); });
    // Still ourselves: the captures are there.
    if (*alive == 1) m_records.push_back(record);
  });
  alive.reset();
  Store("f");
  ZelGLog.Log("to the first");
  EXPECT_TRUE(watch.expired()) << "the replaced sink is destroyed once it returned";
  ZelGLog.Log("to the second");
  EXPECT_EQ((std::vector<std::string>{"to the first", "to the second"}), Texts());
}

TEST_F(LogTest, AnExceptionFromASinkStaysInside) {
  ZelGLog.SetSink([](const Zel_LogRecord&) { throw std::runtime_error("sink"); });
  Store("f");
  EXPECT_NO_THROW(ZelGLog.Log("lost"));
  ZelGLog.SetSink([this](const Zel_LogRecord& record) { m_records.push_back(record); });
  ZelGLog.Log("kept");
  EXPECT_EQ(std::vector<std::string>{"kept"}, Texts());
}

TEST_F(LogTest, NoCallOfAReplacedSinkIsLeft) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> writers;
  for (int t = 0; t < 3; ++t) {
    writers.emplace_back([&] {
      while (!stop) {
        Store("f");
        ZelGLog.Log("line %d", 1);
      }
    });
  }
  // Plain variables: were a sink called by two threads at once, or after its
  // replacement, the sums or a sanitizer would tell.
  for (int round = 0; round < 200; ++round) {
    auto calls = std::make_unique<long>(0);
    long* const counter = calls.get();
    ZelGLog.SetSink([counter](const Zel_LogRecord& record) {
      if (record.text == "line 1") ++*counter;
    });
    std::this_thread::yield();
    ZelGLog.SetSink([](const Zel_LogRecord&) {});
    const long after = *calls;
    std::this_thread::yield();
    EXPECT_EQ(after, *calls);
    calls.reset();
  }
  stop = true;
  for (std::thread& writer : writers) writer.join();
}

TEST_F(LogTest, LosesNoLineOfManyThreads) {
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([t] {
      for (int i = 0; i < 1000; ++i) {
        Store("f");
        ZelGLog.Log("%d %d", t, i);
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  ASSERT_EQ(4000u, m_records.size());
  int next[4] = {};
  for (const Zel_LogRecord& record : m_records) {
    int t = -1, i = -1;
    ASSERT_EQ(2, std::sscanf(record.text.c_str(), "%d %d", &t, &i));
    ASSERT_EQ(next[t]++, i) << "a thread's lines stay in order";
  }
}

// ------------------------------------------------------------ Default sink

class LogFileTest : public LogTest {
 protected:
  void SetUp() override { ZelGLog.SetSink(nullptr); }
  void TearDown() override {
    LogTest::TearDown();
    std::filesystem::remove(m_path);
  }

  static std::string Contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  static std::vector<std::string> LinesOf(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  static bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
  }

  const std::string m_path = FreshPath();
};

TEST_F(LogFileTest, WritesOneLinePerMessageToTheNamedFile) {
  ASSERT_EQ(1, ZelGLog.SetFile(m_path.c_str()));
  ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::Add", 17, 3, 501, 1);
  ZelGLog.Log("with a newline\n");
  ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::Add", 18, 5, 501, 1);
  ZelGLog.Log("without one");
  const std::vector<std::string> lines = LinesOf(m_path);
  ASSERT_EQ(2u, lines.size());
  EXPECT_TRUE(EndsWith(lines[0], "[501 3] Tree/Tree_Node:17 Tree_Node::Add: with a newline"))
      << lines[0];
  EXPECT_TRUE(EndsWith(lines[1], "[501 5] Tree/Tree_Node:18 Tree_Node::Add: without one"))
      << lines[1];
  EXPECT_NE(std::string::npos, lines[0].find(" error "));
  EXPECT_NE(std::string::npos, lines[1].find(" info "));
}

TEST_F(LogFileTest, AppendsToAFileThatExists) {
  std::ofstream(m_path) << "older\n";
  ASSERT_EQ(1, ZelGLog.SetFile(m_path.c_str()));
  Store("f");
  ZelGLog.Log("newer {} %%\n");
  const std::vector<std::string> lines = LinesOf(m_path);
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("older", lines[0]);
  EXPECT_TRUE(EndsWith(lines[1], "newer {} %")) << lines[1];
}

TEST_F(LogFileTest, KeepsTheFileWhenAnotherCannotBeOpened) {
  ASSERT_EQ(1, ZelGLog.SetFile(m_path.c_str()));
  EXPECT_EQ(0, ZelGLog.SetFile(testing::TempDir().c_str())) << "a folder is no log file";
  Store("f");
  ZelGLog.Log("still here\n");
  EXPECT_NE(std::string::npos, Contents(m_path).find("still here"));
}

TEST_F(LogFileTest, ASinkGoesBeforeTheFile) {
  ASSERT_EQ(1, ZelGLog.SetFile(m_path.c_str()));
  ZelGLog.SetSink([this](const Zel_LogRecord& record) { m_records.push_back(record); });
  Store("f");
  ZelGLog.Log("to the sink");
  ZelGLog.SetSink(nullptr);
  ZelGLog.Log("to the file");
  EXPECT_EQ(std::vector<std::string>{"to the sink"}, Texts());
  EXPECT_EQ(1u, LinesOf(m_path).size());
}

TEST_F(LogFileTest, GoesToStandardErrorWithoutAFile) {
  ASSERT_EQ(1, ZelGLog.SetFile(m_path.c_str()));
  ASSERT_EQ(1, ZelGLog.SetFile(""));
  testing::internal::CaptureStderr();
  Store("f");
  ZelGLog.Log("to standard error\n");
  const std::string written = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(EndsWith(written, "f: to standard error\n")) << written;
  EXPECT_EQ("", Contents(m_path));
}

TEST(ZelGLog, WorksWhileStaticObjectsAreMade) {
  EXPECT_EQ("before main\n", g_early_use.text);
}

}  // namespace
