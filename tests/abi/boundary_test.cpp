// What crosses the boundary between the library and a client that was built on its own:
// data, exceptions, types, and memory that one side makes and the other gives back.

#include <gtest/gtest.h>

#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "Tree/Tree_Node.h"
#include "strarr/Dynamic_String_Arr.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

// --- Data ------------------------------------------------------------------------------

TEST(Boundary, ThePublishedDataIsTheLibrarysOwn) {
  Tree_NodePtr top = Plant("top(a=1)");
  // The library answers with the very handle that the client sees.
  EXPECT_EQ(&Tree_Node::NULL_TREE_NODE_PTR, &top->GetChildAt(5));
  EXPECT_TRUE(Tree_Node::NULL_TREE_NODE_PTR.isNull());
  EXPECT_TRUE(Tree_Node::separator == "\\");
  EXPECT_EQ(1, Tree_Node::TRUE_BOOL);
  EXPECT_TRUE(Tree_EmptySubTree_DummyName == "this_is_an_empty_sub_tree_name_indication");
  EXPECT_STREQ("", Tree_IdNodeInfo::empty_string);
}

TEST(Boundary, ThePoolsAreTheLibrarysOwn) {
  const auto before = Tree_Node::m_NodesPool.GetStats().elements_in_use;
  Tree_NodePtr top = Plant("top(a=1)");
  EXPECT_EQ(before + 2, Tree_Node::m_NodesPool.GetStats().elements_in_use);
  EXPECT_TRUE(Tree_Node::m_NodesPool.Exist(top.get()));
  EXPECT_FALSE(Tree_Node::m_sChildTreeNodeVec.Exist(top.get()));
  EXPECT_STREQ("Tree_NodePtrVec", Tree_Node::m_sChildTreeNodeVec.GetName());
}

TEST(Boundary, TheLogIsOneForAllModules) {
  LogCapture log;
  Tree_NodePtr node(new Tree_Node("  blanks  "));
  EXPECT_EQ(1u, log.Take().size()) << "a sink of the client's gets the library's line";
}

// --- Exceptions ------------------------------------------------------------------------

TEST(Boundary, ABadIndexIsCaughtByItsTypeAndItsBases) {
  Tree_NodePtr top = Plant("top(a=1)");
  EXPECT_THROW(top->Remove(7), RWBoundsErr);
  EXPECT_THROW(top->Remove(7), std::out_of_range);
  EXPECT_THROW(top->Remove(7), std::exception);
  try {
    top->Remove(-1);
    FAIL() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_EQ(typeid(RWBoundsErr), typeid(error));
    EXPECT_NE(nullptr, dynamic_cast<const RWBoundsErr*>(&error));
    EXPECT_NE(nullptr, std::strstr(error.what(), "-1")) << error.what();
  }
}

TEST(Boundary, ABadIndexThrownByAClientsTemplateIsTheSameType) {
  RWTPtrOrderedVector<int> none;  // instantiated in this module
  EXPECT_THROW(none.at(0), RWBoundsErr);
}

struct ClientsOwn {
  std::string text;
};

TEST(Boundary, AClientsExceptionPassesThroughTheLibrary) {
  Tree_NodePtr top = Plant("top(a(b=1),c=2)");
  try {
    top->ExecuteOnEntireSubtree([](Tree_Node* node) {
      if (node->IsLeaf()) throw ClientsOwn{node->GetKeyName().data()};
    });
    FAIL() << "nothing was thrown";
  } catch (const ClientsOwn& error) {
    EXPECT_EQ("b", error.text);
  }
}

TEST(Boundary, AnArrayThatIsTooLargeIsCaughtAsBadAlloc) {
  EXPECT_THROW(String_Arr(-1), std::bad_alloc);
  EXPECT_THROW(Dynamic_String_Arr(-1), std::bad_alloc);
}

// --- Types -----------------------------------------------------------------------------

TEST(Boundary, ArraysOfTheLibraryAreCastByTheClient) {
  Tree_NodePtr top = Plant("top(a(b=1))");
  const std::unique_ptr<Generic_String_Arr> found(top->Search("b", top, 0));
  ASSERT_NE(nullptr, found);
  const Generic_String_Arr& array = *found;
  EXPECT_EQ(typeid(String_Arr), typeid(array));
  EXPECT_NE(nullptr, dynamic_cast<String_Arr*>(found.get()));
  EXPECT_EQ(nullptr, dynamic_cast<Dynamic_String_Arr*>(found.get()));
}

// The library's base class calls into the client.
class Upper : public Generic_String_Arr {
 public:
  char* GetStr(int) const override { return nullptr; }
  void SetStr(int index, const char* text, int) override {
    for (const char* at = text; *at != '\0'; ++at) {
      seen += *at >= 'a' && *at <= 'z' ? static_cast<char>(*at - 'a' + 'A') : *at;
    }
    m_inserted = index + 1;
  }
  int GetArrLen() const override { return m_inserted; }
  std::string seen;

 private:
  void clear() override {}
};

TEST(Boundary, TheLibraryCallsAClientsOverridingFunctions) {
  Upper array;
  Generic_String_Arr& base = array;
  base.AddStr("one ", 4);
  base.AddStr("two", 3);
  EXPECT_EQ("ONE TWO", array.seen);
  EXPECT_EQ(2, base.GetInsertedNum());
}

// --- Memory ----------------------------------------------------------------------------

TEST(Boundary, TheClientDeletesWhatTheLibraryMade) {
  Tree_NodePtr top = Plant("top(a(b=1,c=2),d=3)");
  delete top->GetSubTreePaths("", top);
  delete top->GetSubTreeValues("", top);
  delete top->Search("b", top, 1);
  RWTPtrOrderedVector<Tree_IdNodeInfo>* const records =
      Tree_Node::GetIdNodeVecFromTree(top, nullptr);
  ASSERT_NE(nullptr, records);
  for (std::size_t i = 0; i < records->entries(); ++i) delete records->at(i);
  delete records;

  int size = 0;
  char* const bytes = Tree_Node::GetSerializedTreeNode(top, size, false);
  EXPECT_GT(size, 0);
  delete[] bytes;

  Dynamic_String_Arr array;
  array.AddStr("text", 4);
  char* flat = nullptr;
  EXPECT_GT(array.FlattenToByteArray(flat), 0);
  ::operator delete(flat);
}

TEST(Boundary, TheLibraryDeletesWhatTheClientMade) {
  Tree_NodePtr top = Plant("top");
  {
    // Node, value and record of the handle are made here and go with the tree.
    Tree_NodePtr leaf(new Tree_Node("leaf", new Tree_Value("value", 1)));
    ASSERT_EQ(1, top->Add(leaf));
  }
  EXPECT_EQ(1, top->Remove(0));
  EXPECT_EQ(0, top->GetChildCount());

  // The list and its records go inside the call.
  auto* const records = new RWTPtrOrderedVector<Tree_IdNodeInfo>;
  records->append(new Tree_IdNodeInfo);
  int size = 0;
  const std::unique_ptr<char[]> bytes(
      Tree_Node::GetSerializeIdNodeInfoVec(records, size, "", false, false));
  EXPECT_NE(nullptr, bytes);
  EXPECT_GT(size, 0);
}

TEST(Boundary, StringsAreSharedAcrossTheBoundary) {
  RWCString mine("a string that is made by the client");
  Tree_NodePtr top = Plant("top");
  top->SetVirtualParentPath(mine);
  RWCString theirs = top->GetVirtualParentPath();
  EXPECT_TRUE(theirs == mine);
  theirs += ", and changed";
  EXPECT_TRUE(top->GetVirtualParentPath() == mine);
}

}  // namespace
