// How much print draws: lines and columns.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "Text.h"

using namespace cfgtree;

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

std::vector<std::string> Print(const std::string& input, std::vector<std::string> options) {
  options.insert(options.begin(), {"print", "-"});
  const RunResult result = RunProgram(options, input);
  EXPECT_EQ(result.code, 0) << result.err;
  return Lines(result.out);
}

// `count` numbers in a list.
std::string Flat(int count) {
  std::string json = "[0";
  for (int i = 1; i < count; ++i) json += ',' + std::to_string(i);
  return json + ']';
}

std::string LastLine(int shown, int nodes) {
  return std::to_string(shown) + " of " + std::to_string(nodes) +
         " nodes are shown; --all shows everything";
}

TEST(PrintedLines, AreAsManyAsAskedForOfAWideNode) {
  const std::string json = Flat(100);
  for (const int lines : {1, 2, 3, 4, 5, 6, 7, 10, 39, 40, 41, 60, 99, 100}) {
    SCOPED_TRACE(lines);
    const std::vector<std::string> drawn = Print(json, {"--lines", std::to_string(lines)});
    ASSERT_EQ(drawn.size(), static_cast<std::size_t>(lines));
    EXPECT_EQ(drawn[0], "stdin [100]");
    // The last two lines tell what is missing, where there is room for them.
    if (lines >= 5) {
      EXPECT_EQ(drawn.end()[-2], "└─ … " + std::to_string(103 - lines) + " more");
      EXPECT_EQ(drawn.back(), LastLine(lines - 2, 101));
    } else if (lines > 1) {
      EXPECT_EQ(drawn.back(), LastLine(lines - 1, 101));
    }
  }
  EXPECT_EQ(Print(json, {"--lines", "101"}).size(), 101u);
  EXPECT_EQ(Print(json, {"--lines", "101"}).back(), "└─ 99 = 99");
  EXPECT_EQ(Print(json, {"--lines", "2147483647"}).size(), 101u);
  // Without a number: as many as fit a pipe.
  EXPECT_EQ(Print(json, {}).size(), 40u);
  EXPECT_EQ(Print(Flat(39), {}).back(), "└─ 38 = 38");
}

TEST(PrintedLines, AreNeverMoreThanAskedFor) {
  std::string json = "{\"x\":";
  for (int i = 0; i < 12; ++i) json += i > 0 ? ",\"y" + std::to_string(i) + "\":" + Flat(i) : "{}";
  json += R"(,"deep":[[[[[[[[[[[[1]]]]]],2,3,4]]]],5]]})";
  const std::size_t all = Print(json, {"--all"}).size();
  for (int lines = 1; lines < 120; lines += lines < 20 ? 1 : 9) {
    SCOPED_TRACE(lines);
    const std::string number = std::to_string(lines);
    const std::vector<std::string> drawn = Print(json, {"--lines", number});
    EXPECT_LE(drawn.size(), static_cast<std::size_t>(lines));
    if (drawn.size() < all && lines > 1) {
      EXPECT_NE(drawn.back().find("nodes are shown"), std::string::npos);
    }
    EXPECT_LE(Print(json, {"--lines", number, "--depth", "3"}).size(),
              static_cast<std::size_t>(lines));
    EXPECT_LE(Print(json, {"--lines", number, "--children", "4"}).size(),
              static_cast<std::size_t>(lines));
  }
}

TEST(PrintedLines, OfAMillionNodesComeSoon) {
  const std::vector<std::string> drawn = Print(Flat(1000000), {"--lines", "1000000"});
  ASSERT_EQ(drawn.size(), 1000000u);
  EXPECT_EQ(drawn.back(), "999,998 of 1,000,001 nodes are shown; --all shows everything");
}

// On a terminal, without the colours.
std::vector<std::string> OnTerminal(const std::string& input, std::vector<std::string> options) {
  options.insert(options.end(), {"--color", "always"});
  std::vector<std::string> lines = Print(input, options);
  for (std::string& line : lines) {
    for (std::size_t at = line.find('\x1b'); at != line.npos; at = line.find('\x1b', at)) {
      line.erase(at, line.find('m', at) + 1 - at);
    }
  }
  return lines;
}

// A name and its value on a terminal of 80 columns.
std::string Leaf(std::size_t name, std::size_t value) {
  return OnTerminal("{\"" + std::string(name, 'n') + "\":\"" + std::string(value, 'v') + "\"}", {})
      .at(1);
}

TEST(PrintedColumns, EndAtTheEdge) {
  const auto n = [](std::size_t count) { return "└─ " + std::string(count, 'n'); };
  const auto v = [](std::size_t count) { return std::string(count, 'v'); };
  EXPECT_EQ(Leaf(10, 64), n(10) + " = " + v(64));
  EXPECT_EQ(Leaf(10, 65), n(10) + " = " + v(63) + "…");
  EXPECT_EQ(Leaf(59, 100), n(59) + " = " + v(14) + "…");
  EXPECT_EQ(Leaf(66, 8), n(66) + " = " + v(8));
  EXPECT_EQ(Leaf(67, 8), n(65) + "… = " + v(8));
  EXPECT_EQ(Leaf(73, 1), n(73) + " = v");
  EXPECT_EQ(Leaf(200, 1), n(72) + "… = v");
  EXPECT_EQ(Leaf(200, 100), n(65) + "… = " + v(7) + "…");
  EXPECT_EQ(Leaf(200, 0), n(71) + "… = \"\"");
  EXPECT_EQ(OnTerminal("{\"" + std::string(99, 'n') + "\":[1]}", {}).at(1), n(72) + "… [1]");
  const std::string name(99, 'n');
  EXPECT_EQ(OnTerminal("{\"" + name + "\":{\"a\":1}}", {name}).at(0),
            std::string(75, 'n') + "… (1)");
}

TEST(PrintedColumns, OfDeepTreesEndAtTheEdge) {
  std::string json = "1";
  for (int i = 0; i < 60; ++i) json = "{\"a name\":" + json + ",\"雅\":[1,2,3,4,5]}";
  bool cut = false;
  for (const std::string& line : OnTerminal(json, {"--lines", "100", "--depth", "60"})) {
    EXPECT_LE(DisplayWidth(line), 80u) << line;
    cut = cut || line.substr(line.size() - 3) == "…";
  }
  EXPECT_TRUE(cut);
  for (const std::string& line : OnTerminal(json, {"--all", "--ascii"})) {
    EXPECT_LE(DisplayWidth(line), 80u) << line;
  }
}

}  // namespace
