// A client that works with trees at the worst of times: while it is loaded, and while its
// static objects are destroyed.  Built as a module that load_unload loads, and into the
// program late_release.
//
// Whatever is not as it should be is printed with the word "wrong"; the tests look for it.

#include <cstdint>
#include <cstdio>

#include "Tree/Tree_Node.h"

namespace {

// Told when the static objects of this client are gone.
void (*g_when_gone)() = nullptr;

void Expect(bool right, const char* what) {
  if (right) return;
  std::fprintf(stderr, "load_client: wrong: %s\n", what);
  std::fflush(stderr);
}

Tree_NodePtr Leaf(const char* name, const char* value) {
  return Tree_NodePtr(new Tree_Node(name, new Tree_Value(value, 0)));
}

Tree_NodePtr SmallTree() {
  Tree_NodePtr top(new Tree_Node("top"));
  Tree_Path path("a\\b");
  Tree_NodePtr node = top->GetOrCreateRelativeNode(path, top);
  Tree_NodePtr leaf = Leaf("leaf", "text");
  Expect(node->Add(leaf) == 1, "a leaf is not taken");
  return top;
}

void ExpectSmallTree(Tree_NodePtr& top) {
  RWCString path("a\\b\\leaf");
  Expect(top->GetValue(path, top) == "text", "a value is not found");
  Expect(top->GetNodeNum() == 4, "nodes are missing");
}

// The first of this file's static objects: it goes last, behind whatever the library has
// registered for the end on account of the others.
struct Last {
  ~Last() {
    // The container of interned strings may be gone by now; another takes its place then.
    Tree_NodePtr late = Leaf("interned by a static destructor", "so is this");
    Expect(late->GetKeyName() == "interned by a static destructor", "a late name");
    Expect(late->GetTreeValue()->GetValue() == "so is this", "a late value");
    late = Tree_NodePtr();
    Expect(Tree_Node::NULL_TREE_NODE_PTR.isNull(), "the null handle at the end");
    tree = Tree_NodePtr();
    if (g_when_gone != nullptr) g_when_gone();
  }

  // Made without interning anything; filled later and released at the very end.
  Tree_NodePtr tree;
};
Last g_last;

// Made while the client is loaded, when the library must be ready already.
struct AtLoad {
  AtLoad() {
    Expect(Tree_Node::NULL_TREE_NODE_PTR.isNull(), "the null handle");
    Expect(Tree_Node::NULL_TREE_NODE_PTR.UseCount() == 1, "the count of the null handle");
    Expect(Tree_Node::separator == "\\", "the separator");
    Expect(Tree_Node::TRUE_BOOL == 1, "TRUE_BOOL");
    Expect(Tree_EmptySubTree_DummyName == "this_is_an_empty_sub_tree_name_indication",
           "the dummy name");
    Expect(Tree_IdNodeInfo::empty_string != nullptr && *Tree_IdNodeInfo::empty_string == '\0',
           "the empty string");
    tree = SmallTree();
    ExpectSmallTree(tree);
    Expect(Tree_Node::m_NodesPool.Exist(tree.get()), "a node is not of the pool");
    Expect(Tree_Node::m_NodesPool.GetStats().elements_in_use == 4, "the pool's count");
    g_last.tree = tree;
  }
  ~AtLoad() { ExpectSmallTree(tree); }

  Tree_NodePtr tree;
};
const AtLoad g_at_load;

}  // namespace

#if defined(_WIN32)
#define CLIENT_EXPORT extern "C" __declspec(dllexport)
#else
#define CLIENT_EXPORT extern "C" __attribute__((visibility("default")))
#endif

// Builds and drops trees; `when_gone` is called when this client's last static object goes.
CLIENT_EXPORT void RunClient(void (*when_gone)()) {
  if (when_gone != nullptr) g_when_gone = when_gone;
  const std::uint64_t before = Tree_Node::m_NodesPool.GetStats().elements_in_use;
  for (int i = 0; i < 100; ++i) {
    Tree_NodePtr top = SmallTree();
    ExpectSmallTree(top);
    try {
      top->Remove(7);
      Expect(false, "a bad index is accepted");
    } catch (const RWBoundsErr&) {
    }
  }
  Expect(Tree_Node::m_NodesPool.GetStats().elements_in_use == before, "nodes are lost");
}
