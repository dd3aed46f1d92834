// Tree_ValueAndPath: one pair in two fields of fixed width.

#include "Tree/Tree_ValueAndPath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

constexpr std::size_t kValueWidth = 3072;
constexpr std::size_t kPathWidth = 600;

std::string Whole(const char* field, std::size_t width) {
  return std::string(field, width);
}
std::string WholeValue(Tree_ValueAndPath& pair) {
  return Whole(pair.GetValue(), kValueWidth);
}
std::string WholePath(Tree_ValueAndPath& pair) {
  return Whole(pair.GetPath(), kPathWidth);
}

// The first `width` bytes of a text, and zero bytes behind it.
std::string Filled(std::string text, std::size_t width) {
  text.resize(width, '\0');
  return text;
}

void ExpectPair(const std::string& path, const std::string& value, Tree_ValueAndPath& pair) {
  EXPECT_EQ(Filled(path, kPathWidth), WholePath(pair));
  EXPECT_EQ(Filled(value, kValueWidth), WholeValue(pair));
}

// Fills both fields to the last byte, so that what a later call leaves of it shows.
void Soil(Tree_ValueAndPath& pair) {
  std::memset(pair.GetValue(), '#', kValueWidth);
  std::memset(pair.GetPath(), '#', kPathWidth);
}

TEST(ValueAndPath, HoldsTheValueFirstAndNothingElse) {
  EXPECT_EQ(kValueWidth + kPathWidth, sizeof(Tree_ValueAndPath));
  EXPECT_EQ(3072, Tree_ValueAndPath::kValueWidth);
  EXPECT_EQ(600, Tree_ValueAndPath::kPathWidth);
  Tree_ValueAndPath pair;
  EXPECT_EQ(reinterpret_cast<char*>(&pair), pair.GetValue());
  EXPECT_EQ(pair.GetValue() + kValueWidth, pair.GetPath());
}

TEST(ValueAndPath, BeginsEmpty) {
  Tree_ValueAndPath pair;
  EXPECT_STREQ("", pair.GetPath());
  EXPECT_STREQ("", pair.GetValue());
}

TEST(ValueAndPath, TakesPathFirstAndValueSecond) {
  Tree_ValueAndPath from_strings(RWCString("p"), RWCString("v"));
  ExpectPair("p", "v", from_strings);
  Tree_ValueAndPath from_texts("p", "v");
  ExpectPair("p", "v", from_texts);
  Soil(from_strings);
  from_strings.SetPathAndValue(RWCString("path"), RWCString("value"));
  ExpectPair("path", "value", from_strings);
  Soil(from_texts);
  from_texts.SetPathAndValue("path", "value");
  ExpectPair("path", "value", from_texts);
}

TEST(ValueAndPath, TakesANullValueForAnEmptyOne) {
  const char* const null = nullptr;
  Tree_ValueAndPath pair("p", null);
  EXPECT_STREQ("p", pair.GetPath());
  EXPECT_STREQ("", pair.GetValue());
  pair.SetValue("old value");
  pair.SetPathAndValue("q", null);
  EXPECT_STREQ("q", pair.GetPath());
  EXPECT_STREQ("", pair.GetValue());
}

TEST(ValueAndPath, FillsOneFieldAndLeavesTheOther) {
  Tree_ValueAndPath pair("p", "v");
  Soil(pair);
  pair.SetPath("new path");
  EXPECT_EQ(Filled("new path", kPathWidth), WholePath(pair));
  EXPECT_EQ(std::string(kValueWidth, '#'), WholeValue(pair));
  Soil(pair);
  pair.SetValue("new value");
  EXPECT_EQ(std::string(kPathWidth, '#'), WholePath(pair));
  EXPECT_EQ(Filled("new value", kValueWidth), WholeValue(pair));
  pair.SetPath("");
  pair.SetValue("");
  ExpectPair("", "", pair);
}

// A text of the full width or longer is cut and leaves no zero byte.
TEST(ValueAndPath, CutsWhatDoesNotFit) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += static_cast<char>('a' + i % 26);
  for (std::size_t length :
       {std::size_t{0}, std::size_t{1}, kPathWidth - 1, kPathWidth, kPathWidth + 1, kValueWidth - 1,
        kValueWidth, kValueWidth + 1, std::size_t{5000}}) {
    SCOPED_TRACE(length);
    const std::string cut = text.substr(0, length);
    const RWCString string(cut.data(), cut.size());

    Tree_ValueAndPath from_texts(cut.c_str(), cut.c_str());
    ExpectPair(cut, cut, from_texts);
    Tree_ValueAndPath from_strings(string, string);
    ExpectPair(cut, cut, from_strings);
    Tree_ValueAndPath pair;
    Soil(pair);
    pair.SetPath(cut.c_str());
    pair.SetValue(cut.c_str());
    ExpectPair(cut, cut, pair);
    Soil(pair);
    pair.SetPathAndValue(string, string);
    ExpectPair(cut, cut, pair);
    Soil(pair);
    pair.SetPathAndValue(cut.c_str(), cut.c_str());
    ExpectPair(cut, cut, pair);

    Tree_ValueAndPath copy(pair);
    ExpectPair(cut, cut, copy);
    Soil(copy);
    copy.SetPathAndValue(pair);
    ExpectPair(cut, cut, copy);
    Soil(copy);
    copy = pair;
    ExpectPair(cut, cut, copy);
    // Fields without a zero byte may be given to a field of the same width.
    Soil(copy);
    copy.SetPath(pair.GetPath());
    copy.SetValue(pair.GetValue());
    ExpectPair(cut, cut, copy);
  }
}

TEST(ValueAndPath, ReadsStringsUpToAZeroByte) {
  Tree_ValueAndPath pair(Bytes("p\0q"), Bytes("v\0w"));
  ExpectPair("p", "v", pair);
  Soil(pair);
  pair.SetPathAndValue(Bytes("\0q"), Bytes("\0w"));
  ExpectPair("", "", pair);
}

// Copies go text by text, except the assignment, which takes every byte.
TEST(ValueAndPath, CopiesTextsButAssignsBytes) {
  Tree_ValueAndPath source("p", "v");
  source.GetPath()[3] = 'x';
  source.GetValue()[3] = 'y';

  Tree_ValueAndPath copy(source);
  ExpectPair("p", "v", copy);
  Tree_ValueAndPath set;
  Soil(set);
  set.SetPathAndValue(source);
  ExpectPair("p", "v", set);

  Tree_ValueAndPath assigned;
  Soil(assigned);
  EXPECT_EQ(&assigned, &(assigned = source));
  EXPECT_EQ(WholePath(source), WholePath(assigned));
  EXPECT_EQ(WholeValue(source), WholeValue(assigned));
  EXPECT_EQ('x', assigned.GetPath()[3]);
  EXPECT_EQ('y', assigned.GetValue()[3]);
}

TEST(ValueAndPath, IsUnchangedWhenCopiedOntoItself) {
  const std::string path(kPathWidth, 'p');
  const std::string value(kValueWidth, 'v');
  for (bool full : {false, true}) {
    SCOPED_TRACE(full);
    Tree_ValueAndPath pair(full ? path.c_str() : "p", full ? value.c_str() : "v");
    const std::string path_before = WholePath(pair);
    const std::string value_before = WholeValue(pair);
    pair.SetPathAndValue(pair);
    Tree_ValueAndPath& same = pair;
    pair = same;
    pair.SetPath(pair.GetPath());
    pair.SetValue(pair.GetValue());
    pair.SetPathAndValue(pair.GetPath(), pair.GetValue());
    EXPECT_EQ(path_before, WholePath(pair));
    EXPECT_EQ(value_before, WholeValue(pair));
  }
}

TEST(ValueAndPath, HandsOutTheFieldsThemselves) {
  Tree_ValueAndPath pair("p", "v");
  pair.GetPath()[0] = 'q';
  pair.GetValue()[0] = 'w';
  EXPECT_STREQ("q", pair.GetPath());
  EXPECT_STREQ("w", pair.GetValue());
}

TEST(ValueAndPath, WritesNothing) {
  LogCapture log;
  Tree_ValueAndPath pair(std::string(1000, 'p').c_str(), std::string(5000, 'v').c_str());
  pair.SetPathAndValue("p", nullptr);
  EXPECT_NO_LOG(log);
}

}  // namespace
