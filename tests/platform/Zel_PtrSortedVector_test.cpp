#include "Zel/Zel_PtrSortedVector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

struct Record {
  int key;
  int number;  // of insertion
  bool operator<(const Record& other) const { return key < other.key; }
};

std::vector<int> KeysOf(const Zel_PtrSortedVector<Record>& vec) {
  std::vector<int> keys;
  for (std::size_t i = 0; i < vec.entries(); ++i) keys.push_back(vec.at(i)->key);
  return keys;
}

TEST(Zel_PtrSortedVector, KeepsRecordsInOrder) {
  Record a{3, 0}, b{1, 1}, c{2, 2}, d{0, 3}, e{4, 4};
  Zel_PtrSortedVector<Record> vec;
  EXPECT_TRUE(vec.isEmpty());
  for (Record* record : {&a, &b, &c, &d, &e}) vec.insert(record);
  EXPECT_EQ(5u, vec.entries());
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4}), KeysOf(vec));
}

TEST(Zel_PtrSortedVector, PutsEqualRecordsInTheOrderOfTheirInsertion) {
  Record first{5, 0}, second{5, 1}, third{5, 2}, small{1, 3}, large{9, 4};
  Zel_PtrSortedVector<Record> vec;
  for (Record* record : {&large, &first, &small, &second, &third}) vec.insert(record);
  EXPECT_EQ(&small, vec[0]);
  EXPECT_EQ(&first, vec[1]);
  EXPECT_EQ(&second, vec[2]);
  EXPECT_EQ(&third, vec[3]);
  EXPECT_EQ(&large, vec[4]);
}

TEST(Zel_PtrSortedVector, TakesTheSameRecordTwice) {
  Record a{1, 0};
  Zel_PtrSortedVector<Record> vec;
  vec.insert(&a);
  vec.insert(&a);
  EXPECT_EQ(2u, vec.entries());
}

TEST(Zel_PtrSortedVector, AgreesWithAStableSort) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::vector<Record> records(1000);
  Zel_PtrSortedVector<Record> vec;
  for (int i = 0; i < 1000; ++i) {
    records[static_cast<std::size_t>(i)] = {static_cast<int>(random() % 50), i};
  }
  for (Record& record : records) vec.insert(&record);
  std::vector<Record> sorted = records;
  std::stable_sort(sorted.begin(), sorted.end());
  ASSERT_EQ(sorted.size(), vec.entries());
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    EXPECT_EQ(sorted[i].number, vec.at(i)->number) << "at " << i;
  }
}

TEST(Zel_PtrSortedVector, ThrowsForABadIndex) {
  Record a{1, 0};
  Zel_PtrSortedVector<Record> vec;
  EXPECT_THROW(vec.at(0), RWBoundsErr);
  vec.insert(&a);
  EXPECT_THROW(vec[1], RWBoundsErr);
  EXPECT_THROW(vec.at(static_cast<std::size_t>(-1)), RWBoundsErr);
}

TEST(Zel_PtrSortedVector, ClearForgetsTheRecords) {
  Record a{1, 0};
  Zel_PtrSortedVector<Record> vec;
  vec.resize(10);
  EXPECT_EQ(0u, vec.entries());
  vec.insert(&a);
  vec.clear();
  EXPECT_EQ(0u, vec.entries());
  EXPECT_EQ(1, a.key);
}

}  // namespace
