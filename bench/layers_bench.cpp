// Layers: laying one tree over another, and telling what changed.
//
//   merge     A layer that changes every tenth leaf and adds one for every twentieth; the
//             result is a third tree, and both arguments stay as they are.
//   changes   A tree of the leaves that were changed, every tenth.  This library flags them
//             when they are set; peers compare the tree with what it was before.
//
// Figures are per leaf of the tree that is merged into or searched for changes.

#include <map>

#include "support/compare.h"

namespace bench {

namespace {

double MergeRound(const Peer& peer, const Case& c) {
  Document& base = Standing(peer, c);
  Document& layer = StandingLayer(peer, c);
  std::unique_ptr<Document> merged;
  const double seconds = Timed([&] { merged = base.Merge(layer); });
  if (FirstTime(peer, c, "merge")) {
    std::map<std::string, std::string> expected;
    for (const Entry& entry : c.sorted) expected[entry.path] = entry.value;
    for (const Entry& entry : c.layer) expected[entry.path] = entry.value;
    std::vector<Entry> entries;
    for (const auto& [path, value] : expected) entries.push_back({path, value});
    CheckHolds(peer, *merged, entries, "merge");
    merged->Change(PathsOf(peer, c.sorted), ValuesOf(peer, c.sorted));
    CheckHolds(peer, base, c.sorted, "base of a merge");
    CheckHolds(peer, layer, c.layer, "layer of a merge");
  }
  return seconds;
}

double ChangesRound(const Peer& peer, const Case& c) {
  Document& before = Standing(peer, c);
  Document& after = StandingChanged(peer, c);
  std::unique_ptr<Document> changes;
  const double seconds = Timed([&] { changes = after.Changes(before); });
  if (FirstTime(peer, c, "changes")) CheckHolds(peer, *changes, c.changed, "changes");
  return seconds;
}

}  // namespace

void RegisterLayers(const Plan& plan) {
  for (const std::string& name : CaseNames(plan.quick, plan.smoke)) {
    if (SubjectOf(name) == "deep") continue;
    Register(plan, {name, Operation::kMerge, "merge", 1, MergeRound, nullptr, true});
    Register(plan, {name, Operation::kChanges, "changes", 1, ChangesRound, nullptr, true});
  }
}

}  // namespace bench
