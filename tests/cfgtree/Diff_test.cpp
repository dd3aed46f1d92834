// What two trees differ in, as a function and as the user sees it.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "Places.h"
#include "ProgramLine.h"
#include "RandomTrees.h"
#include "ReaderText.h"
#include "commands/Checksum.h"
#include "commands/TreeDiff.h"
#include "property/settings.h"

using namespace cfgtree;

namespace {

std::string SideText(Tree_Node* node) {
  if (node == nullptr) return "";
  return node->IsLeaf() ? std::string(View(node->GetTreeValue()->GetValue())) : "(0)";
}

// "~ a\b 1 2", one line each.
std::string DiffText(Tree_NodePtr& old_top, Tree_NodePtr& new_top) {
  std::string text;
  CompareTrees(*old_top, *new_top, [&text](const Difference& difference) {
    text += difference.change == Change::kChanged ? '~'
            : difference.change == Change::kAdded ? '+'
                                                  : '-';
    text += ' ' + difference.path + '|' + SideText(difference.old_node) + '|' +
            SideText(difference.new_node) + '\n';
  });
  return text;
}

struct DiffCase {
  std::string_view old_text;
  std::string_view new_text;
  std::string_view differences;
};
const DiffCase kDiffs[] = {
    {"{}", "{}", ""},
    // Values.
    {R"({"a": "1", "b": "2"})", R"({"a": "1", "b": "3"})", "~ b|2|3\n"},
    {R"({"a": ""})", R"({"a": "x"})", "~ a||x\n"},
    {R"({"a": {"b": "1"}})", R"({"a": {"b": "1", "c": "2"}})", "+ a\\c||2\n"},
    {R"({"a": {"b": "1", "c": "2"}})", R"({"a": {"b": "1"}})", "- a\\c|2|\n"},
    // The order of siblings and the kind of a value do not count.
    {R"({"a": 1, "b": 2})", R"({"b": "2", "a": "1"})", ""},
    {R"({"a": {"0": 1}})", R"({"a": [1]})", ""},
    // Empty inner nodes.
    {R"({"a": {}})", "{}", "- a|(0)|\n"},
    {"{}", R"({"a": {"b": {}}})", "+ a\\b||(0)\n"},
    {R"({"a": {}})", R"({"a": {"b": "1"}})", "+ a\\b||1\n"},
    {R"({"a": {"b": "1"}})", R"({"a": {}})", "- a\\b|1|\n"},
    // A leaf in the place of a sub-tree, and the other way round.
    {R"({"a": {"b": "1"}})", R"({"a": "2"})", "+ a||2\n- a\\b|1|\n"},
    {R"({"a": "1"})", R"({"a": {"b": "2"}})", "- a|1|\n+ a\\b||2\n"},
    {R"({"a": ""})", R"({"a": {}})", "- a||\n+ a||(0)\n"},
    // Siblings of one name pair up by number.
    {R"({"a": "1", "a": "2"})", R"({"a": "1", "a": "3"})", "~ a[2]|2|3\n"},
    {R"({"a": "1", "b": "0", "a": "2"})", R"({"a": "1", "a": "2", "b": "0"})", ""},
    // The number is never the name of another, in either file.
    {R"({"a": "1", "a": "2"})", R"({"a": "1", "a": "3", "a[2]": "4"})", "~ a[02]|2|3\n+ a[2]||4\n"},
    {R"({"a": "1", "a": "2"})", R"({"a": "2", "a": "1"})", "~ a|1|2\n~ a[2]|2|1\n"},
    {R"({"a": {"x": "1"}})", R"({"a": {"x": "1"}, "a": {"x": "1"}})", "+ a[2]\\x||1\n"},
    // By name, byte for byte, and a whole sub-tree together.
    {"{}", R"({"b": "1", "a b": "2", "a": {"z": "3"}, "B": "4", "é": "5"})",
     "+ B||4\n+ a\\z||3\n+ a b||2\n+ b||1\n+ é||5\n"},
    // The tops correspond, whatever they are.
    {"1", "1", ""},
    {"1", "2", "~ |1|2\n"},
    {"1", R"({"a": "2"})", "- |1|\n+ a||2\n"},
    {R"({"a": "2"})", "1", "+ ||1\n- a|2|\n"},
};

TEST(TreeDiff, FindsWhatDiffers) {
  for (const DiffCase& c : kDiffs) {
    SCOPED_TRACE(std::string(c.old_text) + " " + std::string(c.new_text));
    Tree_NodePtr old_top = JsonTree(c.old_text, "one");
    Tree_NodePtr new_top = JsonTree(c.new_text, "other");
    EXPECT_EQ(DiffText(old_top, new_top), c.differences);
  }
}

TEST(TreeDiff, TellsWhatStandsInThePlaceOfWhatWasRemoved) {
  Tree_NodePtr old_top = JsonTree(R"({"a": {"b": {"c": "1"}}, "d": "1", "e": {"f": "1"}})");
  Tree_NodePtr new_top = JsonTree(R"({"a": {"b": "2"}, "d": {}, "e": {}})");
  std::map<std::string, std::pair<Tree_Node*, Tree_Node*>> removed;
  CompareTrees(*old_top, *new_top, [&](const Difference& difference) {
    if (difference.change != Change::kRemoved) {
      EXPECT_EQ(difference.replacement, nullptr);
      EXPECT_EQ(difference.new_parent, nullptr);
      return;
    }
    removed[difference.path] = {difference.replacement, difference.new_parent};
  });
  const auto at = [&](const char* path) { return FindNode(new_top, path, "f").get(); };
  ASSERT_EQ(removed.size(), 3u);
  EXPECT_EQ(removed["a\\b\\c"], std::pair(at("a\\b"), at("a")));
  EXPECT_EQ(removed["d"], std::pair(at("d"), at("")));
  EXPECT_EQ(removed["e\\f"], std::pair(static_cast<Tree_Node*>(nullptr), at("e")));
}

// --- Against a list of all nodes ------------------------------------------------

// A path as names and numbers, which compares name by name.
using Place = std::vector<std::pair<std::string, int>>;

std::map<Place, Tree_Node*> AllPlaces(Tree_NodePtr& top) {
  std::map<Place, Tree_Node*> places;
  std::map<Tree_Node*, Place> known;
  Walk(top, [&](Tree_NodePtr& node, std::size_t depth) {
    Place place;
    if (depth > 0) {
      place = known[node->GetParent()];
      const std::string name(View(node->GetKeyName()));
      int number = 1;
      for (int i = 0; node->GetParent()->GetChildAt(i).get() != node.get(); ++i) {
        if (View(node->GetParent()->GetChildAt(i)->GetKeyName()) == name) ++number;
      }
      place.emplace_back(name, number);
    }
    known[node.get()] = place;
    places[place] = node.get();
  });
  return places;
}

std::string PlaceText(const Place& place) {
  std::string text;
  for (const auto& [name, number] : place) {
    if (!text.empty()) text += '\\';
    text += name;
    if (number > 1) text += "[" + std::to_string(number) + "]";
  }
  return text;
}

std::string NaiveDiff(Tree_NodePtr& old_top, Tree_NodePtr& new_top) {
  const std::map<Place, Tree_Node*> olds = AllPlaces(old_top);
  const std::map<Place, Tree_Node*> news = AllPlaces(new_top);
  std::map<Place, Tree_Node*> all = olds;
  all.insert(news.begin(), news.end());
  std::string text;
  for (const auto& entry : all) {
    const Place& place = entry.first;
    const auto find = [&place](const std::map<Place, Tree_Node*>& places) {
      const auto found = places.find(place);
      return found == places.end() ? nullptr : found->second;
    };
    Tree_Node* const o = find(olds);
    Tree_Node* const n = find(news);
    const std::string path = PlaceText(place);
    if (o != nullptr && n != nullptr && o->IsLeaf() && n->IsLeaf()) {
      if (SideText(o) != SideText(n)) {
        text += "~ " + path + '|' + SideText(o) + '|' + SideText(n) + '\n';
      }
      continue;
    }
    const auto counts = [](Tree_Node* node, Tree_Node* other) {
      if (node == nullptr) return false;
      if (node->IsLeaf()) return true;
      return node->GetChildCount() == 0 && (other == nullptr || other->IsLeaf());
    };
    std::string removed;
    std::string added;
    if (counts(o, n)) removed = "- " + path + '|' + SideText(o) + "|\n";
    if (counts(n, o)) added = "+ " + path + "||" + SideText(n) + '\n';
    const bool new_leaf_first = n != nullptr && n->IsLeaf();
    text += new_leaf_first ? added + removed : removed + added;
  }
  return text;
}

// A copy with the children of every node in another order, siblings of one name excepted.
void Shuffle(Random& random, Tree_NodePtr& top) {
  std::vector<Tree_Node*> inner;
  Walk(top, [&](Tree_NodePtr& node, std::size_t) {
    if (node->GetChildCount() > 1) inner.push_back(node.get());
  });
  for (Tree_Node* const node : inner) {
    for (int i = 0; i + 1 < node->GetChildCount(); ++i) {
      const int other = i + 1;
      Tree_NodePtr a = node->GetChildAt(i);
      Tree_NodePtr b = node->GetChildAt(other);
      if (a->GetKeyName() == b->GetKeyName() || Below(random, 2) == 0) continue;
      node->Insert(b, i, -1);
    }
  }
}

TEST(TreeDiff, AgreesWithAListOfAllNodes) {
  const std::uint64_t seed = settings::Seed();
  const std::uint64_t rounds = settings::Rounds(300);
  std::size_t different = 0;
  for (std::uint64_t round = 0; round < rounds; ++round) {
    SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed + round) + " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    RandomTreeShape shape;
    shape.repeated_names = Below(random, 2) == 1;
    shape.depth = 1 + Below(random, 4);
    Tree_NodePtr old_top = RandomTree(random, shape, "old");
    Tree_NodePtr new_top = RandomTree(random, shape, "new");
    const std::string differences = DiffText(old_top, new_top);
    EXPECT_EQ(differences, NaiveDiff(old_top, new_top));
    if (!differences.empty()) ++different;

    Tree_NodePtr same = old_top->DuplicateFromHereDown(true);
    Shuffle(random, same);
    EXPECT_EQ(DiffText(old_top, same), "");
    EXPECT_EQ(ChecksumText(*old_top), ChecksumText(*same));
    // What differs for this command differs for the checksum, but for empty leaves and
    // empty sub-trees, which that takes for one.
    new_top->SetKeyName("old");
    std::string seen_by_checksum = differences;
    if (seen_by_checksum.find("(0)") == std::string::npos) {
      EXPECT_EQ(differences.empty(), ChecksumText(*old_top) == ChecksumText(*new_top));
    }
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(different, rounds / 2);
}

TEST(TreeDiff, TakesManySiblingsAndLongChains) {
  constexpr int kSiblings = 100000;
  TreeBuilder wide_old("w");
  TreeBuilder wide_new("w");
  for (int i = 0; i < kSiblings; ++i) {
    wide_old.Leaf("n" + std::to_string(i), "1");
    wide_new.Leaf("n" + std::to_string(kSiblings - 1 - i), i == 5 ? "2" : "1");
  }
  for (int i = 0; i < kSiblings; ++i) {
    wide_old.Leaf("same", "1");
    wide_new.Leaf("same", i + 1 == kSiblings ? "2" : "1");
  }
  Tree_NodePtr old_top = wide_old.Finish();
  Tree_NodePtr new_top = wide_new.Finish();
  EXPECT_EQ(DiffText(old_top, new_top), "~ n99994|1|2\n~ same[100000]|1|2\n");

  constexpr int kLevels = 1000000;
  TreeBuilder deep_old("d");
  TreeBuilder deep_new("d");
  for (int i = 0; i < kLevels; ++i) {
    deep_old.Enter("a");
    deep_new.Enter("a");
  }
  deep_old.Leaf("x", "1");
  deep_new.Leaf("x", "2");
  old_top = deep_old.Finish();
  new_top = deep_new.Finish();
  std::string path;
  CompareTrees(*old_top, *new_top, [&](const Difference& difference) {
    EXPECT_EQ(difference.change, Change::kChanged);
    path += difference.path;
  });
  EXPECT_EQ(path.size(), 2u * kLevels + 1);
  EXPECT_EQ(path.substr(path.size() - 5), "a\\a\\x");
}

// --- The program ------------------------------------------------------------------

constexpr const char* kOld = R"({"host": "db", "ports": [80, 443], "old": {}, "tls": true})";
constexpr const char* kNew =
    R"({"tls": "true", "ports": [80, 8443, 21], "host": "d\nb\\", "new": ""})";

TEST(DiffProgram, PrintsFieldsBetweenTabs) {
  const TempFile old_file("old.json", kOld);
  const TempFile new_file("new.json", kNew);
  const RunResult result = RunProgram({"diff", old_file.Path(), new_file.Path()});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.out,
            "~\thost\tdb\td\\nb\\\n"
            "+\tnew\t\t\n"
            "-\told\t(0)\t\n"
            "~\tports\\1\t443\t8443\n"
            "+\tports\\2\t\t21\n");
  EXPECT_EQ(result.err, "");
}

TEST(DiffProgram, PrintsLinesForPeople) {
  const TempFile old_file("old.json", kOld);
  const RunResult result = RunProgram({"diff", old_file.Path(), "-", "--color", "always"}, kNew);
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.out,
            "\x1b[33m~ \x1b[0m\x1b[33mhost\x1b[0m\x1b[2m = \x1b[0mdb\x1b[2m → \x1b[0md\\nb\\\n"
            "\x1b[32m+ \x1b[0m\x1b[32mnew\x1b[0m\x1b[2m = \x1b[0m\"\"\n"
            "\x1b[31m- \x1b[0m\x1b[31mold\x1b[0m \x1b[2m(0)\x1b[0m\n"
            "\x1b[33m~ \x1b[0m\x1b[33mports\\1\x1b[0m\x1b[2m = \x1b[0m443\x1b[2m → \x1b[0m8443\n"
            "\x1b[32m+ \x1b[0m\x1b[32mports\\2\x1b[0m\x1b[2m = \x1b[0m21\n"
            "\x1b[2m2 changed, 2 added, 1 removed\x1b[0m\n");
}

TEST(DiffProgram, PrintsJson) {
  const TempFile old_file("old.json", R"({"a": 1, "b": {}})");
  const TempFile new_file("new.json", R"({"a": "2", "c": "x"})");
  const RunResult result = RunProgram({"diff", "--json", old_file.Path(), new_file.Path()});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.out, R"({"old":")" + old_file.Path() + R"(","new":")" + new_file.Path() +
                            R"(","differences":[)"
                            R"({"change":"changed","path":"a","old":{"kind":"number","value":"1"},)"
                            R"("new":{"kind":"text","value":"2"}},)"
                            R"({"change":"removed","path":"b","old":{"kind":"tree","entries":0}},)"
                            R"({"change":"added","path":"c","new":{"kind":"text","value":"x"}}],)"
                            R"("changed":1,"added":1,"removed":1})"
                            "\n");
}

TEST(DiffProgram, ExitsWith0WhenNothingDiffers) {
  const TempFile json("one.json", R"({"a": {"x": "1", "y": "2"}})");
  const TempFile ini("two.ini", "[a]\ny = 2\nx = 1\n");
  RunResult result = RunProgram({"diff", json.Path(), ini.Path()});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out + result.err, "");
  result = RunProgram({"diff", json.Path(), ini.Path(), "--color", "always"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out + result.err, "");
  result = RunProgram({"diff", json.Path(), json.Path(), "--json"});
  EXPECT_EQ(result.code, 0);
  EXPECT_NE(result.out.find(R"("differences":[],"changed":0,"added":0,"removed":0})"),
            std::string::npos);
}

TEST(DiffProgram, ExitsWith2WhenItCannotCompare) {
  const TempFile good("good.json", "{}");
  const TempFile bad("bad.json", "[1 2]");
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"diff"}, "OLD is required; see cfgtree --help"},
      {{"diff", good.Path()}, "NEW is required; see cfgtree --help"},
      {{"diff", good.Path(), good.Path(), "x"}, "too many arguments: x; see cfgtree --help"},
      {{"diff", "-", "-"}, "only one file can be standard input; see cfgtree --help"},
      {{"diff", good.Path(), bad.Path()}, bad.Path() + ":1:4: ..."},
      {{"diff", bad.Path(), good.Path()}, bad.Path() + ":1:4: ..."},
      {{"diff", good.Path(), "/no/such/file"}, "/no/such/file: no such file or directory"},
      {{"diff", good.Path(), "/"}, "/: is a directory"},
  };
  for (const auto& [arguments, line] : cases) {
    SCOPED_TRACE(line);
    ExpectRefusal(RunProgram(arguments), 2, line);
  }
}

TEST(DiffProgram, RefusesToPrintTooMuch) {
  // 40,000 levels, each with a leaf of its own: 1.6 GB of paths.
  constexpr int kLevels = 40000;
  std::string deep;
  for (int i = 0; i < kLevels; ++i) deep += R"({"x":1,"a":)";
  deep += "1" + std::string(kLevels, '}');
  const TempFile old_file("old.json", "{}");
  const TempFile new_file("new.json", deep);
  const RunResult result = RunProgram({"diff", old_file.Path(), new_file.Path()});
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "cfgtree: standard output: more than 1 GiB to print; ask for less\n");
}

}  // namespace
