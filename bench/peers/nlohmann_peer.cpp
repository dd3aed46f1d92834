// nlohmann::json: objects with string members.
//
// An inner node is an object, a leaf a string.  Objects are a std::map with a transparent
// comparison, so names are looked up without making a string.  Paths are walked name by
// name: a json_pointer would be shorter, but is made of strings of its own and throws where
// something is missing.
//
// Its own: copy, merge (update with merge_objects), flatten (to_ubjson, the quickest of its
// formats; CBOR and dump() take two and three times as long).  User code (dom.h): building
// from sorted records, search, checksum, list, changes by comparing two trees (its diff()
// makes a list of texts).

#include <nlohmann/json.hpp>

#include "peers/dom.h"

namespace bench {

namespace {

using nlohmann::json;

struct ByteList : Bytes {
  std::vector<std::uint8_t> bytes;
};

struct Names {
  using Tree = json;
  using Node = json*;

  static json::object_t& Members(Node node) { return *node->get_ptr<json::object_t*>(); }
  static std::string_view TextOf(const json& value) { return *value.get_ptr<const std::string*>(); }

  static Node Root(Tree& tree) { return &tree; }
  static bool IsNull(Node node) { return node == nullptr; }
  static Node Inner(Node node, std::string_view name) {
    const auto found = Members(node).find(name);
    return found != Members(node).end() && found->second.is_object() ? &found->second : nullptr;
  }
  static Node InnerOrNew(Tree& tree, Node node, std::string_view name) {
    const Node member = Inner(node, name);
    return member != nullptr ? member : NewInner(tree, node, name);
  }
  static Node NewInner(Tree&, Node node, std::string_view name) {
    return &Members(node).emplace(name, json::object()).first->second;
  }
  static void NewLeaf(Tree&, Node node, std::string_view name, std::string_view value) {
    Members(node).emplace(name, value);
  }
  static void SetLeaf(Tree&, Node node, std::string_view name, std::string_view value) {
    const auto [place, made] = Members(node).emplace(name, value);
    if (!made) place->second = value;
  }
  template <class OnText>
  static bool Leaf(Node node, std::string_view name, OnText read) {
    const auto found = Members(node).find(name);
    if (found == Members(node).end() || !found->second.is_string()) return false;
    read(TextOf(found->second));
    return true;
  }
  template <class OnLeaf, class OnInner>
  static void Visit(Node node, OnLeaf on_leaf, OnInner on_inner) {
    for (auto& [name, value] : Members(node)) {
      if (value.is_string()) {
        on_leaf(std::string_view(name), TextOf(value));
      } else {
        on_inner(std::string_view(name), &value);
      }
    }
  }

  static std::unique_ptr<Tree> NewTree() { return std::make_unique<Tree>(json::object()); }
  static std::unique_ptr<Tree> Copy(Tree& tree) { return std::make_unique<Tree>(tree); }
  static std::unique_ptr<Bytes> Flatten(Tree& tree) {
    auto list = std::make_unique<ByteList>();
    json::to_ubjson(tree, list->bytes);
    list->data = reinterpret_cast<const char*>(list->bytes.data());
    list->size = list->bytes.size();
    return list;
  }
  static std::unique_ptr<Tree> Read(const Bytes& bytes) {
    return std::make_unique<Tree>(json::from_ubjson(bytes.data, bytes.data + bytes.size));
  }
};

class NlohmannDocument : public DomDocument<Names> {
 public:
  using DomDocument::DomDocument;

  std::unique_ptr<Document> Copy() override {
    return std::make_unique<NlohmannDocument>(Names::Copy(GetTree()));
  }
  std::unique_ptr<Document> Merge(Document& layer) override {
    std::unique_ptr<json> merged = Names::Copy(GetTree());
    merged->update(static_cast<NlohmannDocument&>(layer).GetTree(), true);
    return std::make_unique<NlohmannDocument>(std::move(merged));
  }
};

class NlohmannPeer : public DomPeer<Names, NlohmannDocument> {
 public:
  const char* Name() const override { return "nlohmann"; }
  Way WayOf(Operation operation) const override {
    switch (operation) {
      case Operation::kBuildRecords:
      case Operation::kListCopied:
      case Operation::kSearch:
      case Operation::kChecksum:
      case Operation::kChanges:
        return Way::kUserCode;
      default:
        return Way::kOwn;
    }
  }
};

}  // namespace

const Peer& NlohmannJson() {
  static const NlohmannPeer peer;
  return peer;
}

}  // namespace bench
