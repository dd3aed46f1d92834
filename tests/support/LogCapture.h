// Captures what the library logs, and compares it line by line.
//
//   LogCapture log;                       // every level, until it goes
//   top->Add(null_handle);
//   EXPECT_LOG(log, TreeLine(7, "Tree_Node::Add", "Start Add(Tree_NodePtr & new_child)\n"),
//                   TreeLine(3, "Tree_Node::Add", "Add(...) ...\n"));
//
// EXPECT_LOG compares everything captured since the last look and forgets it.

#ifndef TREE_TESTS_SUPPORT_LOGCAPTURE_H
#define TREE_TESTS_SUPPORT_LOGCAPTURE_H

#include <gtest/gtest.h>

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Zel/Zel_LogFile.h"

struct LogLine {
  int level;
  int category;
  std::string source;
  std::string function;
  std::string text;

  friend bool operator==(const LogLine& a, const LogLine& b) {
    return a.level == b.level && a.category == b.category && a.source == b.source &&
           a.function == b.function && a.text == b.text;
  }
  friend std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << "\n  level " << line.level << ", category " << line.category << ", "
               << line.source << ", " << line.function << ": " << testing::PrintToString(line.text);
  }
};

inline LogLine TreeLine(int level, std::string function, std::string text) {
  return {level, 501, "Tree/Tree_Node", std::move(function), std::move(text)};
}

inline LogLine VecLine(int count) {
  return {7, 501, "Tree/Tree_NodePtrVec", "Tree_NodePtrVec::~Tree_NodePtrVec",
          "Clearing vec, about to delete " + std::to_string(count) + " elements\n"};
}

inline LogLine FlyweightLine(int level, const std::string& method, std::string text) {
  return {level, 234, "Zel/Zel_Flyweight", "Zel_FlyweightContainer<class RWCString>::" + method,
          std::move(text)};
}

inline int LinesOfLevel(const std::vector<LogLine>& lines, int level) {
  int count = 0;
  for (const LogLine& line : lines) count += line.level == level ? 1 : 0;
  return count;
}

class LogCapture {
 public:
  // Lines up to `level` are accepted while this object lives.
  explicit LogCapture(int level = 7) {
    ZelGLog.SetSink([this](const Zel_LogRecord& record) {
      std::lock_guard<std::mutex> guard(m_mutex);
      m_lines.push_back(
          {record.level, record.category, record.source, record.function, record.text});
    });
    ZelGLog.SetLevel(level);
  }
  ~LogCapture() {
    ZelGLog.SetLevel(kDefaultLevel);
    ZelGLog.SetSink({});
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Everything captured since the last call.
  std::vector<LogLine> Take() {
    std::lock_guard<std::mutex> guard(m_mutex);
    return std::exchange(m_lines, {});
  }

 private:
  static constexpr int kDefaultLevel = 5;

  std::mutex m_mutex;
  std::vector<LogLine> m_lines;
};

#define EXPECT_LOG(log, ...) EXPECT_EQ((std::vector<LogLine>{__VA_ARGS__}), (log).Take())
#define EXPECT_NO_LOG(log) EXPECT_EQ(std::vector<LogLine>{}, (log).Take())

#endif  // TREE_TESTS_SUPPORT_LOGCAPTURE_H
