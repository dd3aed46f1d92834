#include "rw/RWTPtrOrderedVector.h"

#include <gtest/gtest.h>

#include "rw/RWCString.h"

namespace {

TEST(RWTPtrOrderedVector, StartsEmpty) {
  const RWTPtrOrderedVector<int> vec;
  EXPECT_EQ(0u, vec.entries());
  EXPECT_TRUE(vec.isEmpty());
  EXPECT_EQ(0u, RWTPtrOrderedVector<int>(100).entries());
}

TEST(RWTPtrOrderedVector, KeepsTheOrderOfAppendAndInsert) {
  int a = 1, b = 2;
  RWTPtrOrderedVector<int> vec;
  vec.append(&a);
  vec.insert(&b);
  vec.append(nullptr);
  vec.insert(&a);
  ASSERT_EQ(4u, vec.entries());
  EXPECT_EQ(&a, vec.at(0));
  EXPECT_EQ(&b, vec[1]);
  EXPECT_EQ(nullptr, vec.at(2));
  EXPECT_EQ(&a, vec[3]);
}

TEST(RWTPtrOrderedVector, EntriesCanBeReplacedThroughBothAccessors) {
  int a = 1, b = 2;
  RWTPtrOrderedVector<int> vec;
  vec.append(&a);
  vec.append(&a);
  vec.at(0) = &b;
  vec[1] = nullptr;
  const RWTPtrOrderedVector<int>& read = vec;
  EXPECT_EQ(&b, read.at(0));
  EXPECT_EQ(nullptr, read[1]);
}

TEST(RWTPtrOrderedVector, ThrowsForABadIndex) {
  int a = 1;
  RWTPtrOrderedVector<int> vec;
  EXPECT_THROW(vec.at(0), RWBoundsErr);
  vec.append(&a);
  const RWTPtrOrderedVector<int>& read = vec;
  EXPECT_THROW(vec.at(1), RWBoundsErr);
  EXPECT_THROW(vec[1], RWBoundsErr);
  EXPECT_THROW(read.at(1), RWBoundsErr);
  EXPECT_THROW(read[1], RWBoundsErr);
  try {
    vec.at(static_cast<std::size_t>(-1));
    FAIL() << "nothing was thrown";
  } catch (const RWBoundsErr& error) {
    EXPECT_EQ(-1, error.index());
    EXPECT_EQ(1u, error.count());
  }
}

TEST(RWTPtrOrderedVector, ClearForgetsThePointersAndFreesNothing) {
  auto* text = new RWCString("kept");
  RWTPtrOrderedVector<RWCString> vec;
  vec.append(text);
  vec.clear();
  EXPECT_EQ(0u, vec.entries());
  EXPECT_STREQ("kept", text->data());
  delete text;
}

TEST(RWTPtrOrderedVector, ResizeReservesAndNeverChangesTheEntries) {
  int numbers[100] = {};
  RWTPtrOrderedVector<int> vec;
  vec.append(&numbers[0]);
  vec.resize(100);
  EXPECT_EQ(1u, vec.entries());
  int** const first = &vec.at(0);
  for (int i = 1; i < 100; ++i) vec.append(&numbers[i]);
  EXPECT_EQ(first, &vec.at(0)) << "the room was not reserved";
  vec.resize(1);
  EXPECT_EQ(100u, vec.entries());
  EXPECT_EQ(first, &vec.at(0));
}

TEST(RWTPtrOrderedVector, ClientsMayMakeAndDeleteItOnTheHeap) {
  int a = 1;
  auto* vec = new RWTPtrOrderedVector<int>;
  vec->append(&a);
  EXPECT_EQ(1u, vec->entries());
  delete vec;
}

}  // namespace
