// Operations that log from many threads at once.
//
// Every line arrives once and whole, with the function that wrote it, and the lines of
// one thread in their order.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"
#include "thread/Crew.h"

namespace {

constexpr int kWorkers = 4;
constexpr int kTimes = 300;

// The name of a worker's tree, by which its lines are told from those of others.  Some
// are long, so that a text may not fit into a buffer of the usual size.
std::string TreeName(int worker) {
  return "tree" + std::to_string(worker) + std::string(static_cast<std::size_t>(worker) * 700, 'x');
}

// Writes lines of several functions and levels, all of which bear the tree's name; the
// argument of the first is itself computed by an operation.
void WriteLines(Tree_NodePtr& top, Tree_NodePtr& leaf) {
  Tree_NodePtr null;
  top->GetChildAt(-1);
  leaf->Insert(null, 0, -1);
  top->Remove(RWCString());
  top->GetSubTreePaths("nowhere", top);
}

std::vector<LogLine> ExpectedLines(const std::string& name, int level) {
  const std::vector<LogLine> all = {
      TreeLine(3, "Tree_Node::GetChildAt",
               "GetChildAt : under <" + name +
                   "> index <-1> index is less then 0,return null Tree_NodePtr\n"),
      TreeLine(3, "Tree_Node::Insert",
               "Insert(Tree_NodePtr & new_child, int child_index) : this node does not allowed "
               "children, return FALSE leaf of " +
                   name + "\n"),
      TreeLine(3, "Tree_Node::Remove",
               "Remove(RWCString & path)under <" + name + "> : path is null, return FALSE\n"),
      TreeLine(5, "Tree_Node::GetSubTreePaths",
               "GetSubTreePaths(RWCString & path,Tree_NodePtr & this_ptr) : under <" + name +
                   "> path <nowhere> tree_node  is null, return NULL\n"),
  };
  std::vector<LogLine> wanted;
  for (const LogLine& line : all) {
    if (line.level <= level) wanted.push_back(line);
  }
  return wanted;
}

void WriteAllLines(int worker) {
  const std::string name = TreeName(worker);
  Tree_NodePtr top = Inner(name.c_str());
  Tree_NodePtr leaf = Leaf(("leaf of " + name).c_str(), "");
  for (int i = 0; i < kTimes; ++i) WriteLines(top, leaf);
}

// Sorts the lines by worker and compares each worker's with what it wrote.
void ExpectAllLines(const std::vector<LogLine>& lines, int level) {
  std::vector<std::vector<LogLine>> by_worker(kWorkers);
  for (const LogLine& line : lines) {
    const std::size_t at = line.text.find("tree");
    // "tree_node" occurs in texts as well, behind the name.
    ASSERT_NE(std::string::npos, at) << line;
    const int worker = line.text[at + 4] - '0';
    ASSERT_TRUE(worker >= 0 && worker < kWorkers) << line;
    by_worker[static_cast<std::size_t>(worker)].push_back(line);
  }
  for (int worker = 0; worker < kWorkers; ++worker) {
    const std::vector<LogLine>& mine = by_worker[static_cast<std::size_t>(worker)];
    const std::vector<LogLine> expected = ExpectedLines(TreeName(worker), level);
    ASSERT_EQ(expected.size() * kTimes, mine.size());
    for (std::size_t i = 0; i < mine.size(); ++i) ASSERT_EQ(expected[i % expected.size()], mine[i]);
  }
}

TEST(LoggingThreads, WriteEveryLineOnceAndWhole) {
  for (const int level : {3, 5}) {
    LogCapture log(level);
    {
      Crew crew(kWorkers);
      crew.Run(WriteAllLines);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectAllLines(log.Take(), level)) << "level " << level;
  }
}

// Whoever replaces the sink meanwhile loses no line: each goes to one sink or another.
TEST(LoggingThreads, LoseNoLineWhileTheSinkIsReplaced) {
  LogCapture log(5);
  std::mutex mutex;
  std::vector<LogLine> lines;
  const auto append = [&](const Zel_LogRecord& record) {
    std::lock_guard<std::mutex> guard(mutex);
    lines.push_back({record.level, record.category, record.source, record.function, record.text});
  };
  {
    Crew crew(kWorkers + 1);
    crew.Run([&](int worker) {
      if (worker < kWorkers) {
        WriteAllLines(worker);
        return;
      }
      for (int i = 0; i < 200; ++i) {
        // Two kinds of sinks, so that one is really put in the place of the other.
        if (i % 2 == 0) {
          ZelGLog.SetSink(append);
        } else {
          ZelGLog.SetSink([&append](const Zel_LogRecord& record) { append(record); });
        }
      }
    });
  }
  // Before the first replacement the lines went to the capture.
  std::vector<LogLine> all = log.Take();
  all.insert(all.end(), lines.begin(), lines.end());
  ExpectAllLines(all, 5);
}

// A line is refused or written whole, whatever the level is changed to.
TEST(LoggingThreads, WriteWholeLinesWhileTheLevelChanges) {
  LogCapture log(5);
  {
    Crew crew(kWorkers + 1);
    crew.Run([&](int worker) {
      if (worker < kWorkers) {
        WriteAllLines(worker);
        return;
      }
      for (int i = 0; i < 2000; ++i) ZelGLog.SetLevel(2 + i % 5);
    });
  }
  std::vector<LogLine> possible;
  for (int worker = 0; worker < kWorkers; ++worker) {
    for (const LogLine& line : ExpectedLines(TreeName(worker), 7)) possible.push_back(line);
  }
  for (const LogLine& line : log.Take()) {
    if (line.level > 5) continue;  // the traces of the same operations
    ASSERT_NE(possible.end(), std::find(possible.begin(), possible.end(), line)) << line;
  }
}

}  // namespace
