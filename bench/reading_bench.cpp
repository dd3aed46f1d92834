// Reading: how long does it take to find something?
//
//   look_up_hit, look_up_miss   From a whole path to the text of its value, in random order;
//                               the last name of a path that misses is that of other nodes.
//                               With two threads both read one tree.  Every thread, also a
//                               single one, makes its paths itself, before the clock starts.
//   child                       From a node with many leaves and a name to the text.
//   list                        The node at a path, then the names and values of its leaves
//                               where they stand; per value, the look-up included.
//   list_copied                 The same as strings of the caller's own.
//   search                      The full paths of all nodes of one name; per leaf of the tree.
//
// In deep trees a look-up goes to the bottom, and its figure is per node on the way.

#include <algorithm>
#include <set>

#include "peers/dom.h"
#include "support/compare.h"

namespace bench {

namespace {

// What reading these texts adds up to.
std::uint64_t Expected(const std::vector<Entry>& entries, const std::vector<std::string>& paths) {
  const auto before = [](const Entry& entry, const std::string& path) { return entry.path < path; };
  Tally tally;
  for (const std::string& path : paths) {
    tally.Read(std::lower_bound(entries.begin(), entries.end(), path, before)->value);
  }
  return tally.Sum();
}

// Children of wide nodes that are asked for in a round: of those that scan, not all.
std::size_t ChildrenAsked(const Case& c) {
  return std::min<std::size_t>(c.names.size(), 100000);
}

double LookUpRound(const Peer& peer, const Case& c, bool hit, int threads) {
  Document& document = Standing(peer, c);
  const std::vector<std::string>& asked = hit ? c.asked : c.missing;
  std::vector<Strings> paths(static_cast<std::size_t>(threads));
  std::vector<std::uint64_t> sums(static_cast<std::size_t>(threads));
  const double seconds = OnThreads(
      threads,
      [&](int i) {
        // Each thread has strings of its own and begins elsewhere.
        std::vector<std::string> order = asked;
        std::rotate(order.begin(),
                    order.begin() + static_cast<std::ptrdiff_t>(order.size() / 2) * (i % 2),
                    order.end());
        paths[static_cast<std::size_t>(i)] = peer.PathsOf(order);
      },
      [&](int i) {
        const auto place = static_cast<std::size_t>(i);
        sums[place] = document.LookUp(paths[place]);
      });
  if (FirstTime(peer, c, std::string("look_up") + (hit ? "+" : "-") + std::to_string(threads))) {
    const std::uint64_t expected = hit ? Expected(c.sorted, asked) : 0;
    for (const std::uint64_t sum : sums) RequireOf(peer, sum == expected, "look-up by path");
  }
  return seconds;
}

double ChildRound(const Peer& peer, const Case& c) {
  Document& document = Standing(peer, c);
  std::vector<std::string> asked = c.names;
  asked.resize(ChildrenAsked(c));
  const Strings parent = peer.PathsOf({c.parent});
  const Strings names = peer.PathsOf(asked);
  std::uint64_t sum = 0;
  const double seconds = Timed([&] { sum = document.Children(parent, names); });
  if (FirstTime(peer, c, "child")) {
    for (std::string& name : asked) name.insert(0, c.parent + '\\');
    RequireOf(peer, sum == Expected(c.sorted, asked), "child by name");
  }
  return seconds;
}

double ListRound(const Peer& peer, const Case& c, bool copied) {
  Document& document = Standing(peer, c);
  const Strings parents = peer.PathsOf(c.parents);
  std::uint64_t sum = 0;
  const double seconds =
      Timed([&] { sum = copied ? document.ListCopied(parents) : document.List(parents); });
  if (FirstTime(peer, c, copied ? "list_copied" : "list")) {
    const std::set<std::string> asked(c.parents.begin(), c.parents.end());
    Tally tally;
    for (const Entry& entry : c.sorted) {
      const std::size_t cut = entry.path.rfind('\\');
      if (cut == std::string::npos || asked.count(entry.path.substr(0, cut)) == 0) continue;
      tally.Read(std::string_view(entry.path).substr(cut + 1));
      tally.Read(entry.value);
    }
    RequireOf(peer, sum == tally.Sum(), "list of values");
  }
  return seconds;
}

// All places of one name, from the paths of the leaves.
Found ExpectedPlaces(const Case& c) {
  std::set<std::string> places;
  for (const Entry& entry : c.sorted) {
    std::string_view rest = entry.path;
    while (!rest.empty()) {
      const bool found = NextName(rest) == c.searched;
      if (!found) continue;
      places.insert(entry.path.substr(0, entry.path.size() - rest.size() - (rest.empty() ? 0 : 1)));
    }
  }
  Found found;
  found.places = places.size();
  for (const std::string& place : places) found.bytes += place.size();
  return found;
}

double SearchRound(const Peer& peer, const Case& c) {
  Document& document = Standing(peer, c);
  Found found;
  const double seconds = Timed([&] { found = document.Search(c.searched); });
  if (FirstTime(peer, c, "search")) {
    RequireOf(peer, found == ExpectedPlaces(c), "search of a name");
  }
  return seconds;
}

std::size_t Asked(const Case& c) {
  return c.subject == "deep" ? c.units : c.asked.size();
}

}  // namespace

void RegisterReading(const Plan& plan) {
  for (const std::string& name : CaseNames(plan.quick, plan.smoke)) {
    const std::string subject = SubjectOf(name);
    if (subject == "wide") {
      Register(plan, {name, Operation::kChild, "child", 1, ChildRound, ChildrenAsked, true});
    } else {
      for (const int threads : {1, 2}) {
        if (threads == 2 && subject != "typical") continue;
        Register(plan, {name, Operation::kLookUp, "look_up_hit", threads,
                        [threads](const Peer& peer, const Case& c) {
                          return LookUpRound(peer, c, true, threads);
                        },
                        Asked, false, threads > 1});
      }
    }
    if (subject == "deep") continue;
    if (subject != "wide") {
      Register(
          plan,
          {name, Operation::kLookUp, "look_up_miss", 1,
           [](const Peer& peer, const Case& c) { return LookUpRound(peer, c, false, 1); }, Asked});
    }
    for (const bool copied : {false, true}) {
      Register(plan,
               {name, copied ? Operation::kListCopied : Operation::kList,
                copied ? "list_copied" : "list", 1,
                [copied](const Peer& peer, const Case& c) { return ListRound(peer, c, copied); },
                [](const Case& c) { return c.listed; }});
    }
    Register(plan, {name, Operation::kSearch, "search", 1, SearchRound});
  }
}

}  // namespace bench
