// The examples of docs/changes.md: every tree, number and record that is shown there, and
// the code, which stands here word for word.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "Zel/Zel_CRC.h"
#include "Zel/Zel_PtrSortedVector.h"
#include "docs/MarkdownExamples.h"
#include "docs/ReadTree.h"
#include "strarr/Dynamic_String_Arr.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

using docs::Block;
using docs::Column;
using docs::Columns;
using docs::Lines;
using docs::Picture;
using docs::Read;
using docs::ReadTree;
using docs::Rows;
using docs::Serialized;
using docs::TreeOf;

void ClearFlag(Tree_Node* node) {
  if (!node->IsLeaf()) return;
  Tree_Value* value = node->GetTreeValue();
  if (value != nullptr) value->SetIsChange(0);
}

std::string Hex32(std::uint64_t number) {
  std::string text;
  for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[number >> shift & 15u];
  return number <= 0xFFFFFFFFu ? text : "more than 32 bits";
}

// --- The cycle ---------------------------------------------------------------

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

// --- The checksum ------------------------------------------------------------

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
            Leaf("a", Bytes("1\0x"))->GetChecksumIgnoreOrder());
}

// --- Records -----------------------------------------------------------------

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
