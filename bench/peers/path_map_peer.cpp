// No tree at all: one std::unordered_map from whole path to value.
//
// What many would write, and the reference for look-ups by whole path.  It has no nodes: it
// can't say what stands below a path without looking at every key, so that it lists nothing;
// the name of an inner node is found by cutting every key.
//
// Its own: build, look-up, copy, destroy.  User code: merge (a copy, then the layer's pairs),
// flatten (pairs of length and bytes), checksum (added hashes of pairs), search, changes by
// comparing two maps.

#include <benchmark/benchmark.h>

#include <cstring>
#include <unordered_map>
#include <unordered_set>

#include "peers/dom.h"

namespace bench {

namespace {

using Map = std::unordered_map<std::string, std::string>;

class MapDocument : public Document {
 public:
  MapDocument() = default;
  explicit MapDocument(Map map) : m_map(std::move(map)) {}

  std::size_t CountLeaves() override { return m_map.size(); }
  bool Holds(const std::string& path, const std::string& value) override {
    const auto found = m_map.find(path);
    return found != m_map.end() && found->second == value;
  }

  void Put(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.plain.size(); ++i) {
      m_map.emplace(paths.plain[i], values.plain[i]);
    }
  }
  void Change(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.plain.size(); ++i) m_map[paths.plain[i]] = values.plain[i];
  }

  std::uint64_t LookUp(const Strings& paths) override {
    Tally tally;
    for (const std::string& path : paths.plain) {
      const auto found = m_map.find(path);
      if (found != m_map.end()) tally.Read(found->second);
    }
    return tally.Sum();
  }
  // The caller has a parent and a name, and puts them together.
  std::uint64_t Children(const Strings& parent, const Strings& names) override {
    Tally tally;
    std::string path;
    for (const std::string& name : names.plain) {
      path.assign(parent.plain.front()).append(1, '\\').append(name);
      const auto found = m_map.find(path);
      if (found != m_map.end()) tally.Read(found->second);
    }
    return tally.Sum();
  }
  std::uint64_t List(const Strings&) override { return 0; }
  std::uint64_t ListCopied(const Strings&) override { return 0; }

  Found Search(const std::string& name) override {
    std::unordered_set<std::string> found;
    for (const auto& [path, value] : m_map) {
      std::string_view rest = path;
      while (!rest.empty()) {
        if (NextName(rest) != name) continue;
        const std::size_t length = path.size() - rest.size() - (rest.empty() ? 0 : 1);
        found.insert(path.substr(0, length));
      }
    }
    Found result;
    result.places = found.size();
    for (const std::string& place : found) result.bytes += place.size();
    return result;
  }

  std::uint64_t Checksum() override {
    std::uint64_t sum = 0;
    for (const auto& [path, value] : m_map) sum += Mix(HashOf(path) * 31 + HashOf(value));
    return sum;
  }

  std::unique_ptr<Document> Copy() override { return std::make_unique<MapDocument>(m_map); }
  std::unique_ptr<Document> Merge(Document& layer) override {
    auto merged = std::make_unique<MapDocument>(m_map);
    for (const auto& [path, value] : static_cast<MapDocument&>(layer).m_map) {
      merged->m_map.insert_or_assign(path, value);
    }
    return merged;
  }
  std::unique_ptr<Document> Changes(Document& before) override {
    const Map& old = static_cast<MapDocument&>(before).m_map;
    auto changes = std::make_unique<MapDocument>();
    for (const auto& [path, value] : m_map) {
      const auto found = old.find(path);
      if (found == old.end() || found->second != value) changes->m_map.emplace(path, value);
    }
    return changes;
  }

  std::unique_ptr<Bytes> Flatten() override {
    std::string text;
    const auto append = [&text](const std::string& part) {
      const auto length = static_cast<std::uint32_t>(part.size());
      text.append(reinterpret_cast<const char*>(&length), sizeof length).append(part);
    };
    for (const auto& [path, value] : m_map) {
      append(path);
      append(value);
    }
    return std::make_unique<TextBytes>(std::move(text));
  }

 private:
  Map m_map;
};

class MapPeer : public Peer {
 public:
  const char* Name() const override { return "unordered_map"; }
  Way WayOf(Operation operation) const override {
    switch (operation) {
      case Operation::kBuild:
      case Operation::kBuildRecords:
      case Operation::kLookUp:
      case Operation::kChild:
      case Operation::kCopy:
      case Operation::kDestroy:
        return Way::kOwn;
      case Operation::kList:
      case Operation::kListCopied:
        return Way::kNone;
      default:
        return Way::kUserCode;
    }
  }
  std::unique_ptr<Document> New() const override { return std::make_unique<MapDocument>(); }
  std::unique_ptr<Records> RecordsOf(const Strings& paths, const Strings& values) const override {
    return std::make_unique<ListedRecords>(paths, values);
  }
  std::unique_ptr<Document> FromRecords(std::unique_ptr<Records> records) const override {
    const auto& lists = static_cast<const ListedRecords&>(*records);
    Map map;
    map.reserve(lists.Paths().size());
    for (std::size_t i = 0; i < lists.Paths().size(); ++i) {
      map.emplace(lists.Paths()[i], lists.Values()[i]);
    }
    return std::make_unique<MapDocument>(std::move(map));
  }
  std::unique_ptr<Document> Read(const Bytes& bytes) const override {
    Map map;
    const char* at = bytes.data;
    const auto next = [&at] {
      std::uint32_t length = 0;
      std::memcpy(&length, at, sizeof length);
      at += sizeof length + length;
      return std::string(at - length, length);
    };
    while (at != bytes.data + bytes.size) {
      std::string path = next();
      map.emplace(std::move(path), next());
    }
    return std::make_unique<MapDocument>(std::move(map));
  }
};

}  // namespace

const Peer& PathMap() {
  static const MapPeer peer;
  return peer;
}

}  // namespace bench
