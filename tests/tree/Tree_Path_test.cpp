// Tree_Path: how a path is cut, handed out, restarted and copied.

#include "Tree/Tree_Path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

struct SplitCase {
  RWCString path;
  std::vector<std::string> segments;
};

const SplitCase* SplitCases(std::size_t& count) {
  static const SplitCase kCases[] = {
      // Nothing is ever dropped: n separators give n + 1 segments.
      {"", {""}},
      {"a", {"a"}},
      {"a\\b", {"a", "b"}},
      {"a\\b\\c", {"a", "b", "c"}},
      {"a\\", {"a", ""}},
      {"\\a", {"", "a"}},
      {"\\", {"", ""}},
      {"\\\\\\", {"", "", "", ""}},
      {"a\\\\b", {"a", "", "b"}},
      {"\\a\\\\b\\", {"", "a", "", "b", ""}},
      // Nothing but the backslash separates, and nothing is stripped or folded.
      {"a/b", {"a/b"}},
      {" a \\\tb", {" a ", "\tb"}},
      {"A\\a", {"A", "a"}},
      {"long name\\x.y:z", {"long name", "x.y:z"}},
      {"%s\\%n", {"%s", "%n"}},
      {"\xc3\xa4\\\xff", {"\xc3\xa4", "\xff"}},
  };
  count = sizeof kCases / sizeof kCases[0];
  return kCases;
}

TEST(TreePath, HandsOutEverySegmentAndThenRepeatsTheLast) {
  std::size_t count = 0;
  const SplitCase* cases = SplitCases(count);
  for (std::size_t c = 0; c < count; ++c) {
    SCOPED_TRACE(Text(cases[c].path));
    const std::vector<std::string>& segments = cases[c].segments;
    Tree_Path path(cases[c].path);
    EXPECT_EQ(0, path.IsOnlyRoot());
    for (std::size_t i = 0; i < segments.size(); ++i) {
      EXPECT_EQ(segments[i], path.GetRootAsCharPtr());
      EXPECT_EQ(i + 1 == segments.size() ? 1 : 0, path.IsOnlyRoot());
    }
    for (int again = 0; again < 3; ++again) {
      EXPECT_EQ(segments.back(), path.GetRootAsCharPtr());
      EXPECT_EQ(1, path.IsOnlyRoot());
    }
  }
}

TEST(TreePath, HandsOutTheSameSegmentsAsStrings) {
  std::size_t count = 0;
  const SplitCase* cases = SplitCases(count);
  for (std::size_t c = 0; c < count; ++c) {
    SCOPED_TRACE(Text(cases[c].path));
    const std::vector<std::string>& segments = cases[c].segments;
    Tree_Path path(cases[c].path);
    for (std::size_t i = 0; i < segments.size(); ++i) {
      EXPECT_EQ(segments[i], Text(path.GetRoot()));
      EXPECT_EQ(i + 1 == segments.size() ? 1 : 0, path.IsOnlyRoot());
    }
    EXPECT_EQ(segments.back(), Text(path.GetRoot()));
    EXPECT_EQ(1, path.IsOnlyRoot());
  }
}

TEST(TreePath, BothWaysOfTakingASegmentMoveOneCursor) {
  Tree_Path path("a\\b\\c");
  EXPECT_STREQ("a", path.GetRootAsCharPtr());
  EXPECT_EQ("b", Text(path.GetRoot()));
  EXPECT_STREQ("c", path.GetRootAsCharPtr());
  EXPECT_EQ("c", Text(path.GetRoot()));
}

TEST(TreePath, KeepsSegmentsBehindOneAnotherAndReadable) {
  Tree_Path path("one\\\\three");
  char* const one = path.GetRootAsCharPtr();
  char* const two = path.GetRootAsCharPtr();
  char* const three = path.GetRootAsCharPtr();
  EXPECT_EQ(one + 4, two);
  EXPECT_EQ(two + 1, three);
  EXPECT_EQ(three, path.GetRootAsCharPtr());
  EXPECT_STREQ("one", one);
  EXPECT_STREQ("", two);
  EXPECT_STREQ("three", three);
}

TEST(TreePath, StandsOnItsOwnCopyOfTheText) {
  RWCString text("a\\b");
  Tree_Path path(text);
  path.GetRootAsCharPtr()[0] = 'z';
  text += "c";
  EXPECT_EQ("a\\bc", Text(text));
  EXPECT_STREQ("b", path.GetRootAsCharPtr());
}

TEST(TreePath, HandsOutNothingWhenNeverSet) {
  Tree_Path path;
  EXPECT_EQ(0, path.IsOnlyRoot());
  EXPECT_EQ(nullptr, path.GetRootAsCharPtr());
  EXPECT_EQ(nullptr, path.GetRootAsCharPtr());
  EXPECT_EQ(0, path.IsOnlyRoot());
}

// A zero byte ends a segment, but only backslashes are counted as separators, so
// what follows the last counted segment is never handed out.
TEST(TreePath, ReadsUpToAZeroByteButCountsBackslashes) {
  Tree_Path one(Bytes("a\0b"));
  EXPECT_STREQ("a", one.GetRootAsCharPtr());
  EXPECT_EQ(1, one.IsOnlyRoot());
  EXPECT_STREQ("a", one.GetRootAsCharPtr());

  Tree_Path two(Bytes("a\0b\\c"));
  EXPECT_STREQ("a", two.GetRootAsCharPtr());
  EXPECT_EQ(0, two.IsOnlyRoot());
  EXPECT_STREQ("b", two.GetRootAsCharPtr());
  EXPECT_EQ(1, two.IsOnlyRoot());
  EXPECT_STREQ("b", two.GetRootAsCharPtr());

  Tree_Path leading(Bytes("\0a"));
  EXPECT_STREQ("", leading.GetRootAsCharPtr());
  EXPECT_EQ(1, leading.IsOnlyRoot());
}

// The same, byte by byte.
std::vector<std::string> SegmentsOf(const std::string& path) {
  std::vector<std::string> pieces{""};
  std::size_t segments = 1;
  for (const char c : path) {
    if (c == '\\') ++segments;
    if (c == '\\' || c == '\0') {
      pieces.emplace_back();
    } else {
      pieces.back() += c;
    }
  }
  pieces.resize(segments);
  return pieces;
}

// Paths of every length, whose separators and zero bytes stand everywhere.
TEST(TreePath, CutsPathsOfAnyLengthAsTheyAreReadByteByByte) {
  std::mt19937 random(7);
  for (std::size_t round = 0; round < 20000; ++round) {
    std::string text(round % 70, 'x');
    for (char& c : text) {
      const auto choice = random() % 40;
      if (choice < 3) c = '\\';
      if (choice == 3 && round % 2 == 0) c = '\0';
    }
    SCOPED_TRACE(testing::PrintToString(text));
    Tree_Path path(RWCString(text.data(), text.size()));
    for (const std::string& segment : SegmentsOf(text)) {
      ASSERT_EQ(0, path.IsOnlyRoot());
      ASSERT_EQ(segment, path.GetRootAsCharPtr());
    }
    ASSERT_EQ(1, path.IsOnlyRoot());
    ASSERT_EQ(SegmentsOf(text).back(), path.GetRootAsCharPtr());
  }
}

TEST(TreePath, StartsWhenItIsSet) {
  Tree_Path path;
  path.SetPath("x\\y");
  EXPECT_EQ(0, path.IsOnlyRoot());
  EXPECT_STREQ("x", path.GetRootAsCharPtr());
  EXPECT_EQ(0, path.IsOnlyRoot());
  EXPECT_STREQ("y", path.GetRootAsCharPtr());
  EXPECT_EQ(1, path.IsOnlyRoot());
}

// The first text is lost on purpose; it came from the global operator new, starts
// at the first segment, and so the test can let it go instead of the path.
TEST(TreePath, StartsAgainWhenItIsSetAgainAndKeepsTheFirstText) {
  Tree_Path path("a\\b");
  char* const first_text = path.GetRootAsCharPtr();
  char* const b = path.GetRootAsCharPtr();
  EXPECT_EQ(1, path.IsOnlyRoot());

  path.SetPath("c\\d");
  EXPECT_EQ(0, path.IsOnlyRoot());
  EXPECT_STREQ("c", path.GetRootAsCharPtr());
  EXPECT_STREQ("d", path.GetRootAsCharPtr());
  EXPECT_EQ(1, path.IsOnlyRoot());
  EXPECT_STREQ("a", first_text);
  EXPECT_STREQ("b", b);
  ::operator delete(first_text);
}

TEST(TreePath, ACopyGoesOnWhereTheSourceStoodAndByItself) {
  Tree_Path source("a\\b\\c");
  source.GetRootAsCharPtr();
  Tree_Path copy(source);
  EXPECT_STREQ("b", source.GetRootAsCharPtr());
  EXPECT_STREQ("c", source.GetRootAsCharPtr());
  EXPECT_EQ(1, source.IsOnlyRoot());
  EXPECT_EQ(0, copy.IsOnlyRoot());
  EXPECT_STREQ("b", copy.GetRootAsCharPtr());
  EXPECT_STREQ("c", copy.GetRootAsCharPtr());
  EXPECT_EQ(1, copy.IsOnlyRoot());
}

TEST(TreePath, ACopyOutlivesItsSource) {
  Tree_Path copy;
  {
    Tree_Path source("a\\b");
    copy = source;
  }
  EXPECT_STREQ("a", copy.GetRootAsCharPtr());
  EXPECT_STREQ("b", copy.GetRootAsCharPtr());
}

TEST(TreePath, IsAssignedOverWhateverItHeld) {
  Tree_Path path("a\\b");
  path.GetRootAsCharPtr();
  Tree_Path other("c");
  path = other;
  EXPECT_EQ(0, path.IsOnlyRoot());
  EXPECT_STREQ("c", path.GetRootAsCharPtr());
  EXPECT_EQ(1, path.IsOnlyRoot());

  // An exhausted path stays exhausted in the copy.
  Tree_Path exhausted("x\\y");
  exhausted.GetRootAsCharPtr();
  exhausted.GetRootAsCharPtr();
  path = exhausted;
  EXPECT_EQ(1, path.IsOnlyRoot());
  EXPECT_STREQ("y", path.GetRootAsCharPtr());

  Tree_Path never_set;
  path = never_set;
  EXPECT_EQ(0, path.IsOnlyRoot());
  EXPECT_EQ(nullptr, path.GetRootAsCharPtr());
  Tree_Path copy_of_never_set(never_set);
  EXPECT_EQ(nullptr, copy_of_never_set.GetRootAsCharPtr());
}

TEST(TreePath, IsUnchangedWhenAssignedToItself) {
  Tree_Path path("a\\b");
  path.GetRootAsCharPtr();
  Tree_Path& same = path;
  path = same;
  EXPECT_EQ(0, path.IsOnlyRoot());
  EXPECT_STREQ("b", path.GetRootAsCharPtr());
  EXPECT_EQ(1, path.IsOnlyRoot());
}

TEST(TreePath, CutsAtTheBackslashWhateverPathsAreJoinedWith) {
  SeparatorGuard slash("/");
  Tree_Path path("a/b\\c");
  EXPECT_STREQ("a/b", path.GetRootAsCharPtr());
  EXPECT_STREQ("c", path.GetRootAsCharPtr());
}

TEST(TreePath, CutsAHundredThousandSegments) {
  constexpr int kSegments = 100000;
  std::string text;
  for (int i = 0; i < kSegments; ++i) text += (i == 0 ? "s" : "\\s") + std::to_string(i);
  Tree_Path path(RWCString(text.data(), text.size()));
  for (int i = 0; i < kSegments; ++i) {
    ASSERT_EQ("s" + std::to_string(i), path.GetRootAsCharPtr());
    ASSERT_EQ(i + 1 == kSegments ? 1 : 0, path.IsOnlyRoot());
  }
}

TEST(TreePath, WritesNothing) {
  LogCapture log;
  Tree_Path path("a\\b");
  path.GetRoot();
  path.GetRootAsCharPtr();
  path.IsOnlyRoot();
  Tree_Path never_set;
  never_set.GetRootAsCharPtr();
  never_set = path;
  EXPECT_NO_LOG(log);
}

TEST(TreePath, LosesNothingWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  const RWCString text("a\\b\\c");
  const int made = FailEveryAllocation([&] { Tree_Path path(text); }, [] {});
  EXPECT_EQ(1, made);

  Tree_Path source(text);
  source.GetRootAsCharPtr();
  FailEveryAllocation([&] { Tree_Path copy(source); }, [] {});
  Tree_Path target("x\\y");
  FailEveryAllocation([&] { target = source; }, [] {});
  EXPECT_STREQ("b", target.GetRootAsCharPtr());
  Tree_Path fresh;
  FailEveryAllocation([&] { fresh.SetPath(text); }, [] {});
  EXPECT_STREQ("a", fresh.GetRootAsCharPtr());
  EXPECT_STREQ("b", source.GetRootAsCharPtr());
}

}  // namespace
