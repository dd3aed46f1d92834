#include "rw/RWTValOrderedVector.h"

#include <gtest/gtest.h>

#include "rw/RWCString.h"

namespace {

TEST(RWTValOrderedVector, StartsEmpty) {
  const RWTValOrderedVector<RWCString> vec;
  EXPECT_EQ(0u, vec.entries());
  EXPECT_TRUE(vec.isEmpty());
  EXPECT_EQ(0u, RWTValOrderedVector<RWCString>(100).entries());
}

TEST(RWTValOrderedVector, KeepsCopiesInTheOrderOfAppendAndInsert) {
  RWTValOrderedVector<RWCString> vec;
  RWCString first("first");
  vec.append(first);
  vec.insert(RWCString("second"));
  first.append(" changed");
  ASSERT_EQ(2u, vec.entries());
  EXPECT_STREQ("first", vec.at(0).data());
  EXPECT_STREQ("second", vec[1].data());
}

TEST(RWTValOrderedVector, MayAppendAnEntryOfItsOwn) {
  RWTValOrderedVector<RWCString> vec;
  vec.append("x");
  for (int i = 0; i < 100; ++i) vec.append(vec.at(0));
  EXPECT_EQ(101u, vec.entries());
  for (std::size_t i = 0; i < vec.entries(); ++i) EXPECT_STREQ("x", vec.at(i).data());
}

TEST(RWTValOrderedVector, ThrowsForABadIndex) {
  RWTValOrderedVector<int> vec;
  EXPECT_THROW(vec.at(0), RWBoundsErr);
  vec.append(5);
  const RWTValOrderedVector<int>& read = vec;
  EXPECT_THROW(vec.at(1), RWBoundsErr);
  EXPECT_THROW(vec[1], RWBoundsErr);
  EXPECT_THROW(read.at(1), RWBoundsErr);
  try {
    read[static_cast<std::size_t>(-3)];
    FAIL() << "nothing was thrown";
  } catch (const RWBoundsErr& error) {
    EXPECT_EQ(-3, error.index());
    EXPECT_EQ(1u, error.count());
  }
}

TEST(RWTValOrderedVector, EntriesCanBeChangedInPlace) {
  RWTValOrderedVector<int> vec;
  vec.append(1);
  vec.append(2);
  vec.at(0) = 10;
  vec[1] = 20;
  EXPECT_EQ(10, vec.at(0));
  EXPECT_EQ(20, vec.at(1));
  vec.clear();
  EXPECT_EQ(0u, vec.entries());
}

TEST(RWTValOrderedVector, ResizeReservesAndNeverChangesTheEntries) {
  RWTValOrderedVector<int> vec;
  vec.append(7);
  vec.resize(50);
  EXPECT_EQ(1u, vec.entries());
  const int* const first = &vec.at(0);
  for (int i = 1; i < 50; ++i) vec.append(i);
  EXPECT_EQ(first, &vec.at(0)) << "the room was not reserved";
  vec.resize(0);
  EXPECT_EQ(50u, vec.entries());
}

}  // namespace
