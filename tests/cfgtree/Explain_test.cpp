// Which layer supplies what, checked against the merge itself.

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
#include "commands/ChunkArea.h"
#include "commands/Explanation.h"
#include "commands/Layers.h"
#include "property/settings.h"

using namespace cfgtree;

namespace {

const char* Word(LayerState state) {
  switch (state) {
    case LayerState::kSupplies:
      return "supplies";
    case LayerState::kOverridden:
      return "overridden";
    case LayerState::kHidden:
      return "hidden";
    case LayerState::kNothing:
      return "nothing";
  }
  return "?";
}

const char* Word(HiddenBy reason) {
  constexpr const char* kWords[] = {"nobody",     "value",     "sub-tree",
                                    "chunk area", "one level", "repeated name"};
  return kWords[static_cast<int>(reason)];
}

// "= 2 | overridden 1 | supplies 2 (1)": what comes out, then the layers from the lowest up,
// each with its state, what it has and how many leaves it supplies.
std::string Explained(TracedMerge& merge, std::string_view path, bool one_level = false) {
  const Explanation explanation = Explain(merge, path, one_level);
  const auto shown = [&](Tree_Node& node) {
    return node.IsLeaf() ? std::string(View(node.GetTreeValue()->GetValue()))
                         : "(" + std::to_string(merge.Children(node)) + ")";
  };
  std::string text = explanation.merged == nullptr ? "nothing" : "= " + shown(*explanation.merged);
  for (const LayerPart& part : explanation.layers) {
    text += std::string(" | ") + Word(part.state);
    if (part.node != nullptr) text += " " + shown(*part.node);
    if (part.node != nullptr && part.path != path) text += " at " + part.path;
    if (part.state == LayerState::kSupplies) text += " x" + std::to_string(part.supplied);
    if (part.state == LayerState::kHidden) {
      text += std::string(" by ") + Word(part.reason) + " of " + std::to_string(part.by) + " at " +
              (part.at.empty() ? "top" : part.at);
    }
  }
  return text;
}

struct ExplainCase {
  std::vector<std::string_view> layers;
  std::string_view path;
  std::string_view expected;
  bool one_level = false;
};
const ExplainCase kCases[] = {
    // Values.
    {{R"({"a": "1"})", R"({"a": "2"})"}, "a", "= 2 | overridden 1 | supplies 2 x1"},
    {{R"({"a": "1"})", R"({"b": "2"})"}, "a", "= 1 | supplies 1 x1 | nothing"},
    {{R"({"a": "1"})", "{}", R"({"a": ""})", "{}"},
     "a",
     "=  | overridden 1 | nothing | supplies  x1 | nothing"},
    {{R"({"a": "1"})", R"({"a": "2"})"}, "x", "nothing | nothing | nothing"},
    // Sub-trees: who has how much of them.
    {{R"({"s": {"a": "1", "b": "1", "c": "1"}})", R"({"s": {"b": "2"}})"},
     "s",
     "= (3) | supplies (3) x2 | supplies (1) x1"},
    {{R"({"s": {"a": "1"}})", R"({"s": {"a": "2"}})"},
     "s",
     "= (1) | overridden (1) | supplies (1) x1"},
    {{R"({"s": {}})", R"({"s": {}})"}, "s", "= (0) | overridden (0) | supplies (0) x0"},
    {{R"({"s": {"e": {}}})", R"({"s": {"a": "2"}})"},
     "s",
     "= (2) | supplies (1) x0 | supplies (1) x1"},
    {{R"({"s": {"a": "1"}})", R"({"t": "2"})"}, "", "= (2) | supplies (1) x1 | supplies (1) x1"},
    // Values in the place of sub-trees, and the other way round.
    {{R"({"a": {"b": "1"}})", R"({"a": "2"})"},
     "a",
     "= 2 | hidden (1) by value of 1 at a | supplies 2 x1"},
    {{R"({"a": {"b": "1"}})", R"({"a": "2"})"},
     "a\\b",
     "nothing | hidden 1 by value of 1 at a | nothing"},
    {{R"({"a": "1"})", R"({"a": {"b": "2"}})"},
     "a",
     "= (1) | hidden 1 by sub-tree of 1 at a | supplies (1) x1"},
    {{R"({"a": {"b": "1"}})", R"({"a": "2"})", R"({"a": {"b": "3"}})"},
     "a",
     "= (1) | hidden (1) by value of 1 at a | hidden 2 by sub-tree of 2 at a | supplies (1) x1"},
    {{R"({"a": {"c": "1"}})", R"({"a": "2"})", R"({"a": {"b": "3"}})"},
     "a\\c",
     "nothing | hidden 1 by value of 1 at a | nothing | nothing"},
    // Chunk areas are taken whole.
    {{R"({"v": {"blobencoding": "x", "chunk0000": "1", "chunk0001": "2"}})",
      R"({"v": {"blobencoding": "x", "chunk0000": "3"}})"},
     "v\\chunk0001",
     "nothing | hidden 2 by chunk area of 1 at v | nothing"},
    {{R"({"v": {"blobencoding": "x", "chunk0000": "1", "chunk0001": "2"}})",
      R"({"v": {"blobencoding": "x", "chunk0000": "3"}})"},
     "v",
     "= (2) | hidden (3) by chunk area of 1 at v | supplies (2) x2"},
    {{R"({"v": {"a": "1"}})", R"({"v": {"blobencoding": "x", "chunk0000": "3"}})",
      R"({"v": {"b": "4"}})"},
     "v",
     "= (3) | hidden (1) by chunk area of 1 at v | supplies (2) x2 | supplies (1) x1"},
    {{R"({"a": "1"})", R"({"blobencoding": "x", "chunk0000": "3"})"},
     "a",
     "nothing | hidden 1 by chunk area of 1 at top | nothing"},
    // No chunk area without both values.
    {{R"({"v": {"a": "1"}})", R"({"v": {"blobencoding": "x", "chunk0000": ""}})"},
     "v",
     "= (3) | supplies (1) x1 | supplies (2) x2"},
    // Siblings of one name: the first of the layer above is merged and moves behind them.
    {{R"({"s": {"x": "1"}})", R"({"s": {"y": "2"}, "s": {"y": "3"}})"},
     "s\\y",
     "= 3 | nothing | supplies 3 at s[2]\\y x1"},
    {{R"({"s": {"x": "1"}})", R"({"s": {"y": "2"}, "s": {"y": "3"}})"},
     "s[2]\\x",
     "= 1 | supplies 1 at s\\x x1 | nothing"},
    {{R"({"a": "1", "a": "2"})", "{}"},
     "a[2]",
     "nothing | hidden 2 by repeated name of 0 at a[2] | nothing"},
    // One level only.
    {{R"({"s": {"p": "1"}, "t": "1"})", R"({"s": {"q": "2"}})"},
     "s\\p",
     "nothing | hidden 1 by one level of 1 at s | nothing",
     true},
    {{R"({"s": {"p": "1"}, "t": "1"})", R"({"s": {"q": "2"}})"},
     "",
     "= (2) | supplies (2) x1 | supplies (1) x1",
     true},
    {{R"({"s": "1"})", R"({"s": {"q": "2"}})"},
     "s",
     "= (1) | hidden 1 by sub-tree of 1 at s | supplies (1) x1",
     true},
    // Tops that are values.
    {{R"({"s": "1"})", "2"}, "", "= 2 | hidden (1) by value of 1 at top | supplies 2 x1"},
    {{"1", R"({"s": "2"})"}, "", "= (1) | hidden 1 by sub-tree of 1 at top | supplies (1) x1"},
};

TEST(Explain, TellsWhoSuppliesAValue) {
  const QuietLog quiet;
  for (const ExplainCase& c : kCases) {
    std::string trace(c.path);
    for (const std::string_view layer : c.layers) trace += " " + std::string(layer);
    SCOPED_TRACE(trace);
    TracedMerge merge(JsonLayers(c.layers), c.one_level);
    EXPECT_EQ(Explained(merge, c.path, c.one_level), c.expected);
  }
}

TEST(Explain, IsNotMisledByNamesLikeItsMarks) {
  std::vector<Tree_NodePtr> layers;
  for (const char* const value : {"1", "2"}) {
    TreeBuilder tree("t");
    tree.Enter("s");
    tree.Leaf("\\99999999", value);
    tree.Leaf("\\\\0", value);
    tree.Leaf("a", value);
    layers.push_back(tree.Finish());
  }
  TracedMerge merge(layers, false);
  EXPECT_EQ(Explained(merge, "s"), "= (3) | overridden (3) | supplies (3) x3");
  EXPECT_EQ(Explained(merge, "s\\a"), "= 2 | overridden 1 | supplies 2 x1");
}

TEST(Explain, TakesLongChains) {
  constexpr int kLevels = 300000;
  std::vector<Tree_NodePtr> layers;
  for (const char* const value : {"1", "2"}) {
    TreeBuilder tree("t");
    for (int i = 0; i < kLevels; ++i) tree.Enter("a");
    tree.Leaf("x", value);
    layers.push_back(tree.Finish());
  }
  TracedMerge merge(layers, false);
  std::string path;
  for (int i = 0; i < kLevels; ++i) path += "a\\";
  const Explanation explanation = Explain(merge, path + "x", false);
  EXPECT_EQ(explanation.layers[0].state, LayerState::kOverridden);
  EXPECT_EQ(explanation.layers[1].state, LayerState::kSupplies);
  EXPECT_EQ(explanation.layers[1].path, path + "x");
}

// --- Against a merge that is spelled out --------------------------------------------

// A node that remembers from where it came.  Small trees only: everything recurses.
struct Naive {
  std::string name;
  bool leaf;
  std::string value;
  std::vector<Naive> children;
  std::map<std::size_t, std::vector<std::string>> sources;  // paths by layer

  const Naive* Child(const std::string& wanted) const {
    for (const Naive& child : children) {
      if (child.name == wanted) return &child;
    }
    return nullptr;
  }
  bool HasValueAt(const std::string& wanted) const {
    const Naive* const child = Child(wanted);
    return child != nullptr && child->leaf && !child->value.empty();
  }
  bool IsArea() const { return HasValueAt("blobencoding") && HasValueAt("chunk0000"); }
};

Naive FromTree(Tree_Node* node, PathNamer& namer, std::size_t layer) {
  Naive naive;
  naive.name = View(node->GetKeyName());
  naive.leaf = node->IsLeaf();
  if (naive.leaf) naive.value = View(node->GetTreeValue()->GetValue());
  naive.sources[layer] = {namer.PathOf(node)};
  for (int i = 0; i < node->GetChildCount(); ++i) {
    naive.children.push_back(FromTree(node->GetChildAt(i).get(), namer, layer));
  }
  return naive;
}

Naive NaiveMerge(const Naive& base, const Naive& over, bool one_level, bool top = true) {
  if (!one_level && over.IsArea()) return over;
  Naive result = over;
  if (over.leaf) return result;
  if (!base.leaf) {
    for (const auto& [layer, paths] : base.sources) {
      std::vector<std::string>& all = result.sources[layer];
      all.insert(all.end(), paths.begin(), paths.end());
    }
  }
  for (const Naive& child : base.children) {
    const auto match =
        std::find_if(result.children.begin(), result.children.end(),
                     [&child](const Naive& other) { return other.name == child.name; });
    if (match == result.children.end()) {
      result.children.push_back(child);
    } else if (!child.leaf && !(one_level && top)) {
      Naive merged = NaiveMerge(child, *match, one_level, false);
      result.children.erase(match);
      result.children.push_back(std::move(merged));
    }
  }
  return result;
}

// What a sub-tree has of each layer.
void CountNaive(const Naive& node, std::map<std::size_t, std::uint64_t>& leaves,
                std::map<std::size_t, bool>& supplies) {
  if (node.leaf || node.children.empty()) {
    const std::size_t layer = node.sources.rbegin()->first;
    supplies[layer] = true;
    if (node.leaf) ++leaves[layer];
  }
  for (const Naive& child : node.children) CountNaive(child, leaves, supplies);
}

class RandomStack {
 public:
  RandomStack(Random& random, bool repeated_names) : m_repeated(repeated_names) {
    const int count = 2 + Below(random, 3);
    m_one_level = Below(random, 4) == 0;
    RandomTreeShape shape;
    shape.repeated_names = repeated_names;
    for (int i = 0; i < count; ++i) m_layers.push_back(RandomTree(random, shape));
  }

  void Check() {
    std::vector<Naive> naive_layers;
    for (std::size_t i = 0; i < m_layers.size(); ++i) {
      PathNamer namer(m_layers[i].get());
      naive_layers.push_back(FromTree(m_layers[i].get(), namer, i));
    }
    Naive expected = naive_layers[0];
    for (std::size_t i = 1; i < naive_layers.size(); ++i) {
      expected = NaiveMerge(expected, naive_layers[i], m_one_level);
    }

    Tree_NodePtr merged = MergeLayers(Copies(m_layers), m_one_level);
    TracedMerge traced(Copies(m_layers), m_one_level);
    PathNamer namer(merged.get());
    CheckNode(traced, merged.get(), expected, namer);
    CheckWhatLayersHave(traced, merged);
  }

 private:
  // The merged tree, the spelled-out one and the explanation of every path agree.
  void CheckNode(TracedMerge& traced, Tree_Node* merged, const Naive& expected, PathNamer& namer) {
    const std::string path = namer.PathOf(merged);
    SCOPED_TRACE("path " + path);
    ASSERT_EQ(View(merged->GetKeyName()), expected.name);
    ASSERT_EQ(merged->IsLeaf(), expected.leaf);
    ASSERT_EQ(merged->GetChildCount(), static_cast<int>(expected.children.size()));
    ++m_explained;

    const Explanation explanation = Explain(traced, path, m_one_level);
    ASSERT_NE(explanation.merged, nullptr);
    EXPECT_EQ(traced.Children(*explanation.merged), expected.children.size());
    if (expected.leaf) {
      EXPECT_EQ(View(merged->GetTreeValue()->GetValue()), expected.value);
      EXPECT_EQ(View(explanation.merged->GetTreeValue()->GetValue()), expected.value);
    }
    std::map<std::size_t, std::uint64_t> leaves;
    std::map<std::size_t, bool> supplies;
    CountNaive(expected, leaves, supplies);
    for (std::size_t i = 0; i < m_layers.size(); ++i) {
      SCOPED_TRACE("layer " + std::to_string(i));
      const LayerPart& part = explanation.layers[i];
      const auto sources = expected.sources.find(i);
      EXPECT_EQ(part.supplied, leaves[i]);
      EXPECT_EQ(part.state == LayerState::kSupplies, supplies[i]);
      if (sources != expected.sources.end()) {
        EXPECT_TRUE(part.state == LayerState::kSupplies || part.state == LayerState::kOverridden);
        const std::vector<std::string>& paths = sources->second;
        EXPECT_NE(std::find(paths.begin(), paths.end(), part.path), paths.end()) << part.path;
      } else {
        const bool has = FollowPath(m_layers[i], path).complete;
        EXPECT_EQ(part.node != nullptr, has);
        EXPECT_EQ(part.state == LayerState::kNothing, !has);
      }
    }
    for (int i = 0; i < merged->GetChildCount(); ++i) {
      CheckNode(traced, merged->GetChildAt(i).get(), expected.children[static_cast<std::size_t>(i)],
                namer);
    }
  }

  // The explanation of every path of every layer, whether or not the merged tree has it.
  void CheckWhatLayersHave(TracedMerge& traced, Tree_NodePtr& merged) {
    for (std::size_t layer = 0; layer < m_layers.size(); ++layer) {
      PathNamer namer(m_layers[layer].get());
      Walk(m_layers[layer], [&](Tree_NodePtr& node, std::size_t) {
        const std::string path = namer.PathOf(node.get());
        SCOPED_TRACE("layer " + std::to_string(layer) + ", path " + path);
        const Explanation explanation = Explain(traced, path, m_one_level);
        EXPECT_EQ(explanation.merged != nullptr, FollowPath(merged, path).complete);
        const LayerPart& part = explanation.layers[layer];
        EXPECT_NE(part.state, LayerState::kNothing);
        EXPECT_EQ(part.state == LayerState::kHidden, part.reason != HiddenBy::kNobody);
        if (!m_repeated) CheckPart(*node, path, layer, part);
      });
    }
  }

  // Where names do not repeat, each layer with those below it supplies what it has (but for
  // sub-trees in which everything is empty), and what hides it is the first layer above
  // with which that is no longer so.
  void CheckPart(Tree_Node& node, const std::string& path, std::size_t layer,
                 const LayerPart& part) {
    EXPECT_EQ(part.path, path);
    const LayerState alone = StateIn(layer + 1, path, layer);
    EXPECT_TRUE(alone == LayerState::kSupplies ||
                (alone == LayerState::kOverridden && !node.IsLeaf()));
    if (part.state != LayerState::kHidden) return;
    ++m_hidden;
    ASSERT_GT(part.by, layer);
    EXPECT_NE(part.reason, HiddenBy::kRepeatedName);
    // "Overridden" and "hidden by a value" are one step for a leaf below a leaf.
    EXPECT_NE(StateIn(part.by, path, layer), LayerState::kHidden);
    if (node.IsLeaf()) {
      EXPECT_NE(StateIn(part.by + 1, path, layer), LayerState::kSupplies);
    } else {
      EXPECT_EQ(StateIn(part.by + 1, path, layer), LayerState::kHidden);
    }
    const Way other = FollowPath(m_layers[part.by], part.at);
    ASSERT_TRUE(other.complete);
    Tree_Node& hiding = *other.nodes.back();
    switch (part.reason) {
      case HiddenBy::kValue:
        EXPECT_TRUE(hiding.IsLeaf());
        break;
      case HiddenBy::kSubTree:
        EXPECT_TRUE(node.IsLeaf() && !hiding.IsLeaf() && part.at == path);
        break;
      case HiddenBy::kChunkArea:
        EXPECT_TRUE(IsChunkArea(hiding) && !m_one_level);
        break;
      case HiddenBy::kOneLevel:
        EXPECT_TRUE(m_one_level && part.at.find('\\') == std::string::npos && !part.at.empty());
        break;
      case HiddenBy::kRepeatedName:
      case HiddenBy::kNobody:
        ADD_FAILURE() << Word(part.reason);
    }
  }

  // The state of a layer when only the lowest `count` layers are there.
  LayerState StateIn(std::size_t count, const std::string& path, std::size_t layer) {
    TracedMerge traced(Copies({m_layers.begin(), m_layers.begin() + static_cast<long>(count)}),
                       m_one_level);
    return Explain(traced, path, m_one_level).layers[layer].state;
  }

  bool m_repeated;
  bool m_one_level = false;
  std::vector<Tree_NodePtr> m_layers;

 public:
  int m_explained = 0;
  int m_hidden = 0;
};

void CheckRandomStacks(bool repeated_names) {
  const QuietLog quiet;
  const std::uint64_t seed = settings::Seed();
  const std::uint64_t rounds = settings::Rounds(150);
  int explained = 0;
  int hidden = 0;
  for (std::uint64_t round = 0; round < rounds; ++round) {
    SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed + round) + " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    RandomStack stack(random, repeated_names);
    stack.Check();
    explained += stack.m_explained;
    hidden += stack.m_hidden;
    if (testing::Test::HasFailure()) return;
  }
  if (rounds < 50) return;
  EXPECT_GT(explained, static_cast<int>(rounds) * 5);
  if (!repeated_names) {
    EXPECT_GT(hidden, static_cast<int>(rounds) / 5);
  }
}

TEST(Explain, AgreesWithTheMergeOfRandomLayers) {
  CheckRandomStacks(false);
}

TEST(Explain, AgreesWithTheMergeOfRandomLayersWithRepeatedNames) {
  CheckRandomStacks(true);
}

// --- The program ------------------------------------------------------------------

class ExplainProgram : public testing::Test {
 protected:
  RunResult Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "explain");
    for (const TempFile* file : {&m_base, &m_site, &m_host}) arguments.push_back(file->Path());
    return RunProgram(arguments);
  }

  TempFile m_base{"base.json", R"({"ports": {"http": 80, "ftp": 21}, "log": {"file": "x"}})"};
  TempFile m_site{"site.json", R"({"ports": {"http": 8080}, "log": "off"})"};
  TempFile m_host{"host.json", "{}"};
};

TEST_F(ExplainProgram, PrintsTheLayersFromTheTopDown) {
  RunResult result = Run({"ports\\http"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, m_host.Path() + "\tnothing\t\t\n" + m_site.Path() + "\tsupplies\t8080\t\n" +
                            m_base.Path() + "\toverridden\t80\t\n");
  result = Run({"ports"});
  EXPECT_EQ(result.out, m_host.Path() + "\tnothing\t\t\n" + m_site.Path() +
                            "\tsupplies\t1 entry\t1 of 2 values\n" + m_base.Path() +
                            "\tsupplies\t2 entries\t1 of 2 values\n");
}

TEST_F(ExplainProgram, TellsWhatHidesAValue) {
  const RunResult result = Run({"log\\file"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, m_host.Path() + "\tnothing\t\t\n" + m_site.Path() + "\tnothing\t\t\n" +
                            m_base.Path() + "\thidden\tx\t" + m_site.Path() +
                            " has a value at log\n");
  const RunResult people = Run({"log\\file", "--color", "always"});
  EXPECT_EQ(people.code, 0);
  EXPECT_NE(people.out.find("\x1b[2m" + m_base.Path() + " is hidden: " + m_site.Path() +
                            " has a value at log\x1b[0m\n"
                            "\x1b[2mthe merged tree has nothing there\x1b[0m\n"),
            std::string::npos)
      << people.out;
}

TEST_F(ExplainProgram, PrintsJson) {
  EXPECT_EQ(Run({"ports\\http", "--json"}).out,
            R"({"path":"ports\\http","result":{"kind":"number","value":"8080","values":1},)"
            R"("layers":[{"layer":3,"file":")" +
                m_host.Path() +
                R"(","state":"nothing"},)"
                R"({"layer":2,"file":")" +
                m_site.Path() +
                R"(","state":"supplies","path":"ports\\http","kind":"number","value":"8080",)"
                R"("supplied":1},)"
                R"({"layer":1,"file":")" +
                m_base.Path() +
                R"(","state":"overridden","path":"ports\\http","kind":"number","value":"80",)"
                R"("supplied":0}]})"
                "\n");
  EXPECT_EQ(Run({"log\\file", "--json"}).out,
            R"({"path":"log\\file","layers":[{"layer":3,"file":")" + m_host.Path() +
                R"(","state":"nothing"},{"layer":2,"file":")" + m_site.Path() +
                R"(","state":"nothing"},{"layer":1,"file":")" + m_base.Path() +
                R"(","state":"hidden","path":"log\\file","kind":"text","value":"x","supplied":0,)"
                R"("reason":"value","by":")" +
                m_site.Path() +
                R"(","at":"log"}]})"
                "\n");
}

TEST_F(ExplainProgram, MergesOneLevelWhenAsked) {
  const RunResult result = Run({"ports\\ftp", "--one-level"});
  EXPECT_EQ(result.code, 0);
  EXPECT_NE(
      result.out.find("\thidden\t21\t" + m_site.Path() + " has ports, which is taken whole\n"),
      std::string::npos)
      << result.out;
}

TEST_F(ExplainProgram, SaysInOneLineWhatIsWrong) {
  ExpectRefusal(Run({"ports\\x"}), 1, "no such path in any of the files: ports\\x");
  ExpectRefusal(RunProgram({"explain", "a"}), 2, "BASE is required; see cfgtree --help");
  ExpectRefusal(RunProgram({"explain", "a", m_base.Path()}), 2,
                "OVERRIDE is required; see cfgtree --help");
  ExpectRefusal(RunProgram({"explain", "a", m_base.Path(), "/no/such/file"}), 1,
                "/no/such/file: no such file or directory");
}

}  // namespace
