// Tree_Node::BuildSubTree: where records go, and trees that are converted into records and
// built again.
//
// Trees are drawn as in support/TreeText.h, records written as in support/TreeRecords.h.

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeBuilding.h"
#include "support/TreeLines.h"
#include "support/TreeRecords.h"
#include "support/TreeText.h"

namespace {

using namespace building;

// --- Where records go -----------------------------------------------------------------

struct BuildCase {
  Texts records;
  std::string tree;  // "null" when the building fails
  Lines lines;       // of levels 3 to 5
};

std::ostream& operator<<(std::ostream& out, const BuildCase& c) {
  return out << testing::PrintToString(c.records);
}

void ExpectBuilt(const BuildCase& c, RecordList* list) {
  LogCapture log(6);
  Tree_NodePtr built = Build(list);
  EXPECT_EQ(c.tree, Draw(built));
  Lines expected = Lines{Start("top")} + c.lines;
  if (c.tree == "null") {
    expected = expected + Failed();
  } else {
    expected.push_back(End("top"));
  }
  EXPECT_EQ(expected, OfTheTree(log));
}

// Lists in the order of their paths.
const BuildCase kSortedCases[] = {
    // No parent path: the name is the whole path, directly below the top.
    {{}, "top", {}},
    {{"a=1"}, "top(a=1)", {}},
    {{"a", "b=2*", "c=3*7", "d"}, "top(a,b=2*,c=3*,d)", {}},
    {{"x y=1"}, "top(x y=1)", {}},

    // The parent of the record before.
    {{"p", "p|a=1", "p|b=2", "p|c"}, "top(p(a=1,b=2,c))", {}},
    {{"p|a=1", "p|b=2"}, "top(p(a=1,b=2))", {}},
    {{"p\\q|a=1", "p\\q|b=2"}, "top(p(q(a=1,b=2)))", {}},

    // The record before is the parent.
    {{"x", "x|y=1"}, "top(x(y=1))", {}},
    {{"x", "x|y", "x\\y|z=1", "y"}, "top(x(y(z=1)),y)", {}},
    {{"a", "b", "b|c=1"}, "top(a,b(c=1))", {}},

    // Missing parents are made, once.
    {{"p|q=2"}, "top(p(q=2))", {}},
    {{"p\\q\\r|s=2"}, "top(p(q(r(s=2))))", {}},
    {{"p", "p\\q\\r|s=2"}, "top(p(q(r(s=2))))", {}},

    // Nothing in common with the previous parent path.
    {{"a|x=1", "b|y=2"}, "top(a(x=1),b(y=2))", {}},
    {{"ab|x=1", "ac|y=2"}, "top(ab(x=1),ac(y=2))", {}},
    {{"a\\b|x=1", "c\\d|y=2"}, "top(a(b(x=1)),c(d(y=2)))", {}},
    {{"a|x=1", "b=3", "c|y=2"}, "top(a(x=1),b=3,c(y=2))", {}},

    // One is the beginning of the other, but not its ancestor.
    {{"a|x=1", "ab|y=2"}, "top(a(x=1),ab(y=2))", {}},
    {{"aB|x=1", "a|y=2"}, "top(aB(x=1),a(y=2))", {}},
    {{"p\\a|x=1", "p\\ab|y=2"}, "top(p(a(x=1),ab(y=2)))", {}},
    {{"p\\aB|x=1", "p\\a|y=2"}, "top(p(aB(x=1),a(y=2)))", {}},

    // A common ancestor in the middle.
    {{"a\\b|x=1", "a\\c|y=2"}, "top(a(b(x=1),c(y=2)))", {}},
    {{"a\\b|x=1", "a\\bc|y=2"}, "top(a(b(x=1),bc(y=2)))", {}},
    {{"a\\b\\c\\d|x=1", "a\\e|y=2"}, "top(a(b(c(d(x=1))),e(y=2)))", {}},
    {{"a\\b\\c\\d|x=1", "a\\b\\e\\f|y=2"}, "top(a(b(c(d(x=1)),e(f(y=2)))))", {}},
    {{"a\\b\\c|x=1", "a\\c\\b|y=2"}, "top(a(b(c(x=1)),c(b(y=2))))", {}},

    // The previous parent path is an ancestor: only down.
    {{"a|x=1", "a\\y|z=2"}, "top(a(x=1,y(z=2)))", {}},
    {{"a|b=1", "a\\c\\d|e=2", "a\\c\\d\\f|g=3"}, "top(a(b=1,c(d(e=2,f(g=3)))))", {}},

    // It is a descendant: only up.
    {{"a\\b|x=1", "a|z=2"}, "top(a(b(x=1),z=2))", {}},
    {{"a\\b\\c|x=1", "a|z=2"}, "top(a(b(c(x=1)),z=2))", {}},
    {{"a\\b\\c\\d|x=1", "a\\b|z=2", "a|z=3"}, "top(a(b(c(d(x=1)),z=2),z=3))", {}},

    // An empty parent path in between forgets the previous one.
    {{"a\\b|x=1", "a\\c", "a|z=2"}, "top(a(b(x=1),z=2),a\\c)", {}},

    // The record before names the parent, so the last inner node made is taken for it,
    // whichever that is.
    {{"A", "a=1", "a|b=2"}, "top(A(b=2),a=1)", {}},
    {{"x", "x|l=1", "x\\l|m=2"}, "top(x(l=1,m=2))", {}},
    {{"x", "x|l=1", "x\\l|m=2", "x\\l|n"}, "top(x(l=1,m=2,n))", {}},
    {{"x", "x", "x|y=1"}, "top(x(y=1))", {Skipped("x")}},
    {{"x", "xA=2", "x|w", "x|y=1"}, "top(x(w,y=1),xA=2)", {}},
    {{"a=1", "a|b=2"}, "null", {}},
    {{"A|b=1", "a=1", "a|b=2", "c=3", "d"}, "null", {}},
    {{"p|q=1", "p\\q|r=2"}, "null", {}},

    // Further on from there the steps count from the node that was taken.
    {{"A", "a=1", "a|b=2", "a\\c|d=3"}, "top(A(b=2,c(d=3)),a=1)", {}},

    // Up to the top, which has no parent itself, and further up: where nothing is found
    // the parent stays.
    {{"A", "a|b=1", "a\\b|c=2", "a\\d|e=3"}, "top(A(c=2,d(e=3)),a(b=1))", {}},
    {{"A", "a\\b\\z|y=1", "a\\b\\z\\y|c=2", "a|w=3"}, "top(A(c=2,w=3),a(b(z(y=1))))", {}},

    // Of records for one node the first counts.
    {{"a=1", "a=2"}, "top(a=1)", {Skipped("a")}},
    {{"a=1", "a"}, "top(a=1)", {Skipped("a")}},
    {{"a", "a=1", "a=2"}, "top(a)", {Skipped("a"), Skipped("a")}},
    {{"p|a=1", "p|a=2*"}, "top(p(a=1))", {Skipped("p\\a")}},
    {{"p", "p|a", "p|a", "p\\a|b=1"}, "top(p(a(b=1)))", {Skipped("p\\a")}},

    // A value that is empty is none.
    {{"a="}, "top(a)", {}},
    {{"a=*"}, "top(a)", {}},
    {{"a=", "a|b=1"}, "top(a(b=1))", {}},
    {{"a= "}, "top(a= )", {}},

    // Blanks around names go; look-ups keep them, so that an equal name is not found.
    {{" q =1"}, "top(q=1)", {lines::NameFixed(" q ", "q")}},
    {{" q =1", " q =2"},
     "top(q=1,q=2)",
     {lines::NameFixed(" q ", "q"), lines::NameFixed(" q ", "q")}},
    {{" q =1", "q=2"}, "top(q=1)", {lines::NameFixed(" q ", "q"), Skipped("q")}},
    {{" p |x=1", " p |y=2"}, "top(p(x=1,y=2))", {lines::NameFixed(" p ", "p")}},
    {{" p |x=1", "b=3", "p|y=2"}, "top(p(x=1,y=2),b=3)", {lines::NameFixed(" p ", "p")}},
    {{" p ", " p | q ", " p \\ q |x=1"},
     "top(p(q(x=1)))",
     {lines::NameFixed(" p ", "p"), lines::NameFixed(" q ", "q")}},

    // A name with a backslash is looked up as a path and made as one name.
    {{"a\\b=1"}, "top(a\\b=1)", {}},
    {{"a\\b=1", "a\\b=2"}, "top(a\\b=1,a\\b=2)", {}},
    {{"a\\b", "a\\b|c=1"}, "top(a\\b(c=1))", {}},
    {{"p\\a\\b@1=1"}, "top(p(a\\b=1))", {}},
    {{"p\\A|x=1", "p\\A\\x@1=2"}, "top(p(A(x=1)))", {Skipped("p\\A\\x")}},

    // Whatever follows an empty part of a path is not looked at.
    {{"p|A=1", "p\\\\=2"}, "top(p(A=1))", {Skipped("p\\\\")}},
    {{"p|A=1", "p\\\\x=2"}, "top(p(A=1))", {Skipped("p\\\\x")}},
    {{"A=1", "\\x=2"}, "top(A=1)", {Skipped("\\x")}},
    {{"\\x=2"}, "top", {Skipped("\\x")}},
    {{"a\\\\b|x=1"}, "top(a(x=1))", {}},
    {{"a\\\\b|x=1", "a\\\\c|y=2"}, "top(a(x=1,c(y=2)))", {}},
    {{"a\\=1"}, "top(a\\=1)", {}},
    {{"a=1", "a\\=2"}, "top(a=1)", {Skipped("a\\")}},

    // No name at all is the parent itself.
    {{""}, "top", {Skipped("")}},
    {{"=1"}, "top", {Skipped("")}},
    {{"", "", "a=1"}, "top(a=1)", {Skipped(""), Skipped("")}},
    {{"p|=1"}, "top(p)", {Skipped("p\\")}},
    {{"p", "p|", "p\\|=1"}, "top(p)", {Skipped("p\\"), Skipped("p\\\\")}},

    // The parent path index is bytes, wherever it points to.
    {{"abc@1=1"}, "top(a(c=1))", {}},
    {{"a\\bc@2=1"}, "top(a(c=1))", {}},
    {{"a\\b@2=1"}, "top(a)", {Skipped("a\\b")}},
    {{"ab@2=1"}, "top(ab)", {Skipped("ab")}},
    {{"ab@9=1"}, "top(ab)", {Skipped("ab")}},
    {{"ab@2147483647=1"}, "top(ab)", {Skipped("ab")}},
    {{"a\\b@3=1"}, "top(a(b))", {Skipped("a\\b")}},
    {{"a\\b@4=1"}, "top(a(b))", {Skipped("a\\b")}},
    {{"ab@-3=1"}, "top(ab=1)", {}},
    {{"ab@-2147483648"}, "top(ab)", {}},
    {{"@5=1"}, "top", {Skipped("")}},

    // Parent paths that end in a backslash.
    {{"a|b=1", "a\\cd@2=2"}, "top(a(b=1,d=2))", {}},
    {{"a\\Xd@2=2", "a|b=1"}, "top(a(d=2,b=1))", {}},
    {{"z\\a\\Xd@4=2", "z\\a|b=1"}, "top(z(a(d=2),b=1))", {}},

    // Parent paths that begin with one: the first of all has nothing to go down from,
    // later ones go down from wherever the building is.
    {{"\\a|x=1"}, "null", {}},
    {{"\\a@1=1"}, "null", {}},
    {{"\\a|x=1", "b=2", "c"}, "null", {}},
    {{"A", "\\x|y=1"}, "top(A,x(y=1))", {}},
    {{"A", "\\x@1=1"}, "top(A)", {Skipped("\\x")}},
    {{"A", "\\x|y=1", "\\z|w=2"}, "top(A,x(y=1,z(w=2)))", {}},
    {{"A", "\\x\\u|y=1", "\\x\\v|w=2"}, "top(A,x(u(y=1),v(w=2)))", {}},
    {{"A", "\\x\\u|y=1", "\\z|w=2"}, "top(A,x(u(y=1,z(w=2))))", {}},
    {{"A|B=1", "\\z|w=2"}, "top(A(B=1),w=2)", {}},
    {{"A\\B|c=1", "\\z|w=2"}, "top(A(B(c=1)),w=2)", {}},

    // Below a leaf nothing can be added; what is made there stands alone.
    {{"a=1", "aB=2", "a|c=3"}, "top(a=1,aB=2)", {lines::InsertIntoLeaf("a")}},
    {{"a=1", "aB=2", "a|c", "a\\c|d=3"}, "top(a=1,aB=2)", {lines::InsertIntoLeaf("a")}},
    {{"a=1", "aB=2", "a\\c|d=3"}, "top(a=1,aB=2)", {lines::InsertIntoLeaf("a")}},
    {{"a=1", "aB=2", "a\\c|d=3", "a\\c|d=4"},
     "top(a=1,aB=2)",
     {lines::InsertIntoLeaf("a"), Skipped("a\\c\\d")}},
    {{"a=1", "aB=2", "a\\c|d=3", "a\\c\\g\\h|i=4", "a\\k|l=5", "b=6"},
     "top(a=1,aB=2,b=6)",
     {lines::InsertIntoLeaf("a")}},
    // It lives only as long as records are added to it: when they go to a node below, there
    // is no way up from there any more.
    {{"a=1", "a\\b|x", "a\\d\\c|d=2", "a\\d|d=3"},
     "top(a=1)",
     {lines::InsertIntoLeaf("a"), Skipped("a\\d\\d")}},
    {{"a=1", "aB=2", "a|c=3", "a|c=4"},
     "top(a=1,aB=2)",
     {lines::InsertIntoLeaf("a"), lines::InsertIntoLeaf("a")}},
};

TEST(BuildSubTree, PutsEveryRecordInItsPlace) {
  for (const BuildCase& c : kSortedCases) {
    SCOPED_TRACE(c);
    RecordList* const list = NewList(c.records);
    // The rows stand in the order in which they are built.
    Texts given;
    for (const std::string& text : c.records) given.push_back(RecordText(text).path);
    EXPECT_TRUE(std::is_sorted(given.begin(), given.end()));
    ExpectBuilt(c, list);
  }
}

// Lists in another order, which take branches that sorted ones do not.
const BuildCase kUnsortedCases[] = {
    // A record for a node that was made as somebody's parent.
    {{"p|q=2", "p=3"}, "top(p(q=2))", {Skipped("p")}},
    {{"p|q=2", "p"}, "top(p(q=2))", {Skipped("p")}},
    {{"a\\b|c=1", "a|b=2", "a=3"}, "top(a(b(c=1)))", {Skipped("a\\b"), Skipped("a")}},

    // It makes no inner node, so that its children fail or go astray.
    {{"p\\q|z=1", "p|q", "p\\q|y=2"}, "null", {Skipped("p\\q")}},
    {{"x", "p\\q|z=1", "p|q", "p\\q|y=2"}, "top(x(y=2),p(q(z=1)))", {Skipped("p\\q")}},
    {{"p|q=2", "p=3", "p|r=4"}, "null", {Skipped("p")}},

    // Up and down again.
    {{"a\\b\\c|x=1", "d|y=2", "a\\b|z=3", "a\\b\\c|w=4"}, "top(a(b(c(x=1,w=4),z=3)),d(y=2))", {}},
    {{"b|x=1", "a|y=2", "b|z=3", "a|w=4"}, "top(b(x=1,z=3),a(y=2,w=4))", {}},
    {{"c=1", "b=2", "a"}, "top(c=1,b=2,a)", {}},
    {{"a\\c|x=1", "a\\b|y=2"}, "top(a(c(x=1),b(y=2)))", {}},

    // The same parent path again, behind a record without one.
    {{"a|x=1", "b=2", "a|y=3"}, "top(a(x=1,y=3),b=2)", {}},

    // Names that go back and on again, and a name that becomes another's.
    {{"b=1", "a=2", "b=3", "a=4", "c=5"}, "top(b=1,a=2,c=5)", {Skipped("b"), Skipped("a")}},
    {{"p|b=1", "p|a=2", "p|ab=3", "p|b=4"}, "top(p(b=1,a=2,ab=3))", {Skipped("p\\b")}},
    {{"p| b=1", "p|b=2", "p|c=3"},
     "top(p(b=1,c=3))",
     {lines::NameFixed(" b", "b"), Skipped("p\\b")}},
    {{"p|a=1", "p|b =2", "p|b=3"},
     "top(p(a=1,b=2))",
     {lines::NameFixed("b ", "b"), Skipped("p\\b")}},

    // A parent recorded a while before.
    {{"a", "b|x=1", "a|y=2"}, "top(a(y=2),b(x=1))", {}},
};

TEST(BuildSubTree, TakesRecordsInTheOrderOfTheList) {
  for (const BuildCase& c : kUnsortedCases) {
    SCOPED_TRACE(c);
    ExpectBuilt(c, NewListInThisOrder(c.records));
  }
}

TEST(BuildSubTree, KeepsChangeFlagsAndSharesValues) {
  RecordList* const list = NewList({"a=shared value*-4", "b=2"});
  const RWCString value = list->at(0)->GetValue();
  Tree_NodePtr built = Build(list);
  EXPECT_EQ(-4, built->GetChildAt(0)->GetTreeValue()->IsChange());
  EXPECT_EQ(0, built->GetChildAt(1)->GetTreeValue()->IsChange());
  EXPECT_EQ(value.data(), built->GetChildAt(0)->GetTreeValue()->GetValue().data());
}

TEST(BuildSubTree, TakesZeroBytesAsTheyCome) {
  // Look-ups read names up to a zero byte, nodes keep them whole.
  RecordList* const list = new RecordList;
  for (const std::string& path : {std::string("a\0b", 3), std::string("a\0c", 3)}) {
    Tree_NodeInfo* const record = NewRecord("=1");
    SetPath(*record, path);
    list->insert(record);
  }
  RWCString value = Bytes(std::string("\0", 1));
  list->at(0)->SetValue(value);
  LogCapture log(6);
  Tree_NodePtr built = Build(list);
  ASSERT_EQ(1, built->GetChildCount());
  EXPECT_EQ(std::string("a\0b", 3), Text(built->GetChildAt(0)->GetKeyName()));
  EXPECT_EQ(std::string("\0", 1), Text(built->GetChildAt(0)->GetTreeValue()->GetValue()));
  EXPECT_EQ((Lines{Start("top"), Skipped("a"), End("top")}), OfTheTree(log));
}

// --- There and back ----------------------------------------------------------------------------

struct RoundTripCase {
  const char* tree;
  const char* below_the_top;
  const char* directly;
};
const RoundTripCase kRoundTripCases[] = {
    {"cfg", "top(cfg)", "top"},
    {"cfg(b=2,a=1*)", "top(cfg(a=1*,b=2))", "top(a=1*,b=2)"},
    {"cfg(net(port=80,host=h),B=1,a(c(d=1*)))", "top(cfg(B=1,a(c(d=1*)),net(host=h,port=80)))",
     "top(B=1,a(c(d=1*)),net(host=h,port=80))"},

    // An empty leaf comes back as an inner node.
    {"cfg(a=,b=*)", "top(cfg(a,b))", "top(a,b)"},

    // A sibling that sorts between a node and its children.
    {"cfg(a(x=1),a!=2)", "top(cfg(a(x=1),a!=2))", "top(a(x=1),a!=2)"},
    {"cfg(a(x=1),a!(y=2),ab(z=3))", "top(cfg(a(x=1),a!(y=2),ab(z=3)))",
     "top(a(x=1),a!(y=2),ab(z=3))"},
    {"cfg(a(b(c(d(e=1)))),a-b(c=2),a b(c=3))", "top(cfg(a(b(c(d(e=1)))),a b(c=3),a-b(c=2)))",
     "top(a(b(c(d(e=1)))),a b(c=3),a-b(c=2))"},
};

TEST(BuildSubTree, RebuildsWhatWasConverted) {
  for (const RoundTripCase& c : kRoundTripCases) {
    SCOPED_TRACE(c.tree);
    Tree_NodePtr tree = Plant(c.tree);
    RWCString empty;
    RecordList* list = new RecordList;
    Tree_Node::ConvertTreeNodeToVec(tree, empty, list);
    EXPECT_EQ(c.below_the_top, Draw(Build(list)));

    list = new RecordList;
    for (int i = 0; i < tree->GetChildCount(); ++i) {
      Tree_Node::ConvertTreeNodeToVec(tree->GetChildAt(i), empty, list);
    }
    EXPECT_EQ(c.directly, Draw(Build(list)));
    EXPECT_EQ(c.tree, Draw(tree));
  }
}

}  // namespace
