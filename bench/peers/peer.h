// Peers: what every contestant of the comparison does, in one form.
//
// A contestant is this library or something that its users would pick instead.  A Document
// is one tree of it.  Each member function is one operation on a whole list of arguments, so
// that the virtual call costs nothing per leaf, and a peer's own code stands inside it as
// its users would write it.
//
// Rules for all of them:
//   - Paths are names joined by backslashes, or by the peer's own separator where it has
//     one.  Strings are handed over in the type in which the peer's users have them.
//   - An operation does all of its work: a look-up reads the value, a copy shares nothing
//     that a change of the one would show in the other, a merge leaves its arguments alone.
//   - What a peer has no operation for is the shortest natural code of a user, and said to
//     be that (Way::kUserCode; a star in the tables).  Code that all peers with a tree of
//     nodes need in the same form stands once, in dom.h.
//   - Reading operations may be called by several threads at a time, where the peer allows it.

#ifndef BENCH_PEERS_PEER_H
#define BENCH_PEERS_PEER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "rw/RWCString.h"
#include "support/data.h"
#include "support/measure.h"

namespace bench {

// A list of strings as a contestant's users hold them: one of the two is filled.
struct Strings {
  std::vector<std::string> plain;
  std::vector<RWCString> counted;
};

enum class Operation {
  kBuild,         // every leaf by its path; none of them is there yet
  kBuildRecords,  // from a list in order of paths
  kLookUp,        // from a path to the text of its value
  kChild,         // from a node and a name to the text of its value
  kList,          // the names and values of the leaves of the node at a path
  kListCopied,    // the same as a list of strings of the caller's own
  kSearch,        // the full paths of all nodes of one name
  kCopy,
  kDestroy,
  kMerge,     // two trees into a third
  kFlatten,   // the tree as one block of bytes
  kChecksum,  // of names and values, whatever the order of siblings
  kChanges,   // the leaves that were changed, as a tree
};

enum class Way {
  kOwn,       // an operation of the peer
  kUserCode,  // the shortest natural code of a user
  kNone,      // neither, or not in reasonable time
};

struct Bytes {
  virtual ~Bytes() = default;
  const char* data = nullptr;
  std::size_t size = 0;
};

// What a search found: how many nodes, and the bytes of all their paths.
struct Found {
  std::size_t places = 0;
  std::size_t bytes = 0;
  bool operator==(const Found& other) const {
    return places == other.places && bytes == other.bytes;
  }
};

// Adds up what was read, so that reading cannot be optimised away and can be checked: the
// lengths of all texts and their first bytes.
class Tally {
 public:
  void Read(const char* text, std::size_t length) {
    m_sum += length;
    if (length != 0) m_sum += static_cast<unsigned char>(*text);
  }
  void Read(std::string_view text) { Read(text.data(), text.size()); }
  std::uint64_t Sum() const { return m_sum; }

 private:
  std::uint64_t m_sum = 0;
};

// What a peer is given to build from sorted records; made before the clock starts.
class Records {
 public:
  virtual ~Records() = default;
};

class Document {
 public:
  virtual ~Document() = default;

  // For checks, which are not timed.
  virtual std::size_t CountLeaves() = 0;
  virtual bool Holds(const std::string& path, const std::string& value) = 0;

  // Adds leaves that are not there yet, and the nodes that lead to them.
  virtual void Put(const Strings& paths, const Strings& values) = 0;
  // Gives leaves that are there another value, and marks them as changed where the
  // contestant has marks.
  virtual void Change(const Strings& paths, const Strings& values) = 0;

  virtual std::uint64_t LookUp(const Strings& paths) = 0;
  virtual std::uint64_t Children(const Strings& parent, const Strings& names) = 0;
  virtual std::uint64_t List(const Strings& parents) = 0;
  virtual std::uint64_t ListCopied(const Strings& parents) = 0;
  virtual Found Search(const std::string& name) = 0;
  virtual std::uint64_t Checksum() = 0;

  virtual std::unique_ptr<Document> Copy() = 0;
  virtual std::unique_ptr<Document> Merge(Document& layer) = 0;
  // The leaves that differ from `before`; one that knows what changed need not look there.
  virtual std::unique_ptr<Document> Changes(Document& before) = 0;
  virtual std::unique_ptr<Bytes> Flatten() = 0;
};

class Peer {
 public:
  virtual ~Peer() = default;

  virtual const char* Name() const = 0;
  virtual Way WayOf(Operation operation) const = 0;

  // The largest tree and the deepest chain that it manages in reasonable time and without
  // running out of stack.
  virtual std::size_t MostLeaves() const { return 10000000; }
  virtual std::size_t Deepest() const { return 10000; }
  // Whether a name is looked for sibling by sibling: not among 100,000, then.
  virtual bool ScansSiblings() const { return false; }
  // Whether several threads may read one tree.
  virtual bool IsSharedByReaders() const { return true; }
  // Whether all nodes go at once, with an arena, and not one by one.
  virtual bool FreesAtOnce() const { return false; }
  // Paths and names in the form and type that it takes.
  virtual Strings PathsOf(const std::vector<std::string>& paths) const { return {paths, {}}; }
  virtual Strings ValuesOf(const std::vector<std::string>& values) const { return {values, {}}; }

  virtual std::unique_ptr<Document> New() const = 0;
  virtual std::unique_ptr<Records> RecordsOf(const Strings& paths, const Strings& values) const = 0;
  virtual std::unique_ptr<Document> FromRecords(std::unique_ptr<Records> records) const = 0;
  // Reads what Flatten wrote; for checks.
  virtual std::unique_ptr<Document> Read(const Bytes& bytes) const = 0;
};

const Peer& ThisLibrary();
const Peer& BoostPropertyTree();
const Peer& NlohmannJson();
const Peer& RapidJson();
const Peer& PugiXml();
const Peer& PocoProperties();
const Peer& PocoJson();
const Peer& PocoXml();
const Peer& AceConfiguration();
const Peer& PathMap();

// All of them, this library first.
const std::vector<const Peer*>& AllPeers();

// Sorted records as most peers take them: the two lists.
class ListedRecords : public Records {
 public:
  ListedRecords(const Strings& paths, const Strings& values) : m_paths(paths), m_values(values) {}
  const std::vector<std::string>& Paths() const { return m_paths.plain; }
  const std::vector<std::string>& Values() const { return m_values.plain; }
  const Strings& PathStrings() const { return m_paths; }
  const Strings& ValueStrings() const { return m_values; }

 private:
  const Strings& m_paths;
  const Strings& m_values;
};

struct TextBytes : Bytes {
  explicit TextBytes(std::string t) : text(std::move(t)) {
    data = text.data();
    size = text.size();
  }
  std::string text;
};

}  // namespace bench

#endif  // BENCH_PEERS_PEER_H
