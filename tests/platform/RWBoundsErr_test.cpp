#include "rw/RWBoundsErr.h"

#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <string>

namespace {

struct TextCase {
  long long index;
  std::size_t count;
  const char* text;
};

const TextCase kTextCases[] = {
    {5, 3, "index 5 is out of range, count is 3"},
    {0, 0, "index 0 is out of range, count is 0"},
    {-1, 7, "index -1 is out of range, count is 7"},
    {std::numeric_limits<long long>::min(), 1,
     "index -9223372036854775808 is out of range, count is 1"},
    {std::numeric_limits<long long>::max(), 1,
     "index 9223372036854775807 is out of range, count is 1"},
};

TEST(RWBoundsErr, NamesIndexAndCount) {
  for (const TextCase& c : kTextCases) {
    const RWBoundsErr error(c.index, c.count);
    EXPECT_STREQ(c.text, error.what());
    EXPECT_EQ(c.index, error.index());
    EXPECT_EQ(c.count, error.count());
  }
}

TEST(RWBoundsErr, IsCaughtAsAStandardException) {
  try {
    RWBoundsErr::Raise(4, 2);
    FAIL() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_STREQ("index 4 is out of range, count is 2", error.what());
  }
}

TEST(RWBoundsErr, CopiesKeepTextAndNumbers) {
  RWBoundsErr copy(0, 0);
  {
    const RWBoundsErr error(9, 8);
    copy = error;
    EXPECT_STREQ("index 9 is out of range, count is 8", RWBoundsErr(error).what());
  }
  EXPECT_STREQ("index 9 is out of range, count is 8", copy.what());
  EXPECT_EQ(9, copy.index());
  EXPECT_EQ(8u, copy.count());
}

}  // namespace
