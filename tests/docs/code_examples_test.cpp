// The code on the pages of docs/, which stands word for word in the tests of their examples.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "docs/MarkdownExamples.h"

namespace {

using docs::Lines;

// These files are compiled into this program; each piece of code stands whole in one of them.
const char* const kExamples[] = {TREE_DOCS_EXAMPLES};

TEST(CodeInTheDocs, StandsInTheTests) {
  std::vector<Lines> sources;
  for (const char* example : kExamples) sources.push_back(docs::ReadLines(example));
  for (const char* file : {"formats.md", "merge.md", "changes.md"}) {
    const std::vector<Lines> blocks = docs::Blocks(file, "cpp");
    EXPECT_FALSE(blocks.empty()) << file;
    for (const Lines& block : blocks) {
      const auto has_block = [&block](const Lines& source) { return docs::HasCode(source, block); };
      EXPECT_TRUE(std::any_of(sources.begin(), sources.end(), has_block))
          << file << ": " << testing::PrintToString(block);
    }
  }
}

}  // namespace
