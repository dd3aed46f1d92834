#ifndef CFGTREE_TESTS_PROGRAMLINE_H
#define CFGTREE_TESTS_PROGRAMLINE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "ChildProcess.h"

// The program failed with this exit code, wrote nothing to standard output, and this one
// line to standard error.  A line that ends in "..." stands for any that begins so.
inline void ExpectRefusal(const RunResult& result, int code, const std::string& line) {
  EXPECT_EQ(result.code, code);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  const std::string expected = "cfgtree: " + line;
  const std::size_t beginning = expected.size() - 3;
  if (expected.compare(beginning, 3, "...") == 0) {
    EXPECT_EQ(result.err.substr(0, beginning), expected.substr(0, beginning)) << result.err;
  } else {
    EXPECT_EQ(result.err, expected + "\n");
  }
}

#endif  // CFGTREE_TESTS_PROGRAMLINE_H
