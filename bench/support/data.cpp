#include "support/data.h"

#include <algorithm>
#include <map>
#include <unordered_set>

namespace bench {

namespace {

constexpr std::size_t kLongestName = 24;
constexpr std::size_t kShortestName = 4;
constexpr std::size_t kKeyNames = 300;
constexpr std::size_t kCommonValues = 500;
constexpr std::size_t kFanOut = 10;
constexpr std::size_t kLeavesPerService = kFanOut * kFanOut * kFanOut;

const char* const kWords[] = {
    "host",    "port",    "timeout",  "retries",  "max",        "min",      "size",      "cache",
    "pool",    "threads", "queue",    "log",      "level",      "path",     "file",      "user",
    "name",    "address", "buffer",   "limit",    "interval",   "enabled",  "mode",      "type",
    "version", "region",  "cluster",  "session",  "connection", "listener", "primary",   "backup",
    "token",   "trust",   "endpoint", "protocol", "window",     "batch",    "threshold", "delay",
};
constexpr std::size_t kWordCount = sizeof kWords / sizeof kWords[0];

std::string Word(Random& random) {
  return kWords[random.Below(kWordCount)];
}

std::string Number(std::size_t number) {
  return std::to_string(number);
}

// `count` different key names.
std::vector<std::string> SomeKeyNames(std::size_t count, Random& random) {
  std::vector<std::string> chosen;
  while (chosen.size() < count) {
    const std::string& name = KeyNames()[random.Below(KeyNames().size())];
    if (std::find(chosen.begin(), chosen.end(), name) == chosen.end()) chosen.push_back(name);
  }
  return chosen;
}

// Numbers, switches and addresses.
std::vector<std::string> CommonValues(Random& random) {
  std::vector<std::string> values;
  for (std::size_t i = 0; i < kCommonValues; ++i) {
    switch (i % 4) {
      case 0:
        values.push_back(Number(i * 25));
        break;
      case 1:
        values.push_back(i % 8 == 1 ? "on-" + Word(random) : "off-" + Word(random));
        break;
      case 2:
        values.push_back("10.0." + Number(random.Below(256)) + "." + Number(i));
        break;
      default:
        values.push_back("/var/lib/" + Word(random) + "/" + Number(i));
        break;
    }
  }
  return values;
}

std::vector<Entry> MakeTypicalTree(std::size_t leaves) {
  Random random(leaves);
  const std::vector<std::string> common = CommonValues(random);
  std::vector<Entry> entries;
  entries.reserve(leaves);
  for (std::size_t service = 0; service < leaves / kLeavesPerService; ++service) {
    const std::string top = Word(random) + "-" + Number(service);
    for (const std::string& section : SomeKeyNames(kFanOut, random)) {
      for (const std::string& group : SomeKeyNames(kFanOut, random)) {
        for (const std::string& name : SomeKeyNames(kFanOut, random)) {
          Entry entry;
          entry.path = top;
          for (const std::string* part : {&section, &group, &name}) {
            entry.path.append(1, '\\').append(*part);
          }
          entry.value = random.Below(2) == 0
                            ? common[random.Below(common.size())]
                            : Word(random) + "#" + Number(leaves) + "." + Number(entries.size());
          entries.push_back(std::move(entry));
        }
      }
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.path < b.path; });
  return entries;
}

}  // namespace

const std::vector<std::string>& KeyNames() {
  static const std::vector<std::string> names = [] {
    Random random(1);
    std::unordered_set<std::string> seen;
    std::vector<std::string> made;
    while (made.size() < kKeyNames) {
      std::string name = Word(random);
      while (name.size() < kShortestName || random.Below(3) != 0)
        name.append(1, '_').append(Word(random));
      if (name.size() <= kLongestName && seen.insert(name).second) made.push_back(std::move(name));
    }
    return made;
  }();
  return names;
}

std::vector<std::string> DistinctNames(std::size_t count, std::uint64_t seed) {
  Random random(seed);
  std::vector<std::string> names;
  names.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    // The number in letters makes the name different from all others, for no other part
    // has a dot.
    std::string name = Word(random);
    if (random.Below(2) == 0 && name.size() < 10) {
      name.append(1, '_').append(Word(random), 0, 6);
    }
    name += '.';
    for (std::size_t rest = i + 1; rest != 0; rest /= 36) {
      name += "0123456789abcdefghijklmnopqrstuvwxyz"[rest % 36];
    }
    names.push_back(std::move(name));
  }
  Shuffle(names, seed + 1);
  return names;
}

const std::vector<Entry>& TypicalTree(std::size_t leaves) {
  static std::map<std::size_t, std::vector<Entry>> made;
  std::vector<Entry>& entries = made[leaves];
  if (entries.empty()) entries = MakeTypicalTree(leaves);
  return entries;
}

std::vector<RWCString> Fresh(const std::vector<std::string>& texts) {
  std::vector<RWCString> strings;
  strings.reserve(texts.size());
  for (const std::string& text : texts) strings.emplace_back(text.data(), text.size());
  return strings;
}

}  // namespace bench
