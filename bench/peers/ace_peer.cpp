// ACE_Configuration_Heap: sections with string values.
//
// An inner node is a section, a leaf a value of it.  A section of any depth is opened by its
// path in one call.  Listing asks for entry after entry by number, and each such call starts
// at the first one; all sections of a heap stand in one hash table that does not grow.  Both
// make large trees unreasonably slow, which is why it takes part at 10,000 leaves only.
//
// Its own: build and look-up (open_section, set_string_value, get_string_value), list.
// User code (dom.h): everything else that goes over the tree; copy is a merge into an empty
// one.  Flattening is left out: it exports to files only.

#include <ace/Configuration.h>

#include "peers/dom.h"

namespace bench {

namespace {

struct Names {
  using Tree = ACE_Configuration_Heap;
  // Keys are counted references, made for every section that is opened.
  struct Node {
    Tree* tree = nullptr;
    ACE_Configuration_Section_Key key;
  };

  static Node Root(Tree& tree) { return {&tree, tree.root_section()}; }
  static bool IsNull(const Node& node) { return node.tree == nullptr; }
  static Node Open(const Node& node, std::string_view name, bool create) {
    Node child{node.tree, {}};
    const std::string text(name);
    if (node.tree->open_section(node.key, text.c_str(), create, child.key) != 0) return {};
    return child;
  }
  static Node Inner(const Node& node, std::string_view name) { return Open(node, name, false); }
  static Node InnerOrNew(Tree&, const Node& node, std::string_view name) {
    return Open(node, name, true);
  }
  static Node NewInner(Tree&, const Node& node, std::string_view name) {
    return Open(node, name, true);
  }
  static void NewLeaf(Tree& tree, const Node& node, std::string_view name, std::string_view value) {
    SetLeaf(tree, node, name, value);
  }
  static void SetLeaf(Tree& tree, const Node& node, std::string_view name, std::string_view value) {
    tree.set_string_value(node.key, std::string(name).c_str(),
                          ACE_TString(value.data(), value.size()));
  }
  template <class OnText>
  static bool Leaf(const Node& node, std::string_view name, OnText read) {
    ACE_TString value;
    if (node.tree->get_string_value(node.key, std::string(name).c_str(), value) != 0) return false;
    read(std::string_view(value.c_str(), value.length()));
    return true;
  }
  template <class OnLeaf, class OnInner>
  static void Visit(const Node& node, OnLeaf on_leaf, OnInner on_inner) {
    ACE_TString name;
    ACE_Configuration::VALUETYPE type;
    for (int i = 0; node.tree->enumerate_values(node.key, i, name, type) == 0; ++i) {
      ACE_TString value;
      node.tree->get_string_value(node.key, name.c_str(), value);
      on_leaf(std::string_view(name.c_str(), name.length()),
              std::string_view(value.c_str(), value.length()));
    }
    for (int i = 0; node.tree->enumerate_sections(node.key, i, name) == 0; ++i) {
      const std::string_view text(name.c_str(), name.length());
      on_inner(text, Inner(node, text));
    }
  }

  static std::unique_ptr<Tree> NewTree() {
    auto tree = std::make_unique<Tree>();
    tree->open();
    return tree;
  }
  static std::unique_ptr<Tree> Copy(Tree& tree) {
    std::unique_ptr<Tree> copy = NewTree();
    CopyBelow(Root(tree), *copy, Root(*copy));
    return copy;
  }
  static std::unique_ptr<Bytes> Flatten(Tree&) { return nullptr; }
  static std::unique_ptr<Tree> Read(const Bytes&) { return nullptr; }

 private:
  static void CopyBelow(const Node& from, Tree& tree, const Node& to) {
    Visit(
        from,
        [&](std::string_view name, std::string_view value) { SetLeaf(tree, to, name, value); },
        [&](std::string_view name, const Node& child) {
          CopyBelow(child, tree, NewInner(tree, to, name));
        });
  }
};

class AceDocument : public DomDocument<Names> {
 public:
  using DomDocument::DomDocument;

  void Put(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.plain.size(); ++i) {
      const std::size_t cut = paths.plain[i].rfind('\\');
      const Names::Node section =
          cut == std::string::npos
              ? Names::Root(GetTree())
              : Names::Open(Names::Root(GetTree()), std::string_view(paths.plain[i]).substr(0, cut),
                            true);
      Names::SetLeaf(GetTree(), section, LastName(paths.plain[i], cut), values.plain[i]);
    }
  }

  std::uint64_t LookUp(const Strings& paths) override {
    Tally tally;
    for (const std::string& path : paths.plain) {
      const std::size_t cut = path.rfind('\\');
      const Names::Node section =
          Names::Open(Names::Root(GetTree()), std::string_view(path).substr(0, cut), false);
      if (Names::IsNull(section)) continue;
      Names::Leaf(section, LastName(path, cut), [&](std::string_view text) { tally.Read(text); });
    }
    return tally.Sum();
  }

 private:
  static std::string_view LastName(std::string_view path, std::size_t cut) {
    return cut == std::string_view::npos ? path : path.substr(cut + 1);
  }
};

class AcePeer : public DomPeer<Names, AceDocument> {
 public:
  const char* Name() const override { return "ACE"; }
  Way WayOf(Operation operation) const override {
    switch (operation) {
      case Operation::kBuild:
      case Operation::kLookUp:
      case Operation::kChild:
      case Operation::kList:
      case Operation::kDestroy:
        return Way::kOwn;
      case Operation::kFlatten:
        return Way::kNone;
      default:
        return Way::kUserCode;
    }
  }
  std::size_t MostLeaves() const override { return 10000; }
  std::size_t Deepest() const override { return 0; }
  // Opening a section counts references to it, and not atomically.
  bool IsSharedByReaders() const override { return false; }
  bool FreesAtOnce() const override { return true; }
};

}  // namespace

const Peer& AceConfiguration() {
  static const AcePeer peer;
  return peer;
}

}  // namespace bench
