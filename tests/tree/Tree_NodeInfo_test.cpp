// Tree_NodeInfo: one node as a path and a value, and the order that sorts a list of them.

#include "Tree/Tree_NodeInfo.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PtrSortedVector.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

Tree_NodeInfo WithPath(RWCString path) {
  Tree_NodeInfo info;
  info.SetPath(path);
  return info;
}

// --- Fields -----------------------------------------------------------------------

TEST(NodeInfo, BeginsWithoutPathParentValueAndFlag) {
  const Tree_NodeInfo info;
  EXPECT_EQ("", Text(info.GetPath()));
  EXPECT_EQ("", Text(info.GetParentPath()));
  EXPECT_EQ("", Text(info.GetValue()));
  EXPECT_EQ(0, info.IsChange());
}

TEST(NodeInfo, KeepsThePathAsItIs) {
  for (const RWCString& path :
       {RWCString("a"), RWCString("a\\b"), RWCString(" a \\"), RWCString("\\\\"), RWCString("\t"),
        Bytes("a\0b"), Bytes("\0"), RWCString(std::string(5000, 'p').c_str()), RWCString()}) {
    SCOPED_TRACE(testing::PrintToString(Text(path)));
    Tree_NodeInfo info = WithPath("before");
    RWCString text = path;
    info.SetPath(text);
    EXPECT_EQ(Text(path), Text(info.GetPath()));
    EXPECT_EQ(Text(path), Text(text));
  }
}

TEST(NodeInfo, HasAPathOfItsOwn) {
  RWCString path("a\\b");
  Tree_NodeInfo info = WithPath(path);
  path.append("\\c");
  EXPECT_EQ("a\\b", Text(info.GetPath()));
  RWCString taken = info.GetPath();
  taken[0] = 'z';
  EXPECT_EQ("a\\b", Text(info.GetPath()));
}

TEST(NodeInfo, KeepsTheParentPathIndexWhenThePathChanges) {
  Tree_NodeInfo info = WithPath("net\\port");
  info.SetParentPathIndex(3);
  RWCString other("cfg\\x");
  info.SetPath(other);
  EXPECT_EQ("cfg", Text(info.GetParentPath()));
  other = "a";
  info.SetPath(other);
  EXPECT_EQ("a", Text(info.GetParentPath()));
  other = "longer\\x";
  info.SetPath(other);
  EXPECT_EQ("lon", Text(info.GetParentPath()));
}

TEST(NodeInfo, KeepsOnlyTheLengthOfTheParentPath) {
  Tree_NodeInfo info = WithPath("net\\port");
  RWCString parent("net");
  info.SetParentPath(parent);
  EXPECT_EQ("net", Text(info.GetParentPath()));
  parent = "something else";
  EXPECT_EQ("net", Text(info.GetParentPath()));

  // Another text of that length counts for nothing but its length.
  RWCString wrong("XYZAB");
  info.SetParentPath(wrong);
  EXPECT_EQ("net\\p", Text(info.GetParentPath()));
  RWCString zeros = Bytes("\0\0");
  info.SetParentPath(zeros);
  EXPECT_EQ("ne", Text(info.GetParentPath()));
  RWCString longer("longer than the path");
  info.SetParentPath(longer);
  EXPECT_EQ("net\\port", Text(info.GetParentPath()));
  RWCString empty;
  info.SetParentPath(empty);
  EXPECT_EQ("", Text(info.GetParentPath()));
}

struct IndexCase {
  const char* path;
  int index;
  const char* parent_path;
};
const IndexCase kIndexCases[] = {
    // Within the path, on a separator or not.
    {"a\\b", 0, ""},
    {"a\\b", 1, "a"},
    {"a\\b", 2, "a\\"},
    {"a\\b", 3, "a\\b"},
    {"net\\port", 3, "net"},
    {"net\\port", 5, "net\\p"},
    {"\\a", 1, "\\"},

    // Outside of it.
    {"a\\b", 4, "a\\b"},
    {"a\\b", INT_MAX, "a\\b"},
    {"a\\b", -1, ""},
    {"a\\b", INT_MIN, ""},
    {"", 0, ""},
    {"", 1, ""},
    {"", -1, ""},
};

TEST(NodeInfo, TakesAnIndexOutsideThePathForTheNearestInside) {
  for (const IndexCase& c : kIndexCases) {
    SCOPED_TRACE(testing::Message() << c.path << " at " << c.index);
    Tree_NodeInfo info = WithPath(c.path);
    info.SetParentPathIndex(c.index);
    EXPECT_EQ(c.parent_path, Text(info.GetParentPath()));
    EXPECT_EQ(c.path, Text(info.GetPath()));
  }
}

TEST(NodeInfo, CutsAPathWithZeroBytesByItsBytes) {
  Tree_NodeInfo info = WithPath(Bytes("a\0b\\c"));
  info.SetParentPathIndex(3);
  EXPECT_EQ(std::string("a\0b", 3), Text(info.GetParentPath()));
  info.SetParentPathIndex(2);
  EXPECT_EQ(std::string("a\0", 2), Text(info.GetParentPath()));
}

TEST(NodeInfo, InternsTheValueAsItIs) {
  for (const RWCString& value :
       {RWCString("80"), RWCString("  80  "), RWCString(" "), RWCString("\t"), RWCString("a\\b"),
        RWCString(), Bytes("v\0w"), Bytes("\0")}) {
    SCOPED_TRACE(testing::PrintToString(Text(value)));
    Tree_NodeInfo info;
    RWCString text = value;
    info.SetValue(text);
    EXPECT_EQ(Text(value), Text(info.GetValue()));
    EXPECT_EQ(Text(value), Text(text));

    // Equal texts are one text, here and in every tree.
    Tree_NodeInfo other;
    RWCString same(value.data(), value.length());
    other.SetValue(same);
    EXPECT_EQ(info.GetValue().data(), other.GetValue().data());
    EXPECT_EQ(info.GetValue().data(), Tree_Value(same, 0).GetValue().data());
  }
}

TEST(NodeInfo, TakesAnotherValueAndForgetsTheOld) {
  Tree_NodeInfo info;
  RWCString value("one");
  info.SetValue(value);
  RWCString taken = info.GetValue();
  value = "two";
  EXPECT_EQ("one", Text(info.GetValue()));
  info.SetValue(value);
  EXPECT_EQ("two", Text(info.GetValue()));
  EXPECT_EQ("one", Text(taken));
  taken[0] = 'z';
  value = "one";
  info.SetValue(value);
  EXPECT_EQ("one", Text(info.GetValue()));
}

TEST(NodeInfo, KeepsAnyNumberAsChangeFlag) {
  Tree_NodeInfo info;
  for (int flag : {1, 0, -1, 2, INT_MAX, INT_MIN}) {
    info.SetIsChange(flag);
    EXPECT_EQ(flag, info.IsChange());
  }
}

TEST(NodeInfo, WritesNoLine) {
  RWCString path("a\\b");
  RWCString value("80");
  Tree_NodeInfo known;
  known.SetValue(value);
  LogCapture log;
  Tree_NodeInfo info;
  info.SetPath(path);
  info.SetParentPathIndex(-7);
  info.GetParentPath();
  info.GetValue();
  info.SetValue(value);
  EXPECT_FALSE(info < known);
  EXPECT_NO_LOG(log);
}

// --- Copies -----------------------------------------------------------------------

TEST(NodeInfo, CopiesAllFields) {
  Tree_NodeInfo info = WithPath("net\\port");
  RWCString value("80");
  info.SetValue(value);
  info.SetParentPathIndex(3);
  info.SetIsChange(5);

  const Tree_NodeInfo copy(info);
  Tree_NodeInfo assigned = WithPath("other");
  assigned = info;
  const Tree_NodeInfo moved(std::move(info));
  const Tree_NodeInfo* const copies[] = {&copy, &assigned, &moved};
  for (const Tree_NodeInfo* c : copies) {
    EXPECT_EQ("net\\port", Text(c->GetPath()));
    EXPECT_EQ("net", Text(c->GetParentPath()));
    EXPECT_EQ("80", Text(c->GetValue()));
    EXPECT_EQ(copy.GetValue().data(), c->GetValue().data());
    EXPECT_EQ(5, c->IsChange());
  }
}

TEST(NodeInfo, CopiesAnIndexThatLiesOutsideThePath) {
  Tree_NodeInfo info = WithPath("a");
  info.SetParentPathIndex(4);
  Tree_NodeInfo copy(info);
  RWCString longer("net\\port");
  copy.SetPath(longer);
  EXPECT_EQ("net\\", Text(copy.GetParentPath()));
  EXPECT_EQ("a", Text(info.GetParentPath()));
}

TEST(NodeInfo, KeepsACopyWhenTheOriginalChanges) {
  Tree_NodeInfo info = WithPath("a\\b");
  RWCString value("1");
  info.SetValue(value);
  Tree_NodeInfo copy(info);
  RWCString text("c\\d");
  info.SetPath(text);
  value = "2";
  info.SetValue(value);
  info.SetIsChange(1);
  info.SetParentPathIndex(1);
  EXPECT_EQ("a\\b", Text(copy.GetPath()));
  EXPECT_EQ("1", Text(copy.GetValue()));
  EXPECT_EQ(0, copy.IsChange());
  EXPECT_EQ("", Text(copy.GetParentPath()));
}

TEST(NodeInfo, MayBeAssignedToItself) {
  Tree_NodeInfo info = WithPath("a\\b");
  info.SetParentPathIndex(1);
  Tree_NodeInfo& same = info;
  info = same;
  EXPECT_EQ("a\\b", Text(info.GetPath()));
  EXPECT_EQ("a", Text(info.GetParentPath()));
}

// --- Order ------------------------------------------------------------------------

struct OrderCase {
  RWCString less;
  RWCString greater;
};
const OrderCase kOrderCases[] = {
    // The first byte that differs decides.
    {"a", "b"},
    {"B", "a"},
    {"abz", "ac"},
    {"r\\a", "r\\b"},
    {"10", "9"},

    // Bytes are unsigned, and the separator is a byte like any other.
    {"a", "\x80"},
    {"\x7f", "\x80"},
    {"\x80", "\xff"},
    {"a\\z", "a\xe4"},
    {"a!\\b", "a\\b"},
    {"aZ", "a\\"},
    {"a\\", "aa"},
    {" ", "a"},

    // Of two where one begins the other the shorter comes first.
    {"", "a"},
    {"a", "a\\b"},
    {"a", "a "},
    {"a\\b", "a\\b\\c"},

    // Zero bytes are bytes, too.
    {"", Bytes("\0")},
    {"a", Bytes("a\0")},
    {Bytes("a\0"), Bytes("a\0a")},
    {Bytes("a\0a"), Bytes("a\0b")},
    {Bytes("a\0z"), "a\x01"},
};

TEST(NodeInfo, IsOrderedByTheBytesOfItsPath) {
  for (const OrderCase& c : kOrderCases) {
    SCOPED_TRACE(testing::PrintToString(Text(c.less)) + " " +
                 testing::PrintToString(Text(c.greater)));
    const Tree_NodeInfo less = WithPath(c.less);
    const Tree_NodeInfo greater = WithPath(c.greater);
    EXPECT_TRUE(less < greater);
    EXPECT_FALSE(greater < less);
    EXPECT_FALSE(less == greater);
    EXPECT_FALSE(greater == less);
  }
}

TEST(NodeInfo, EqualsWhoeverHasTheSamePath) {
  for (const RWCString& path : {RWCString(), RWCString("a\\b"), RWCString("\xff"), Bytes("a\0b")}) {
    SCOPED_TRACE(testing::PrintToString(Text(path)));
    const Tree_NodeInfo plain = WithPath(path);
    Tree_NodeInfo other = WithPath(RWCString(path.data(), path.length()));
    RWCString value("80");
    other.SetValue(value);
    other.SetIsChange(1);
    other.SetParentPathIndex(1);
    EXPECT_TRUE(plain == other);
    EXPECT_TRUE(other == plain);
    EXPECT_FALSE(plain < other);
    EXPECT_FALSE(other < plain);
    EXPECT_TRUE(plain == plain);
  }
}

TEST(NodeInfo, SortsIntoAListBehindItsEquals) {
  std::vector<Tree_NodeInfo> records;
  for (const char* path : {"b", "a\\b", "b", "\xe4", "", "a", "b", "aB"}) {
    records.push_back(WithPath(path));
    records.back().SetIsChange(static_cast<int>(records.size()));
  }
  Zel_PtrSortedVector<Tree_NodeInfo> list;
  for (Tree_NodeInfo& record : records) list.insert(&record);
  std::string order;
  for (std::size_t i = 0; i < list.entries(); ++i) order += std::to_string(list[i]->IsChange());
  EXPECT_EQ("56821374", order);
}

}  // namespace
