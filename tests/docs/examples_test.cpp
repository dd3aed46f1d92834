// The examples of docs/formats.md, docs/merge.md and docs/changes.md: every byte, number
// and tree that is shown there, and every piece of code, which stands here word for word.

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_CRC.h"
#include "Zel/Zel_PtrSortedVector.h"
#include "docs/MarkdownExamples.h"
#include "strarr/Dynamic_String_Arr.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

using docs::Block;
using docs::Column;
using docs::Columns;
using docs::HexBytes;
using docs::Lines;
using docs::Picture;
using docs::Rows;
using docs::TreeOf;

// --- The code of the pages ------------------------------------------------------

Tree_NodePtr ReadTree(const char* bytes, int size) {
  struct Record {
    int parent;
    RWCString name;
    RWCString value;
    int is_change;
    bool has_children;
  };
  int at = 0;
  const auto number = [&] {
    std::uint32_t bits = 0;
    for (int i = 0; i < 4; ++i) bits = bits << 8 | static_cast<unsigned char>(bytes[at++]);
    return static_cast<int>(bits);
  };
  const auto text = [&](int length) {
    at += length;
    return RWCString(bytes + at - length, static_cast<std::size_t>(length));
  };
  // Whether `length` bytes and four more are left.
  const auto fits = [&](int length) { return size - at >= 4 && length <= size - at - 4; };

  std::vector<Record> records;
  while (at < size) {
    if (size - at < 12) return Tree_NodePtr();
    const int id = number();
    Record record = {number(), RWCString(), RWCString(), 0, false};
    const int name_length = number();
    if (name_length < 0 || !fits(name_length)) return Tree_NodePtr();
    record.name = text(name_length);
    const int value_length = number();
    if (value_length < 0 || (value_length > 0 && !fits(value_length))) return Tree_NodePtr();
    if (value_length > 0) {
      record.value = text(value_length);
      record.is_change = number();
    }
    if (id != static_cast<int>(records.size())) return Tree_NodePtr();
    if (id == 0) {
      if (record.parent != -1) return Tree_NodePtr();
    } else {
      if (record.parent < 0 || record.parent >= id) return Tree_NodePtr();
      Record& parent = records[static_cast<std::size_t>(record.parent)];
      if (!parent.value.isNull()) return Tree_NodePtr();
      parent.has_children = true;
    }
    records.push_back(record);
  }

  std::vector<Tree_NodePtr> nodes;
  for (const Record& record : records) {
    const bool is_inner = record.has_children || nodes.empty();
    Tree_Value* value = is_inner ? nullptr : new Tree_Value(record.value, record.is_change);
    nodes.push_back(Tree_NodePtr(new Tree_Node("new", value)));
    nodes.back()->SetKeyName(record.name);
    if (nodes.size() > 1) nodes[static_cast<std::size_t>(record.parent)]->Add(nodes.back());
  }
  return nodes.empty() ? Tree_NodePtr() : nodes[0];
}

void ClearFlag(Tree_Node* node) {
  if (!node->IsLeaf()) return;
  Tree_Value* value = node->GetTreeValue();
  if (value != nullptr) value->SetIsChange(0);
}

TEST(CodeInTheDocs, StandsInThisFile) {
  const Lines source = docs::ReadLines(TREE_DOCS_EXAMPLES_TEST);
  for (const char* file : {"formats.md", "merge.md", "changes.md"}) {
    const std::vector<Lines> blocks = docs::Blocks(file, "cpp");
    EXPECT_FALSE(blocks.empty()) << file;
    for (const Lines& block : blocks) {
      EXPECT_TRUE(docs::HasCode(source, block)) << file << ": " << testing::PrintToString(block);
    }
  }
}

// --- Helpers ----------------------------------------------------------------------

// The buffer of a tree, as a string.
std::string Serialized(Tree_NodePtr tree, bool with_header = false) {
  int size = 0;
  char* const bytes = Tree_Node::GetSerializedTreeNode(tree, size, with_header);
  std::string result(bytes, static_cast<std::size_t>(size));
  delete[] bytes;
  return result;
}

std::string SerializedWithout(Tree_NodePtr tree, RWCString skip_name) {
  int size = 0;
  char* const bytes = Tree_Node::GetSerializedTreeNodeSkipPath(tree, size, false, skip_name);
  std::string result(bytes, static_cast<std::size_t>(size));
  delete[] bytes;
  return result;
}

Tree_NodePtr Read(const std::string& bytes) {
  return ReadTree(bytes.data(), static_cast<int>(bytes.size()));
}

Tree_NodePtr NamelessInner(std::vector<Tree_NodePtr> children) {
  Tree_NodePtr node = Inner("nameless");
  node->SetKeyName("");
  for (Tree_NodePtr& child : children) node->Add(child);
  return node;
}

std::string Hex32(std::uint64_t number) {
  std::string text;
  for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[number >> shift & 15u];
  return number <= 0xFFFFFFFFu ? text : "more than 32 bits";
}

std::string MergedText(const std::string& base_text, const std::string& override_text) {
  Tree_NodePtr base = Plant(base_text);
  Tree_NodePtr override_tree = Plant(override_text);
  return Draw(Tree_Node::Merge(base, override_tree));
}

int LinesOfLevel(const std::vector<LogLine>& lines, int level) {
  int count = 0;
  for (const LogLine& line : lines) count += line.level == level ? 1 : 0;
  return count;
}

// --- formats.md: the serialized tree -------------------------------------------------

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
  Tree_NodePtr leaf = Leaf("a", std::string("x\0yz", 4));
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

// --- formats.md: the reader ------------------------------------------------------------

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

// --- formats.md: the flat string array ---------------------------------------------------

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

// --- merge.md ------------------------------------------------------------------------------

struct MergePicture {
  const char* block;
  Tree_NodePtr (*operation)(Tree_NodePtr& base, Tree_NodePtr& override);
};

TEST(MergeInTheDocs, MakesTheTreesOfThePictures) {
  const MergePicture kPictures[] = {
      {"text merge", &Tree_Node::Merge},
      {"text merge with itself", &Tree_Node::Merge},
      {"text merge shared names of the base", &Tree_Node::Merge},
      {"text merge shared names on both sides", &Tree_Node::Merge},
      {"text merge chunk areas", &Tree_Node::Merge},
      {"text merge half a chunk area", &Tree_Node::Merge},
      {"text merge one level", &Tree_Node::MergeOneLevel},
  };
  for (const MergePicture& p : kPictures) {
    SCOPED_TRACE(p.block);
    const std::vector<Column> columns = Columns(Block("merge.md", p.block));
    ASSERT_EQ(3u, columns.size());
    EXPECT_EQ("base", columns[0].title);
    EXPECT_EQ("override", columns[1].title);
    Tree_NodePtr base = TreeOf(columns[0].picture);
    Tree_NodePtr override_tree = TreeOf(columns[1].picture);
    EXPECT_EQ(columns[2].picture, Picture(p.operation(base, override_tree)));
    // Neither argument has changed.
    EXPECT_EQ(columns[0].picture, Picture(base));
    EXPECT_EQ(columns[1].picture, Picture(override_tree));
  }
}

TEST(MergeInTheDocs, KeepsTheChecksumOfATreeThatIsMergedWithItself) {
  const std::vector<Column> columns = Columns(Block("merge.md", "text merge with itself"));
  ASSERT_EQ(3u, columns.size());
  EXPECT_EQ(TreeOf(columns[0].picture)->GetChecksumIgnoreOrder(),
            TreeOf(columns[2].picture)->GetChecksumIgnoreOrder());
}

TEST(MergeInTheDocs, LetsWinWhoTheTableSays) {
  struct Case {
    const char* base;
    const char* override_tree;
    const char* result;
  };
  // The child in question is k; o stands in the override to tell places apart.
  const Case kCases[] = {
      {"r", "r(k=1,o=0)", "r(k=1,o=0)"},
      {"r", "r(k(a=1),o=0)", "r(k(a=1),o=0)"},
      {"r(k=1)", "r(o=0)", "r(o=0,k=1)"},
      {"r(k(a=1))", "r(o=0)", "r(o=0,k(a=1))"},
      {"r(k=1)", "r(k=2*,o=0)", "r(k=2*,o=0)"},
      {"r(k=1*)", "r(k=2,o=0)", "r(k=2,o=0)"},
      {"r(k=1)", "r(k(a=2),o=0)", "r(k(a=2),o=0)"},
      {"r(k(a=1))", "r(k=2,o=0)", "r(o=0,k=2)"},
      {"r(k(a=1,b=1))", "r(k(a=2,c=2),o=0)", "r(o=0,k(a=2,c=2,b=1))"},
      {"r(k(a=1))", "r(k(blobencoding=b,chunk0000=c),o=0)", "r(o=0,k(blobencoding=b,chunk0000=c))"},
      // Empty ones.
      {"r(k=1)", "r(k=,o=0)", "r(k=,o=0)"},
      {"r(k=1)", "r(k,o=0)", "r(k,o=0)"},
      {"r(k(a=1))", "r(k,o=0)", "r(o=0,k(a=1))"},
      // The tops.
      {"x(k=1)", "y(o=0)", "y(o=0,k=1)"},
      // No chunk area: one of the two values is missing or empty.
      {"r(k(a=1))", "r(k(blobencoding=b,chunk0000=))", "r(k(blobencoding=b,chunk0000=,a=1))"},
      {"r(k(a=1))", "r(k(blobencoding=,chunk0000=c))", "r(k(blobencoding=,chunk0000=c,a=1))"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(std::string(c.base) + " and " + c.override_tree);
    EXPECT_EQ(c.result, MergedText(c.base, c.override_tree));
  }
}

TEST(MergeInTheDocs, WritesALineForEachChildThatALeafRefuses) {
  LogCapture log;
  EXPECT_EQ("r(k=2)", MergedText("r(k(a=1,b(x=1),c=1))", "r(k=2)"));
  EXPECT_EQ(3, LinesOfLevel(log.Take(), 3));
}

TEST(MergeInTheDocs, WritesTwoLinesForAChunkArea) {
  LogCapture log;
  MergedText("r(k(a=1))", "r(k(blobencoding=b,chunk0000=c))");
  EXPECT_EQ(1, LinesOfLevel(log.Take(), 6));
  Tree_NodePtr base = Plant("r(k(a=1))");
  Tree_NodePtr override_tree = Plant("r(k(blobencoding=b,chunk0000=c))");
  log.Take();
  Tree_Node::MergeOneLevel(base, override_tree);
  EXPECT_EQ(0, LinesOfLevel(log.Take(), 6));
}

TEST(MergeInTheDocs, ReturnsAnArgumentInThreeCases) {
  Tree_NodePtr none;
  Tree_NodePtr tree = Plant("r(a=1)");
  Tree_NodePtr chunks = Plant("r(blobencoding=b,chunk0000=c)");
  EXPECT_TRUE(Tree_Node::Merge(tree, none) == tree);
  EXPECT_TRUE(Tree_Node::Merge(none, tree) == tree);
  EXPECT_TRUE(Tree_Node::Merge(none, none).isNull());
  EXPECT_TRUE(Tree_Node::Merge(tree, chunks) == chunks);
  EXPECT_FALSE(Tree_Node::Merge(chunks, tree) == chunks);
  EXPECT_TRUE(Tree_Node::MergeOneLevel(tree, none) == tree);
  EXPECT_TRUE(Tree_Node::MergeOneLevel(none, tree) == tree);
  EXPECT_FALSE(Tree_Node::MergeOneLevel(tree, chunks) == chunks);
}

TEST(MergeInTheDocs, IsATreeOfOnesOwnAfterACopy) {
  Tree_NodePtr base = Plant("r(a=1)");
  Tree_NodePtr override_tree;
  {
    Tree_NodePtr merged = Tree_Node::Merge(base, override_tree);
    if (!merged.isNull() && (merged == base || merged == override_tree)) {
      merged = merged->DuplicateFromHereDown(true);
    }
    EXPECT_EQ("r(a=1)", Draw(merged));
    EXPECT_FALSE(merged == base);
    EXPECT_FALSE(merged->GetChildAt(0) == base->GetChildAt(0));
  }
  override_tree = Plant("r(b=2)");
  Tree_NodePtr merged = Tree_Node::Merge(base, override_tree);
  EXPECT_FALSE(merged->GetChildAt(0) == override_tree->GetChildAt(0));
  EXPECT_FALSE(merged->GetChildAt(1) == base->GetChildAt(0));
}

TEST(MergeInTheDocs, LaysLayersOverEachOtherFromTheBottomUp) {
  const std::vector<Column> columns = Columns(Block("merge.md", "text three layers"));
  ASSERT_EQ(5u, columns.size());
  Tree_NodePtr defaults = TreeOf(columns[0].picture);
  Tree_NodePtr site = TreeOf(columns[1].picture);
  Tree_NodePtr host = TreeOf(columns[2].picture);
  Tree_NodePtr merged = Tree_Node::Merge(defaults, site);
  merged = Tree_Node::Merge(merged, host);
  EXPECT_EQ(columns[3].picture, Picture(merged));
  Tree_NodePtr upper = Tree_Node::Merge(site, host);
  EXPECT_EQ(columns[4].picture, Picture(Tree_Node::Merge(defaults, upper)));
}

// The steps of the first picture: names of the result's children after each child of the
// base, found by merging a base that ends there.
TEST(MergeInTheDocs, MovesChildrenStepByStep) {
  const std::vector<Column> columns = Columns(Block("merge.md", "text merge"));
  ASSERT_EQ(3u, columns.size());
  const Lines steps = Block("merge.md", "text");
  Tree_NodePtr base = TreeOf(columns[0].picture);
  Tree_NodePtr override_tree = TreeOf(columns[1].picture);
  ASSERT_EQ(static_cast<std::size_t>(base->GetChildCount()) + 1, steps.size());
  for (std::size_t step = 0; step < steps.size(); ++step) {
    Tree_NodePtr part = base->DuplicateFromHereDown(true);
    while (part->GetChildCount() > static_cast<int>(step)) part->Remove(part->GetChildCount() - 1);
    Tree_NodePtr merged = Tree_Node::Merge(part, override_tree);
    std::string names;
    for (int i = 0; i < merged->GetChildCount(); ++i) {
      names += (i == 0 ? "" : "  ") + Text(merged->GetChildAt(i)->GetKeyName());
    }
    const std::string shown = steps[step].substr(std::strlen("copy of the override    "));
    EXPECT_EQ(names, shown.substr(0, shown.find("   "))) << steps[step];
    if (step > 0) {
      EXPECT_EQ(0u,
                steps[step].find("base has " +
                                 Text(base->GetChildAt(static_cast<int>(step) - 1)->GetKeyName())));
    }
  }
}

// --- changes.md: the cycle --------------------------------------------------------------------

TEST(CycleInTheDocs, BringsTheReceiverInStep) {
  const std::vector<Column> columns = Columns(Block("changes.md", "text cycle"));
  ASSERT_EQ(4u, columns.size());
  Tree_NodePtr ours = TreeOf(columns[0].picture);
  Tree_NodePtr theirs = TreeOf(columns[0].picture);

  Tree_Path port_path("net\\port");
  Tree_Value* port = ours->GetRelativeNode(port_path, ours)->GetTreeValue();
  port->SetValue("81");
  port->SetIsChange(1);

  Tree_Path net_path("net");
  Tree_NodePtr proxy(new Tree_Node("proxy", new Tree_Value("p1", 1)));
  ours->GetRelativeNode(net_path, ours)->Add(proxy);

  Dynamic_String_Arr removed(8);
  ours->Remove("debug");
  removed.AddStr("debug", -1);

  EXPECT_EQ(columns[1].picture, Picture(ours));

  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(ours);
  int size = 0;
  char* bytes = changes.isNull() ? nullptr : Tree_Node::GetSerializedTreeNode(changes, size, false);
  char* removed_block = nullptr;
  const int removed_size = removed.FlattenToByteArray(removed_block);
  const unsigned long checksum = ours->GetChecksumIgnoreOrder();

  EXPECT_EQ(columns[2].picture, Picture(changes));
  EXPECT_EQ(std::string("1\0"
                        "5\0debug\0",
                        10),
            std::string(removed_block, static_cast<std::size_t>(removed_size)));

  ours->ExecuteOnEntireSubtree(ClearFlag);

  EXPECT_TRUE(Tree_Node::GetChangesTreeNode(ours).isNull());

  Tree_NodePtr rest = theirs->DuplicateFromHereDown(true);
  Dynamic_String_Arr gone;
  gone.ReadFromFlattenedByteArray(removed_block);
  for (int i = 0; i < gone.GetInsertedNum(); ++i) {
    Tree_Path path(gone.GetStr(i));
    Tree_NodePtr node = rest->GetRelativeNode(path, rest);
    if (!node.isNull() && node->GetParent() != nullptr) node->GetParent()->Remove(node);
  }
  Tree_NodePtr received = ReadTree(bytes, size);
  Tree_NodePtr merged = Tree_Node::Merge(rest, received);

  const bool in_step = merged->GetChecksumIgnoreOrder() == checksum;

  EXPECT_TRUE(in_step);
  EXPECT_EQ(columns[3].picture, Picture(merged));
  EXPECT_EQ(columns[0].picture, Picture(theirs));
  delete[] bytes;
  operator delete(removed_block);
}

TEST(ChangesInTheDocs, AreWhatThePageSaysAndNothingElse) {
  struct Case {
    const char* tree;
    const char* changes;
  };
  const Case kCases[] = {
      {"r", "null"},
      {"r=1*", "null"},
      {"r(a=1,b(c=2),d)", "null"},
      {"r(a=1*,b(c=2,d=3*),e)", "r(a=1*,b(d=3*))"},
      {"r(a=*)", "r(a=*)"},
      {"r(a=1,a=2*)", "r(a=2*)"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.tree);
    Tree_NodePtr tree = Plant(c.tree);
    EXPECT_EQ(c.changes, Draw(Tree_Node::GetChangesTreeNode(tree)));
  }
  // Every flag in the result is 1, and setting a value leaves its flag alone.
  Tree_NodePtr tree = Inner("r");
  Tree_NodePtr leaf = Leaf("a", "1", -7);
  tree->Add(leaf);
  leaf->GetTreeValue()->SetValue("2");
  EXPECT_EQ(-7, leaf->GetTreeValue()->IsChange());
  EXPECT_EQ(1, Tree_Node::GetChangesTreeNode(tree)->GetChildAt(0)->GetTreeValue()->IsChange());
  // The value of an inner node does not count.
  Tree_NodePtr odd = Plant("r(a)");
  odd->GetChildAt(0)->SetTreeValue(new Tree_Value("1", 1));
  EXPECT_TRUE(Tree_Node::GetChangesTreeNode(odd).isNull());
}

TEST(ChangesInTheDocs, LoseSiblingsOfOneNameWhenTheyAreMerged) {
  Tree_NodePtr sender = Plant("r(a=1,a=3*)");
  Tree_NodePtr receiver = Plant("r(a=1,a=2)");
  Tree_NodePtr changes = Tree_Node::GetChangesTreeNode(sender);
  EXPECT_EQ("r(a=3*)", Draw(Tree_Node::Merge(receiver, changes)));
}

TEST(ChangesInTheDocs, CarryAnEmptyValueAndAChangeOfKind) {
  const char* const kCases[][2] = {
      // What the sender has, and what the receiver had.
      {"r(a=*)", "r(a=1)"},
      {"r(a=1*)", "r(a(b=1))"},
      {"r(a(b=1*))", "r(a=1)"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c[0]);
    Tree_NodePtr sender = Plant(c[0]);
    Tree_NodePtr receiver = Plant(c[1]);
    Tree_NodePtr received = Read(Serialized(Tree_Node::GetChangesTreeNode(sender)));
    Tree_NodePtr merged = Tree_Node::Merge(receiver, received);
    sender->ExecuteOnEntireSubtree(ClearFlag);
    merged->ExecuteOnEntireSubtree(ClearFlag);
    EXPECT_EQ(Draw(sender), Draw(merged));
  }
}

// --- changes.md: the checksum ----------------------------------------------------------------

TEST(ChecksumInTheDocs, IsTheCrcOfTheTextsThatAreShown) {
  for (const Lines& row : Rows(Block("changes.md", "text checksum texts"))) {
    ASSERT_EQ(3u, row.size());
    SCOPED_TRACE(row[1]);
    EXPECT_EQ(row[0], Hex32(Plant(row[1])->GetChecksumIgnoreOrder()));
    ASSERT_LE(2u, row[2].size());
    Zel_CRC crc;
    crc.AddString(row[2].substr(1, row[2].size() - 2).c_str());
    EXPECT_EQ(row[0], Hex32(crc.Finish()));
  }
}

TEST(ChecksumInTheDocs, HasTheValuesOfTheTables) {
  for (const char* block : {"text checksums", "text equal checksums"}) {
    for (const Lines& row : Rows(Block("changes.md", block))) {
      ASSERT_EQ(3u, row.size());
      SCOPED_TRACE(row[1]);
      Tree_NodePtr tree = Plant(row[1]);
      if (row[2].find("\"b \"") != std::string::npos) tree->GetTreeValue()->SetValue("b ");
      EXPECT_EQ(row[0], Hex32(tree->GetChecksumIgnoreOrder()));
    }
  }
}

TEST(ChecksumInTheDocs, DependsOnNeitherFlagsNorNumbersNorPlace) {
  Tree_NodePtr plain = Plant("net(a=1,b=2)");
  Tree_NodePtr odd = Plant("top(up(net(a=1*,b=2)))")->GetChildAt(0)->GetChildAt(0);
  odd->SetId(5);
  EXPECT_EQ(plain->GetChecksumIgnoreOrder(), odd->GetChecksumIgnoreOrder());
  RWCString path("far\\away");
  plain->SetVirtualParentPath(path);
  EXPECT_EQ(plain->GetChecksumIgnoreOrder(), odd->GetChecksumIgnoreOrder());
  EXPECT_NE(plain->GetChecksumIgnoreOrder(), Plant("net(a=1,b=3)")->GetChecksumIgnoreOrder());
}

TEST(ChecksumInTheDocs, EndsATextAtItsZeroByte) {
  EXPECT_EQ(Leaf("a", "1")->GetChecksumIgnoreOrder(),
            Leaf("a", std::string("1\0x", 3))->GetChecksumIgnoreOrder());
}

// --- changes.md: records ------------------------------------------------------------------------

TEST(RecordsInTheDocs, AreThoseOfTheTableAndMakeTheTreeOfThePicture) {
  const std::vector<Column> columns = Columns(Block("changes.md", "text rebuilt"));
  ASSERT_EQ(2u, columns.size());
  Tree_NodePtr top = TreeOf(columns[0].picture);

  Zel_PtrSortedVector<Tree_NodeInfo> shown;
  RWCString nothing;
  for (int i = 0; i < top->GetChildCount(); ++i) {
    Tree_Node::ConvertTreeNodeToVec(top->GetChildAt(i), nothing, &shown);
  }
  const std::vector<Lines> rows = Rows(Block("changes.md", "text records"));
  ASSERT_EQ(rows.size(), shown.entries());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ASSERT_EQ(4u, rows[i].size());
    EXPECT_EQ(rows[i][0], Text(shown[i]->GetPath()));
    EXPECT_EQ(rows[i][1], std::to_string(shown[i]->GetParentPath().length()));
    EXPECT_EQ(rows[i][2], Text(shown[i]->GetValue()));
    EXPECT_EQ(rows[i][3], std::to_string(shown[i]->IsChange()));
    delete shown[i];
  }

  auto* records = new Zel_PtrSortedVector<Tree_NodeInfo>;
  RWCString no_parent;
  for (int i = 0; i < top->GetChildCount(); ++i) {
    Tree_Node::ConvertTreeNodeToVec(top->GetChildAt(i), no_parent, records);
  }
  RWCString root_path("cfg");
  Tree_NodePtr rebuilt = top->BuildSubTree(records, root_path);  // records are gone now

  EXPECT_EQ(columns[1].picture, Picture(rebuilt));
}

// What comes back for a tree whose children are converted with an empty parent path.
std::string ThereAndBack(const std::string& text) {
  Tree_NodePtr top = Plant(text);
  auto* records = new Zel_PtrSortedVector<Tree_NodeInfo>;
  RWCString no_parent;
  for (int i = 0; i < top->GetChildCount(); ++i) {
    Tree_Node::ConvertTreeNodeToVec(top->GetChildAt(i), no_parent, records);
  }
  RWCString root_path(top->GetKeyName());
  return Draw(top->BuildSubTree(records, root_path));
}

// docs/memory.md
TEST(RecordsInTheDocs, HaveTheSizesThatAreTold) {
  EXPECT_EQ(32u, sizeof(Tree_IdNodeInfo));
  EXPECT_EQ(24u, sizeof(Tree_NodeInfo));
}

TEST(MemoryInTheDocs, IsWhatIsTold) {
  EXPECT_EQ(48u, sizeof(Tree_Node));
  EXPECT_EQ(16u, sizeof(Tree_Value));
  EXPECT_EQ(16u, sizeof(Tree_NodePtr));
  EXPECT_EQ(192u, sizeof(Tree_NodePtrVec));
}

TEST(RecordsInTheDocs, LoseWhatTheTableSays) {
  const char* const kCases[][2] = {
      {"r(b=1,a(y=1,x=2*),B=3)", "r(B=3,a(x=2*,y=1),b=1)"},
      {"r(a=,b=*)", "r(a,b)"},
      // Siblings of one name: the first counts, inner ones are united.
      {"r(k=1,k=2)", "r(k=1)"},
      {"r(x(a=1),x(b=2))", "r(x(a=1,b=2))"},
      // A leaf and an inner node of one name: it fails, or the node's children go elsewhere.
      {"r(k=1,k(a=1))", "null"},
      {"r(b(z=1),k=1,k(a=1))", "r(b(z=1,a=1),k=1)"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c[0]);
    EXPECT_EQ(c[1], ThereAndBack(c[0]));
  }
  // The whole top is put below a new one, whose path repeats its name.
  Tree_NodePtr top = Plant("old(a=1)");
  auto* records = new Zel_PtrSortedVector<Tree_NodeInfo>;
  RWCString no_parent;
  Tree_Node::ConvertTreeNodeToVec(top, no_parent, records);
  RWCString root_path("site\\a");
  Tree_NodePtr built = top->BuildSubTree(records, root_path);
  EXPECT_EQ("a(old(a=1))", Draw(built));
  EXPECT_EQ("site\\a\\a", Text(built->GetPath()));
  EXPECT_EQ("site\\a", Text(built->GetVirtualParentPath()));
}

TEST(RecordsInTheDocs, LoseNamesThatArePathsEmptyOrWithOuterBlanks) {
  Tree_NodePtr top = Plant("r(a(b=2))");
  for (const char* name : {" q ", "", "a\\b"}) {
    Tree_NodePtr leaf = Leaf("leaf", "1");
    leaf->SetKeyName(name);
    top->Add(leaf);
  }
  auto* records = new Zel_PtrSortedVector<Tree_NodeInfo>;
  RWCString no_parent;
  for (int i = 0; i < top->GetChildCount(); ++i) {
    Tree_Node::ConvertTreeNodeToVec(top->GetChildAt(i), no_parent, records);
  }
  RWCString root_path("r");
  LogCapture log(5);
  // The last two leaves are taken for nodes that are there already.
  EXPECT_EQ("r(q=1,a(b=2))", Draw(top->BuildSubTree(records, root_path)));
  EXPECT_EQ(2, LinesOfLevel(log.Take(), 5));
}

TEST(RecordsInTheDocs, MayBeOnesOwn) {
  Tree_NodePtr top = Inner("any");
  {
    auto* records = new Zel_PtrSortedVector<Tree_NodeInfo>;
    for (const char* name : {"http", "https"}) {
      auto* record = new Tree_NodeInfo;
      RWCString parent_path("net\\ports");
      RWCString path = parent_path + "\\" + name;
      RWCString value("on");
      record->SetPath(path);
      record->SetParentPath(parent_path);  // which keeps its length only
      record->SetValue(value);
      records->insert(record);
    }
    RWCString root_path("cfg");
    Tree_NodePtr built = top->BuildSubTree(records, root_path);
    EXPECT_EQ("cfg(net(ports(http=on,https=on)))", Draw(built));
  }
}

struct RecordLine {
  const char* path;
  int parent_length;
  const char* value;
};

Zel_PtrSortedVector<Tree_NodeInfo>* RecordsOf(const std::vector<RecordLine>& lines) {
  auto* records = new Zel_PtrSortedVector<Tree_NodeInfo>;
  for (const RecordLine& line : lines) {
    auto* record = new Tree_NodeInfo;
    RWCString path(line.path);
    RWCString value(line.value);
    record->SetPath(path);
    record->SetParentPathIndex(line.parent_length);
    record->SetValue(value);
    records->insert(record);
  }
  return records;
}

TEST(RecordsInTheDocs, AreRefusedBelowALeafAndDroppedForANodeThatIsThere) {
  Tree_NodePtr top = Inner("any");
  RWCString root_path("cfg");
  {
    LogCapture log(5);
    EXPECT_TRUE(
        top->BuildSubTree(RecordsOf({{"a", 0, "1"}, {"a\\b", 1, "2"}}), root_path).isNull());
    const std::vector<LogLine> lines = log.Take();
    EXPECT_EQ(2, LinesOfLevel(lines, 3));
    EXPECT_EQ(2u, lines.size());
  }
  {
    LogCapture log(5);
    EXPECT_EQ("cfg(a=1)",
              Draw(top->BuildSubTree(RecordsOf({{"a", 0, "1"}, {"a", 0, "2"}}), root_path)));
    EXPECT_EQ(1, LinesOfLevel(log.Take(), 5));
  }
}

TEST(RecordsInTheDocs, StayTheCallersWithoutARootName) {
  Tree_NodePtr top = Inner("any");
  for (const char* root : {"", "a\\"}) {
    Zel_PtrSortedVector<Tree_NodeInfo>* records = RecordsOf({{"a", 0, "1"}});
    RWCString root_path(root);
    EXPECT_TRUE(top->BuildSubTree(records, root_path).isNull());
    ASSERT_EQ(1u, records->entries());
    delete records->at(0);
    delete records;
  }
}

}  // namespace
