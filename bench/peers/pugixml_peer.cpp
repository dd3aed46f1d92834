// pugixml: an inner node is an element, a leaf an attribute of it.
//
// Attributes are the compact form: a leaf as an element of its own would take an element,
// a text node and a longer way to its value.  Children and attributes are linked lists, so
// a name is looked for sibling by sibling.  The document is an arena; it goes at once.
// Names and values must be zero-terminated, which those cut out of a path are not: they are
// copied to a buffer on the stack first.
//
// Its own: copy (reset with a document), flatten (save without indentation).  User code
// (dom.h): building from sorted records, merge, search, checksum, list, changes by comparing
// two documents.

#include <pugixml.hpp>

#include <cstring>

#include "peers/dom.h"

namespace bench {

namespace {

// A zero-terminated copy of a short text; longer ones take a string.
class Text {
 public:
  explicit Text(std::string_view text) {
    if (text.size() < sizeof m_short) {
      std::memcpy(m_short, text.data(), text.size());
      m_short[text.size()] = '\0';
      m_text = m_short;
    } else {
      m_long.assign(text);
      m_text = m_long.c_str();
    }
  }
  Text(const Text&) = delete;
  const char* get() const { return m_text; }

 private:
  char m_short[128];
  std::string m_long;
  const char* m_text;
};

class Writer : public pugi::xml_writer {
 public:
  explicit Writer(std::string& out) : m_out(out) {}
  void write(const void* data, std::size_t size) override {
    m_out.append(static_cast<const char*>(data), size);
  }

 private:
  std::string& m_out;
};

// The element at the top has no attributes or children but those of the tree's top node.
constexpr const char* kTop = "top";

struct Names {
  using Tree = pugi::xml_document;
  using Node = pugi::xml_node;

  static Node Root(Tree& tree) { return tree.document_element(); }
  static bool IsNull(Node node) { return !node; }
  static Node Inner(Node node, std::string_view name) { return node.child(Text(name).get()); }
  static Node InnerOrNew(Tree&, Node node, std::string_view name) {
    const Text text(name);
    const Node child = node.child(text.get());
    return child ? child : node.append_child(text.get());
  }
  static Node NewInner(Tree&, Node node, std::string_view name) {
    return node.append_child(Text(name).get());
  }
  static void NewLeaf(Tree&, Node node, std::string_view name, std::string_view value) {
    node.append_attribute(Text(name).get()) = Text(value).get();
  }
  static void SetLeaf(Tree&, Node node, std::string_view name, std::string_view value) {
    const Text text(name);
    pugi::xml_attribute attribute = node.attribute(text.get());
    if (!attribute) attribute = node.append_attribute(text.get());
    attribute = Text(value).get();
  }
  template <class OnText>
  static bool Leaf(Node node, std::string_view name, OnText read) {
    const pugi::xml_attribute attribute = node.attribute(Text(name).get());
    if (!attribute) return false;
    read(std::string_view(attribute.value()));
    return true;
  }
  template <class OnLeaf, class OnInner>
  static void Visit(Node node, OnLeaf on_leaf, OnInner on_inner) {
    for (const pugi::xml_attribute attribute : node.attributes()) {
      on_leaf(std::string_view(attribute.name()), std::string_view(attribute.value()));
    }
    for (const Node child : node.children()) on_inner(std::string_view(child.name()), child);
  }

  static std::unique_ptr<Tree> NewTree() {
    auto tree = std::make_unique<Tree>();
    tree->append_child(kTop);
    return tree;
  }
  static std::unique_ptr<Tree> Copy(Tree& tree) {
    auto copy = std::make_unique<Tree>();
    copy->reset(tree);
    return copy;
  }
  static std::unique_ptr<Bytes> Flatten(Tree& tree) {
    std::string text;
    Writer writer(text);
    tree.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    return std::make_unique<TextBytes>(std::move(text));
  }
  static std::unique_ptr<Tree> Read(const Bytes& bytes) {
    auto tree = std::make_unique<Tree>();
    tree->load_buffer(bytes.data, bytes.size);
    return tree;
  }
};

class PugiXmlPeer : public DomPeer<Names> {
 public:
  const char* Name() const override { return "pugixml"; }
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
  bool ScansSiblings() const override { return true; }
  bool FreesAtOnce() const override { return true; }
};

}  // namespace

const Peer& PugiXml() {
  static const PugiXmlPeer peer;
  return peer;
}

}  // namespace bench
