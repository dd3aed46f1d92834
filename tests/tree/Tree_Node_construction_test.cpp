// How a node is made and what its fields hold.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <set>
#include <string>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

// --- Names --------------------------------------------------------------------

struct NameCase {
  std::string given;
  std::string kept;
};

const NameCase kKeptNames[] = {
    {"cfg", "cfg"},
    {"a b", "a b"},
    {"a  b", "a  b"},
    {"Cfg", "Cfg"},
    {"x", "x"},
    {"50%d%s", "50%d%s"},
    {"a\\b", "a\\b"},
    // Only the space character is a blank.
    {"\ttab\t", "\ttab\t"},
    {"\n", "\n"},
    {"line\r\n", "line\r\n"},
    {"\xC2\xA0", "\xC2\xA0"},
    {std::string("a\0b", 3), std::string("a\0b", 3)},
    {std::string("\0", 1), std::string("\0", 1)},
    {std::string(5000, 'n'), std::string(5000, 'n')},
};

const NameCase kStrippedNames[] = {
    {" q ", "q"},
    {" lead", "lead"},
    {"trail ", "trail"},
    {"     many  inside     ", "many  inside"},
    {" \t ", "\t"},
    {"\t ", "\t"},
    {" 50%d%s", "50%d%s"},
    {" \\ ", "\\"},
    {std::string(300, ' ') + "wide" + std::string(300, ' '), "wide"},
    {" " + std::string(5000, 'n'), std::string(5000, 'n')},
};

TEST(TreeNodeConstruction, KeepsANameWithoutOuterBlanksAndWritesNothing) {
  for (const NameCase& c : kKeptNames) {
    SCOPED_TRACE(testing::PrintToString(c.given));
    LogCapture log;
    Tree_NodePtr inner(new Tree_Node(Bytes(c.given)));
    Tree_NodePtr leaf(new Tree_Node(Bytes(c.given), new Tree_Value("v", 0)));
    Tree_NodePtr without_value(new Tree_Node(Bytes(c.given), nullptr));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(c.kept, Text(inner->GetKeyName()));
    EXPECT_EQ(c.kept, Text(leaf->GetKeyName()));
    EXPECT_EQ(c.kept, Text(without_value->GetKeyName()));
  }
}

TEST(TreeNodeConstruction, StripsOuterBlanksAndSaysSo) {
  for (const NameCase& c : kStrippedNames) {
    SCOPED_TRACE(testing::PrintToString(c.given));
    LogCapture log;
    Tree_NodePtr inner(new Tree_Node(Bytes(c.given)));
    EXPECT_LOG(log, lines::NameFixed(c.given, c.kept));
    Tree_NodePtr leaf(new Tree_Node(Bytes(c.given), new Tree_Value("v", 0)));
    EXPECT_LOG(log, lines::NameFixed(c.given, c.kept));
    EXPECT_EQ(c.kept, Text(inner->GetKeyName()));
    EXPECT_EQ(c.kept, Text(leaf->GetKeyName()));
  }
}

TEST(TreeNodeConstruction, PrintsANameInTheLogUpToItsFirstZeroByte) {
  LogCapture log;
  Tree_NodePtr node(new Tree_Node(Bytes(std::string(" a\0b ", 5))));
  EXPECT_LOG(log, lines::NameFixed(" a", "a"));
  EXPECT_EQ(std::string("a\0b", 3), Text(node->GetKeyName()));
}

TEST(TreeNodeConstruction, WritesTheStrippedNameAtLevelFour) {
  LogCapture log(4);
  Tree_NodePtr accepted(new Tree_Node(" a "));
  EXPECT_LOG(log, lines::NameFixed(" a ", "a"));
  Tree_NodePtr nameless(new Tree_Node(""));
  EXPECT_LOG(log, lines::NameMade(Text(nameless->GetKeyName())));
}

TEST(TreeNodeConstruction, RepairsNamesWithoutALineBelowLevelFour) {
  LogCapture log(3);
  Tree_NodePtr stripped(new Tree_Node(" a "));
  Tree_NodePtr nameless(new Tree_Node("  "));
  EXPECT_NO_LOG(log);
  EXPECT_EQ("a", Text(stripped->GetKeyName()));
  EXPECT_EQ(0u, Text(nameless->GetKeyName()).find("undefined_tree"));
}

TEST(TreeNodeConstruction, LeavesTheCallersNameAlone) {
  RWCString name("  q  ");
  Tree_NodePtr node(new Tree_Node(name));
  EXPECT_TRUE(name == "  q  ");
}

// The numbers that the clock allows between two moments, as they stand in a name.
std::set<std::string> NamesBetween(std::int64_t first_ms, std::int64_t last_ms) {
  std::set<std::string> names;
  for (std::int64_t ms = first_ms; ms <= last_ms; ++ms) {
    const auto low = static_cast<std::uint32_t>(ms);
    const std::uint32_t magnitude = low >= 0x80000000u ? 0u - low : low;
    names.insert("undefined_tree" + std::to_string(magnitude % 100000u));
  }
  return names;
}

std::int64_t NowInMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

TEST(TreeNodeConstruction, NamesANamelessTreeAfterTheClock) {
  const std::string kNameless[] = {"", " ", "      ", std::string(1000, ' ')};
  for (const std::string& given : kNameless) {
    for (const bool is_leaf : {false, true}) {
      SCOPED_TRACE(testing::PrintToString(given) + (is_leaf ? " leaf" : " inner"));
      LogCapture log;
      const std::int64_t before = NowInMilliseconds();
      Tree_NodePtr node(is_leaf ? new Tree_Node(Bytes(given), new Tree_Value("v", 0))
                                : new Tree_Node(Bytes(given)));
      const std::int64_t after = NowInMilliseconds();
      const std::string name = Text(node->GetKeyName());
      EXPECT_LOG(log, lines::NameMade(name));
      EXPECT_EQ(1u, NamesBetween(before - 1, after + 1).count(name)) << name;
      EXPECT_EQ(is_leaf, node->IsLeaf());
    }
  }
}

TEST(TreeNodeConstruction, GivesEqualNamesOneString) {
  Tree_NodePtr a(new Tree_Node("same name"));
  Tree_NodePtr b(new Tree_Node("  same name", new Tree_Value("v", 0)));
  Tree_NodePtr other_case(new Tree_Node("Same name"));
  EXPECT_EQ(&a->GetKeyName(), &b->GetKeyName());
  EXPECT_NE(&a->GetKeyName(), &other_case->GetKeyName());
}

TEST(TreeNodeConstruction, KeepsNamesValidWhenTheNodeIsGone) {
  const RWCString* name = nullptr;
  {
    Tree_NodePtr node(new Tree_Node("outlives its node"));
    name = &node->GetKeyName();
  }
  EXPECT_EQ("outlives its node", Text(*name));
}

// --- Fields of a new node -------------------------------------------------------

TEST(TreeNodeConstruction, MakesAnInnerNodeWithoutAValue) {
  Tree_Node* const kMade[] = {new Tree_Node("n"), new Tree_Node("n", nullptr)};
  for (Tree_Node* made : kMade) {
    Tree_NodePtr node(made);
    EXPECT_FALSE(node->IsLeaf());
    EXPECT_TRUE(node->IsAllowsChildren());
    EXPECT_EQ(nullptr, node->GetTreeValue());
    EXPECT_EQ(nullptr, node->GetParent());
    EXPECT_EQ(0, node->GetId());
    EXPECT_EQ(0, node->GetChildCount());
    EXPECT_EQ(1, node->IsEmpty());
    EXPECT_TRUE(node->GetVirtualParentPath().isNull());
    EXPECT_EQ("n", Text(node->GetPath()));
  }
}

TEST(TreeNodeConstruction, MakesALeafThatOwnsTheValue) {
  auto* value = new Tree_Value("v", 3);
  Tree_NodePtr node(new Tree_Node("n", value));
  EXPECT_TRUE(node->IsLeaf());
  EXPECT_FALSE(node->IsAllowsChildren());
  EXPECT_EQ(value, node->GetTreeValue());
  EXPECT_EQ(3, node->GetTreeValue()->IsChange());
  EXPECT_EQ(nullptr, node->GetParent());
  EXPECT_EQ(0, node->GetId());
  EXPECT_EQ(0, node->GetChildCount());
  EXPECT_EQ(1, node->IsEmpty());
  EXPECT_TRUE(node->GetVirtualParentPath().isNull());
}

TEST(TreeNodeConstruction, MakesNodesOutsideThePoolsToo) {
  Tree_Node node("on the stack");
  Tree_NodePtr child(new Tree_Node("child"));
  EXPECT_EQ(1, node.Add(child));
  EXPECT_EQ(&node, child->GetParent());
}

// --- Accessors ------------------------------------------------------------------

TEST(TreeNodeFields, KeepsTheIdThatItIsGiven) {
  Tree_NodePtr node = Inner("n");
  for (const int id : {1, -1, 0, 2147483647, -2147483647 - 1}) {
    node->SetId(id);
    EXPECT_EQ(id, node->GetId());
  }
}

TEST(TreeNodeFields, TakesEveryNewNameAsItIs) {
  const std::string kNames[] = {
      "plain", "", "   ", " q ", "a\\b", "\t", std::string("a\0b", 3), std::string(3000, 'x'),
  };
  for (const std::string& name : kNames) {
    SCOPED_TRACE(testing::PrintToString(name));
    Tree_NodePtr node = Inner("old");
    LogCapture log;
    node->SetKeyName(Bytes(name));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(name, Text(node->GetKeyName()));
    Tree_NodePtr other = Inner("other");
    other->SetKeyName(Bytes(name));
    EXPECT_EQ(&other->GetKeyName(), &node->GetKeyName());
  }
}

TEST(TreeNodeFields, AcceptsItsOwnNameAsANewOne) {
  Tree_NodePtr node = Inner("n");
  const RWCString* const before = &node->GetKeyName();
  node->SetKeyName(node->GetKeyName());
  EXPECT_EQ(before, &node->GetKeyName());
}

TEST(TreeNodeFields, TouchesNoListOfChildrenWhenTheParentIsSet) {
  Tree_NodePtr top = Plant("top(a,b)");
  Tree_NodePtr other = Inner("other");
  Tree_NodePtr a = top->GetChildAt(0);
  LogCapture log;
  a->SetParent(other.get());
  EXPECT_NO_LOG(log);
  EXPECT_EQ(other.get(), a->GetParent());
  EXPECT_EQ("top(a,b)", Draw(top));
  EXPECT_EQ("other", Draw(other));
  a->SetParent(nullptr);
  EXPECT_EQ(nullptr, a->GetParent());
  EXPECT_EQ("top(a,b)", Draw(top));
}

TEST(TreeNodeFields, WritesALineWhenThereIsNoValue) {
  Tree_NodePtr inner = Inner("n");
  Tree_NodePtr leaf = Leaf("l", "v");
  LogCapture log;
  EXPECT_EQ(nullptr, inner->GetTreeValue());
  EXPECT_LOG(log, lines::NoValue());
  EXPECT_NE(nullptr, leaf->GetTreeValue());
  EXPECT_NO_LOG(log);
}

TEST(TreeNodeFields, DoesNotBecomeALeafByBeingGivenAValue) {
  Tree_NodePtr node = Inner("n");
  auto* value = new Tree_Value("v", 0);
  LogCapture log;
  node->SetTreeValue(value);
  EXPECT_NO_LOG(log);
  EXPECT_EQ(value, node->GetTreeValue());
  EXPECT_TRUE(node->IsAllowsChildren());
  EXPECT_FALSE(node->IsLeaf());
  Tree_NodePtr child = Inner("c");
  EXPECT_EQ(1, node->Add(child));
}

TEST(TreeNodeFields, BecomesAnInnerNodeWhenItsValueIsTakenAway) {
  Tree_NodePtr node = Leaf("n", "v");
  Tree_Value* const value = node->GetTreeValue();
  node->SetTreeValue(nullptr);
  EXPECT_TRUE(node->IsAllowsChildren());
  EXPECT_EQ(nullptr, node->GetTreeValue());
  // The old value was not deleted and is the caller's again.
  EXPECT_EQ("v", Text(value->GetValue()));
  delete value;

  node->SetTreeValue(new Tree_Value("w", 0));
  EXPECT_TRUE(node->IsAllowsChildren());
}

TEST(TreeNodeFields, DoesNotDeleteAValueThatIsReplaced) {
  Tree_NodePtr node = Leaf("n", "old");
  Tree_Value* const old_value = node->GetTreeValue();
  node->SetTreeValue(new Tree_Value("new", 1));
  EXPECT_TRUE(node->IsLeaf());
  EXPECT_EQ("n=new*", Draw(node));
  EXPECT_EQ("old", Text(old_value->GetValue()));
  delete old_value;
}

TEST(TreeNodeFields, CountsChildrenAndSaysWhetherThereAreAny) {
  Tree_NodePtr top = Inner("top");
  EXPECT_EQ(1, top->IsEmpty());
  Tree_NodePtr child = Inner("c");
  top->Add(child);
  EXPECT_EQ(0, top->IsEmpty());
  EXPECT_EQ(1, top->GetChildCount());
  top->Remove(0);
  EXPECT_EQ(1, top->IsEmpty());
  EXPECT_EQ(0, top->GetChildCount());
}

TEST(TreeNodeFields, KeepsItsVirtualParentPath) {
  Tree_NodePtr top = Plant("top(a)");
  Tree_NodePtr leaf = Leaf("l", "v");
  for (Tree_NodePtr node : {top, leaf}) {
    LogCapture log;
    EXPECT_TRUE(node->GetVirtualParentPath().isNull());
    RWCString path("sys\\main");
    node->SetVirtualParentPath(path);
    EXPECT_NO_LOG(log);
    EXPECT_EQ("sys\\main", Text(node->GetVirtualParentPath()));
    path.append("\\more");
    EXPECT_EQ("sys\\main", Text(node->GetVirtualParentPath()));
    // Copies share the interned text.
    EXPECT_EQ(node->GetVirtualParentPath().data(), node->GetVirtualParentPath().data());
  }
  EXPECT_EQ(top->GetVirtualParentPath().data(), leaf->GetVirtualParentPath().data());
  EXPECT_EQ("sys\\main\\top\\a", Text(top->GetChildAt(0)->GetPath()));
  EXPECT_TRUE(top->GetChildAt(0)->GetVirtualParentPath().isNull());

  RWCString empty;
  top->SetVirtualParentPath(empty);
  EXPECT_TRUE(top->GetVirtualParentPath().isNull());
  EXPECT_EQ("top\\a", Text(top->GetChildAt(0)->GetPath()));
}

TEST(TreeNodeFields, IgnoresChangesOfProtection) {
  Tree_NodePtr top = Plant("top(a=1)");
  Tree_NodePtr node = top;
  int protection = 17;
  LogCapture log;
  top->ChangeTreeNodePtrProtection(node, protection);
  EXPECT_NO_LOG(log);
  EXPECT_EQ(17, protection);
  EXPECT_EQ(top, node);
  EXPECT_EQ("top(a=1)", Draw(top));
}

TEST(TreeNodeFields, AreAllCopiedByAssignment) {
  Tree_NodePtr top = Plant("top(from(a,b=2))");
  Tree_NodePtr from = top->GetChildAt(0);
  RWCString path("sys");
  from->SetVirtualParentPath(path);
  from->SetId(42);
  auto* value = new Tree_Value("v", 0);
  from->SetTreeValue(value);

  Tree_NodePtr to = Inner("to");
  LogCapture log;
  Tree_Node& result = (*to = *from);
  EXPECT_EQ(to.get(), &result);
  EXPECT_EQ(&from->GetKeyName(), &to->GetKeyName());
  EXPECT_EQ("sys", Text(to->GetVirtualParentPath()));
  EXPECT_EQ(42, to->GetId());
  EXPECT_EQ(top.get(), to->GetParent());
  EXPECT_EQ(value, to->GetTreeValue());
  EXPECT_TRUE(to->IsAllowsChildren());
  EXPECT_EQ(2, to->GetChildCount());
  EXPECT_EQ(&from->GetChildAt(1), &to->GetChildAt(1));
  EXPECT_NO_LOG(log);

  // Both own the same children and value now.  An assignment from a blank node
  // makes one of them forget.
  Tree_Node blank("blank");
  *to = blank;
  EXPECT_EQ(0, to->GetChildCount());
  EXPECT_EQ("top(from(a,b=2))", Draw(top));
}

TEST(TreeNodeFields, TakeTheLeafFlagAlongInAnAssignment) {
  Tree_NodePtr leaf = Leaf("leaf", "v");
  Tree_NodePtr to = Inner("to");
  *to = *leaf;
  EXPECT_TRUE(to->IsLeaf());
  EXPECT_EQ(leaf->GetTreeValue(), to->GetTreeValue());
  Tree_Node blank("blank");
  *to = blank;
  EXPECT_FALSE(to->IsLeaf());
}

TEST(TreeNodeFields, HoldThePublishedConstants) {
  EXPECT_EQ(1, Tree_Node::TRUE_BOOL);
  EXPECT_EQ("\\", Text(Tree_Node::separator));
  EXPECT_EQ("this_is_an_empty_sub_tree_name_indication", Text(Tree_EmptySubTree_DummyName));
  EXPECT_TRUE(Tree_Node::NULL_TREE_NODE_PTR.isNull());
}

}  // namespace
