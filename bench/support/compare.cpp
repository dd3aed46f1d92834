#include "support/compare.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace bench {

namespace {

enum class Kind { kBase, kChanged, kLayer };

std::map<std::pair<const Peer*, Kind>, std::unique_ptr<Document>>& AllStanding() {
  static std::map<std::pair<const Peer*, Kind>, std::unique_ptr<Document>> all;
  return all;
}

template <class Make>
Document& StandingOf(const Peer& peer, Kind kind, Make make) {
  std::unique_ptr<Document>& document = AllStanding()[{&peer, kind}];
  if (document == nullptr) document = make();
  return *document;
}

std::size_t SizeOf(const std::string& case_name) {
  return std::strtoull(case_name.c_str() + case_name.find('/') + 1, nullptr, 10);
}

// A real case is as large as its files, whatever its name says; about so many leaves.
constexpr std::size_t kRealSize = 130000;

}  // namespace

std::string SubjectOf(const std::string& case_name) {
  return case_name.substr(0, case_name.find('/'));
}

bool TakesPart(const Peer& peer, const std::string& case_name) {
  const std::string subject = SubjectOf(case_name);
  const std::size_t size = SizeOf(case_name);
  if (subject == "deep") return size <= peer.Deepest();
  return (subject == "real" ? kRealSize : size) <= peer.MostLeaves();
}

Strings PathsOf(const Peer& peer, const std::vector<Entry>& entries) {
  std::vector<std::string> paths;
  paths.reserve(entries.size());
  for (const Entry& entry : entries) paths.push_back(entry.path);
  return peer.PathsOf(paths);
}

Strings ValuesOf(const Peer& peer, const std::vector<Entry>& entries) {
  std::vector<std::string> values;
  values.reserve(entries.size());
  for (const Entry& entry : entries) values.push_back(entry.value);
  return peer.ValuesOf(values);
}

std::unique_ptr<Document> Build(const Peer& peer, const std::vector<Entry>& entries) {
  std::unique_ptr<Document> document = peer.New();
  document->Put(PathsOf(peer, entries), ValuesOf(peer, entries));
  return document;
}

void RequireOf(const Peer& peer, bool holds, const std::string& what) {
  if (!holds) Require(false, (std::string(peer.Name()) + ": " + what).c_str());
}

void CheckHolds(const Peer& peer, Document& document, const std::vector<Entry>& entries,
                const std::string& what) {
  const std::size_t leaves = document.CountLeaves();
  RequireOf(peer, leaves == entries.size(),
            what + ": " + std::to_string(leaves) + " leaves instead of " +
                std::to_string(entries.size()));
  const std::size_t asked = peer.ScansSiblings() ? 2000 : 20000;
  const std::size_t step = std::max<std::size_t>(1, entries.size() / asked);
  for (std::size_t i = 0; i < entries.size(); i += step) {
    const bool holds = document.Holds(entries[i].path, entries[i].value);
    if (!holds) RequireOf(peer, false, what + ": value at " + entries[i].path.substr(0, 300));
  }
}

bool FirstTime(const Peer& peer, const Case& c, const std::string& operation) {
  static std::set<std::tuple<const Peer*, std::string, std::string, std::string>> seen;
  return seen.insert({&peer, c.subject, c.variant, operation}).second;
}

Document& Standing(const Peer& peer, const Case& c) {
  return StandingOf(peer, Kind::kBase, [&] {
    std::unique_ptr<Document> made = Build(peer, c.sorted);
    CheckHolds(peer, *made, c.sorted, "build");
    return made;
  });
}

Document& StandingChanged(const Peer& peer, const Case& c) {
  return StandingOf(peer, Kind::kChanged, [&] {
    std::unique_ptr<Document> made = Build(peer, c.sorted);
    made->Change(PathsOf(peer, c.changed), ValuesOf(peer, c.changed));
    return made;
  });
}

Document& StandingLayer(const Peer& peer, const Case& c) {
  return StandingOf(peer, Kind::kLayer, [&] {
    std::unique_ptr<Document> made = Build(peer, c.layer);
    CheckHolds(peer, *made, c.layer, "build");
    return made;
  });
}

void DropStanding() {
  AllStanding().clear();
}

void Register(const Plan& plan, const Contest& contest) {
  const std::string subject = SubjectOf(contest.case_name);
  std::size_t size = SizeOf(contest.case_name);
  std::string variant = (subject == "deep" ? "depth:" : "leaves:") + std::to_string(size);
  if (subject == "real") {
    size = CaseNamed(contest.case_name).units;
    // Nothing is installed: nothing is measured.
    if (size == 0) return;
    variant = "leaves:" + std::to_string(size);
  }
  const std::size_t target = plan.smoke ? 1 : plan.quick ? 20000 : 200000;
  for (const Peer* peer : AllPeers()) {
    if (!TakesPart(*peer, contest.case_name) || peer->WayOf(contest.kind) == Way::kNone) continue;
    if (contest.readers_share && !peer->IsSharedByReaders()) continue;
    if (contest.by_name && peer->ScansSiblings() && subject == "wide" && size > 1000) continue;
    Register(Measurement{
        .subject = subject,
        .operation = contest.operation,
        .variant = variant,
        .threads = contest.threads,
        .contestant = peer->Name(),
        .operations = 0,
        .rounds = RoundsFor(size, target),
        .round = [=] { return contest.round(*peer, CaseNamed(contest.case_name)); },
        .count_operations =
            [=] {
              const Case& c = CaseNamed(contest.case_name);
              const std::size_t count = contest.count ? contest.count(c) : c.units;
              return count * static_cast<std::size_t>(contest.threads);
            },
        .user_code = peer->WayOf(contest.kind) == Way::kUserCode,
        .frees_at_once = peer->FreesAtOnce(),
    });
  }
}

}  // namespace bench
