#include "support/cases.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "support/measure.h"
#include "support/real_files.h"

namespace bench {

namespace {

// Look-ups ask for no more paths than this in a round.
constexpr std::size_t kMostAsked = 200000;
constexpr std::size_t kMostParents = 20000;

std::string ParentOf(const std::string& path) {
  const std::size_t cut = path.rfind('\\');
  return cut == std::string::npos ? std::string() : path.substr(0, cut);
}

std::vector<Entry> WideEntries(std::size_t leaves) {
  std::vector<Entry> entries;
  Random random(leaves);
  for (std::string& name : DistinctNames(leaves, 10 + leaves)) {
    entries.push_back({"node\\" + name, "value" + std::to_string(random.Below(leaves / 2 + 1))});
  }
  return entries;
}

std::vector<Entry> ChainEntries(std::size_t depth) {
  Entry entry;
  for (std::size_t i = 1; i < depth; ++i) {
    entry.path.append(KeyNames()[i % KeyNames().size()]).append(1, '\\');
  }
  entry.path += "bottom";
  entry.value = "value";
  return {entry};
}

void AddQuestions(Case& made) {
  std::unordered_map<std::string, std::size_t> leaves_of;
  std::unordered_set<std::string> present;
  for (const Entry& entry : made.sorted) {
    present.insert(entry.path);
    ++leaves_of[ParentOf(entry.path)];
  }

  std::vector<std::string> paths;
  for (const Entry& entry : made.shuffled) paths.push_back(entry.path);
  Shuffle(paths, 4);
  if (paths.size() > kMostAsked) paths.resize(kMostAsked);
  // Neighbours in the list of questions are neighbours in memory.
  made.asked = std::vector<std::string>(paths.begin(), paths.end());

  Random random(3);
  for (const std::string& path : made.asked) {
    const std::size_t cut = path.rfind('\\') + 1;
    std::string other;
    do {
      other = path.substr(0, cut) + KeyNames()[random.Below(KeyNames().size())];
    } while (present.count(other) != 0);
    made.missing.push_back(std::move(other));
  }

  std::vector<std::string> parents;
  for (const auto& [path, count] : leaves_of) {
    if (!path.empty()) parents.push_back(path);
  }
  std::sort(parents.begin(), parents.end());
  Shuffle(parents, 5);
  if (parents.size() > kMostParents) parents.resize(kMostParents);
  for (const std::string& path : parents) made.listed += leaves_of[path];
  made.parents = std::move(parents);

  if (made.sorted.empty()) return;
  // The name of a leaf in the middle.
  const std::string& some = made.sorted[made.sorted.size() / 2].path;
  made.searched = some.substr(some.rfind('\\') + 1);
}

void AddLayers(Case& made) {
  for (std::size_t i = 0; i < made.sorted.size(); ++i) {
    const Entry& entry = made.sorted[i];
    if (i % 10 == 0) {
      made.changed.push_back({entry.path, "changed-" + std::to_string(i)});
      made.layer.push_back(made.changed.back());
    }
    if (i % 20 == 5) made.layer.push_back({entry.path + "-2", "new-" + std::to_string(i)});
  }
  std::sort(made.layer.begin(), made.layer.end(),
            [](const Entry& a, const Entry& b) { return a.path < b.path; });
}

Case MakeCase(const std::string& subject, std::size_t size) {
  Case made;
  made.subject = subject;
  if (subject == "typical") {
    made.sorted = TypicalTree(size);
  } else if (subject == "wide") {
    made.sorted = WideEntries(size);
    made.parent = "node";
    for (const Entry& entry : made.sorted) made.names.push_back(entry.path.substr(5));
    Shuffle(made.names, 6);
  } else if (subject == "deep") {
    made.sorted = ChainEntries(size);
  } else {
    // All of them for size 0, else so many, from everywhere.
    const std::vector<Entry> all = RealEntries();
    const std::size_t step = size == 0 ? 1 : std::max<std::size_t>(1, all.size() / size);
    for (std::size_t i = 0; i < all.size(); i += step) made.sorted.push_back(all[i]);
  }
  std::sort(made.sorted.begin(), made.sorted.end(),
            [](const Entry& a, const Entry& b) { return a.path < b.path; });
  Require(std::adjacent_find(made.sorted.begin(), made.sorted.end(),
                             [](const Entry& a, const Entry& b) { return a.path == b.path; }) ==
              made.sorted.end(),
          "two leaves have one path");
  std::vector<const Entry*> order;
  for (const Entry& entry : made.sorted) order.push_back(&entry);
  Shuffle(order, 2);
  for (const Entry* entry : order) made.shuffled.push_back(*entry);

  made.units = subject == "deep" ? size : made.sorted.size();
  made.variant = (subject == "deep" ? "depth:" : "leaves:") + std::to_string(made.units);
  AddQuestions(made);
  AddLayers(made);
  return made;
}

}  // namespace

std::vector<std::string> CaseNames(bool quick, bool smoke) {
  if (smoke) return {"typical/1000", "wide/100", "deep/50", "real/1000"};
  std::vector<std::string> names{"typical/10000", "typical/100000"};
  if (!quick) names.push_back("typical/1000000");
  names.insert(names.end(), {"wide/1000", "wide/100000", "deep/10000"});
  if (!quick) names.push_back("deep/1000000");
  names.push_back(quick ? "real/20000" : "real/0");
  return names;
}

const Case& CaseNamed(const std::string& name) {
  static std::string last;
  static std::unique_ptr<Case> made;
  if (last != name) {
    made.reset();
    const std::size_t cut = name.find('/');
    made = std::make_unique<Case>(
        MakeCase(name.substr(0, cut), std::strtoull(name.c_str() + cut + 1, nullptr, 10)));
    last = name;
  }
  return *made;
}

}  // namespace bench
