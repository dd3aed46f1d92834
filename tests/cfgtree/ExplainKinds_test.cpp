// The kinds that explain tells are those of the merge.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ChildProcess.h"
#include "Kinds.h"
#include "Places.h"
#include "RandomTrees.h"
#include "Walk.h"
#include "commands/Explanation.h"
#include "commands/Layers.h"
#include "property/settings.h"

using namespace cfgtree;

namespace {

TEST(ExplainKinds, OfSiblingsThatAreJoinedIsThatOfTheMerge) {
  const TempFile base("base.json", R"({"c": [], "c": {}})");
  const TempFile over("over.json", "{}");
  const RunResult merged =
      RunProgram({"merge", base.Path(), over.Path(), "-o", "-", "--to", "json"});
  EXPECT_NE(merged.out.find("[]"), std::string::npos) << merged.out;
  const RunResult explained = RunProgram({"explain", "--json", "c", base.Path(), over.Path()});
  EXPECT_NE(explained.out.find(R"("result":{"kind":"array","entries":0,)"), std::string::npos)
      << explained.out;
}

void SetRandomKinds(Random& random, Tree_NodePtr& top) {
  constexpr NodeKind kLeafKinds[] = {NodeKind::kPlain, NodeKind::kNumber, NodeKind::kBoolean,
                                     NodeKind::kNull};
  Walk(top, [&](Tree_NodePtr& node, std::size_t) {
    const NodeKind inner = Below(random, 2) == 0 ? NodeKind::kPlain : NodeKind::kArray;
    node->SetId(static_cast<int>(node->IsLeaf() ? kLeafKinds[Below(random, 4)] : inner));
  });
}

TEST(ExplainKinds, AreThoseOfTheMergeOfRandomLayers) {
  const QuietLog quiet;
  const std::uint64_t seed = settings::Seed();
  int compared = 0;
  const std::uint64_t rounds = settings::Rounds(150);
  for (std::uint64_t round = 0; round < rounds; ++round) {
    SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(seed + round) + " TREE_TEST_ROUNDS=1");
    Random random(seed + round);
    const bool one_level = Below(random, 4) == 0;
    RandomTreeShape shape;
    shape.repeated_names = true;
    std::vector<Tree_NodePtr> layers(2 + static_cast<std::size_t>(Below(random, 3)));
    for (Tree_NodePtr& layer : layers) {
      layer = RandomTree(random, shape);
      SetRandomKinds(random, layer);
    }
    Tree_NodePtr merged = MergeLayers(layers, one_level);
    CarryKinds(merged, layers);
    std::vector<std::string> paths;
    std::vector<std::string> kinds;
    PathNamer namer(merged.get());
    Walk(merged, [&](Tree_NodePtr& node, std::size_t) {
      paths.push_back(namer.PathOf(node.get()));
      kinds.emplace_back(KindName(*node));
    });

    TracedMerge traced(layers, one_level);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      const Explanation explanation = Explain(traced, paths[i], one_level);
      ASSERT_NE(explanation.merged, nullptr) << paths[i];
      EXPECT_EQ(KindName(*explanation.merged), kinds[i]) << paths[i];
      ++compared;
    }
    if (testing::Test::HasFailure()) return;
  }
  if (rounds < 50) return;
  EXPECT_GT(compared, static_cast<int>(rounds) * 5);
}

}  // namespace
