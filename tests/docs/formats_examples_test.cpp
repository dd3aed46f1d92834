// The examples of docs/formats.md: every byte and number that is shown there, and the code
// beside them, which stands here and in ReadTree.cpp word for word.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "docs/MarkdownExamples.h"
#include "docs/ReadTree.h"
#include "strarr/Dynamic_String_Arr.h"
#include "support/TreeText.h"

namespace {

using docs::Block;
using docs::HexBytes;
using docs::Read;
using docs::ReadTree;
using docs::Serialized;
using docs::TreeOf;

std::string SerializedWithout(Tree_NodePtr tree, RWCString skip_name) {
  int size = 0;
  char* const bytes = Tree_Node::GetSerializedTreeNodeSkipPath(tree, size, false, skip_name);
  std::string result(bytes, static_cast<std::size_t>(size));
  delete[] bytes;
  return result;
}

Tree_NodePtr NamelessInner(std::vector<Tree_NodePtr> children) {
  Tree_NodePtr node = Inner("nameless");
  node->SetKeyName("");
  for (Tree_NodePtr& child : children) node->Add(child);
  return node;
}

// --- The serialized tree -----------------------------------------------------

TEST(SerializedTreeInTheDocs, HasTheBytesOfTheTable) {
  Tree_NodePtr top = TreeOf(Block("formats.md", "text serialized tree"));
  std::string sent;
  const auto send = [&sent](const char* bytes, int size) {
    sent.assign(bytes, static_cast<std::size_t>(size));
  };
  {
    int size = 0;
    char* bytes = Tree_Node::GetSerializedTreeNode(top, size, false);
    send(bytes, size);
    delete[] bytes;
  }
  EXPECT_EQ(HexBytes(Block("formats.md", "text serialized bytes")), sent);
  EXPECT_EQ(129u, sent.size());
  EXPECT_EQ(HexBytes(Block("formats.md", "text serialized header")) + sent, Serialized(top, true));
}

TEST(SerializedTreeInTheDocs, IsWrittenFromAListBehindThePathThatIsGiven) {
  Tree_NodePtr top = TreeOf(Block("formats.md", "text serialized tree"));
  RWTPtrOrderedVector<Tree_IdNodeInfo>* records = Tree_Node::GetIdNodeVecFromTree(top, nullptr);
  int size = 0;
  // The list and its records are gone afterwards: keep_vec is false.
  char* bytes = Tree_Node::GetSerializeIdNodeInfoVec(records, size, "root\\a", true, false);
  EXPECT_EQ(HexBytes(Block("formats.md", "text serialized header with a path")) +
                HexBytes(Block("formats.md", "text serialized bytes")),
            std::string(bytes, static_cast<std::size_t>(size)));
  delete[] bytes;
}

TEST(SerializedTreeInTheDocs, TakesAsManyBytesAsTheFormulaSays) {
  Tree_NodePtr top = TreeOf(Block("formats.md", "text serialized tree"));
  EXPECT_EQ(Serialized(top).size(),
            16u * static_cast<std::size_t>(top->GetNodeNum()) + top->GetTotalSize() + 4u * 2u);
}

TEST(SerializedTreeInTheDocs, ShowsByItsFirstEightBytesWhetherItHasAHeader) {
  const std::string no_header("\0\0\0\0\xff\xff\xff\xff", 8);
  for (const char* text : {"cfg", "cfg=v", "cfg(a=1)"}) {
    EXPECT_EQ(no_header, Serialized(Plant(text)).substr(0, 8));
    EXPECT_NE(no_header, Serialized(Plant(text), true).substr(0, 8));
  }
}

TEST(SerializedTreeInTheDocs, EndsWithZerosWhereATextHasAZeroByteInside) {
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr leaf = Leaf("a", Bytes("x\0yz"));
  top->Add(leaf);
  EXPECT_EQ(Serialized(Plant("cfg(a=x)")) + std::string(3, '\0'), Serialized(top));
  EXPECT_TRUE(Read(Serialized(top)).isNull());
}

TEST(SerializedTreeInTheDocs, LeavesOutWhatThePageLists) {
  // Tops without their value, the kind of what is empty, the flag of an empty value.
  EXPECT_EQ(Serialized(Plant("cfg")), Serialized(Plant("cfg=value*")));
  EXPECT_EQ(Serialized(Plant("cfg(a)")), Serialized(Plant("cfg(a=)")));
  EXPECT_EQ(Serialized(Plant("cfg(a=)")), Serialized(Plant("cfg(a=*)")));
  EXPECT_NE(Serialized(Plant("cfg(a=1)")), Serialized(Plant("cfg(a=1*)")));

  Tree_NodePtr plain = Plant("cfg(net(port=80))");
  Tree_NodePtr odd = Plant("cfg(net(port=80))");
  RWCString path("far\\away");
  odd->SetVirtualParentPath(path);
  odd->GetChildAt(0)->SetId(77);
  odd->GetChildAt(0)->SetTreeValue(new Tree_Value("lost", 1));
  EXPECT_EQ(Serialized(plain), Serialized(odd));
  EXPECT_EQ(Serialized(plain, true), Serialized(odd, true));
}

TEST(SerializedTreeInTheDocs, SkipsByNameBelowTheTopAndNamelessNodesFurtherDown) {
  EXPECT_EQ(Serialized(Plant("cfg(a=1,b(tmp(x=1)))")),
            SerializedWithout(Plant("cfg(tmp(x=1),a=1,b(tmp(x=1)))"), "tmp"));
  EXPECT_EQ(Serialized(Plant("cfg(tmp=1)")), SerializedWithout(Plant("cfg(tmp=1)"), "tmp"));
  EXPECT_EQ(Serialized(Plant("cfg(Tmp(x=1))")), SerializedWithout(Plant("cfg(Tmp(x=1))"), "tmp"));

  // Nameless ones: below the top they go without a skip name and stay with another.
  Tree_NodePtr top = Inner("cfg");
  Tree_NodePtr nameless = NamelessInner({Leaf("x", "1")});
  top->Add(nameless);
  EXPECT_EQ(Serialized(Inner("cfg")), Serialized(top));
  EXPECT_NE(Serialized(Inner("cfg")), SerializedWithout(top, "tmp"));

  // Further down they always go.
  Tree_NodePtr deep = Plant("cfg(net)");
  Tree_NodePtr below = NamelessInner({Leaf("x", "1")});
  deep->GetChildAt(0)->Add(below);
  EXPECT_EQ(Serialized(Plant("cfg(net)")), Serialized(deep));
  EXPECT_EQ(Serialized(Plant("cfg(net)")), SerializedWithout(deep, "tmp"));
}

// --- The reader --------------------------------------------------------------

TEST(ReaderInTheDocs, ReadsWhatTheLibraryWrites) {
  const char* const kTrees[] = {"cfg", "cfg(name=db*,net(port=80),note=)", "a(b(c(d=1,e=2*)),f=3)"};
  for (const char* text : kTrees) EXPECT_EQ(text, Draw(Read(Serialized(Plant(text)))));
  // Names come back as they were, blanks and all.
  Tree_NodePtr top = Inner("cfg");
  top->SetKeyName(" cfg ");
  EXPECT_EQ(" cfg ", Text(Read(Serialized(top))->GetKeyName()));
}

TEST(ReaderInTheDocs, RefusesABufferThatEndsWithinARecord) {
  const std::string bytes = Serialized(Plant("cfg(name=db,net(port=80))"));
  int accepted = 0;
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    // A copy of its own, so that a read past the end is seen by the sanitizers.
    const std::vector<char> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    Tree_NodePtr tree = ReadTree(part.data(), static_cast<int>(size));
    if (!tree.isNull()) ++accepted;
  }
  // Three parts end with a record.
  EXPECT_EQ(3, accepted);
}

TEST(ReaderInTheDocs, RefusesLengthsIdsAndParentsThatCannotBe) {
  // Records: cfg at 0, a=1 at 19, b at 41; 58 bytes.
  const std::string good = Serialized(Plant("cfg(a=1,b)"));
  ASSERT_EQ(58u, good.size());
  ASSERT_FALSE(Read(good).isNull());
  struct Case {
    std::size_t offset;
    std::uint32_t number;
  };
  const Case kCases[] = {
      // The id is not the number of the record.
      {0, 1},
      {0, 0x80000000u},
      {19, 0},
      {41, 1},
      // The parent is none, itself, a later one, a leaf; or the top has one.
      {23, 0xffffffffu},
      {23, 1},
      {23, 2},
      {23, 0x7fffffffu},
      {23, 0x80000000u},
      {45, 1},
      {4, 0},
      {4, 0xfffffffeu},
      // Lengths that are negative or lead past the end.
      {8, 0xffffffffu},
      {8, 0x80000000u},
      {8, 0x7fffffffu},
      {8, 47},
      {27, 0x7ffffff0u},
      {32, 0xffffffffu},
      {32, 0x7fffffffu},
      {32, 19},
      {49, 2},
      {54, 1},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(std::to_string(c.offset) + ": " + std::to_string(c.number));
    std::string bad = good;
    for (std::size_t i = 0; i < 4; ++i) {
      bad[c.offset + i] = static_cast<char>(c.number >> (24 - 8 * i) & 0xff);
    }
    EXPECT_TRUE(Read(bad).isNull());
  }
  EXPECT_TRUE(Read(good + std::string(16, '\0')).isNull());
  EXPECT_TRUE(Read(good + '\0').isNull());
}

// --- The flat string array ---------------------------------------------------

TEST(FlatArrayInTheDocs, HasTheBytesOfTheTableAndIsReadBack) {
  Dynamic_String_Arr list(3);
  list.AddStr("ab", -1);
  list.AddStr("", -1);
  list.AddStr("x\0y", 3);
  char* block = nullptr;
  const int used = list.FlattenToByteArray(block);  // 16
  EXPECT_EQ(16, used);
  EXPECT_EQ(HexBytes(Block("formats.md", "text flat bytes")),
            std::string(block, static_cast<std::size_t>(used)));

  Dynamic_String_Arr copy;
  copy.ReadFromFlattenedByteArray(block);
  operator delete(block);

  ASSERT_EQ(3, copy.GetInsertedNum());
  EXPECT_EQ(3, copy.GetArrLen());
  EXPECT_STREQ("ab", copy.GetStr(0));
  EXPECT_STREQ("", copy.GetStr(1));
  EXPECT_EQ(0, std::memcmp("x\0y", copy.GetStr(2), 4));
  EXPECT_EQ(3, copy.GetLength(2));
}

TEST(FlatArrayInTheDocs, IsTwoBytesWithoutStrings) {
  char* block = nullptr;
  const int used = Dynamic_String_Arr(5).FlattenToByteArray(block);
  EXPECT_EQ(std::string("0\0", 2), std::string(block, static_cast<std::size_t>(used)));
  operator delete(block);
}

TEST(FlatArrayInTheDocs, KeepsTheStringsUpToANumberThatCannotBe) {
  std::string block(
      "3\0"
      "2\0ab\0"
      "-7\0zz\0",
      12);
  Dynamic_String_Arr array;
  array.ReadFromFlattenedByteArray(block.data());
  ASSERT_EQ(1, array.GetInsertedNum());
  EXPECT_STREQ("ab", array.GetStr(0));
}

}  // namespace
