// DOM: the user's code for peers that are a tree of nodes.
//
// What such a peer lacks, a user writes as a loop or a recursion over its nodes.  That code
// looks the same for all of them but for the names of the functions that it calls, so it
// stands here once, and a peer supplies the names:
//
//   struct Names {
//     using Tree;                                       // owns a whole tree
//     using Node;                                       // refers to an inner node; may be null
//     static Node Root(Tree&);
//     static bool IsNull(const Node&);
//     static Node Inner(const Node&, name);             // the child, null when there is none
//     static Node InnerOrNew(Tree&, const Node&, name); // the same, made when missing
//     static Node NewInner(Tree&, const Node&, name);   // for a name that is known to be new
//     static void NewLeaf(Tree&, const Node&, name, value);
//     static void SetLeaf(Tree&, const Node&, name, value);  // new or there already
//     static bool Leaf(const Node&, name, read);        // calls read(text of the value)
//     static void Visit(const Node&, on_leaf, on_inner);  // on_leaf(name, value),
//                                                         // on_inner(name, node)
//     static std::unique_ptr<Tree> NewTree();
//     static std::unique_ptr<Tree> Copy(Tree&);
//     static std::unique_ptr<Bytes> Flatten(Tree&);
//   };
//
// Names and texts are std::string_view into the tree or the arguments; nothing is copied
// that the peer does not copy itself.  Recursion is over the depth of the tree, as in most
// code of users; that is why Peer::Deepest() is what it is.

#ifndef BENCH_PEERS_DOM_H
#define BENCH_PEERS_DOM_H

#include <benchmark/benchmark.h>

#include <functional>
#include <utility>

#include "peers/peer.h"

namespace bench {

// Cuts off and returns the first name of a path.
inline std::string_view NextName(std::string_view& path) {
  const std::size_t cut = path.find('\\');
  const std::string_view name = path.substr(0, cut);
  path.remove_prefix(cut == std::string_view::npos ? path.size() : cut + 1);
  return name;
}

inline std::uint64_t HashOf(std::string_view text) {
  return std::hash<std::string_view>()(text);
}

// Makes sums of hashes depend on all of their bits.
inline std::uint64_t Mix(std::uint64_t x) {
  x ^= x >> 32;
  x *= 0xD6E8FEB86659FD93u;
  return x ^ (x >> 32);
}

template <class Names>
class DomDocument : public Document {
 public:
  using Tree = typename Names::Tree;
  using Node = typename Names::Node;

  explicit DomDocument(std::unique_ptr<Tree> tree) : m_tree(std::move(tree)) {}

  std::size_t CountLeaves() override { return Count(Names::Root(*m_tree)); }

  bool Holds(const std::string& path, const std::string& value) override {
    bool same = false;
    LeafAt(path, [&](std::string_view text) { same = text == value; });
    return same;
  }

  void Put(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.plain.size(); ++i) {
      std::string_view rest = paths.plain[i];
      Node node = Names::Root(*m_tree);
      std::string_view name = NextName(rest);
      for (; !rest.empty(); name = NextName(rest)) node = Names::InnerOrNew(*m_tree, node, name);
      Names::NewLeaf(*m_tree, node, name, values.plain[i]);
    }
  }

  void Change(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.plain.size(); ++i) {
      std::string_view rest = paths.plain[i];
      Node node = Names::Root(*m_tree);
      std::string_view name = NextName(rest);
      for (; !rest.empty(); name = NextName(rest)) node = Names::Inner(node, name);
      Names::SetLeaf(*m_tree, node, name, values.plain[i]);
    }
  }

  // Records come in order of paths: the nodes that lead to the last one are kept, and only
  // what differs is made.
  void PutSorted(const std::vector<std::string>& paths, const std::vector<std::string>& values) {
    struct Level {
      std::string_view name;
      Node node;
    };
    std::vector<Level> way{{std::string_view(), Names::Root(*m_tree)}};
    for (std::size_t i = 0; i < paths.size(); ++i) {
      std::string_view rest = paths[i];
      std::string_view name = NextName(rest);
      std::size_t depth = 1;
      for (; !rest.empty(); name = NextName(rest), ++depth) {
        if (depth < way.size() && way[depth].name == name) continue;
        way.resize(depth, way.front());
        way.push_back({name, Names::NewInner(*m_tree, way.back().node, name)});
      }
      way.resize(depth, way.front());
      Names::NewLeaf(*m_tree, way.back().node, name, values[i]);
    }
  }

  std::uint64_t LookUp(const Strings& paths) override {
    Tally tally;
    for (const std::string& path : paths.plain) {
      LeafAt(path, [&](std::string_view text) { tally.Read(text); });
    }
    return tally.Sum();
  }

  std::uint64_t Children(const Strings& parent, const Strings& names) override {
    const Node node = InnerAt(parent.plain.front());
    Tally tally;
    for (const std::string& name : names.plain) {
      Names::Leaf(node, name, [&](std::string_view text) { tally.Read(text); });
    }
    return tally.Sum();
  }

  std::uint64_t List(const Strings& parents) override {
    Tally tally;
    for (const std::string& path : parents.plain) {
      Names::Visit(
          InnerAt(path),
          [&](std::string_view name, std::string_view text) {
            tally.Read(name);
            tally.Read(text);
          },
          [](std::string_view, const Node&) {});
    }
    return tally.Sum();
  }

  std::uint64_t ListCopied(const Strings& parents) override {
    Tally tally;
    for (const std::string& path : parents.plain) {
      std::vector<std::pair<std::string, std::string>> list;
      Names::Visit(
          InnerAt(path),
          [&](std::string_view name, std::string_view text) { list.emplace_back(name, text); },
          [](std::string_view, const Node&) {});
      for (const auto& [name, text] : list) {
        tally.Read(name);
        tally.Read(text);
      }
    }
    return tally.Sum();
  }

  Found Search(const std::string& name) override {
    std::vector<std::string> found;
    std::string path;
    SearchBelow(Names::Root(*m_tree), name, path, found);
    benchmark::DoNotOptimize(found.data());
    Found result;
    result.places = found.size();
    for (const std::string& place : found) result.bytes += place.size();
    return result;
  }

  // Siblings in any order: their hashes are added.
  std::uint64_t Checksum() override { return HashBelow(Names::Root(*m_tree)); }

  std::unique_ptr<Document> Copy() override { return Wrap(Names::Copy(*m_tree)); }

  // A copy of this tree, then everything of the layer put into it.
  std::unique_ptr<Document> Merge(Document& layer) override {
    std::unique_ptr<Tree> merged = Names::Copy(*m_tree);
    Overlay(*merged, Names::Root(*merged), Names::Root(*static_cast<DomDocument&>(layer).m_tree));
    return Wrap(std::move(merged));
  }

  // Both trees side by side; nodes of the result are made when a leaf needs them.
  std::unique_ptr<Document> Changes(Document& before) override {
    std::unique_ptr<Tree> changes = Names::NewTree();
    Made top{nullptr, {}, Names::Root(*changes)};
    Compare(Names::Root(*static_cast<DomDocument&>(before).m_tree), Names::Root(*m_tree), *changes,
            top);
    return Wrap(std::move(changes));
  }

  std::unique_ptr<Bytes> Flatten() override { return Names::Flatten(*m_tree); }

 protected:
  Tree& GetTree() { return *m_tree; }
  static std::unique_ptr<Document> Wrap(std::unique_ptr<Tree> tree) {
    return std::make_unique<DomDocument>(std::move(tree));
  }

 private:
  // A node of the result of Changes; null until it is needed.
  struct Made {
    Made* parent;
    std::string_view name;
    Node node;
  };

  template <class OnText>
  bool LeafAt(std::string_view path, OnText read) {
    Node node = Names::Root(*m_tree);
    std::string_view name = NextName(path);
    for (; !path.empty(); name = NextName(path)) {
      node = Names::Inner(node, name);
      if (Names::IsNull(node)) return false;
    }
    return Names::Leaf(node, name, read);
  }

  Node InnerAt(std::string_view path) {
    Node node = Names::Root(*m_tree);
    while (!path.empty() && !Names::IsNull(node)) node = Names::Inner(node, NextName(path));
    return node;
  }

  static std::size_t Count(const Node& node) {
    std::size_t count = 0;
    Names::Visit(
        node, [&](std::string_view, std::string_view) { ++count; },
        [&](std::string_view, const Node& child) { count += Count(child); });
    return count;
  }

  static void SearchBelow(const Node& node, std::string_view wanted, std::string& path,
                          std::vector<std::string>& found) {
    const std::size_t length = path.size();
    const auto add = [&](std::string_view name) {
      if (length != 0) path += '\\';
      path += name;
    };
    Names::Visit(
        node,
        [&](std::string_view name, std::string_view) {
          if (name != wanted) return;
          add(name);
          found.push_back(path);
          path.resize(length);
        },
        [&](std::string_view name, const Node& child) {
          add(name);
          if (name == wanted) found.push_back(path);
          SearchBelow(child, wanted, path, found);
          path.resize(length);
        });
  }

  static std::uint64_t HashBelow(const Node& node) {
    std::uint64_t sum = 0;
    Names::Visit(
        node,
        [&](std::string_view name, std::string_view text) {
          sum += Mix(HashOf(name) * 31 + HashOf(text));
        },
        [&](std::string_view name, const Node& child) {
          sum += Mix(HashOf(name) * 37 + HashBelow(child));
        });
    return sum;
  }

  static void Overlay(Tree& tree, const Node& target, const Node& layer) {
    Names::Visit(
        layer,
        [&](std::string_view name, std::string_view text) {
          Names::SetLeaf(tree, target, name, text);
        },
        [&](std::string_view name, const Node& child) {
          Overlay(tree, Names::InnerOrNew(tree, target, name), child);
        });
  }

  static const Node& Needed(Tree& tree, Made& made) {
    if (Names::IsNull(made.node)) {
      made.node = Names::NewInner(tree, Needed(tree, *made.parent), made.name);
    }
    return made.node;
  }

  static void Compare(const Node& before, const Node& after, Tree& changes, Made& made) {
    Names::Visit(
        after,
        [&](std::string_view name, std::string_view text) {
          bool same = false;
          if (!Names::IsNull(before)) {
            Names::Leaf(before, name, [&](std::string_view old) { same = old == text; });
          }
          if (!same) Names::NewLeaf(changes, Needed(changes, made), name, text);
        },
        [&](std::string_view name, const Node& child) {
          Made below{&made, name, Node()};
          Compare(Names::IsNull(before) ? Node() : Names::Inner(before, name), child, changes,
                  below);
        });
  }

  std::unique_ptr<Tree> m_tree;
};

// The peer that goes with it; a peer's file adds its name and what differs.
template <class Names, class Doc = DomDocument<Names>>
class DomPeer : public Peer {
 public:
  std::unique_ptr<Document> New() const override { return std::make_unique<Doc>(Names::NewTree()); }

  std::unique_ptr<Records> RecordsOf(const Strings& paths, const Strings& values) const override {
    return std::make_unique<ListedRecords>(paths, values);
  }

  std::unique_ptr<Document> FromRecords(std::unique_ptr<Records> records) const override {
    const auto& lists = static_cast<const ListedRecords&>(*records);
    auto made = std::make_unique<Doc>(Names::NewTree());
    made->PutSorted(lists.Paths(), lists.Values());
    return made;
  }

  std::unique_ptr<Document> Read(const Bytes& bytes) const override {
    return std::make_unique<Doc>(Names::Read(bytes));
  }
};

}  // namespace bench

#endif  // BENCH_PEERS_DOM_H
