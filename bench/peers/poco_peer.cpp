// POCO's configuration classes, through the interface that all of them share.
//
// Keys are names joined by dots.  Values are read without expansion of ${...}, which no
// value here asks for.  Every call takes the object's mutex.
//
//   POCO          PropertyFileConfiguration, a map from whole keys to values.  Asking what
//                 stands below a key goes over the whole map, so that listing, and what a
//                 user would write with it, is left out.  Its own: build, look-up, copy and
//                 merge (copyTo), flatten (save).
//   POCO JSON     JSONConfiguration, a tree of JSON objects.
//   POCO XML      XMLConfiguration, a DOM; names are looked for sibling by sibling.
//
// The last two cut every key and walk from the top for every call, and can't be copied but
// by writing them out; they take part in building, look-up and destroying at 10,000 leaves.
// Building from sorted records is building by path for all three.

#include <Poco/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/Util/JSONConfiguration.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#include <Poco/Util/XMLConfiguration.h>
#include <Poco/XML/NamePool.h>

#include <algorithm>
#include <sstream>

#include "peers/peer.h"

namespace bench {

namespace {

using Poco::Util::AbstractConfiguration;

std::string KeyOf(std::string path) {
  std::replace(path.begin(), path.end(), '.', '+');
  std::replace(path.begin(), path.end(), '\\', '.');
  return path;
}

struct Properties {
  using Type = Poco::Util::PropertyFileConfiguration;
  static constexpr const char* kName = "POCO";
  static constexpr bool kIsMap = true;
  static Type* New() { return new Type; }
};

struct Json {
  using Type = Poco::Util::JSONConfiguration;
  static constexpr const char* kName = "POCO JSON";
  static constexpr bool kIsMap = false;
  static Type* New() { return new Type; }
};

struct Xml {
  using Type = Poco::Util::XMLConfiguration;
  static constexpr const char* kName = "POCO XML";
  static constexpr bool kIsMap = false;
  // The usual pool of names has room for 509 different ones.
  static Type* New() {
    Poco::AutoPtr<Poco::XML::NamePool> pool(new Poco::XML::NamePool(16381));
    Poco::AutoPtr<Poco::XML::Document> document(new Poco::XML::Document(pool.get()));
    Poco::AutoPtr<Poco::XML::Element> top(document->createElement("top"));
    document->appendChild(top.get());
    return new Type(document.get());
  }
};

// Counts what is copied to it.
class Counter : public Poco::Util::MapConfiguration {
 public:
  std::size_t Count() const { return static_cast<std::size_t>(std::distance(begin(), end())); }
};

std::size_t CountBelow(AbstractConfiguration& all, const std::string& key) {
  AbstractConfiguration::Keys names;
  all.keys(key, names);
  std::size_t leaves = names.empty() ? 1 : 0;
  for (const std::string& name : names) {
    leaves += CountBelow(all, key.empty() ? name : key + '.' + name);
  }
  return leaves;
}

template <class Kind>
class PocoDocument : public Document {
 public:
  PocoDocument() : m_keys(Kind::New()) {}

  std::size_t CountLeaves() override {
    if constexpr (Kind::kIsMap) {
      Poco::AutoPtr<Counter> counter(new Counter);
      m_keys->copyTo(*counter);
      return counter->Count();
    } else {
      return CountBelow(*m_keys, "");
    }
  }
  bool Holds(const std::string& path, const std::string& value) override {
    const std::string key = KeyOf(path);
    return m_keys->has(key) && m_keys->getRawString(key) == value;
  }

  void Put(const Strings& paths, const Strings& values) override {
    for (std::size_t i = 0; i < paths.plain.size(); ++i) {
      m_keys->setString(paths.plain[i], values.plain[i]);
    }
  }
  void Change(const Strings& paths, const Strings& values) override { Put(paths, values); }

  std::uint64_t LookUp(const Strings& paths) override {
    static const std::string none;
    Tally tally;
    for (const std::string& path : paths.plain) tally.Read(m_keys->getRawString(path, none));
    return tally.Sum();
  }
  // The caller has a parent and a name, and puts them together.
  std::uint64_t Children(const Strings& parent, const Strings& names) override {
    static const std::string none;
    Tally tally;
    std::string key;
    for (const std::string& name : names.plain) {
      key.assign(parent.plain.front()).append(1, '.').append(name);
      tally.Read(m_keys->getRawString(key, none));
    }
    return tally.Sum();
  }

  std::unique_ptr<Document> Copy() override {
    auto copy = std::make_unique<PocoDocument>();
    CopyTo(*copy);
    return copy;
  }
  std::unique_ptr<Document> Merge(Document& layer) override {
    auto merged = std::make_unique<PocoDocument>();
    CopyTo(*merged);
    static_cast<PocoDocument&>(layer).CopyTo(*merged);
    return merged;
  }

  std::unique_ptr<Bytes> Flatten() override {
    std::ostringstream out;
    m_keys->save(out);
    return std::make_unique<TextBytes>(std::move(out).str());
  }
  void Load(const Bytes& bytes) {
    std::istringstream in(std::string(bytes.data, bytes.size));
    m_keys->load(in);
  }

  // Nobody asks for these; see PocoPeer::WayOf.
  std::uint64_t List(const Strings&) override { return 0; }
  std::uint64_t ListCopied(const Strings&) override { return 0; }
  Found Search(const std::string&) override { return {}; }
  std::uint64_t Checksum() override { return 0; }
  std::unique_ptr<Document> Changes(Document&) override { return nullptr; }

 private:
  void CopyTo(PocoDocument& other) {
    if constexpr (Kind::kIsMap) m_keys->copyTo(*other.m_keys);
  }

  Poco::AutoPtr<typename Kind::Type> m_keys;
};

template <class Kind>
class PocoPeer : public Peer {
 public:
  const char* Name() const override { return Kind::kName; }
  Way WayOf(Operation operation) const override {
    switch (operation) {
      case Operation::kBuild:
      case Operation::kLookUp:
      case Operation::kChild:
      case Operation::kDestroy:
        return Way::kOwn;
      case Operation::kBuildRecords:
      case Operation::kCopy:
      case Operation::kMerge:
      case Operation::kFlatten:
        return Kind::kIsMap ? Way::kOwn : Way::kNone;
      default:
        return Way::kNone;
    }
  }
  std::size_t MostLeaves() const override { return Kind::kIsMap ? 10000000 : 10000; }
  std::size_t Deepest() const override { return Kind::kIsMap ? 10000 : 0; }
  bool ScansSiblings() const override { return !Kind::kIsMap; }
  Strings PathsOf(const std::vector<std::string>& paths) const override {
    Strings keys;
    keys.plain.reserve(paths.size());
    for (const std::string& path : paths) keys.plain.push_back(KeyOf(path));
    return keys;
  }
  std::unique_ptr<Document> New() const override { return std::make_unique<PocoDocument<Kind>>(); }
  std::unique_ptr<Records> RecordsOf(const Strings& paths, const Strings& values) const override {
    return std::make_unique<ListedRecords>(paths, values);
  }
  std::unique_ptr<Document> FromRecords(std::unique_ptr<Records> records) const override {
    const auto& lists = static_cast<const ListedRecords&>(*records);
    auto made = std::make_unique<PocoDocument<Kind>>();
    made->Put(lists.PathStrings(), lists.ValueStrings());
    return made;
  }
  std::unique_ptr<Document> Read(const Bytes& bytes) const override {
    auto made = std::make_unique<PocoDocument<Kind>>();
    made->Load(bytes);
    return made;
  }
};

}  // namespace

const Peer& PocoProperties() {
  static const PocoPeer<Properties> peer;
  return peer;
}

const Peer& PocoJson() {
  static const PocoPeer<Json> peer;
  return peer;
}

const Peer& PocoXml() {
  static const PocoPeer<Xml> peer;
  return peer;
}

}  // namespace bench
