// The value of a leaf: an interned string and a change flag.

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeText.h"

namespace {

static_assert(std::is_trivially_destructible_v<Tree_Value>);
static_assert(std::is_trivially_copy_assignable_v<Tree_Value>);

struct ValueCase {
  const char* what;
  std::string text;
};

const ValueCase kValues[] = {
    {"empty", ""},
    {"short", "v"},
    {"blanks stay", "  v  "},
    {"only blanks", "   "},
    {"newlines", "a\nb\r\n"},
    {"separators", "a\\b\\\\c\\"},
    {"percent signs", "100%d%s%n"},
    {"zero bytes", std::string("a\0b\0", 4)},
    {"one zero byte", std::string("\0", 1)},
    {"high bytes", "\xFF\x80\x7F\x01"},
    {"long", std::string(100000, 'x')},
};

TEST(TreeValue, KeepsEveryStringAsItIs) {
  for (const ValueCase& c : kValues) {
    SCOPED_TRACE(c.what);
    LogCapture log;
    Tree_Value value(Bytes(c.text), 0);
    EXPECT_EQ(c.text, Text(value.GetValue()));
    Tree_Value other("other", 0);
    other.SetValue(Bytes(c.text));
    EXPECT_EQ(c.text, Text(other.GetValue()));
    EXPECT_NO_LOG(log);
  }
}

TEST(TreeValue, SharesTheTextOfEqualValues) {
  for (const ValueCase& c : kValues) {
    SCOPED_TRACE(c.what);
    Tree_Value a(Bytes(c.text), 0);
    Tree_Value b(Bytes(c.text), 1);
    EXPECT_EQ(a.GetValue().data(), b.GetValue().data());
    EXPECT_EQ(a.GetValue().data(), a.GetValue().data());
  }
}

TEST(TreeValue, SharesItsTextWithANameOfTheSameBytes) {
  Tree_Value value("one text", 0);
  Tree_NodePtr node = Inner("one text");
  EXPECT_EQ(node->GetKeyName().data(), value.GetValue().data());
}

TEST(TreeValue, DoesNotFollowTheStringThatItWasMadeFrom) {
  RWCString text("before");
  Tree_Value value(text, 0);
  text.append(" after");
  EXPECT_EQ("before", Text(value.GetValue()));
  RWCString copy = value.GetValue();
  copy.append(" and changed");
  EXPECT_EQ("before", Text(value.GetValue()));
  EXPECT_EQ("before", Text(Tree_Value("before", 0).GetValue()));
}

TEST(TreeValue, DistinguishesCase) {
  Tree_Value a("Value", 0);
  Tree_Value b("value", 0);
  EXPECT_NE(a.GetValue().data(), b.GetValue().data());
  EXPECT_EQ("Value", Text(a.GetValue()));
}

TEST(TreeValue, KeepsAnyChangeFlag) {
  for (const int flag : {0, 1, 2, -1, 2147483647, -2147483647 - 1}) {
    SCOPED_TRACE(flag);
    Tree_Value made("v", flag);
    EXPECT_EQ(flag, made.IsChange());
    Tree_Value set("v", 0);
    set.SetIsChange(flag);
    EXPECT_EQ(flag, set.IsChange());
    set.SetValue("w");
    EXPECT_EQ(flag, set.IsChange());
  }
}

TEST(TreeValue, StoresAnInternedStringAsItIs) {
  Tree_NodePtr node = Inner("interned");
  Tree_Value value("v", 3);
  value.SetValue(&node->GetKeyName());
  EXPECT_EQ("interned", Text(value.GetValue()));
  EXPECT_EQ(node->GetKeyName().data(), value.GetValue().data());
  EXPECT_EQ(3, value.IsChange());
}

TEST(TreeValue, IsCopiedMemberByMember) {
  Tree_Value a("a", 1);
  Tree_Value b("b", 2);
  b = a;
  EXPECT_EQ("a", Text(b.GetValue()));
  EXPECT_EQ(1, b.IsChange());
  b.SetValue("c");
  b.SetIsChange(0);
  EXPECT_EQ("a", Text(a.GetValue()));
  EXPECT_EQ(1, a.IsChange());
  Tree_Value copy(a);
  EXPECT_EQ("a", Text(copy.GetValue()));
  EXPECT_EQ(1, copy.IsChange());
}

TEST(TreeValue, LivesInThePoolOfValues) {
  const PoolFigures before = PoolFigures::Now();
  auto* value = new Tree_Value("v", 0);
  EXPECT_TRUE(ValuesPool().Exist(value));
  EXPECT_EQ((PoolFigures{0, 0, 0, 1, 0}), PoolFigures::Now() - before);
  delete value;
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
  delete static_cast<Tree_Value*>(nullptr);
}

TEST(TreeValue, BelongsToTheNodeThatItIsGivenTo) {
  const PoolFigures before = PoolFigures::Now();
  {
    Tree_NodePtr leaf(new Tree_Node("leaf", new Tree_Value("v", 0)));
    Tree_NodePtr inner(new Tree_Node("inner"));
    inner->SetTreeValue(new Tree_Value("v", 0));
    EXPECT_EQ((PoolFigures{2, 0, 0, 2, 2}), PoolFigures::Now() - before);
  }
  EXPECT_EQ((PoolFigures{0, 0, 0, 0, 0}), PoolFigures::Now() - before);
}

}  // namespace
