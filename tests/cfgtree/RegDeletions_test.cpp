// Deleted keys: what a registry export does when it is imported stays the same when it is
// read and written again, and a merge does what importing the files one after the other does.

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "Deletions.h"
#include "Kinds.h"
#include "RandomTrees.h"
#include "ReaderText.h"
#include "commands/Layers.h"
#include "property/settings.h"
#include "support/TreeMaking.h"
#include "writers/Writer.h"

using namespace cfgtree;

namespace {

constexpr std::string_view kHeader = "REGEDIT4\n\n";

Tree_NodePtr From(std::string_view body) {
  return BuildTree({"f", std::string(kHeader) + std::string(body), nullptr}, Format::kReg, "t");
}

std::string ReadReg(std::string_view body) {
  return Read(Format::kReg, std::string(kHeader) + std::string(body));
}

// What stands behind the header, without the blank lines.
std::string Written(Tree_NodePtr top, Losses& losses) {
  WriteOptions options;
  options.style.emplace();
  options.style->regedit4 = true;
  const std::string bytes = WriteFormat(top, Format::kReg, options, losses);
  std::string text;
  for (std::size_t i = kHeader.size(); i < bytes.size(); ++i) {
    if (bytes[i] != '\n' || bytes[i - 1] != '\n') text += bytes[i];
  }
  return text;
}

std::string Written(Tree_NodePtr top) {
  Losses losses;
  std::string text = Written(std::move(top), losses);
  EXPECT_TRUE(losses.empty()) << losses.Sentences()[0];
  return text;
}

std::string Merged(const std::vector<std::string>& bodies) {
  const QuietLog quiet;
  std::vector<Tree_NodePtr> layers;
  layers.reserve(bodies.size());
  for (const std::string& body : bodies) layers.push_back(From(body));
  Deletions deletions(layers, false);
  Tree_NodePtr merged = MergeLayers(layers, false);
  CarryKinds(merged, layers);
  deletions.PutInto(merged);
  return Written(merged);
}

// --- The reader -----------------------------------------------------------------

const ReadCase kTrees[] = {
    // A deletion undoes what the file has said of the key.
    {"[K]\n\"a\"=\"1\"\n[K\\S]\n[-K]\n", "t/\n  K = [-]\n"},
    {"[K]\n\"a\"=\"1\"\n[-K]\n[K]\n\"b\"=\"2\"\n", "t/\n  K = [-]\n  K/\n    b = 2\n"},
    {"[K\\S]\n[-K]\n[K\\T]\n", "t/\n  K = [-]\n  K:implied/\n    T/\n"},
    {"[-K]\n[K]\n\"a\"=\"1\"\n[-K]\n[K]\n\"b\"=\"2\"\n",
     "t/\n  K = [-]\n  K = [-]\n  K/\n    b = 2\n"},
    // The key above was made on the way, and stays.
    {"[A\\K]\n[-A\\K]\n", "t/\n  A/\n    K = [-]\n"},
    {"[-A\\K]\n", "t/\n  A:implied/\n    K = [-]\n"},
    // Other keys and a value of that name stay, in their places.
    {"[A]\n\"K\"=\"v\"\n[A\\K]\n[A\\L]\n[-A\\K]\n[A\\M]\n",
     "t/\n  A/\n    K = v\n    L/\n    K = [-]\n    M/\n"},
    // A key within a key, each deleted, in either order.
    {"[A\\K]\n[-A\\K]\n[-A]\n[A\\K]\n", "t/\n  A = [-]\n  A:implied/\n    K/\n"},
    {"[A\\K]\n[B\\K]\n[B\\L]\n[-B\\K]\n[-A]\n[-B]\n", "t/\n  A = [-]\n  B = [-]\n"},
};

TEST(RegDeletions, UndoWhatStandsInFrontOfThem) {
  for (const ReadCase& c : kTrees) {
    SCOPED_TRACE(c.bytes);
    EXPECT_EQ(ReadReg(c.bytes), c.expected);
  }
}

TEST(RegDeletions, OfManySubKeysTakeLinearTime) {
  constexpr int kKeys = 100000;
  std::string body;
  for (const char* const start : {"[A\\k", "[-A\\k"}) {
    for (int i = 0; i < kKeys; ++i) body += start + std::to_string(i) + "]\n";
  }
  EXPECT_EQ(From(body)->GetNodeNum(), 2 + kKeys);
}

// --- The writer -----------------------------------------------------------------

TEST(RegDeletions, ComeBeforeTheKeyThatIsMadeAnew) {
  // As a merge leaves them.
  EXPECT_EQ(Written(Inner("t", {Inner("K", {Leaf("b", "2")}), Leaf("K", "[-]")})),
            "[-K]\n[K]\n\"b\"=\"2\"\n");
  EXPECT_EQ(Written(Inner("t", {Inner("A", {Inner("Z"), Inner("K"), Leaf("K", "[-]")})})),
            "[A]\n[-A\\K]\n[A\\Z]\n[A\\K]\n");
  // Those of other keys stay where they are.
  EXPECT_EQ(Written(Inner("t", {Inner("A"), Leaf("B", "[-]"), Inner("C"), Leaf("D", "[-]")})),
            "[A]\n[-B]\n[C]\n[-D]\n");
}

TEST(RegDeletions, OfANameInOtherLettersAreCounted) {
  Losses losses;
  EXPECT_EQ(Written(From("[K]\n[-k]\n"), losses), "[K]\n[-k]\n");
  EXPECT_EQ(
      losses.Sentences(),
      std::vector<std::string>{"1 name comes again in its key, where the registry keeps one only"});
}

// --- Merges ---------------------------------------------------------------------

struct MergeCase {
  std::vector<std::string> layers;
  const char* expected;
};
const MergeCase kMerges[] = {
    {{"[K]\n\"a\"=\"1\"\n", "[-K]\n[K]\n\"b\"=\"2\"\n"}, "[-K]\n[K]\n\"b\"=\"2\"\n"},
    // A deletion of the base is still needed: the machine may have old content there.
    {{"[-K]\n", "[K]\n\"b\"=\"2\"\n"}, "[-K]\n[K]\n\"b\"=\"2\"\n"},
    {{"[-K]\n[K]\n\"a\"=\"1\"\n", "[K]\n\"b\"=\"2\"\n"}, "[-K]\n[K]\n\"b\"=\"2\"\n\"a\"=\"1\"\n"},
    {{"[K]\n\"a\"=\"1\"\n", "[-K]\n", "[K]\n\"b\"=\"2\"\n"}, "[-K]\n[K]\n\"b\"=\"2\"\n"},
    {{"[A\\K\\S]\n", "[-A\\K\\S]\n", "[A\\K\\S]\n\"b\"=\"2\"\n"},
     "[A\\K]\n[-A\\K\\S]\n[A\\K\\S]\n\"b\"=\"2\"\n"},
    // The later deletion of a key above makes it needless.
    {{"[-A\\K]\n[A\\K]\n\"a\"=\"1\"\n", "[-A]\n[A\\K]\n\"b\"=\"2\"\n"},
     "[-A]\n[A\\K]\n\"b\"=\"2\"\n"},
    // A value is no key, though it has the same name.
    {{"[-A\\K]\n", "[A]\n\"K\"=\"v\"\n"}, "[A]\n\"K\"=\"v\"\n[-A\\K]\n"},
    {{"[A]\n\"K\"=\"v\"\n", "[-A\\K]\n"}, "[A]\n\"K\"=\"v\"\n[-A\\K]\n"},
};

TEST(RegDeletions, SurviveAMerge) {
  for (const MergeCase& c : kMerges) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(Merged(c.layers), c.expected);
  }
}

// --- Imports --------------------------------------------------------------------

// A registry: its keys with their values.
using Registry = std::map<std::string, std::map<std::string, std::string>>;

bool IsWithin(const std::string& path, const std::string& key) {
  return path == key || path.rfind(key + '\\', 0) == 0;
}

void Delete(Registry& registry, const std::string& key) {
  for (auto entry = registry.begin(); entry != registry.end();) {
    entry = IsWithin(entry->first, key) ? registry.erase(entry) : std::next(entry);
  }
}

void Make(Registry& registry, const std::string& key) {
  for (std::size_t i = key.find('\\'); i != key.npos; i = key.find('\\', i + 1)) {
    registry[key.substr(0, i)];
  }
  registry[key];
}

// Line by line, as the registry does it; the lines have no blanks and escapes.
void Import(Registry& registry, const std::string& body) {
  std::string key;
  for (std::size_t start = 0; start < body.size();) {
    const std::size_t end = body.find('\n', start);
    const std::string line = body.substr(start, end - start);
    start = end + 1;
    if (line.rfind("[-", 0) == 0) {
      Delete(registry, line.substr(2, line.size() - 3));
    } else if (line[0] == '[') {
      key = line.substr(1, line.size() - 2);
      Make(registry, key);
    } else {
      const std::size_t equals = line.find('=');
      const std::string name = line.substr(0, equals);
      if (line.substr(equals + 1) == "-") {
        registry[key].erase(name);
      } else {
        registry[key][name] = line.substr(equals + 1);
      }
    }
  }
}

class RandomExport {
 public:
  explicit RandomExport(Random& random) : m_random(random) {}

  // Values that do not come again in a key unless it was deleted between.  With
  // `shared_names` keys and values may have the same names.
  std::string Body(int sections, bool shared_names) {
    static constexpr const char* kKeys[] = {"K", "L", "M"};
    Values values;
    std::string body;
    for (int i = 0; i < sections; ++i) {
      std::string key = kKeys[Below(m_random, 2)];
      for (int depth = Below(m_random, 3); depth > 0; --depth) {
        key += std::string("\\") + kKeys[Below(m_random, 3)];
      }
      if (Below(m_random, 3) == 0) {
        body += "[-" + key + "]\n";
        Forget(values, key);
        continue;
      }
      body += '[' + key + "]\n";
      for (int k = Below(m_random, 3); k > 0; --k) {
        const std::string name =
            shared_names ? kKeys[Below(m_random, 3)] : std::string("v") + "ab"[k - 1];
        if (!values.emplace(key, name).second) continue;
        const int number = Below(m_random, 10);
        body +=
            '"' + name + "\"=" + (number == 0 ? "-" : '"' + std::to_string(number) + '"') + '\n';
      }
    }
    return body;
  }

 private:
  using Values = std::set<std::pair<std::string, std::string>>;  // keys and names

  static void Forget(Values& values, const std::string& key) {
    for (auto value = values.begin(); value != values.end();) {
      value = IsWithin(value->first, key) ? values.erase(value) : std::next(value);
    }
  }

  Random& m_random;
};

// Machines with nothing, with much, and with what other exports left behind.
std::vector<Registry> Machines(RandomExport& exports) {
  std::vector<Registry> machines(2);
  for (const char* const a : {"K", "L", "M"}) {
    for (const char* const b : {"K", "L", "M"}) {
      for (const char* const c : {"K", "L", "M"}) {
        const std::string key = std::string(a) + '\\' + b + '\\' + c;
        Make(machines[1], key);
        machines[1][key]["\"old\""] = "\"1\"";
        machines[1][std::string(a) + '\\' + b]["\"va\""] = "\"old\"";
      }
    }
  }
  machines.emplace_back();
  Import(machines.back(), exports.Body(12, true));
  return machines;
}

TEST(RegDeletions, AreImportedAsTheFileThatWasRead) {
  Random random(settings::Seed());
  SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(settings::Seed()));
  RandomExport exports(random);
  for (std::uint64_t round = 0; round < settings::Rounds(1000); ++round) {
    const std::string body = exports.Body(1 + Below(random, 8), round % 2 == 0);
    const std::string written = Written(From(body));
    for (const Registry& machine : Machines(exports)) {
      Registry expected = machine;
      Import(expected, body);
      Registry imported = machine;
      Import(imported, written);
      ASSERT_EQ(imported, expected) << "round " << round << '\n' << body << "--\n" << written;
    }
  }
}

TEST(RegDeletions, OfAMergeAreImportedAsItsLayers) {
  Random random(settings::Seed());
  SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(settings::Seed()));
  RandomExport exports(random);
  for (std::uint64_t round = 0; round < settings::Rounds(1000); ++round) {
    std::vector<std::string> layers;
    for (int i = 2 + Below(random, 3); i > 0; --i) {
      layers.push_back(exports.Body(Below(random, 6), false));
    }
    const std::string merged = Merged(layers);
    for (const Registry& machine : Machines(exports)) {
      Registry expected = machine;
      for (const std::string& layer : layers) Import(expected, layer);
      Registry imported = machine;
      Import(imported, merged);
      std::string all;
      for (const std::string& layer : layers) all += layer + "--\n";
      ASSERT_EQ(imported, expected) << "round " << round << '\n' << all << merged;
    }
  }
}

// --- The program ------------------------------------------------------------------

TEST(RegDeletions, AreWrittenByTheProgram) {
  const TempFile base("base.reg", "REGEDIT4\n\n[HKEY_X\\K]\n\"a\"=\"1\"\n\n");
  const TempFile site("site.reg", "REGEDIT4\n\n[-HKEY_X\\K]\n\n[HKEY_X\\K]\n\"b\"=\"2\"\n\n");
  RunResult result = RunProgram({"merge", base.Path(), site.Path(), "-o", "-", "--to", "reg"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "REGEDIT4\n\n[HKEY_X]\n\n[-HKEY_X\\K]\n\n[HKEY_X\\K]\n\"b\"=\"2\"\n\n");

  result = RunProgram({"merge", site.Path(), base.Path(), "-o", "-", "--to", "reg"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "REGEDIT4\n\n[-HKEY_X\\K]\n\n[HKEY_X\\K]\n\"a\"=\"1\"\n\"b\"=\"2\"\n\n");

  // In other files "[-]" is a text like any other.
  const TempFile json("base.json", R"({"K": "[-]"})");
  result =
      RunProgram({"merge", json.Path(), "-", "-o", "-", "--to", "json"}, R"({"K": {"a": "1"}})");
  EXPECT_EQ(result.out, "{\"K\": {\"a\": \"1\"}}");
}

}  // namespace
