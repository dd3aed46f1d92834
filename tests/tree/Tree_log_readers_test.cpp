// A sink is called in the middle of operations, on their thread.  It may look at the tree and
// change the level; what it sees and what comes then is as if each step were taken by itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_LogFile.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeMaking.h"
#include "support/TreeRecords.h"

namespace {

// While it lives, lines up to a level are accepted and handed to a function, but not those
// that the function causes itself.
class Reader {
 public:
  template <class Look>
  Reader(int level, Look look) {
    ZelGLog.SetSink([this, look](const Zel_LogRecord& record) {
      if (m_is_looking) return;
      m_is_looking = true;
      look(record);
      m_is_looking = false;
    });
    ZelGLog.SetLevel(level);
  }
  ~Reader() {
    ZelGLog.SetLevel(5);
    ZelGLog.SetSink({});
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

 private:
  bool m_is_looking = false;
};

LogLine LineOf(const Zel_LogRecord& record) {
  return {record.level, record.category, record.source, record.function, record.text};
}

// Lines up to `level`, and all from the first one at that level on.
template <class Operation>
std::vector<LogLine> LinesRaisedAt(int level, Operation operation) {
  std::vector<LogLine> lines;
  const Reader reader(level, [&lines, level](const Zel_LogRecord& record) {
    lines.push_back(LineOf(record));
    if (record.level == level) ZelGLog.SetLevel(7);
  });
  operation();
  return lines;
}

TEST(LogReaders, SeeBranchesGoOneByOne) {
  Tree_NodePtr top =
      Inner("top", {Leaf("leaf", "1"), Inner("a", {Inner("b")}), Inner("c"), Inner("d")});
  std::vector<int> counts;
  {
    const Reader reader(7, [&](const Zel_LogRecord&) {
      counts.push_back(top->GetChildCount());
      EXPECT_EQ(top->GetChildCount(), top->DuplicateFromHereDown(false)->GetChildCount());
      EXPECT_NE(nullptr, top->Get(RWCString("leaf"), top.get()));
    });
    top->RemoveEmptyBranches();
  }
  // When "a" is asked for a value, "d" and "c" have gone already.
  ASSERT_FALSE(counts.empty());
  EXPECT_EQ(2, counts.front());
  EXPECT_EQ(1, top->GetChildCount());
}

TEST(LogReaders, GetTheLinesOfABuildFromWhereTheyRaiseTheLevel) {
  Tree_NodePtr built;
  std::vector<LogLine> lines = LinesRaisedAt(5, [&built] {
    RWCString path("top");
    built = Inner("asked")->BuildSubTree(NewList({"a=1", "a=2", "b=3", "c=4"}), path);
  });
  EXPECT_EQ(3, built->GetChildCount());
  EXPECT_EQ(2, std::count_if(lines.begin(), lines.end(), [](const LogLine& line) {
              return line.function == "Tree_Node::Add";
            }));
}

TEST(LogReaders, GetTheLinesOfAMergeFromWhereTheyRaiseTheLevel) {
  const auto chunks = [] {
    return Inner("chunks", {Leaf("blobencoding", "1"), Leaf("chunk0000", "1")});
  };
  Tree_NodePtr base = Inner("top", {chunks(), Leaf("z", "1")});
  Tree_NodePtr override = Inner("top", {chunks()});
  Tree_NodePtr merged;
  std::vector<LogLine> lines = LinesRaisedAt(6, [&] { merged = Tree_Node::Merge(base, override); });
  EXPECT_EQ(2, merged->GetChildCount());
  // The chunk area that moves, and the leaf that is copied.
  EXPECT_EQ(2, std::count_if(lines.begin(), lines.end(), [](const LogLine& line) {
              return line.function == "Tree_Node::Add";
            }));
}

TEST(LogReaders, MayRemoveTheNodeWhoseSubTreesAreListed) {
  Tree_NodePtr top = Inner("top", {Inner("node", {Inner("a")})});
  std::unique_ptr<String_Arr> names;
  {
    const Reader reader(7, [&top](const Zel_LogRecord& record) {
      const bool has_counted = std::string(record.function) == "Tree_Node::GetSubTreeNum" &&
                               std::string(record.text).rfind("End", 0) == 0;
      if (has_counted && top->GetChildCount() > 0) top->Remove(0);
    });
    names.reset(top->GetSubTreePaths(RWCString("node"), top));
  }
  EXPECT_EQ(0, top->GetChildCount());
  ASSERT_NE(nullptr, names);
  EXPECT_STREQ("a", names->GetStr(0));
}

}  // namespace
