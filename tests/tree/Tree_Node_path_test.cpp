// Tree_Node::GetPath and GetVirtualParentPath.

#include <gtest/gtest.h>

#include <string>

#include "Tree/Tree_Node.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

std::string PathOf(const Tree_NodePtr& node) {
  return Text((*node).GetPath());
}

TEST(NodePath, OfATopNodeIsItsName) {
  EXPECT_EQ("cfg", PathOf(Inner("cfg")));
  EXPECT_EQ("x", PathOf(Leaf("x", "1")));
  EXPECT_EQ("", PathOf(Inner("")));
  EXPECT_EQ(" blanks ", PathOf(Inner(" blanks ")));
}

TEST(NodePath, JoinsTheNamesFromTheTopDown) {
  Tree_NodePtr leaf = Leaf("port", "80");
  Tree_NodePtr net = Inner("net", {leaf});
  Tree_NodePtr top = Inner("cfg", {net});
  EXPECT_EQ("cfg", PathOf(top));
  EXPECT_EQ("cfg\\net", PathOf(net));
  EXPECT_EQ("cfg\\net\\port", PathOf(leaf));
}

TEST(NodePath, TakesBackslashesAndZeroBytesInNamesAsTheyAre) {
  Tree_NodePtr odd = Inner("a\\b");
  Tree_NodePtr zero = Leaf(Bytes("x\0y"), "1");
  Tree_NodePtr top = Inner("cfg", {odd});
  odd->Add(zero);
  EXPECT_EQ("cfg\\a\\b", PathOf(odd));
  EXPECT_EQ(std::string("cfg\\a\\b\\x\0y", 11), PathOf(zero));
}

TEST(NodePath, BelowANamelessTopBeginsWithTheSeparator) {
  Tree_NodePtr a = Inner("a");
  Tree_NodePtr top = Inner("", {a});
  EXPECT_EQ("\\a", PathOf(a));
  a->SetKeyName("");
  EXPECT_EQ("\\", PathOf(a));
  Tree_NodePtr b = Leaf("b", "1");
  a->Add(b);
  EXPECT_EQ("\\\\b", PathOf(b));
}

TEST(NodePath, OfANamelessChildEndsWithTheSeparator) {
  Tree_NodePtr child = Inner("");
  Tree_NodePtr grandchild = Leaf("x", "1");
  Tree_NodePtr top = Inner("cfg", {child});
  child->Add(grandchild);
  EXPECT_EQ("cfg\\", PathOf(child));
  EXPECT_EQ("cfg\\\\x", PathOf(grandchild));
}

TEST(NodePath, StartsWithTheVirtualParentPathOfTheTop) {
  Tree_NodePtr net = Inner("net");
  Tree_NodePtr top = Inner("cfg", {net});
  RWCString above("sys\\main");
  top->SetVirtualParentPath(above);
  EXPECT_EQ("sys\\main\\cfg", PathOf(top));
  EXPECT_EQ("sys\\main\\cfg\\net", PathOf(net));
  EXPECT_EQ("sys\\main", Text(top->GetVirtualParentPath()));

  // A nameless top still ends with its separator.
  top->SetKeyName("");
  EXPECT_EQ("sys\\main\\", PathOf(top));
  EXPECT_EQ("sys\\main\\\\net", PathOf(net));
}

TEST(NodePath, IgnoresAVirtualParentPathBelowTheTop) {
  Tree_NodePtr net = Inner("net");
  Tree_NodePtr top = Inner("cfg", {net});
  RWCString above("sys");
  net->SetVirtualParentPath(above);
  EXPECT_EQ("cfg\\net", PathOf(net));
  EXPECT_EQ("sys", Text(net->GetVirtualParentPath()));
  EXPECT_EQ(1, top->Remove("net"));
  EXPECT_EQ("sys\\net", PathOf(net));
}

TEST(NodePath, IgnoresAnEmptyVirtualParentPath) {
  Tree_NodePtr net = Inner("net");
  Tree_NodePtr top = Inner("cfg", {net});
  RWCString nothing;
  top->SetVirtualParentPath(nothing);
  EXPECT_EQ("cfg", PathOf(top));
  EXPECT_EQ("cfg\\net", PathOf(net));
  EXPECT_EQ("", Text(top->GetVirtualParentPath()));
}

TEST(NodePath, VirtualParentPathIsEmptyUntilItIsSet) {
  EXPECT_EQ("", Text(Inner("a")->GetVirtualParentPath()));
  EXPECT_EQ("", Text(Leaf("a", "1")->GetVirtualParentPath()));
  Tree_NodePtr plain(new Tree_Node("plain"));
  Tree_NodePtr valued(new Tree_Node("valued", new Tree_Value("1", 0)));
  Tree_NodePtr inner(new Tree_Node("inner", nullptr));
  EXPECT_EQ("", Text(plain->GetVirtualParentPath()));
  EXPECT_EQ("", Text(valued->GetVirtualParentPath()));
  EXPECT_EQ("", Text(inner->GetVirtualParentPath()));
  EXPECT_EQ("valued", PathOf(valued));
}

TEST(NodePath, VirtualParentPathIsInternedReplacedAndCopiedOut) {
  Tree_NodePtr one = Inner("one");
  Tree_NodePtr two = Leaf("two", "2");
  RWCString above("above it all");
  RWCString equal("above it all");
  one->SetVirtualParentPath(above);
  two->SetVirtualParentPath(equal);
  EXPECT_EQ(one->GetVirtualParentPath().data(), two->GetVirtualParentPath().data());

  RWCString copy = one->GetVirtualParentPath();
  copy += " and more";
  above += " changed";
  EXPECT_EQ("above it all", Text(one->GetVirtualParentPath()));
  one->SetVirtualParentPath(copy);
  EXPECT_EQ("above it all and more\\one", PathOf(one));
  EXPECT_EQ("above it all\\two", PathOf(two));
}

TEST(NodePath, FollowsRenamesAndMoves) {
  Tree_NodePtr leaf = Leaf("x", "1");
  Tree_NodePtr from = Inner("from", {leaf});
  Tree_NodePtr to = Inner("to");
  Tree_NodePtr top = Inner("cfg", {from, to});
  EXPECT_EQ("cfg\\from\\x", PathOf(leaf));
  to->Add(leaf);
  EXPECT_EQ("cfg\\to\\x", PathOf(leaf));
  to->SetKeyName("there");
  top->SetKeyName("top");
  EXPECT_EQ("top\\there\\x", PathOf(leaf));
  leaf->SetParent(nullptr);
  EXPECT_EQ("x", PathOf(leaf));
  leaf->SetParent(from.get());
  EXPECT_EQ("top\\from\\x", PathOf(leaf));
  leaf->SetParent(to.get());
}

TEST(NodePath, JoinsWithWhateverTheSeparatorIs) {
  Tree_NodePtr leaf = Leaf("x", "1");
  Tree_NodePtr net = Inner("net", {leaf});
  Tree_NodePtr top = Inner("cfg", {net});
  RWCString above("sys\\main");
  for (const char* separator : {"/", "::", "\\\\", "net", ""}) {
    SCOPED_TRACE(separator);
    SeparatorGuard guard(separator);
    const std::string s(separator);
    EXPECT_EQ("cfg" + s + "net" + s + "x", PathOf(leaf));
    top->SetVirtualParentPath(above);
    EXPECT_EQ("sys\\main" + s + "cfg", PathOf(top));
    EXPECT_EQ("sys\\main" + s + "cfg" + s + "net", PathOf(net));
    RWCString nothing;
    top->SetVirtualParentPath(nothing);

    top->SetKeyName("");
    EXPECT_EQ("", PathOf(top));
    EXPECT_EQ(s + "net", PathOf(net));
    net->SetKeyName("");
    EXPECT_EQ(s + s + "x", PathOf(leaf));
    top->SetKeyName("cfg");
    net->SetKeyName("net");
  }
  EXPECT_EQ("\\", Text(Tree_Node::separator));
  EXPECT_EQ("cfg\\net\\x", PathOf(leaf));
}

TEST(NodePath, OfTheBottomOfAMillionNodesIsWritten) {
  constexpr int kNodes = 1000000;
  Tree_NodePtr bottom;
  Tree_NodePtr top = Chain(kNodes, "n", bottom);
  top->SetKeyName("top");
  const RWCString path = bottom->GetPath();
  ASSERT_EQ(3u + 2u * (kNodes - 1), path.length());
  EXPECT_EQ("top\\n\\n", Text(path).substr(0, 7));
  EXPECT_EQ("\\n\\n", Text(path).substr(path.length() - 4));
}

TEST(NodePath, WritesNothing) {
  Tree_NodePtr leaf = Leaf("x", "1");
  Tree_NodePtr top = Inner("cfg", {leaf});
  LogCapture log;
  leaf->GetPath();
  top->GetPath();
  top->GetVirtualParentPath();
  EXPECT_NO_LOG(log);
}

}  // namespace
