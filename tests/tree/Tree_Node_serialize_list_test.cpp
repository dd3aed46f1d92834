// Tree_Node::GetSerializeIdNodeInfoVec: one buffer from a list of records.

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_PoolAllocator.h"
#include "support/FlatTrees.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

using namespace flat;

// --- Bytes ---------------------------------------------------------------------

// Byte by byte, for once.
TEST(GetSerializeIdNodeInfoVec, WritesOneRecordBehindTheOther) {
  Tree_NodePtr top = Inner("cfg", {Leaf("n", "80", 1), Leaf("z", "")});
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  int size = -1;
  char* const buffer = Tree_Node::GetSerializeIdNodeInfoVec(list.get(), size, "sys", true, true);
  EXPECT_EQ(7 + 19 + 23 + 17, size);
  EXPECT_EQ(Bytes("\0\0\0\x03sys"
                  "\0\0\0\0"
                  "\xFF\xFF\xFF\xFF"
                  "\0\0\0\x03"
                  "cfg"
                  "\0\0\0\0"
                  "\0\0\0\x01"
                  "\0\0\0\0"
                  "\0\0\0\x01"
                  "n"
                  "\0\0\0\x02"
                  "80"
                  "\0\0\0\x01"
                  "\0\0\0\x02"
                  "\0\0\0\0"
                  "\0\0\0\x01"
                  "z"
                  "\0\0\0\0"),
            RWCString(buffer, static_cast<std::size_t>(size)));
  delete[] buffer;
}

TEST(GetSerializeIdNodeInfoVec, WritesTheHeaderOnlyWhenAskedFor) {
  Tree_NodePtr top = Mixed();
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  const RWCString kPaths[] = {
      "",
      "sys",
      "sys\\main",
      " blanks ",
      "%s%n",
      "\x80\xFF",
      RWCString(std::string(300, 'p').c_str()),
      RWCString(std::string(70000, 'p').c_str()),
  };
  for (const RWCString& path : kPaths) {
    SCOPED_TRACE(Text(path).substr(0, 100));
    EXPECT_EQ(Counted(Text(path)) + MixedBytes(), Written(list.get(), path, true, true));
    EXPECT_EQ(MixedBytes(), Written(list.get(), path, false, true));
  }
}

// Its length is the string's own, unlike that of names and values.
TEST(GetSerializeIdNodeInfoVec, WritesAHeaderWithZeroBytesWhole) {
  Tree_NodePtr top = Inner("t");
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  EXPECT_EQ(Counted(Text(Bytes("a\0b"))) + Record(0, -1, "t"),
            Written(list.get(), Bytes("a\0b"), true, true));
}

TEST(GetSerializeIdNodeInfoVec, WritesTheMostSignificantByteFirst) {
  for (const int number : {0, 1, -1, 255, 256, 65535, 65536, 0x12345678, INT_MAX, INT_MIN, -2}) {
    SCOPED_TRACE(number);
    RecordVec* const vec = new RecordVec;
    Tree_IdNodeInfo* const record = new Tree_IdNodeInfo;
    vec->append(record);
    RWCString text("t");
    record->SetPath(text);
    record->SetValue(text);
    record->SetId(number);
    EXPECT_EQ(Record(number, -1, "t", "t", 0), Written(vec, "", false, true));
    record->SetId(7);
    record->SetParentId(number);
    EXPECT_EQ(Record(7, number, "t", "t", 0), Written(vec, "", false, true));
    record->SetParentId(8);
    record->SetIsChange(number);
    EXPECT_EQ(Record(7, 8, "t", "t", number), Written(vec, "", false, false));
  }
  EXPECT_EQ(std::string("\x12\x34\x56\x78"), Int(0x12345678));
  EXPECT_EQ(std::string("\xFF\xFF\xFF\xFE"), Int(-2));
}

TEST(GetSerializeIdNodeInfoVec, CountsNamesAndValuesOfAnyLength) {
  for (const std::size_t length : {0u, 1u, 2u, 127u, 128u, 255u, 256u, 257u, 65535u, 65536u}) {
    SCOPED_TRACE(length);
    const std::string name(length, 'n');
    const std::string value(length, 'v');
    Tree_NodePtr top = Inner(
        "t", {Leaf(name.c_str(), value.c_str(), 6), Inner("s", {Inner((name + "i").c_str())})});
    const std::string leaf = length == 0 ? Record(1, 0, name) : Record(1, 0, name, value, 6);
    EXPECT_EQ(Record(0, -1, "t") + leaf + Record(2, 0, "s") + Record(3, 2, name + "i"),
              Written(Tree_Node::GetIdNodeVecFromTree(top, nullptr), "", false, false));
  }
}

// An empty value has no flag beside it, and reads like none.
TEST(GetSerializeIdNodeInfoVec, WritesTheFlagOnlyBehindAValue) {
  RecordVec* const vec = new RecordVec;
  RWCString path("p");
  RWCString nothing;
  for (int i = 0; i < 2; ++i) {
    vec->append(new Tree_IdNodeInfo);
    vec->at(static_cast<std::size_t>(i))->SetPath(path);
    vec->at(static_cast<std::size_t>(i))->SetId(i);
    vec->at(static_cast<std::size_t>(i))->SetIsChange(1);
  }
  vec->at(1)->SetValue(nothing);
  EXPECT_EQ(Record(0, -1, "p") + Record(1, -1, "p"), Written(vec, "", false, false));
}

// Numbers are the caller's; the list is written in its order.
TEST(GetSerializeIdNodeInfoVec, WritesRecordsMadeByHandAsTheyStand) {
  RecordVec* const vec = new RecordVec;
  const struct {
    int id, parent_id;
    const char *path, *value;
  } kRecords[] = {{9, 12, "later", "v"}, {-4, 9, "", ""}, {9, 9, " ", "\x80"}};
  for (const auto& r : kRecords) {
    vec->append(new Tree_IdNodeInfo);
    Tree_IdNodeInfo& record = *vec->at(vec->entries() - 1);
    RWCString path(r.path);
    RWCString value(r.value);
    record.SetPath(path);
    record.SetValue(value);
    record.SetId(r.id);
    record.SetParentId(r.parent_id);
  }
  EXPECT_EQ(Record(9, 12, "later", "v", 0) + Record(-4, 9, "") + Record(9, 9, " ", "\x80", 0),
            Written(vec, "", false, false));
}

TEST(GetSerializeIdNodeInfoVec, WritesNothingOfAnEmptyList) {
  RecordVec vec;
  int size = -1;
  char* const buffer = Tree_Node::GetSerializeIdNodeInfoVec(&vec, size, "sys", false, true);
  EXPECT_NE(nullptr, buffer);
  EXPECT_EQ(0, size);
  delete[] buffer;
  EXPECT_EQ(Counted("sys"), Written(&vec, "sys", true, true));
  EXPECT_EQ(Counted(""), Written(new RecordVec, "", true, false));
}

// Sizes are those of the whole strings, texts end at their zero byte.  What this leaves
// over is zeros.
TEST(GetSerializeIdNodeInfoVec, WritesTextsUpToTheirZeroByte) {
  const RWCString name = Bytes("ab\0cd");
  const RWCString value = Bytes("\0xyz");
  Tree_NodePtr top = Inner(name, {Leaf("l", value, 1), Leaf("m", Bytes("v\0"), 2)});
  // 3 bytes of the name, 4 of the first value and 4 of its flag, 1 of the second value.
  const std::string bytes = Record(0, -1, "ab") + Record(1, 0, "l") + Record(2, 0, "m", "v", 2) +
                            std::string(3 + 4 + 4 + 1, '\0');
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  EXPECT_EQ(bytes, Written(list.get(), "", false, true));
  EXPECT_EQ(Counted("sys") + bytes, Written(list.get(), "sys", true, true));
}

TEST(GetSerializeIdNodeInfoVec, LeavesListAndRecordsAloneWhenToldToKeepThem) {
  Tree_NodePtr top = Mixed();
  const std::unique_ptr<Zel_PoolAllocator> pool(NewPool(8));
  pool->FailNextAllocations(2);
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, pool.get()), pool.get());
  std::vector<Tree_IdNodeInfo*> records;
  for (std::size_t i = 0; i < list.size(); ++i) records.push_back(&list[i]);

  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(MixedBytes(), Written(list.get(), "sys", false, true));
    ASSERT_EQ(records.size(), list.size());
    for (std::size_t i = 0; i < list.size(); ++i) EXPECT_EQ(records[i], &list[i]) << i;
    EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Shown(list.get()));
    EXPECT_EQ(3u, InUse(*pool));
  }
}

TEST(GetSerializeIdNodeInfoVec, DeletesListAndRecordsOtherwise) {
  Tree_NodePtr top = Mixed();
  Written(Tree_Node::GetIdNodeVecFromTree(top, nullptr), "", true, false);
  const std::int64_t before = HeapLiveBlocks();
  RecordVec* const vec = Tree_Node::GetIdNodeVecFromTree(top, nullptr);
  if (HeapIsCounted()) {
    EXPECT_LT(before, HeapLiveBlocks());
  }
  int size = -1;
  char* const buffer = Tree_Node::GetSerializeIdNodeInfoVec(vec, size, "", false, false);
  EXPECT_EQ(before + (HeapIsCounted() ? 1 : 0), HeapLiveBlocks());
  EXPECT_EQ(MixedBytes(), Taken(buffer, size));
}

// Refused before anything else is looked at.
TEST(GetSerializeIdNodeInfoVec, RefusesANullList) {
  for (const bool with_path : {false, true}) {
    for (const bool keep_vec : {false, true}) {
      LogCapture log;
      int size = 1234;
      EXPECT_EQ(nullptr,
                Tree_Node::GetSerializeIdNodeInfoVec(nullptr, size, "sys", with_path, keep_vec));
      EXPECT_EQ(1234, size);
      EXPECT_LOG(log, TreeLine(3, "Tree_Node::GetSerializeIdNodeInfoVec",
                               "GetSerializeIdNodeInfoVec(RWTPtrOrderedVector<Tree_IdNodeInfo> * "
                               "vec,int & size_of_ret) : vec parameter is NULL, return NULL\n"));
    }
  }
}

// --- Lines of the writer -------------------------------------------------------

TEST(GetSerializeIdNodeInfoVec, WritesALineForEveryField) {
  Tree_NodePtr top =
      Inner("top", {Leaf("a", "1", 1), Inner("b", {Leaf("cc", "xyz")}), Leaf("d", "", 1)});
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  LogCapture log;
  Written(list.get(), "sys\\main", true, true);
  EXPECT_LOG(log,
             // The header.
             Write("virtual parent path len <8>"), Write("virtual parent path <sys\\main>"),
             // The top.
             Write("id <0>"), Write("p_id <-1>"), Write("path len <3>"), Write("path <top>"),
             Write("val_len  <0>"),
             // A leaf.
             Write("id <1>"), Write("p_id <0>"), Write("path len <1>"), Write("path <a>"),
             Write("val_len  <1>"), Write("val <1>"), Write("is change <1>"),
             // A sub-tree.
             Write("id <2>"), Write("p_id <0>"), Write("path len <1>"), Write("path <b>"),
             Write("val_len  <0>"),
             // Its leaf.
             Write("id <3>"), Write("p_id <2>"), Write("path len <2>"), Write("path <cc>"),
             Write("val_len  <3>"), Write("val <xyz>"), Write("is change <0>"),
             // A leaf without a value to write.
             Write("id <4>"), Write("p_id <0>"), Write("path len <1>"), Write("path <d>"),
             Write("val_len  <0>"));
}

TEST(GetSerializeIdNodeInfoVec, WritesNoLinesForAHeaderThatIsNotAskedFor) {
  Tree_NodePtr top = Inner("");
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  LogCapture log;
  Written(list.get(), "sys", false, true);
  EXPECT_LOG(log, Write("id <0>"), Write("p_id <-1>"), Write("path len <0>"), Write("path <>"),
             Write("val_len  <0>"));
  Written(list.get(), "", true, true);
  EXPECT_LOG(log, Write("virtual parent path len <0>"), Write("virtual parent path <>"),
             Write("id <0>"), Write("p_id <-1>"), Write("path len <0>"), Write("path <>"),
             Write("val_len  <0>"));
  RecordVec nothing;
  Written(&nothing, "sys", false, true);
  EXPECT_NO_LOG(log);
}

// The same lines, whoever frees the list.
TEST(GetSerializeIdNodeInfoVec, WritesNoLinesAboutDeleting) {
  Tree_NodePtr top = Leaf("t", "1");
  RecordVec* const vec = Tree_Node::GetIdNodeVecFromTree(top, nullptr);
  LogCapture log;
  Written(vec, "", false, false);
  EXPECT_LOG(log, Write("id <0>"), Write("p_id <-1>"), Write("path len <1>"), Write("path <t>"),
             Write("val_len  <0>"));
}

TEST(GetSerializeIdNodeInfoVec, WritesTextsIntoItsLinesAsTheyAre) {
  const std::string long_text(3000, 'l');
  Tree_NodePtr top =
      Inner("100%s%n", {Leaf(" a\\b ", "\x80%d\n", -7), Leaf("l", long_text.c_str())});
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  LogCapture log(6);
  Written(list.get(), "%s\\%d", true, true);
  EXPECT_LOG(log, Write("virtual parent path len <5>"), Write("virtual parent path <%s\\%d>"),
             Write("id <0>"), Write("p_id <-1>"), Write("path len <7>"), Write("path <100%s%n>"),
             Write("val_len  <0>"),  //
             Write("id <1>"), Write("p_id <0>"), Write("path len <5>"), Write("path < a\\b >"),
             Write("val_len  <4>"), Write("val <\x80%d\n>"), Write("is change <-7>"),  //
             Write("id <2>"), Write("p_id <0>"), Write("path len <1>"), Write("path <l>"),
             Write("val_len  <3000>"), Write("val <" + long_text + ">"), Write("is change <0>"));
}

TEST(GetSerializeIdNodeInfoVec, WritesLengthsUpToTheZeroByte) {
  Tree_NodePtr top = Inner(Bytes("ab\0cd"), {Leaf("l", Bytes("\0xyz"), 1)});
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  LogCapture log;
  Written(list.get(), "", false, true);
  EXPECT_LOG(log, Write("id <0>"), Write("p_id <-1>"), Write("path len <2>"), Write("path <ab>"),
             Write("val_len  <0>"),  //
             Write("id <1>"), Write("p_id <0>"), Write("path len <1>"), Write("path <l>"),
             Write("val_len  <0>"));
}

TEST(GetSerializeIdNodeInfoVec, WritesNoLinesBelowLevelSix) {
  Tree_NodePtr odd = Odd();
  LogCapture log(5);
  Written(Tree_Node::GetIdNodeVecFromTree(odd, nullptr), "sys", true, false);
  EXPECT_NO_LOG(log);
}

// --- Buffers that do not fit ---------------------------------------------------

TEST(GetSerializeIdNodeInfoVec, LeavesTheListToTheCallerWhenTheSizeIsBeyondAnInt) {
  Tree_NodePtr top = Huge(4097);
  const FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  for (const bool keep_vec : {true, false}) {
    int size = -1;
    EXPECT_THROW(Tree_Node::GetSerializeIdNodeInfoVec(list.get(), size, "", false, keep_vec),
                 std::bad_alloc);
    ASSERT_EQ(4098u, list.size());
    EXPECT_EQ(4097, list[4097].GetId());
  }
}

TEST(GetSerializeIdNodeInfoVec, LeavesTheListToTheCallerWhenMemoryRunsOut) {
  if (!HeapIsCounted()) GTEST_SKIP() << "needs the counting heap";
  Tree_NodePtr top = Mixed();
  FlatList list(Tree_Node::GetIdNodeVecFromTree(top, nullptr));
  RWCString path("sys");
  RecordVec* vec = list.get();
  char* buffer = nullptr;
  int size = -1;
  const int failures = FailEveryAllocation(
      [&] { buffer = Tree_Node::GetSerializeIdNodeInfoVec(vec, size, path, true, false); },
      [&] { EXPECT_EQ("0<-1 top, 1<0 a=1, 2<0 b, 3<2 c=x, 4<0 d=", Shown(vec)); });
  list.release();
  EXPECT_EQ(Counted("sys") + MixedBytes(), Taken(buffer, size));
  EXPECT_LE(1, failures);
}

}  // namespace
