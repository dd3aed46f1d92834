// Boost.PropertyTree: a ptree of std::string.
//
// An inner node has children, a leaf has data and none.  Every node keeps its children as a
// list and as an index by name, so names are found in logarithmic time.  Paths are its own
// path_type, with the backslash as separator.
//
// Its own: build (add), look-up (get_child_optional), copy, flatten (write_json without
// indentation).  User code (dom.h): building from sorted records, merge, search, checksum,
// list, changes by comparing two trees.

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <sstream>

#include "peers/dom.h"

namespace bench {

namespace {

using boost::property_tree::ptree;

struct Names {
  using Tree = ptree;
  using Node = ptree*;

  static Node Root(Tree& tree) { return &tree; }
  static bool IsNull(Node node) { return node == nullptr; }
  static Node Inner(Node node, std::string_view name) {
    const auto found = node->find(std::string(name));
    return found == node->not_found() ? nullptr : &found->second;
  }
  static Node InnerOrNew(Tree& tree, Node node, std::string_view name) {
    const Node child = Inner(node, name);
    return child != nullptr ? child : NewInner(tree, node, name);
  }
  static Node NewInner(Tree&, Node node, std::string_view name) {
    return &node->push_back({std::string(name), ptree()})->second;
  }
  static void NewLeaf(Tree&, Node node, std::string_view name, std::string_view value) {
    node->push_back({std::string(name), ptree(std::string(value))});
  }
  static void SetLeaf(Tree& tree, Node node, std::string_view name, std::string_view value) {
    const Node child = Inner(node, name);
    if (child == nullptr) return NewLeaf(tree, node, name, value);
    child->data() = value;
  }
  template <class OnText>
  static bool Leaf(Node node, std::string_view name, OnText read) {
    const Node child = Inner(node, name);
    if (child == nullptr || !child->empty()) return false;
    read(std::string_view(child->data()));
    return true;
  }
  template <class OnLeaf, class OnInner>
  static void Visit(Node node, OnLeaf on_leaf, OnInner on_inner) {
    for (auto& [name, child] : *node) {
      if (child.empty()) {
        on_leaf(std::string_view(name), std::string_view(child.data()));
      } else {
        on_inner(std::string_view(name), &child);
      }
    }
  }

  static std::unique_ptr<Tree> NewTree() { return std::make_unique<Tree>(); }
  static std::unique_ptr<Tree> Copy(Tree& tree) { return std::make_unique<Tree>(tree); }
  static std::unique_ptr<Bytes> Flatten(Tree& tree) {
    std::ostringstream out;
    boost::property_tree::write_json(out, tree, false);
    return std::make_unique<TextBytes>(std::move(out).str());
  }
  static std::unique_ptr<Tree> Read(const Bytes& bytes) {
    std::istringstream in(std::string(bytes.data, bytes.size));
    auto tree = std::make_unique<Tree>();
    boost::property_tree::read_json(in, *tree);
    return tree;
  }
};

class PtreeDocument : public DomDocument<Names> {
 public:
  using DomDocument::DomDocument;

  void Put(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.plain.size(); ++i) {
      GetTree().add(ptree::path_type(paths.plain[i], '\\'), values.plain[i]);
    }
  }

  std::uint64_t LookUp(const Strings& paths) override {
    Tally tally;
    for (const std::string& path : paths.plain) {
      const auto node = GetTree().get_child_optional(ptree::path_type(path, '\\'));
      if (node) tally.Read(node->data());
    }
    return tally.Sum();
  }

  std::unique_ptr<Document> Copy() override {
    return std::make_unique<PtreeDocument>(Names::Copy(GetTree()));
  }
};

class PtreePeer : public DomPeer<Names, PtreeDocument> {
 public:
  const char* Name() const override { return "Boost.PropertyTree"; }
  Way WayOf(Operation operation) const override {
    switch (operation) {
      case Operation::kBuildRecords:
      case Operation::kListCopied:
      case Operation::kSearch:
      case Operation::kMerge:
      case Operation::kChecksum:
      case Operation::kChanges:
        return Way::kUserCode;
      default:
        return Way::kOwn;
    }
  }
};

}  // namespace

const Peer& BoostPropertyTree() {
  static const PtreePeer peer;
  return peer;
}

}  // namespace bench
