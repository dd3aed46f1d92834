// Tree_PathAndValueArray: a list of pairs of a fixed length.

#include "Tree/Tree_PathAndValueArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <string>

#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

void ExpectPlace(const char* path, const char* value, Tree_PathAndValueArray& array, int i) {
  SCOPED_TRACE(i);
  Tree_ValueAndPath* const pair = array.GetPV(i);
  ASSERT_NE(nullptr, pair);
  EXPECT_STREQ(path, pair->GetPath());
  EXPECT_STREQ(value, pair->GetValue());
}

TEST(PathAndValueArray, HasAsManyEmptyPlacesAsAskedFor) {
  for (int size : {0, 1, 3, 1000}) {
    SCOPED_TRACE(size);
    Tree_PathAndValueArray array(size);
    EXPECT_EQ(size, array.GetArrLen());
    for (int i = 0; i < size; ++i) ExpectPlace("", "", array, i);
    EXPECT_EQ(nullptr, array.GetPV(size));
  }
}

// Whatever stood in its memory before.
TEST(PathAndValueArray, HasPlacesThatAreZeroAllOver) {
  for (const int size : {1, 10, 2000}) {
    SCOPED_TRACE(size);
    for (int round = 0; round < 2; ++round) {
      Tree_PathAndValueArray array(size);
      for (int i = 0; i < size; ++i) {
        Tree_ValueAndPath* const pair = array.GetPV(i);
        EXPECT_EQ(600, std::count(pair->GetPath(), pair->GetPath() + 600, '\0'));
        EXPECT_EQ(3072, std::count(pair->GetValue(), pair->GetValue() + 3072, '\0'));
        std::memset(pair->GetPath(), 'p', 600);
        std::memset(pair->GetValue(), 'v', 3072);
      }
    }
  }
}

TEST(PathAndValueArray, RefusesANegativeLength) {
  EXPECT_THROW(Tree_PathAndValueArray(-1), std::length_error);
  EXPECT_THROW(Tree_PathAndValueArray(INT_MIN), std::length_error);
}

TEST(PathAndValueArray, IsFilledFromPairsStringsAndTexts) {
  Tree_PathAndValueArray array(4);
  Tree_ValueAndPath pair("path of a pair", "value of a pair");
  array.SetPV(2, pair);
  array.SetPV(0, RWCString("path"), RWCString("value"));
  array.SetPV(3, "p", "v");
  ExpectPlace("path", "value", array, 0);
  ExpectPlace("", "", array, 1);
  ExpectPlace("path of a pair", "value of a pair", array, 2);
  ExpectPlace("p", "v", array, 3);

  const char* const null = nullptr;
  array.SetPV(3, "q", null);
  ExpectPlace("q", "", array, 3);
  array.SetPV(0, RWCString(), Bytes("v\0w"));
  ExpectPlace("", "v", array, 0);
  EXPECT_STREQ("value of a pair", pair.GetValue());
}

TEST(PathAndValueArray, TakesTextsButNotWhatStandsBehindThem) {
  Tree_ValueAndPath pair("p", "v");
  pair.GetPath()[5] = 'x';
  pair.GetValue()[5] = 'y';
  Tree_PathAndValueArray array(1);
  array.SetPV(0, pair);
  EXPECT_EQ('\0', array.GetPV(0)->GetPath()[5]);
  EXPECT_EQ('\0', array.GetPV(0)->GetValue()[5]);
}

TEST(PathAndValueArray, CutsAtTheWidthOfTheFields) {
  const std::string text(4000, 't');
  Tree_PathAndValueArray array(3);
  Tree_ValueAndPath pair(text.c_str(), text.c_str());
  array.SetPV(0, pair);
  array.SetPV(1, RWCString(text.c_str()), RWCString(text.c_str()));
  array.SetPV(2, text.c_str(), text.c_str());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(text.substr(0, 600), std::string(array.GetPV(i)->GetPath(), 600));
    EXPECT_EQ(text.substr(0, 3072), std::string(array.GetPV(i)->GetValue(), 3072));
  }
}

TEST(PathAndValueArray, HasNoPlacesOutside) {
  Tree_PathAndValueArray array(2);
  array.SetPV(0, "a", "1");
  array.SetPV(1, "b", "2");
  Tree_ValueAndPath pair("p", "v");
  for (int i : {-1, 2, 3, INT_MIN, INT_MAX}) {
    EXPECT_EQ(nullptr, array.GetPV(i));
    array.SetPV(i, pair);
    array.SetPV(i, RWCString("p"), RWCString("v"));
    array.SetPV(i, "p", "v");
  }
  EXPECT_EQ(2, array.GetArrLen());
  ExpectPlace("a", "1", array, 0);
  ExpectPlace("b", "2", array, 1);

  Tree_PathAndValueArray none(0);
  none.SetPV(0, "p", "v");
  EXPECT_EQ(nullptr, none.GetPV(0));
  EXPECT_EQ(0, none.GetArrLen());
}

TEST(PathAndValueArray, HandsOutThePlacesThemselves) {
  Tree_PathAndValueArray array(2);
  array.GetPV(1)->SetPathAndValue("p", "v");
  ExpectPlace("p", "v", array, 1);
  EXPECT_EQ(array.GetPV(0) + 1, array.GetPV(1));
}

TEST(PathAndValueArray, IsUnchangedByAPlaceSetToItself) {
  Tree_PathAndValueArray array(1);
  array.SetPV(0, "p", "v");
  array.SetPV(0, *array.GetPV(0));
  array.SetPV(0, array.GetPV(0)->GetPath(), array.GetPV(0)->GetValue());
  ExpectPlace("p", "v", array, 0);
}

TEST(PathAndValueArray, CopiesAreIndependent) {
  Tree_PathAndValueArray source(2);
  source.SetPV(0, "a", "1");
  source.SetPV(1, "b", "2");
  Tree_PathAndValueArray copy(source);
  source.SetPV(0, "changed", "0");
  EXPECT_EQ(2, copy.GetArrLen());
  ExpectPlace("a", "1", copy, 0);
  ExpectPlace("b", "2", copy, 1);

  // Assigned over longer and shorter ones, the length goes along.
  for (int size : {0, 1, 5}) {
    Tree_PathAndValueArray target(size);
    target = copy;
    EXPECT_EQ(2, target.GetArrLen());
    ExpectPlace("b", "2", target, 1);
    EXPECT_EQ(nullptr, target.GetPV(2));
    target.SetPV(1, "c", "3");
    ExpectPlace("b", "2", copy, 1);
  }
  Tree_PathAndValueArray& same = copy;
  copy = same;
  EXPECT_EQ(2, copy.GetArrLen());
  ExpectPlace("a", "1", copy, 0);
}

TEST(PathAndValueArray, WritesNothing) {
  LogCapture log;
  Tree_PathAndValueArray array(1);
  array.SetPV(5, "p", "v");
  array.GetPV(5);
  array.GetPV(-1);
  EXPECT_NO_LOG(log);
}

}  // namespace
