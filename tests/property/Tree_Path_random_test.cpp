// Random paths, read by Tree_Path and by a naive splitter.
//
//   TREE_TEST_ROUNDS  scales the number of paths, as for the other random tests
//   TREE_TEST_SEED    seed (a new one every time)

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Path.h"
#include "property/settings.h"
#include "support/StringText.h"

namespace {

// n backslashes give n + 1 segments.
std::vector<std::string> Split(const std::string& path) {
  std::vector<std::string> segments(1);
  for (const char c : path) {
    if (c == '\\') {
      segments.emplace_back();
    } else {
      segments.back() += c;
    }
  }
  return segments;
}

// A reader of a path: which segment comes next, and whether all were handed out.
struct Reader {
  std::vector<std::string> segments;
  std::size_t handed_out = 0;

  std::string Next() {
    const std::size_t i = std::min(handed_out, segments.size() - 1);
    if (handed_out < segments.size()) ++handed_out;
    return segments[i];
  }
  int IsOnlyRoot() const { return handed_out == segments.size() ? 1 : 0; }
};

// A path of the library beside its reader.
struct Pair {
  std::unique_ptr<Tree_Path> path;
  Reader reader;
  // Segments that were handed out, with the text that they had then.
  std::vector<std::pair<const char*, std::string>> handed_out;
};

class RandomPaths : public testing::Test {
 protected:
  RandomPaths() : m_seed(settings::Seed()), m_random(m_seed), m_rounds(settings::Rounds(50) * 100) {
    std::cout << m_rounds << " paths from seed " << m_seed << "\n";
  }

  unsigned Below(unsigned n) { return static_cast<unsigned>(m_random() % n); }

  // Mostly short; every byte but zero may occur, backslashes often.
  std::string Path() {
    const unsigned length = Below(10) == 0 ? Below(3000) : Below(12);
    std::string path;
    for (unsigned i = 0; i < length; ++i) {
      switch (Below(4)) {
        case 0:
          path += '\\';
          break;
        case 1:
          path += static_cast<char>(1 + Below(255));
          break;
        default:
          path += static_cast<char>('a' + Below(3));
      }
    }
    return path;
  }

  Pair Make() {
    const std::string text = Path();
    Pair pair;
    if (Below(4) == 0) {
      pair.path = std::make_unique<Tree_Path>();
      EXPECT_EQ(nullptr, pair.path->GetRootAsCharPtr());
      EXPECT_EQ(0, pair.path->IsOnlyRoot());
      pair.path->SetPath(Bytes(text));
    } else {
      pair.path = std::make_unique<Tree_Path>(Bytes(text));
    }
    pair.reader.segments = Split(text);
    return pair;
  }

  // Takes some segments and compares them.
  void Read(Pair& pair) {
    const unsigned size = static_cast<unsigned>(pair.reader.segments.size());
    for (unsigned i = Below(size + 3); i > 0; --i) {
      const std::string expected = pair.reader.Next();
      if (Below(2) == 0) {
        const RWCString segment = pair.path->GetRoot();
        ASSERT_EQ(expected, std::string(segment.data(), segment.length()));
      } else {
        const char* segment = pair.path->GetRootAsCharPtr();
        ASSERT_STREQ(expected.c_str(), segment);
        pair.handed_out.emplace_back(segment, expected);
      }
      ASSERT_EQ(pair.reader.IsOnlyRoot(), pair.path->IsOnlyRoot());
    }
    for (const auto& [segment, text] : pair.handed_out) ASSERT_STREQ(text.c_str(), segment);
  }

  const std::uint64_t m_seed;
  std::mt19937_64 m_random;
  const std::uint64_t m_rounds;
};

TEST_F(RandomPaths, AreCutAsANaiveSplitterCutsThem) {
  for (std::uint64_t round = 0; round < m_rounds; ++round) {
    Pair pair = Make();
    ASSERT_NO_FATAL_FAILURE(Read(pair)) << "TREE_TEST_SEED=" << m_seed;
    ASSERT_NO_FATAL_FAILURE(Read(pair)) << "TREE_TEST_SEED=" << m_seed;
  }
}

// A copy starts where its source stands; from then on each goes its own way.
TEST_F(RandomPaths, AreCopiedWithTheirPosition) {
  for (std::uint64_t round = 0; round < m_rounds; ++round) {
    SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(m_seed));
    Pair source = Make();
    ASSERT_NO_FATAL_FAILURE(Read(source));
    Pair copy;
    if (Below(2) == 0) {
      copy.path = std::make_unique<Tree_Path>(*source.path);
    } else {
      copy = Make();
      ASSERT_NO_FATAL_FAILURE(Read(copy));
      *copy.path = *source.path;
      copy.handed_out.clear();
    }
    copy.reader = source.reader;
    ASSERT_EQ(source.path->IsOnlyRoot(), copy.path->IsOnlyRoot());
    ASSERT_NO_FATAL_FAILURE(Read(copy));
    ASSERT_NO_FATAL_FAILURE(Read(source));
    if (Below(2) == 0) source.path.reset();
    ASSERT_NO_FATAL_FAILURE(Read(copy));
  }
}

}  // namespace
