// Compare: from an operation and a case to one measurement for every contestant.

#ifndef BENCH_SUPPORT_COMPARE_H
#define BENCH_SUPPORT_COMPARE_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "peers/peer.h"
#include "support/cases.h"
#include "support/measure.h"

namespace bench {

// Texts of entries in the form that a peer takes.
Strings PathsOf(const Peer& peer, const std::vector<Entry>& entries);
Strings ValuesOf(const Peer& peer, const std::vector<Entry>& entries);

std::unique_ptr<Document> Build(const Peer& peer, const std::vector<Entry>& entries);

// Ends the program unless the document holds these leaves and no others.  Of very many
// leaves, and of few where siblings are scanned, evenly spaced ones are asked for; all are
// counted.
void CheckHolds(const Peer& peer, Document& document, const std::vector<Entry>& entries,
                const std::string& what);

// The same with a message that names the contestant.
void RequireOf(const Peer& peer, bool holds, const std::string& what);

// True the first time that it is called with these words: whole answers are checked once.
bool FirstTime(const Peer& peer, const Case& c, const std::string& operation);

// Whether a peer manages the case at all.
bool TakesPart(const Peer& peer, const std::string& case_name);

// Documents that stay to be read: the case's own tree, built in order of paths as from a
// file; the same with a tenth of the leaves changed; and the layer that is merged.  Made
// and checked when they are first asked for.
Document& Standing(const Peer& peer, const Case& c);
Document& StandingChanged(const Peer& peer, const Case& c);
Document& StandingLayer(const Peer& peer, const Case& c);

// Drops all of them.
void DropStanding();

// One operation on one case, for every contestant that takes part in it.
struct Contest {
  std::string case_name;
  Operation kind;
  std::string operation;  // the name in the tables
  int threads = 1;
  // Seconds of one round.
  std::function<double(const Peer&, const Case&)> round;
  // Operations of one round; the units of the case when not set.
  std::function<std::size_t(const Case&)> count = nullptr;
  // Whether siblings are looked for by name, which some peers do by scanning.
  bool by_name = false;
  // Whether several threads read one tree.
  bool readers_share = false;
};

void Register(const Plan& plan, const Contest& contest);

// "typical" of "typical/10000".
std::string SubjectOf(const std::string& case_name);

}  // namespace bench

#endif  // BENCH_SUPPORT_COMPARE_H
