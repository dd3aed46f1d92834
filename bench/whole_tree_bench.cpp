// Whole trees: copying them, letting them go, writing them as bytes, comparing them.
//
//   copy       Nothing that is changed in the one shows in the other.
//   destroy    Of a copy.  Arenas drop all nodes at once; their figures are marked.
//   flatten    One block of bytes, in the contestant's own format.
//   checksum   Over names and values; trees that differ in the order of siblings agree.
//
// The tree was built in order of paths, as it is from a file.  Figures are per leaf, in deep
// trees per node.

#include "support/compare.h"

namespace bench {

namespace {

double CopyRound(const Peer& peer, const Case& c) {
  Document& document = Standing(peer, c);
  std::unique_ptr<Document> copy;
  const double seconds = Timed([&] { copy = document.Copy(); });
  if (FirstTime(peer, c, "copy")) {
    CheckHolds(peer, *copy, c.sorted, "copy");
    // It is a copy: a change of it stays its own.
    copy->Change(PathsOf(peer, c.changed), ValuesOf(peer, c.changed));
    RequireOf(peer, copy->Holds(c.changed[0].path, c.changed[0].value), "change of the copy");
    CheckHolds(peer, document, c.sorted, "original of a changed copy");
  }
  return seconds;
}

double DestroyRound(const Peer& peer, const Case& c) {
  std::unique_ptr<Document> copy =
      peer.WayOf(Operation::kCopy) == Way::kNone ? Build(peer, c.sorted) : Standing(peer, c).Copy();
  return Timed([&] { copy.reset(); });
}

double FlattenRound(const Peer& peer, const Case& c) {
  Document& document = Standing(peer, c);
  std::unique_ptr<Bytes> bytes;
  const double seconds = Timed([&] { bytes = document.Flatten(); });
  if (FirstTime(peer, c, "flatten")) {
    CheckHolds(peer, *peer.Read(*bytes), c.sorted, "tree that was flattened and read");
  }
  return seconds;
}

double ChecksumRound(const Peer& peer, const Case& c) {
  Document& document = Standing(peer, c);
  std::uint64_t sum = 0;
  const double seconds = Timed([&] { sum = document.Checksum(); });
  if (FirstTime(peer, c, "checksum")) {
    RequireOf(peer, sum == Build(peer, c.shuffled)->Checksum(), "checksum in another order");
    RequireOf(peer, sum != StandingChanged(peer, c).Checksum(), "checksum of a changed tree");
  }
  return seconds;
}

}  // namespace

void RegisterWholeTrees(const Plan& plan) {
  for (const std::string& name : CaseNames(plan.quick, plan.smoke)) {
    Register(plan, {name, Operation::kCopy, "copy", 1, CopyRound});
    Register(plan, {name, Operation::kDestroy, "destroy", 1, DestroyRound});
    Register(plan, {name, Operation::kFlatten, "flatten", 1, FlattenRound});
    Register(plan, {name, Operation::kChecksum, "checksum", 1, ChecksumRound});
  }
}

}  // namespace bench
