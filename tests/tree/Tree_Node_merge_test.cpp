// Merge and MergeOneLevel: what the result holds and in which order, what is shared and
// what is copied, chunk areas, the lines written, very wide and very deep trees, and
// pools and heap that yield nothing.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/SmallStackThread.h"
#include "support/TreeLines.h"
#include "support/TreeText.h"

namespace {

using Lines = std::vector<LogLine>;

LogLine ChunkFound() {
  return TreeLine(6, "Tree_Node::Merge",
                  "Found chunk area that should be kept united Modifying it accordingly");
}

LogLine ChunkOverride() {
  return TreeLine(7, "Tree_Node::Merge",
                  "Override = replace all the chunks ---- No-Override dont replace the chunks");
}

LogLine ValueMissing(const std::string& path) {
  return TreeLine(7, "Tree_Node::GetValue",
                  "GetValue(RWCString & path,int index,Tree_NodePtr & this_ptr): path " + path +
                      " does not exist, return \n");
}

LogLine ValueOfSubTree() {
  return TreeLine(7, "Tree_Node::GetValue",
                  "GetValue(RWCString & path,Tree_NodePtr & this_ptr) : path represent a sub "
                  "tree,return empty string\n");
}

// A leaf whose value is gone.
Tree_NodePtr LeafWithoutValue(const std::string& name) {
  Tree_NodePtr node = Leaf(name, "gone");
  node->Destroy();
  return node;
}

// Every node below `top` with its parent, so that a tree can be compared node for node.
struct Place {
  const Tree_Node* node;
  const Tree_Node* parent;
  const Tree_Value* value;

  friend bool operator==(const Place& a, const Place& b) {
    return a.node == b.node && a.parent == b.parent && a.value == b.value;
  }
};

std::vector<Place> Places(const Tree_NodePtr& top) {
  std::vector<Place> places;
  std::vector<Tree_Node*> open = {top.get()};
  while (!open.empty()) {
    Tree_Node* const node = open.back();
    open.pop_back();
    if (node == nullptr) continue;
    places.push_back({node, node->GetParent(), node->GetTreeValue()});
    for (int i = node->GetChildCount() - 1; i >= 0; --i) open.push_back(node->GetChildAt(i).get());
  }
  return places;
}

// Whether two trees have a node in common.
bool Share(const Tree_NodePtr& a, const Tree_NodePtr& b) {
  for (const Place& x : Places(a)) {
    for (const Place& y : Places(b)) {
      if (x.node == y.node || (x.value != nullptr && x.value == y.value)) return true;
    }
  }
  return false;
}

using Operation = Tree_NodePtr (*)(Tree_NodePtr&, Tree_NodePtr&);

// Runs `operation` on two trees and checks that both are left as they were, node for
// node, and that the result shares nothing with them and is a tree in good order.
std::string Merged(Operation operation, Tree_NodePtr& base, Tree_NodePtr& override) {
  const std::string base_before = Draw(base);
  const std::string override_before = Draw(override);
  const std::vector<Place> base_places = Places(base);
  const std::vector<Place> override_places = Places(override);
  Tree_Node* const base_node = base.get();
  Tree_Node* const override_node = override.get();

  Tree_NodePtr result = operation(base, override);
  EXPECT_FALSE(Share(result, base));
  EXPECT_FALSE(Share(result, override));
  const std::string text = Draw(result);
  for (const Place& place : Places(result)) {
    EXPECT_EQ(place.node == result.get(), place.parent == nullptr);
  }
  std::vector<Tree_Node*> open = {result.get()};
  while (!open.empty()) {
    Tree_Node* const node = open.back();
    open.pop_back();
    EXPECT_EQ(0, node->GetId());
    for (int i = 0; i < node->GetChildCount(); ++i) {
      EXPECT_EQ(node, node->GetChildAt(i)->GetParent());
      EXPECT_EQ(1u, node->GetChildAt(i).UseCount());
      open.push_back(node->GetChildAt(i).get());
    }
  }
  EXPECT_EQ(1u, result.UseCount());

  // What becomes of the result is nothing to the two.
  result->SetKeyName("changed");
  result->Destroy();
  EXPECT_EQ(base_node, base.get());
  EXPECT_EQ(override_node, override.get());
  EXPECT_EQ(base_before, Draw(base));
  EXPECT_EQ(override_before, Draw(override));
  EXPECT_EQ(base_places, Places(base));
  EXPECT_EQ(override_places, Places(override));
  return text;
}

struct MergeCase {
  const char* heading;
  const char* base;
  const char* override;
  const char* result;
  Lines lines = {};  // of levels 3 to 6
};

void Check(Operation operation, const std::vector<MergeCase>& cases) {
  for (const MergeCase& c : cases) {
    SCOPED_TRACE(c.heading);
    Tree_NodePtr base = Plant(c.base);
    Tree_NodePtr override = Plant(c.override);
    LogCapture log(6);
    EXPECT_EQ(c.result, Merged(operation, base, override));
    EXPECT_EQ(c.lines, log.Take());
  }
}

// --- Merge: content and order -----------------------------------------------------

TEST(Merge, LetsTheOverrideWinAndTheBaseFillIn) {
  Check(Tree_Node::Merge,
        {
            {"two top nodes alone", "t", "t", "t"},
            {"the top name is the override's", "base(a=1)", "over(b=2)", "over(b=2,a=1)"},
            {"leaf over leaf", "t(b=1)", "t(b=2)", "t(b=2)"},
            {"leaf over leaf further down", "t(a(b=1))", "t(a(b=2))", "t(a(b=2))"},
            {"an empty value wins too", "t(b=1)", "t(b=)", "t(b=)"},
            {"a leaf that the override lacks", "t(a(x=1))", "t(a)", "t(a(x=1))"},
            {"nothing to add", "t", "t(a=1,b(c=2))", "t(a=1,b(c=2))"},
            {"everything to add", "t(a=1,b(c=2),d)", "t", "t(a=1,b(c=2),d)"},
            {"names are case-sensitive", "t(A=1)", "t(a=2)", "t(a=2,A=1)"},
            {"names are compared whole", "t(ab=1,a=1)", "t(abc=2)", "t(abc=2,ab=1,a=1)"},
            {"change flags come along", "t(a=1*,c=1)", "t(b=2*,d=2)", "t(b=2*,d=2,a=1*,c=1)"},
            {"a flag of the base is dropped with its value", "t(a=1*)", "t(a=2)", "t(a=2)"},
        });
}

TEST(Merge, MovesNodesThatBothHaveBehindTheirSiblingsInTheOrderOfTheBase) {
  Check(Tree_Node::Merge,
        {
            {"what the base adds comes behind", "t(x=1,y(p=1),z)", "t(a=2,b(q=2))",
             "t(a=2,b(q=2),x=1,y(p=1),z)"},
            {"a leaf of the base moves nothing", "t(a=1,b=1)", "t(b=2,c=2,a=2)", "t(b=2,c=2,a=2)"},
            {"an inner node does", "t(a(x=1))", "t(a(y=2),b=2)", "t(b=2,a(y=2,x=1))"},
            {"an empty inner node does", "t(a)", "t(a(x=2),b=2)", "t(b=2,a(x=2))"},
            {"at every level", "t(a(p(x=1)))", "t(a(p(y=2),q=2),b=2)", "t(b=2,a(q=2,p(y=2,x=1)))"},
            {"the last one stays last", "t(b(x=1))", "t(a=2,b(y=2))", "t(a=2,b(y=2,x=1))"},
            {"all of them, in the order of the base", "t(c(1=1),a(1=1),b(1=1))",
             "t(a(2=2),b(2=2),c(2=2))", "t(c(2=2,1=1),a(2=2,1=1),b(2=2,1=1))"},
            {"copies come in between, in their turn", "t(p(1=1),q=1,r(3=1),s=1)",
             "t(r(z=2),k=2,p(y=2))", "t(k=2,p(y=2,1=1),q=1,r(z=2,3=1),s=1)"},
        });
}

TEST(Merge, LetsTheOverrideWinOverANodeOfTheOtherKind) {
  Check(
      Tree_Node::Merge,
      {
          {"a sub-tree over a leaf stays in its place", "t(a=1)", "t(a(x=2),b=2)", "t(a(x=2),b=2)"},
          {"an empty sub-tree over a leaf", "t(a=1)", "t(a,b=2)", "t(a,b=2)"},
          {"a leaf over an empty sub-tree moves", "t(a)", "t(a=2,b=2)", "t(b=2,a=2)"},
          {"a leaf over a sub-tree refuses each grandchild",
           "t(a(x=1,y(z=1,zz=1)),b=1)",
           "t(a=2,c=2)",
           "t(c=2,a=2,b=1)",
           {lines::InsertIntoLeaf("a"), lines::InsertIntoLeaf("a")}},
          {"further down",
           "t(a(b(x=1),c(y=1)))",
           "t(a(b=2,c=2))",
           "t(a(b=2,c=2))",
           {lines::InsertIntoLeaf("b"), lines::InsertIntoLeaf("c")}},
          {"at the top",
           "t(a=1,b(c=1))",
           "u=2",
           "u=2",
           {lines::InsertIntoLeaf("u"), lines::InsertIntoLeaf("u")}},
          {"a sub-tree over a leaf at the top", "t=1", "u(a=2)", "u(a=2)"},
          {"a leaf over a leaf at the top", "t=1", "t=2", "t=2"},
      });
}

TEST(Merge, TakesTheFirstOfSeveralNodesOfOneName) {
  Check(Tree_Node::Merge,
        {
            {"leaves of the base: the first counts", "t(a=1,a=2)", "t", "t(a=1)"},
            {"sub-trees of the base are merged, the first one wins", "t(a(x=1,k=1),a(y=2,k=2))",
             "t", "t(a(x=1,k=1,y=2))"},
            {"three of them", "t(a(x=1),a(y=2),a(z=3))", "t(b=9)", "t(b=9,a(x=1,y=2,z=3))"},
            {"they move behind what was added since", "t(a(x=1),b=1,a(y=2))", "t",
             "t(b=1,a(x=1,y=2))"},
            {"a sub-tree and then a leaf", "t(a(x=1),a=2)", "t", "t(a(x=1))"},
            {"a leaf and then a sub-tree",
             "t(a=1,a(x=2))",
             "t",
             "t(a=1)",
             {lines::InsertIntoLeaf("a")}},
            {"leaves of the override all stay", "t(a=1)", "t(a=2,a=3)", "t(a=2,a=3)"},
            {"only the first of the override is merged", "t(a(x=1))", "t(a(y=2),a(z=2))",
             "t(a(z=2),a(y=2,x=1))"},
            {"the next one is the first then", "t(a(x=1),a(w=1))", "t(a(y=2),a(z=2))",
             "t(a(y=2,x=1),a(z=2,w=1))"},
            {"and so on in turn", "t(a(1=1),a(2=1),a(3=1))", "t(a(y=2),a(z=2))",
             "t(a(z=2,2=1),a(y=2,1=1,3=1))"},
            {"a leaf of the override before a sub-tree",
             "t(a(x=1))",
             "t(a=2,a(y=2))",
             "t(a(y=2),a=2)",
             {lines::InsertIntoLeaf("a")}},
            {"inside a copy nothing is merged", "t(b(a=1,a=2))", "t", "t(b(a=1,a=2))"},
        });
}

TEST(Merge, MergesATreeWithItself) {
  Tree_NodePtr tree = Plant("t(a=1*,b(c=2,g(h=1)),d=3,e(f))");
  EXPECT_EQ("t(a=1*,d=3,b(c=2,g(h=1)),e(f))", Merged(Tree_Node::Merge, tree, tree));
  EXPECT_EQ("t(a=1*,b(c=2,g(h=1)),d=3,e(f))", Merged(Tree_Node::MergeOneLevel, tree, tree));
}

TEST(Merge, MergesATreeWithAPartOfIt) {
  Tree_NodePtr tree = Plant("t(a=1,b(c=2,a=3))");
  // The slot of the child is handed in; nothing is written into it.
  Tree_NodePtr& slot = tree->GetChildAt(1);
  Tree_NodePtr over = Tree_Node::Merge(tree, slot);
  EXPECT_EQ("b(c=2,a=3,b(c=2,a=3))", Draw(over));
  Tree_NodePtr under = Tree_Node::Merge(slot, tree);
  EXPECT_EQ("t(a=1,b(c=2,a=3),c=2)", Draw(under));
  EXPECT_EQ("t(a=1,b(c=2,a=3))", Draw(tree));
  EXPECT_EQ(tree.get(), slot->GetParent());
  EXPECT_FALSE(Share(over, tree));
  EXPECT_FALSE(Share(under, tree));
}

TEST(Merge, ComparesNamesByteForByte) {
  const std::string zero_b("a\0b", 3);
  const std::string zero_c("a\0c", 3);
  Tree_NodePtr base = Plant("t(a=1)");
  Tree_NodePtr first = Leaf("x", "zero b of the base");
  first->SetKeyName(Bytes(zero_b));
  base->Add(first);
  Tree_NodePtr second = Leaf("x", "zero c of the base");
  second->SetKeyName(Bytes(zero_c));
  base->Add(second);
  Tree_NodePtr override = Plant("t");
  Tree_NodePtr third = Leaf("x", "zero c of the override");
  third->SetKeyName(Bytes(zero_c));
  override->Add(third);

  Tree_NodePtr result = Tree_Node::Merge(base, override);
  EXPECT_EQ("t(" + zero_c + "=zero c of the override,a=1," + zero_b + "=zero b of the base)",
            Draw(result));
  EXPECT_EQ(Draw(result), Draw(Tree_Node::MergeOneLevel(base, override)));
}

TEST(Merge, TakesEmptyNamesAndNamesWithBlanksAsTheyAre) {
  Tree_NodePtr base = Plant("t(x(a=1),y=1)");
  base->GetChildAt(0)->SetKeyName("");
  base->GetChildAt(1)->SetKeyName(" y ");
  Tree_NodePtr override = Plant("t(x(b=2),y=2)");
  override->GetChildAt(0)->SetKeyName("");
  EXPECT_EQ("t(y=2,(b=2,a=1), y =1)", Merged(Tree_Node::Merge, base, override));
  EXPECT_EQ("t((b=2),y=2, y =1)", Merged(Tree_Node::MergeOneLevel, base, override));
}

TEST(Merge, CopiesNeitherIdsNorVirtualParentPaths) {
  Tree_NodePtr base = Plant("t(a(x=1),b=1)");
  Tree_NodePtr override = Plant("u(a(y=2))");
  RWCString above("sys\\main");
  for (Tree_NodePtr* tree : {&base, &override}) {
    (*tree)->SetVirtualParentPath(above);
    (*tree)->SetId(7);
    (*tree)->GetChildAt(0)->SetId(8);
    (*tree)->GetChildAt(0)->GetChildAt(0)->SetId(9);
  }
  for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
    Tree_NodePtr result = operation(base, override);
    EXPECT_EQ(RWCString(), result->GetVirtualParentPath());
    EXPECT_EQ(RWCString("u\\a\\y"), result->Get("a", result)->GetChildAt(0)->GetPath());
    Merged(operation, base, override);  // which looks at the ids
  }
}

TEST(Merge, DropsValuesOfInnerNodes) {
  Tree_NodePtr base = Plant("t(a(x=1),b)");
  Tree_NodePtr override = Plant("t(a(y=2))");
  base->GetChildAt(1)->SetTreeValue(new Tree_Value("inner", 1));
  override->GetChildAt(0)->SetTreeValue(new Tree_Value("inner", 1));
  override->SetTreeValue(new Tree_Value("top", 1));
  Tree_NodePtr result = Tree_Node::Merge(base, override);
  EXPECT_EQ("t(a(y=2,x=1),b)", Draw(result));
  for (const Place& place : Places(result)) {
    Tree_Node* const node = const_cast<Tree_Node*>(place.node);
    EXPECT_EQ(node->IsLeaf(), place.value != nullptr);
  }
}

// A leaf that has lost its value is a leaf as long as it stands in an input; its copy is
// an inner node.
TEST(Merge, MakesInnerNodesOfLeavesWithoutAValue) {
  Tree_NodePtr gone = LeafWithoutValue("a");
  Tree_NodePtr with_gone = Plant("t(z=1)");
  with_gone->Add(gone);
  Tree_NodePtr inner = Plant("t(a(x=1),b=2)");
  Tree_NodePtr leaf = Plant("t(a=2,b=2)");
  EXPECT_EQ("t(z=1,a(x=1),b=2)", Merged(Tree_Node::Merge, inner, with_gone));
  EXPECT_EQ("t(a(x=1),b=2,z=1)", Merged(Tree_Node::Merge, with_gone, inner));
  EXPECT_EQ("t(z=1,a,b=2)", Merged(Tree_Node::Merge, leaf, with_gone));
  EXPECT_EQ("t(a=2,b=2,z=1)", Merged(Tree_Node::Merge, with_gone, leaf));
  Tree_NodePtr empty = Plant("t");
  EXPECT_EQ("t(z=1,a)", Merged(Tree_Node::Merge, with_gone, empty));

  Tree_NodePtr top = LeafWithoutValue("top");
  EXPECT_EQ("top(a=2,b=2)", Merged(Tree_Node::Merge, leaf, top));
  EXPECT_EQ("top(a=2,b=2)", Merged(Tree_Node::MergeOneLevel, leaf, top));
}

// --- Short cuts -------------------------------------------------------------------

TEST(Merge, ReturnsTheOtherNodeItselfWhenOneIsMissing) {
  for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
    Tree_NodePtr without_record;
    Tree_NodePtr with_record(static_cast<Tree_Node*>(nullptr));
    for (Tree_NodePtr* null : {&without_record, &with_record, &Tree_Node::NULL_TREE_NODE_PTR}) {
      Tree_NodePtr tree = Plant("t(a=1,blobencoding=b,chunk0000=c)");
      LogCapture log;
      const PoolFigures before = PoolFigures::Now();
      {
        Tree_NodePtr result = operation(tree, *null);
        EXPECT_EQ(tree, result);
        EXPECT_EQ(2u, tree.UseCount());
      }
      EXPECT_EQ(1u, tree.UseCount());
      {
        Tree_NodePtr result = operation(*null, tree);
        EXPECT_EQ(tree, result);
        EXPECT_EQ(2u, tree.UseCount());
        EXPECT_EQ(before, PoolFigures::Now());
      }
      EXPECT_EQ(1u, tree.UseCount());
      for (Tree_NodePtr* other : {&without_record, &with_record, &Tree_Node::NULL_TREE_NODE_PTR}) {
        EXPECT_TRUE(operation(*null, *other).isNull());
      }
      EXPECT_EQ(before, PoolFigures::Now());
      EXPECT_NO_LOG(log);
      EXPECT_EQ("t(a=1,blobencoding=b,chunk0000=c)", Draw(tree));
    }
  }
}

TEST(Merge, KeepsTheSharedTreeAliveThroughTheResult) {
  Tree_NodePtr null;
  Tree_NodePtr base = Plant("t(a=1)");
  Tree_NodePtr result = Tree_Node::Merge(base, null);
  base = Tree_NodePtr();
  EXPECT_EQ("t(a=1)", Draw(result));
  EXPECT_EQ(1u, result.UseCount());
}

// --- Chunk areas ------------------------------------------------------------------

TEST(Merge, ReturnsAChunkAreaItselfWhenTheOverrideIsOne) {
  for (const char* base_text :
       {"v", "v=1", "v(x=1)", "v(blobencoding=b,chunk0000=1,chunk0001=2,chunk0002=3)"}) {
    SCOPED_TRACE(base_text);
    Tree_NodePtr base = Plant(base_text);
    Tree_NodePtr override = Plant("v(blobencoding=z,chunk0000=9,chunk0001=8,own(deep=1))");
    override->SetId(5);
    LogCapture log;
    const PoolFigures before = PoolFigures::Now();
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    EXPECT_EQ(override, result);
    EXPECT_EQ(2u, override.UseCount());
    EXPECT_EQ(before, PoolFigures::Now());
    EXPECT_LOG(log, ChunkFound(), ChunkOverride());
    EXPECT_EQ("v(blobencoding=z,chunk0000=9,chunk0001=8,own(deep=1))", Draw(result));
    EXPECT_EQ(5, result->GetId());
    EXPECT_EQ(base_text, Draw(base));
  }
}

TEST(Merge, WritesTheTwoLinesOfAChunkAreaAtTheirLevels) {
  Tree_NodePtr base = Plant("t(v(x=1))");
  Tree_NodePtr override = Plant("t(v(chunk0000=9,blobencoding=z))");
  {
    LogCapture log(5);
    Tree_Node::Merge(base, override);
    EXPECT_NO_LOG(log);
  }
  {
    LogCapture log(6);
    Tree_Node::Merge(base, override);
    EXPECT_LOG(log, ChunkFound());
  }
  {
    LogCapture log(7);
    Tree_Node::Merge(base, override);
    Lines chunk_lines;
    for (const LogLine& line : log.Take()) {
      if (line.function == "Tree_Node::Merge") chunk_lines.push_back(line);
    }
    EXPECT_EQ((Lines{ChunkFound(), ChunkOverride()}), chunk_lines);
  }
}

TEST(Merge, ReplacesAChunkAreaWhole) {
  Check(Tree_Node::Merge,
        {
            {"a longer one",
             "t(v(blobencoding=b,chunk0000=1,chunk0001=2,note=n),k=1)",
             "t(v(blobencoding=z,chunk0000=9),m=2)",
             "t(m=2,v(blobencoding=z,chunk0000=9),k=1)",
             {ChunkFound()}},
            {"a plain node",
             "t(v(x=1,y(z=1)))",
             "t(v(blobencoding=z,chunk0000=9,w=2),m=2)",
             "t(m=2,v(blobencoding=z,chunk0000=9,w=2))",
             {ChunkFound()}},
            {"an empty node",
             "t(v)",
             "t(v(blobencoding=z,chunk0000=9),m=2)",
             "t(m=2,v(blobencoding=z,chunk0000=9))",
             {ChunkFound()}},
            {"far down",
             "t(a(b(c(v(x=1),k=1))))",
             "t(a(b(c(v(blobencoding=z,chunk0000=9),m=2))))",
             "t(a(b(c(m=2,v(blobencoding=z,chunk0000=9),k=1))))",
             {ChunkFound()}},
            {"two of them, in the order of the base",
             "t(v(x=1),w=1,u(y=1))",
             "t(u(blobencoding=z,chunk0000=9),v(blobencoding=z,chunk0000=8))",
             "t(v(blobencoding=z,chunk0000=8),w=1,u(blobencoding=z,chunk0000=9))",
             {ChunkFound(), ChunkFound()}},
            {"what stands below a chunk area is not looked at",
             "t(v(w(blobencoding=b,chunk0000=1,chunk0001=2)))",
             "t(v(blobencoding=z,chunk0000=9,w(blobencoding=z,chunk0000=8)))",
             "t(v(blobencoding=z,chunk0000=9,w(blobencoding=z,chunk0000=8)))",
             {ChunkFound()}},
            {"a leaf of the base is not merged at all", "t(v=1)",
             "t(v(blobencoding=z,chunk0000=9),m=2)", "t(v(blobencoding=z,chunk0000=9),m=2)"},
            {"a chunk area that the base lacks", "t(k=1)", "t(v(blobencoding=z,chunk0000=9),m=2)",
             "t(v(blobencoding=z,chunk0000=9),m=2,k=1)"},
            {"one that the override lacks", "t(v(blobencoding=b,chunk0000=1,chunk0001=2))",
             "t(m=2)", "t(m=2,v(blobencoding=b,chunk0000=1,chunk0001=2))"},
            {"the second of two in the base meets the first",
             "t(v(blobencoding=b,chunk0000=1,chunk0001=2),v(x=1))",
             "t",
             "t(v(blobencoding=b,chunk0000=1,chunk0001=2))",
             {ChunkFound()}},
            {"lines come in the order of the walk",
             "t(a(v(x=1),l(y=1)),b(v(x=1)),l(z=1))",
             "t(l=2,b(v(blobencoding=z,chunk0000=9)),a(l=2,v(blobencoding=z,chunk0000=8)))",
             "t(a(v(blobencoding=z,chunk0000=8),l=2),b(v(blobencoding=z,chunk0000=9)),l=2)",
             {ChunkFound(), lines::InsertIntoLeaf("l"), ChunkFound(), lines::InsertIntoLeaf("l")}},
        });
}

TEST(Merge, MergesANodeThatOnlyLooksLikeAChunkArea) {
  const char* const kBase = "t(v(blobencoding=b,chunk0000=1,chunk0001=2))";
  Check(
      Tree_Node::Merge,
      {
          {"the base is one, the override is not", kBase, "t(v(x=9))",
           "t(v(x=9,blobencoding=b,chunk0000=1,chunk0001=2))"},
          {"no chunk0000", kBase, "t(v(blobencoding=z,chunk0001=9))",
           "t(v(blobencoding=z,chunk0001=9,chunk0000=1))"},
          {"an empty chunk0000", kBase, "t(v(blobencoding=z,chunk0000=))",
           "t(v(blobencoding=z,chunk0000=,chunk0001=2))"},
          {"a sub-tree chunk0000", kBase, "t(v(blobencoding=z,chunk0000(x=9)))",
           "t(v(blobencoding=z,chunk0000(x=9),chunk0001=2))"},
          {"no blobencoding", kBase, "t(v(chunk0000=9))",
           "t(v(chunk0000=9,blobencoding=b,chunk0001=2))"},
          {"an empty blobencoding", kBase, "t(v(blobencoding=,chunk0000=9))",
           "t(v(blobencoding=,chunk0000=9,chunk0001=2))"},
          {"a sub-tree blobencoding", kBase, "t(v(blobencoding(x=9),chunk0000=9))",
           "t(v(blobencoding(x=9),chunk0000=9,chunk0001=2))"},
          {"other names", kBase, "t(v(Blobencoding=z,chunk0000=9))",
           "t(v(Blobencoding=z,chunk0000=9,blobencoding=b,chunk0001=2))"},
          {"another chunk", kBase, "t(v(blobencoding=z,chunk0002=9))",
           "t(v(blobencoding=z,chunk0002=9,chunk0000=1,chunk0001=2))"},
          {"the first blobencoding counts", kBase, "t(v(blobencoding=,blobencoding=z,chunk0000=9))",
           "t(v(blobencoding=,blobencoding=z,chunk0000=9,chunk0001=2))"},
          {"the first chunk0000 counts", kBase, "t(v(blobencoding=z,chunk0000,chunk0000=9))",
           "t(v(blobencoding=z,chunk0000,chunk0000=9,chunk0001=2))"},
      });
  Check(Tree_Node::Merge, {{"whatever comes second",
                            kBase,
                            "t(v(chunk0000=9,blobencoding=z,blobencoding=,chunk0000=))",
                            "t(v(chunk0000=9,blobencoding=z,blobencoding=,chunk0000=))",
                            {ChunkFound()}}});
}

// The values are looked up by path, where a name ends with its first zero byte.
TEST(Merge, FindsTheNamesOfAChunkAreaUpToAZeroByte) {
  Tree_NodePtr base = Plant("v(x=1)");
  Tree_NodePtr override = Plant("v(first=z,chunk0000=9)");
  override->GetChildAt(0)->SetKeyName(Bytes(std::string("blobencoding\0x", 14)));
  LogCapture log(6);
  EXPECT_EQ(override, Tree_Node::Merge(base, override));
  EXPECT_LOG(log, ChunkFound());
}

TEST(Merge, TakesAValueOfZeroBytesForAValue) {
  Tree_NodePtr base = Plant("v(x=1)");
  Tree_NodePtr override = Plant("v");
  Tree_NodePtr encoding = Leaf("blobencoding", std::string(1, '\0'));
  Tree_NodePtr chunk = Leaf("chunk0000", std::string(1, '\0'));
  override->Add(encoding);
  override->Add(chunk);
  EXPECT_EQ(override, Tree_Node::Merge(base, override));
}

TEST(Merge, TakesAChunkThatLostItsValueForNone) {
  Tree_NodePtr base = Plant("v(x=1)");
  Tree_NodePtr override = Plant("v(blobencoding=z)");
  Tree_NodePtr chunk = LeafWithoutValue("chunk0000");
  override->Add(chunk);
  LogCapture log(6);
  EXPECT_EQ("v(blobencoding=z,chunk0000,x=1)", Merged(Tree_Node::Merge, base, override));
  EXPECT_NO_LOG(log);
}

TEST(Merge, CopiesAChunkAreaBelowTheTop) {
  Tree_NodePtr base = Plant("t(v(x=1))");
  Tree_NodePtr override = Plant("t(v(blobencoding=z,chunk0000=9))");
  Tree_NodePtr result = Tree_Node::Merge(base, override);
  EXPECT_FALSE(Share(result, override));
  override->GetChildAt(0)->GetChildAt(0)->GetTreeValue()->SetValue(RWCString("changed"));
  EXPECT_EQ("t(v(blobencoding=z,chunk0000=9))", Draw(result));
}

// --- Lines of level 7 -------------------------------------------------------------

TEST(Merge, WritesTheLinesOfItsLookUpsAndAdditions) {
  struct Case {
    const char* base;
    const char* override;
    Lines lines;
  };
  const Case cases[] = {
      {"t", "t", {ValueMissing("blobencoding")}},
      {"t=1", "t=2", {ValueMissing("blobencoding")}},
      {"t(a=1)",
       "t",
       {ValueMissing("blobencoding"), lines::AddStart(), lines::InsertStart(0, -1),
        lines::InsertEnd()}},
      {"t(a=1,b=1,a=2)",
       "t",
       {ValueMissing("blobencoding"), lines::AddStart(), lines::InsertStart(0, -1),
        lines::InsertEnd(), lines::AddStart(), lines::InsertStart(1, -1), lines::InsertEnd()}},
      {"t(a=1)",
       "t=2",
       {ValueMissing("blobencoding"), lines::AddStart(), lines::InsertStart(0, -1),
        lines::InsertIntoLeaf("t")}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.base) + " " + c.override);
    Tree_NodePtr base = Plant(c.base);
    Tree_NodePtr override = Plant(c.override);
    LogCapture log;
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    Lines written = log.Take();
    // A copy that was refused had no children vector to clear.
    EXPECT_EQ(c.lines, written);
  }
}

TEST(Merge, LooksForTheChunkOnlyBehindAnEncoding) {
  struct Case {
    const char* override;
    Lines lines;
  };
  const Case cases[] = {
      {"t(x=1)", {ValueMissing("blobencoding")}},
      {"t(chunk0000=1)", {ValueMissing("blobencoding")}},
      {"t(blobencoding=)", {}},
      {"t(blobencoding)", {ValueOfSubTree()}},
      {"t(blobencoding=b)", {ValueMissing("chunk0000")}},
      {"t(blobencoding=b,chunk0000)", {ValueOfSubTree()}},
      {"t(blobencoding=b,chunk0000=)", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.override);
    Tree_NodePtr base = Plant("t");
    Tree_NodePtr override = Plant(c.override);
    LogCapture log;
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    Lines look_ups;
    for (const LogLine& line : log.Take()) {
      if (line.function == "Tree_Node::GetValue") look_ups.push_back(line);
    }
    EXPECT_EQ(c.lines, look_ups);
  }
}

// --- MergeOneLevel ----------------------------------------------------------------

TEST(MergeOneLevel, CopiesWhatTheOverrideLacksBehindItsChildren) {
  Check(Tree_Node::MergeOneLevel,
        {
            {"two top nodes alone", "t", "u", "u"},
            {"the top name is the override's", "base(a=1)", "over(b=2)", "over(b=2,a=1)"},
            {"leaf over leaf", "t(b=1)", "t(b=2)", "t(b=2)"},
            {"a sub-tree of the override stays whole", "a(x(p=1))", "a(x(q=2))", "a(x(q=2))"},
            {"and in its place", "t(x(p=1),y=1)", "t(x(q=2),z=2)", "t(x(q=2),z=2,y=1)"},
            {"an empty one too", "t(x(p=1))", "t(x,z=2)", "t(x,z=2)"},
            {"copies come in the order of the base", "t(c=1,a(b=1),b)", "t(z=2)",
             "t(z=2,c=1,a(b=1),b)"},
            {"a leaf over a sub-tree", "t(a(x=1),b=1)", "t(a=2,c=2)", "t(a=2,c=2,b=1)"},
            {"a sub-tree over a leaf", "t(a=1)", "t(a(x=2))", "t(a(x=2))"},
            {"of several in the base the first", "t(a=1,a=2,a(x=3))", "t", "t(a=1)"},
            {"several in the override stay", "t(a=1)", "t(a=2,a(x=2),a)", "t(a=2,a(x=2),a)"},
            {"names are case-sensitive", "t(A=1)", "t(a=2)", "t(a=2,A=1)"},
            {"flags come along", "t(a=1*)", "t(b=2*)", "t(b=2*,a=1*)"},
            {"a leaf at the top refuses each child",
             "t(a=1,b(c=1))",
             "u=2",
             "u=2",
             {lines::InsertIntoLeaf("u"), lines::InsertIntoLeaf("u")}},
            {"a sub-tree over a leaf at the top", "t=1", "u(a=2)", "u(a=2)"},
            // There are no chunk areas here.
            {"a chunk area at the top", "v(blobencoding=b,chunk0000=1,chunk0001=2)",
             "v(blobencoding=z,chunk0000=9)", "v(blobencoding=z,chunk0000=9,chunk0001=2)"},
            {"a chunk area below", "t(v(blobencoding=b,chunk0000=1,chunk0001=2))",
             "t(v(blobencoding=z,chunk0000=9),m=2)", "t(v(blobencoding=z,chunk0000=9),m=2)"},
        });
}

TEST(MergeOneLevel, WritesNoLineOfItsOwn) {
  Tree_NodePtr base = Plant("v(a=1,blobencoding=b)");
  Tree_NodePtr override = Plant("v");
  LogCapture log;
  Tree_NodePtr result = Tree_Node::MergeOneLevel(base, override);
  EXPECT_LOG(log, lines::AddStart(), lines::InsertStart(0, -1), lines::InsertEnd(),
             lines::AddStart(), lines::InsertStart(1, -1), lines::InsertEnd());
  EXPECT_EQ("v(a=1,blobencoding=b)", Draw(result));

  Tree_NodePtr nothing = Plant("w");
  result = Tree_Node::MergeOneLevel(nothing, override);
  log.Take();  // of the result that was let go
  result = Tree_Node::MergeOneLevel(nothing, override);
  EXPECT_NO_LOG(log);
}

// --- Memory -------------------------------------------------------------------------

constexpr const char* kBaseInShortage =
    "t(a(x=1,y(z=1)),b=1,v(blobencoding=b,chunk0000=1,chunk0001=2),n(o(p=1)),a(w=1))";
constexpr const char* kOverrideInShortage =
    "t(v(blobencoding=z,chunk0000=9),a(x=2,y(q=2)),k=2,m(n))";
constexpr const char* kMergedInShortage =
    "t(k=2,m(n),b=1,v(blobencoding=z,chunk0000=9),n(o(p=1)),a(x=2,y(q=2,z=1),w=1))";

class MergeInShortage : public testing::Test {
 protected:
  ~MergeInShortage() override {
    for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(0);
  }
  const std::vector<Zel_PoolAllocator*> m_pools = {&NodesPool(), &VectorsPool(), &ElementsPool(),
                                                   &ValuesPool(), &RecordsPool()};
};

TEST_F(MergeInShortage, TakesFromTheHeapWhatThePoolsDoNotYield) {
  Tree_NodePtr base = Plant(kBaseInShortage);
  Tree_NodePtr override = Plant(kOverrideInShortage);
  const PoolFigures before = PoolFigures::Now();
  for (std::size_t failing = 0; failing <= m_pools.size(); ++failing) {
    SCOPED_TRACE(failing);
    for (std::size_t i = 0; i < m_pools.size(); ++i) {
      if (i == failing || failing == m_pools.size()) m_pools[i]->FailNextAllocations(1000000);
    }
    Tree_NodePtr merged = Tree_Node::Merge(base, override);
    Tree_NodePtr one_level = Tree_Node::MergeOneLevel(base, override);
    if (failing == m_pools.size()) {
      EXPECT_EQ(before, PoolFigures::Now());
    }
    for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(0);
    EXPECT_EQ(kMergedInShortage, Draw(merged));
    EXPECT_EQ("t(v(blobencoding=z,chunk0000=9),a(x=2,y(q=2)),k=2,m(n),b=1,n(o(p=1)))",
              Draw(one_level));
  }
  EXPECT_EQ(before, PoolFigures::Now());
}

// Every pool and then the heap, after each number of allocations that may be.
TEST_F(MergeInShortage, LetsTheFailureThroughAndLosesNothing) {
  Tree_NodePtr base = Plant(kBaseInShortage);
  Tree_NodePtr override = Plant(kOverrideInShortage);
  for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
    const PoolFigures before = PoolFigures::Now();
    const std::vector<Place> base_places = Places(base);
    const std::vector<Place> override_places = Places(override);
    int failures = 0;
    for (bool done = false; !done;) {
      for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(1000000);
      const std::int64_t heap_before = HeapLiveBlocks();
      try {
        const HeapDenied denied(failures);
        operation(base, override);
        done = true;
      } catch (const std::bad_alloc&) {
        ++failures;
      }
      for (Zel_PoolAllocator* pool : m_pools) pool->FailNextAllocations(0);
      ASSERT_EQ(heap_before, HeapLiveBlocks()) << failures;
      ASSERT_EQ(before, PoolFigures::Now()) << failures;
      ASSERT_EQ(base_places, Places(base));
      ASSERT_EQ(override_places, Places(override));
      ASSERT_LT(failures, 10000);
    }
    // At the least each node of the copies.
    if (HeapIsCounted()) {
      EXPECT_GT(failures, 20);
    }
    EXPECT_EQ(kBaseInShortage, Draw(base));
    EXPECT_EQ(kOverrideInShortage, Draw(override));
  }
}

// --- Width ----------------------------------------------------------------------------
// No clock in here: what is not linear takes minutes and more.

constexpr int kWidth = 100'000;

enum class Kind { kLeaf, kInner };

std::string Number(const char* prefix, int number) {
  return prefix + std::to_string(number);
}

// "top" with children n0, n1, ... (or `prefix` alone for all of them), inner ones with one
// leaf called `below` each.
Tree_NodePtr Wide(Kind kind, const char* below, bool same_name = false, const char* prefix = "n") {
  Tree_NodePtr top = Inner("top");
  for (int i = 0; i < kWidth; ++i) {
    const std::string name = same_name ? std::string(prefix) : Number(prefix, i);
    Tree_NodePtr child = kind == Kind::kLeaf ? Leaf(name, below) : Inner(name);
    if (kind == Kind::kInner) {
      Tree_NodePtr leaf = Leaf(below, "1");
      child->Insert(leaf, 0, 1);
    }
    top->Insert(child, i, kWidth);
  }
  return top;
}

TEST(WideMerge, OfSiblingsThatAreAllMatchedAndInner) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b");
    Tree_NodePtr override = Wide(Kind::kInner, "o");
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      Tree_NodePtr& child = result->GetChildAt(i);
      ASSERT_EQ(Number("n", i), Text(child->GetKeyName()));
      ASSERT_EQ(2, child->GetChildCount());
      ASSERT_EQ("o", Text(child->GetChildAt(0)->GetKeyName()));
      ASSERT_EQ("b", Text(child->GetChildAt(1)->GetKeyName()));
      ASSERT_EQ(result.get(), child->GetParent());
    }
    Tree_Path path("n4711\\b");
    EXPECT_FALSE(result->GetRelativeNode(path, result).isNull());

    result = Tree_Node::MergeOneLevel(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    EXPECT_EQ(1, result->GetChildAt(kWidth - 1)->GetChildCount());
  });
}

TEST(WideMerge, OfSiblingsThatAreAllMatchedInTheOtherOrder) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b");
    Tree_NodePtr override = Inner("top");
    for (int i = kWidth - 1; i >= 0; --i) {
      Tree_NodePtr child = Inner(Number("n", i));
      override->Insert(child, override->GetChildCount(), kWidth);
    }
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      ASSERT_EQ(Number("n", i), Text(result->GetChildAt(i)->GetKeyName()));
      ASSERT_EQ(1, result->GetChildAt(i)->GetChildCount());
    }
  });
}

TEST(WideMerge, OfSiblingsThatAreAllMatchedAndLeaves) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kLeaf, "b");
    Tree_NodePtr override = Wide(Kind::kLeaf, "o");
    for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
      Tree_NodePtr result = operation(base, override);
      ASSERT_EQ(kWidth, result->GetChildCount());
      for (int i = 0; i < kWidth; ++i) {
        ASSERT_EQ(Number("n", i), Text(result->GetChildAt(i)->GetKeyName()));
        ASSERT_EQ("o", Text(result->GetChildAt(i)->GetTreeValue()->GetValue()));
      }
    }
  });
}

TEST(WideMerge, OfSiblingsOfWhichNoneIsMatched) {
  RunOnSmallStack([] {
    for (const Kind kind : {Kind::kLeaf, Kind::kInner}) {
      Tree_NodePtr base = Wide(kind, "b");
      Tree_NodePtr override = Wide(kind, "o", false, "m");
      for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
        Tree_NodePtr result = operation(base, override);
        ASSERT_EQ(2 * kWidth, result->GetChildCount());
        for (int i = 0; i < kWidth; ++i) {
          ASSERT_EQ(Number("m", i), Text(result->GetChildAt(i)->GetKeyName()));
          ASSERT_EQ(Number("n", i), Text(result->GetChildAt(kWidth + i)->GetKeyName()));
        }
      }
    }
  });
}

// Each meets the first of the many, which then is the last.
TEST(WideMerge, OfSiblingsThatAllShareOneName) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b", true);
    Tree_NodePtr override = Wide(Kind::kInner, "o", true);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) ASSERT_EQ(2, result->GetChildAt(i)->GetChildCount());
    EXPECT_EQ(result->GetChildAt(0).get(), result->Get("n", result).get());

    // Alone, all of them melt into the first.
    Tree_NodePtr empty = Inner("top");
    result = Tree_Node::Merge(base, empty);
    ASSERT_EQ(1, result->GetChildCount());
    EXPECT_EQ("top(n(b=1))", Draw(result));

    Tree_NodePtr leaves = Wide(Kind::kLeaf, "b", true);
    result = Tree_Node::Merge(leaves, override);
    EXPECT_EQ(kWidth, result->GetChildCount());
    result = Tree_Node::MergeOneLevel(leaves, empty);
    EXPECT_EQ(1, result->GetChildCount());
  });
}

// Of two pairs in the override, the first of each is merged and moved.
TEST(WideMerge, LeavesTheOtherOfTwoToBeFoundFirst) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kInner, "b");
    Tree_NodePtr override = Wide(Kind::kInner, "o");
    for (int i = 0; i < kWidth; i += 2) {
      Tree_NodePtr second = Leaf(Number("n", i), "second");
      override->Insert(second, override->GetChildCount(), -1);
    }
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    ASSERT_EQ(kWidth + kWidth / 2, result->GetChildCount());
    for (int i = 0; i < kWidth; ++i) {
      const std::string name = Number("n", i);
      Tree_NodePtr found = result->Get(Bytes(name), result);
      ASSERT_EQ(i % 2 == 0, found->IsLeaf()) << name;
      ASSERT_EQ(found.get(), result->Get(Bytes(name), result.get()));
    }
    // What was moved is found once the other is gone.  A few of them: to rename one of two
    // of a name costs a scan.
    for (int i = 0; i < 100; ++i) {
      ASSERT_TRUE(result->GetChildAt(i)->IsLeaf());
      const RWCString name = result->GetChildAt(i)->GetKeyName();
      result->GetChildAt(i)->SetKeyName("away");
      ASSERT_EQ(2, result->Get(name, result)->GetChildCount());
    }
  });
}

TEST(WideMerge, OfGrandchildrenThatALeafRefuses) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kLeaf, "b");
    base->SetKeyName("v");
    Tree_NodePtr above = Inner("t");
    above->Add(base);
    Tree_NodePtr override = Plant("t(v=2,w=2)");
    LogCapture log(6);
    Tree_NodePtr result = Tree_Node::Merge(above, override);
    const Lines written = log.Take();
    ASSERT_EQ(static_cast<std::size_t>(kWidth), written.size());
    for (const LogLine& line : written) ASSERT_EQ(lines::InsertIntoLeaf("v"), line);
    EXPECT_EQ("t(w=2,v=2)", Draw(result));
  });
}

TEST(WideMerge, OfAWideChunkArea) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Wide(Kind::kLeaf, "b");
    Tree_NodePtr override = Wide(Kind::kLeaf, "o");
    Tree_NodePtr encoding = Leaf("blobencoding", "z");
    Tree_NodePtr chunk = Leaf("chunk0000", "9");
    override->Add(encoding);
    override->Add(chunk);
    EXPECT_EQ(override, Tree_Node::Merge(base, override));
    Tree_NodePtr above_base = Inner("t");
    Tree_NodePtr above_override = Inner("t");
    above_base->Add(base);
    above_override->Add(override);
    Tree_NodePtr result = Tree_Node::Merge(above_base, above_override);
    EXPECT_EQ(kWidth + 2, result->GetChildAt(0)->GetChildCount());
  });
}

// --- Depth ----------------------------------------------------------------------------

constexpr int kDepth = 1'000'000;

// `depth` nodes called "x", each the only inner child of the one before, the last of
// them with `last` as its child (when there is one), and on every level a leaf `leaf`
// before or behind the inner child (when it has a name).
Tree_NodePtr Deep(int depth, Tree_NodePtr last, const char* leaf = "", bool before = false) {
  Tree_NodePtr at = last;
  for (int i = 0; i < depth; ++i) {
    Tree_NodePtr above = Inner("x");
    Tree_NodePtr beside = *leaf == '\0' ? Tree_NodePtr() : Leaf(leaf, "1");
    if (!beside.isNull() && before) above->Insert(beside, 0, 2);
    if (!at.isNull()) above->Insert(at, above->GetChildCount(), 2);
    if (!beside.isNull() && !before) above->Insert(beside, above->GetChildCount(), 2);
    at = above;
  }
  return at;
}

TEST(DeepMerge, OfTwoChains) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Deep(kDepth, Leaf("base", "1"));
    Tree_NodePtr override = Deep(kDepth, Leaf("override", "2"));
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    Tree_Node* at = result.get();
    for (int i = 1; i < kDepth; ++i) {
      ASSERT_EQ(1, at->GetChildCount());
      Tree_Node* const below = at->GetChildAt(0).get();
      ASSERT_EQ(at, below->GetParent());
      at = below;
    }
    ASSERT_EQ(2, at->GetChildCount());
    EXPECT_EQ("override", Text(at->GetChildAt(0)->GetKeyName()));
    EXPECT_EQ("base", Text(at->GetChildAt(1)->GetKeyName()));
    EXPECT_EQ(kDepth + 1, base->GetNodeNum());
    EXPECT_EQ(kDepth + 1, override->GetNodeNum());
  });
}

TEST(DeepMerge, OfTwoCombs) {
  RunOnSmallStack([] {
    constexpr int kLevels = kDepth / 2;
    Tree_NodePtr base = Deep(kLevels, Tree_NodePtr(), "b", true);
    Tree_NodePtr override = Deep(kLevels, Tree_NodePtr(), "o", false);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    // The override's leaf, the base's copy of its own, and the merged node: it is the
    // turn of "b" before that of "x" in the base.
    Tree_Node* at = result.get();
    for (int i = 1; i < kLevels; ++i) {
      ASSERT_EQ(3, at->GetChildCount());
      ASSERT_EQ("o", Text(at->GetChildAt(0)->GetKeyName()));
      ASSERT_EQ("b", Text(at->GetChildAt(1)->GetKeyName()));
      ASSERT_EQ("x", Text(at->GetChildAt(2)->GetKeyName()));
      at = at->GetChildAt(2).get();
    }
    EXPECT_EQ(2, at->GetChildCount());
  });
}

TEST(DeepMerge, OfAChainThatTheOtherSideLacks) {
  RunOnSmallStack([] {
    Tree_NodePtr chain = Deep(kDepth, Leaf("end", "1"));
    Tree_NodePtr other = Plant("x(y=1)");
    for (const Operation operation : {Tree_Node::Merge, Tree_Node::MergeOneLevel}) {
      Tree_NodePtr result = operation(chain, other);
      EXPECT_EQ(kDepth + 2, result->GetNodeNum());
      EXPECT_EQ("y", Text(result->GetChildAt(0)->GetKeyName()));
      result = operation(other, chain);
      EXPECT_EQ(kDepth + 2, result->GetNodeNum());
      EXPECT_EQ("y", Text(result->GetChildAt(1)->GetKeyName()));
    }
  });
}

TEST(DeepMerge, OfAChainThatALeafRefuses) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Deep(kDepth, Leaf("end", "1"));
    Tree_NodePtr override = Plant("x(x=2)");
    LogCapture log(6);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    EXPECT_LOG(log, lines::InsertIntoLeaf("x"));
    EXPECT_EQ("x(x=2)", Draw(result));
  });
}

TEST(DeepMerge, OfAChunkAreaAtTheBottom) {
  RunOnSmallStack([] {
    Tree_NodePtr base = Deep(kDepth, Plant("v(blobencoding=b,chunk0000=1,chunk0001=2)"));
    Tree_NodePtr override = Deep(kDepth, Plant("v(blobencoding=z,chunk0000=9)"));
    LogCapture log(6);
    Tree_NodePtr result = Tree_Node::Merge(base, override);
    EXPECT_LOG(log, ChunkFound());
    EXPECT_EQ(kDepth + 3, result->GetNodeNum());
  });
}

TEST(DeepMerge, OfAChainWithItself) {
  RunOnSmallStack([] {
    Tree_NodePtr chain = Deep(kDepth, Leaf("end", "1"));
    Tree_NodePtr result = Tree_Node::Merge(chain, chain);
    EXPECT_EQ(kDepth + 1, result->GetNodeNum());
    EXPECT_EQ(kDepth + 1, chain->GetNodeNum());
  });
}

}  // namespace
