// RapidJSON: a Document of objects with string members, on its own MemoryPoolAllocator.
//
// An inner node is an object, a leaf a string.  Members are a plain array, so a name is
// looked for member by member; a leaf that is known to be new is added without looking.
// Names and values are copied into the allocator, as they must be when what was read goes
// away.  Memory comes back only when the whole document goes.
//
// Its own: copy (CopyFrom, which copies strings that were copied before), flatten (Writer to
// a StringBuffer).  User code (dom.h): building from sorted records, merge, search, checksum,
// list, changes by comparing two documents.

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "peers/dom.h"

namespace bench {

namespace {

using rapidjson::SizeType;
using rapidjson::Value;

// Refers to the text; for look-ups.
Value::StringRefType Ref(std::string_view text) {
  return {text.data(), static_cast<SizeType>(text.size())};
}

// A string value with bytes of its own.
Value Copied(std::string_view text, rapidjson::Document& tree) {
  return Value(text.data(), static_cast<SizeType>(text.size()), tree.GetAllocator());
}

std::string_view TextOf(const Value& value) {
  return {value.GetString(), value.GetStringLength()};
}

struct JsonBytes : Bytes {
  rapidjson::StringBuffer buffer;
};

struct Names {
  using Tree = rapidjson::Document;
  using Node = Value*;

  static Node Root(Tree& tree) { return &tree; }
  static bool IsNull(Node node) { return node == nullptr; }

  static Value* Member(Node node, std::string_view name) {
    const auto found = node->FindMember(Value(Ref(name)));
    // Of two iterators, the difference has one meaning in C++17 and in C++20.
    return found - node->MemberEnd() == 0 ? nullptr : &found->value;
  }
  static Node Inner(Node node, std::string_view name) {
    Value* const member = Member(node, name);
    return member != nullptr && member->IsObject() ? member : nullptr;
  }
  static Node InnerOrNew(Tree& tree, Node node, std::string_view name) {
    Value* const member = Inner(node, name);
    return member != nullptr ? member : NewInner(tree, node, name);
  }
  static Node NewInner(Tree& tree, Node node, std::string_view name) {
    node->AddMember(Copied(name, tree), Value(rapidjson::kObjectType), tree.GetAllocator());
    return &(node->MemberEnd() - 1)->value;
  }
  static void NewLeaf(Tree& tree, Node node, std::string_view name, std::string_view value) {
    node->AddMember(Copied(name, tree), Copied(value, tree), tree.GetAllocator());
  }
  static void SetLeaf(Tree& tree, Node node, std::string_view name, std::string_view value) {
    Value* const member = Member(node, name);
    if (member == nullptr) return NewLeaf(tree, node, name, value);
    *member = Copied(value, tree);
  }
  template <class OnText>
  static bool Leaf(Node node, std::string_view name, OnText read) {
    const Value* const member = Member(node, name);
    if (member == nullptr || !member->IsString()) return false;
    read(TextOf(*member));
    return true;
  }
  template <class OnLeaf, class OnInner>
  static void Visit(Node node, OnLeaf on_leaf, OnInner on_inner) {
    auto member = node->MemberBegin();
    for (SizeType left = node->MemberCount(); left != 0; --left, ++member) {
      if (member->value.IsString()) {
        on_leaf(TextOf(member->name), TextOf(member->value));
      } else {
        on_inner(TextOf(member->name), &member->value);
      }
    }
  }

  static std::unique_ptr<Tree> NewTree() { return std::make_unique<Tree>(rapidjson::kObjectType); }
  static std::unique_ptr<Tree> Copy(Tree& tree) {
    auto copy = std::make_unique<Tree>();
    copy->CopyFrom(tree, copy->GetAllocator());
    return copy;
  }
  static std::unique_ptr<Bytes> Flatten(Tree& tree) {
    auto bytes = std::make_unique<JsonBytes>();
    rapidjson::Writer<rapidjson::StringBuffer> writer(bytes->buffer);
    tree.Accept(writer);
    bytes->data = bytes->buffer.GetString();
    bytes->size = bytes->buffer.GetSize();
    return bytes;
  }
  static std::unique_ptr<Tree> Read(const Bytes& bytes) {
    auto tree = std::make_unique<Tree>();
    tree->Parse(bytes.data, bytes.size);
    return tree;
  }
};

class RapidJsonPeer : public DomPeer<Names> {
 public:
  const char* Name() const override { return "RapidJSON"; }
  Way WayOf(Operation operation) const override {
    switch (operation) {
      case Operation::kCopy:
      case Operation::kDestroy:
      case Operation::kFlatten:
      case Operation::kBuild:
      case Operation::kLookUp:
      case Operation::kChild:
      case Operation::kList:
        return Way::kOwn;
      default:
        return Way::kUserCode;
    }
  }
  bool ScansSiblings() const override { return true; }
  bool FreesAtOnce() const override { return true; }
};

}  // namespace

const Peer& RapidJson() {
  static const RapidJsonPeer peer;
  return peer;
}

}  // namespace bench
