// This library, used as its own users do: by the public operations of Tree_Node alone.
//
// Strings are RWCString.  Those that go in and those that are asked for have texts of their
// own and no hash yet: what a program has in hand that has just read them.
//
// Its own: all operations.  Changes are leaves whose flag is set.  Records are Tree_NodeInfo
// in the sorted vector that BuildSubTree takes over and deletes; deleting them is part of
// the time.

#include <benchmark/benchmark.h>

#include <cstring>

#include "Tree/Tree_Node.h"
#include "peers/peer.h"

namespace bench {

namespace {

RWCString Text(const std::string& text) {
  return RWCString(text.data(), text.size());
}

std::vector<RWCString> Texts(const std::vector<std::string>& texts) {
  std::vector<RWCString> made;
  made.reserve(texts.size());
  for (const std::string& text : texts) made.push_back(Text(text));
  return made;
}

void Read(Tally& tally, const RWCString& text) {
  tally.Read(text.data(), text.length());
}

struct SerializedBytes : Bytes {
  ~SerializedBytes() override { delete[] data; }
};

class TreeDocument : public Document {
 public:
  TreeDocument() : m_top(new Tree_Node("top")) {}
  explicit TreeDocument(Tree_NodePtr top) : m_top(std::move(top)) {}

  std::size_t CountLeaves() override {
    std::size_t leaves = 0;
    std::vector<Tree_Node*> open{m_top.get()};
    while (!open.empty()) {
      Tree_Node* const node = open.back();
      open.pop_back();
      leaves += node->IsLeaf() ? 1 : 0;
      for (int i = 0; i < node->GetChildCount(); ++i) open.push_back(node->GetChildAt(i).get());
    }
    return leaves;
  }

  bool Holds(const std::string& path, const std::string& value) override {
    RWCString text = Text(path);
    return m_top->GetValue(text, m_top) == Text(value);
  }

  void Put(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.counted.size(); ++i) {
      const RWCString& path = paths.counted[i];
      const std::size_t cut = path.last('\\');
      Tree_NodePtr leaf(new Tree_Node(cut == RW_NPOS ? path : path(cut + 1, RW_NPOS),
                                      new Tree_Value(values.counted[i], 0)));
      if (cut == RW_NPOS) {
        m_top->Add(leaf);
        continue;
      }
      Tree_Path parent_path(path(0, cut));
      Tree_NodePtr parent = m_top->GetOrCreateRelativeNode(parent_path, m_top);
      parent->Add(leaf);
    }
  }

  void Change(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.counted.size(); ++i) {
      Tree_Path path(paths.counted[i]);
      Tree_Value* const value = m_top->GetRelativeNodeByRef(path, m_top)->GetTreeValue();
      value->SetValue(values.counted[i]);
      value->SetIsChange(1);
    }
  }

  // Handles are counted: each caller holds one of its own, which is what threads do.
  std::uint64_t LookUp(const Strings& paths) override {
    Tree_NodePtr top(m_top);
    Tally tally;
    for (const RWCString& path : paths.counted) {
      Read(tally, top->GetValue(const_cast<RWCString&>(path), top));
    }
    return tally.Sum();
  }

  std::uint64_t Children(const Strings& parent, const Strings& names) override {
    Tree_Path path(parent.counted.front());
    Tree_NodePtr node = m_top->GetRelativeNode(path, m_top);
    Tally tally;
    for (const RWCString& name : names.counted) {
      const Tree_NodePtr child = node->Get(name, node);
      if (!child.isNull()) Read(tally, child->GetTreeValue()->GetValue());
    }
    return tally.Sum();
  }

  std::uint64_t List(const Strings& parents) override {
    Tree_NodePtr top(m_top);
    Tally tally;
    for (const RWCString& text : parents.counted) {
      Tree_Path path(text);
      Tree_NodePtr& node = top->GetRelativeNodeByRef(path, top);
      const int count = node->GetChildCount();
      for (int i = 0; i < count; ++i) {
        Tree_NodePtr& child = node->GetChildAt(i);
        if (!child->IsLeaf()) continue;
        Read(tally, child->GetKeyName());
        Read(tally, child->GetTreeValue()->GetValue());
      }
    }
    return tally.Sum();
  }

  std::uint64_t ListCopied(const Strings& parents) override {
    Tally tally;
    for (const RWCString& path : parents.counted) {
      const std::unique_ptr<Tree_PathAndValueArray> list(m_top->GetSubTreeValues(path, m_top));
      if (list == nullptr) continue;
      const int count = list->GetArrLen();
      for (int i = 0; i < count; ++i) {
        Tree_ValueAndPath* const pair = list->GetPV(i);
        tally.Read(pair->GetPath(), std::strlen(pair->GetPath()));
        tally.Read(pair->GetValue(), std::strlen(pair->GetValue()));
      }
    }
    return tally.Sum();
  }

  Found Search(const std::string& name) override {
    const std::unique_ptr<String_Arr> list(m_top->Search(Text(name), m_top, 1));
    Found found;
    if (list == nullptr) return found;
    const int count = list->GetArrLen();
    found.places = static_cast<std::size_t>(count);
    for (int i = 0; i < count; ++i) found.bytes += std::strlen(list->GetStr(i));
    return found;
  }

  std::uint64_t Checksum() override { return m_top->GetChecksumIgnoreOrder(); }

  std::unique_ptr<Document> Copy() override {
    return std::make_unique<TreeDocument>(m_top->DuplicateFromHereDown(true));
  }
  std::unique_ptr<Document> Merge(Document& layer) override {
    return std::make_unique<TreeDocument>(
        Tree_Node::Merge(m_top, static_cast<TreeDocument&>(layer).m_top));
  }
  std::unique_ptr<Document> Changes(Document&) override {
    return std::make_unique<TreeDocument>(Tree_Node::GetChangesTreeNode(m_top));
  }

  std::unique_ptr<Bytes> Flatten() override {
    auto bytes = std::make_unique<SerializedBytes>();
    int size = 0;
    bytes->data = Tree_Node::GetSerializedTreeNode(m_top, size, false);
    bytes->size = static_cast<std::size_t>(size);
    return bytes;
  }

 private:
  Tree_NodePtr m_top;
};

// The records, and the node that BuildSubTree is called on, which plays no other part.
class TreeRecords : public Records {
 public:
  TreeRecords(const Strings& paths, const Strings& values)
      : m_list(std::make_unique<Zel_PtrSortedVector<Tree_NodeInfo>>()) {
    m_list->resize(paths.counted.size());
    for (std::size_t i = 0; i < paths.counted.size(); ++i) {
      auto record = std::make_unique<Tree_NodeInfo>();
      RWCString path = paths.counted[i];
      RWCString value = values.counted[i];
      const std::size_t cut = path.last('\\');
      record->SetPath(path);
      record->SetParentPathIndex(cut == RW_NPOS ? 0 : static_cast<int>(cut));
      record->SetValue(value);
      m_list->insert(record.release());
    }
  }
  ~TreeRecords() override {
    if (m_list == nullptr) return;
    for (std::size_t i = 0; i < m_list->entries(); ++i) delete m_list->at(i);
  }

  Tree_NodePtr Build() {
    RWCString top_name("top");
    return m_any->BuildSubTree(m_list.release(), top_name);
  }

 private:
  Tree_NodePtr m_any{new Tree_Node("any")};
  std::unique_ptr<Zel_PtrSortedVector<Tree_NodeInfo>> m_list;
};

// Reads the records of docs/formats.md.
std::unique_ptr<Document> ReadSerialized(const Bytes& bytes) {
  std::size_t at = 0;
  const auto number = [&] {
    std::uint32_t n = 0;
    for (int i = 0; i < 4; ++i) n = n << 8 | static_cast<unsigned char>(bytes.data[at++]);
    return n;
  };
  const auto text = [&](std::uint32_t length) {
    at += length;
    return RWCString(bytes.data + at - length, length);
  };
  std::vector<Tree_NodePtr> nodes;
  while (at < bytes.size) {
    number();  // the record's own number: they count up
    const std::uint32_t parent = number();
    const RWCString name = text(number());
    const std::uint32_t length = number();
    if (length == 0) {
      nodes.emplace_back(new Tree_Node(name));
    } else {
      const RWCString value = text(length);
      nodes.emplace_back(new Tree_Node(name, new Tree_Value(value, static_cast<int>(number()))));
    }
    if (nodes.size() > 1) nodes.at(parent)->Add(nodes.back());
  }
  return std::make_unique<TreeDocument>(nodes.front());
}

class TreePeer : public Peer {
 public:
  const char* Name() const override { return kOurs; }
  Way WayOf(Operation) const override { return Way::kOwn; }
  std::size_t Deepest() const override { return 1000000; }

  Strings PathsOf(const std::vector<std::string>& paths) const override {
    return {{}, Texts(paths)};
  }
  Strings ValuesOf(const std::vector<std::string>& values) const override {
    return {{}, Texts(values)};
  }
  std::unique_ptr<Document> New() const override { return std::make_unique<TreeDocument>(); }
  std::unique_ptr<Records> RecordsOf(const Strings& paths, const Strings& values) const override {
    return std::make_unique<TreeRecords>(paths, values);
  }
  std::unique_ptr<Document> FromRecords(std::unique_ptr<Records> records) const override {
    return std::make_unique<TreeDocument>(static_cast<TreeRecords&>(*records).Build());
  }
  std::unique_ptr<Document> Read(const Bytes& bytes) const override {
    return ReadSerialized(bytes);
  }
};

}  // namespace

const Peer& ThisLibrary() {
  static const TreePeer peer;
  return peer;
}

const std::vector<const Peer*>& AllPeers() {
  static const std::vector<const Peer*> all{
      &ThisLibrary(),    &BoostPropertyTree(), &NlohmannJson(), &RapidJson(),        &PugiXml(),
      &PocoProperties(), &PocoJson(),          &PocoXml(),      &AceConfiguration(), &PathMap(),
  };
  return all;
}

}  // namespace bench
