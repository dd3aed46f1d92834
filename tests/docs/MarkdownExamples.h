// Reads the examples out of the Markdown of docs/, so that tests can compare them with
// what the library does.
//
// An example is a fenced block whose first line names it:
//
//   ```text serialized bytes
//   offset | bytes       | meaning
//        0 | 00 00 00 00 | id 0: the top node
//   ```
//
// Blocks hold tables with `|` between their cells, or pictures of trees, several side by
// side under a line of titles that stand two blanks or more apart:
//
//   base            override
//
//   cfg             cfg
//   ├─ net          └─ log = off *
//   │  └─ port = 80
//   └─ note = ""
//
// `name = value` is a leaf, a `*` behind it its change flag, a name alone an inner node.

#ifndef TREE_TESTS_DOCS_MARKDOWNEXAMPLES_H
#define TREE_TESTS_DOCS_MARKDOWNEXAMPLES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"

namespace docs {

using Lines = std::vector<std::string>;

inline std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

inline Lines ReadLines(const std::string& file) {
  std::ifstream in(file);
  EXPECT_TRUE(in.is_open()) << file;
  Lines lines;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// The fenced blocks of a file of docs/ whose first line is exactly ``` and `kind`.
inline std::vector<Lines> Blocks(const std::string& file, const std::string& kind) {
  std::vector<Lines> blocks;
  bool is_inside = false;
  bool is_wanted = false;
  for (const std::string& line : ReadLines(std::string(TREE_DOCS) + "/" + file)) {
    if (line.rfind("```", 0) == 0) {
      is_inside = !is_inside;
      is_wanted = is_inside && line == "```" + kind;
      if (is_wanted) blocks.emplace_back();
    } else if (is_wanted) {
      blocks.back().push_back(line);
    }
  }
  EXPECT_FALSE(is_inside) << file << " ends within a block";
  return blocks;
}

// The one block of that kind.
inline Lines Block(const std::string& file, const std::string& kind) {
  std::vector<Lines> blocks = Blocks(file, kind);
  EXPECT_EQ(1u, blocks.size()) << file << ": " << kind;
  return blocks.empty() ? Lines() : blocks.front();
}

// --- Tables -------------------------------------------------------------------

// The rows below the titles, each cell without the blanks around it.
inline std::vector<Lines> Rows(const Lines& block) {
  std::vector<Lines> rows;
  for (std::size_t i = 1; i < block.size(); ++i) {
    Lines cells;
    std::size_t at = 0;
    for (;;) {
      const std::size_t bar = block[i].find('|', at);
      cells.push_back(Trimmed(block[i].substr(at, bar - at)));
      if (bar == std::string::npos) break;
      at = bar + 1;
    }
    rows.push_back(cells);
  }
  EXPECT_FALSE(rows.empty());
  return rows;
}

// The bytes of a table of offset, bytes and meaning.  Each offset is where the bytes
// before it end, and each row says what its bytes mean.
inline std::string HexBytes(const Lines& block) {
  std::string bytes;
  for (const Lines& row : Rows(block)) {
    EXPECT_EQ(3u, row.size());
    if (row.size() != 3) continue;
    EXPECT_EQ(std::to_string(bytes.size()), row[0]);
    EXPECT_NE("", row[2]) << "offset " << row[0];
    for (std::size_t at = 0; at < row[1].size(); at += 3) {
      bytes.push_back(static_cast<char>(std::stoi(row[1].substr(at, 2), nullptr, 16)));
    }
  }
  return bytes;
}

// --- Pictures of trees ----------------------------------------------------------

// The lines of a tree's picture.
inline Lines Picture(const Tree_NodePtr& top) {
  struct Level {
    Tree_NodePtr node;
    std::string indent;  // in front of its children's lines
    int next;
  };
  const auto label = [](const Tree_NodePtr& node) {
    const RWCString& name = node->GetKeyName();
    std::string text(name.data(), name.length());
    if (!node->IsLeaf()) return text;
    const RWCString value = node->GetTreeValue()->GetValue();
    text += " = ";
    text += value.isNull() ? "\"\"" : std::string(value.data(), value.length());
    return node->GetTreeValue()->IsChange() != 0 ? text + " *" : text;
  };
  if (top.isNull()) return {"(null)"};
  Lines lines = {label(top)};
  std::vector<Level> way = {{top, "", 0}};
  while (!way.empty()) {
    Level& level = way.back();
    const int count = level.node->GetChildCount();
    if (level.next == count) {
      way.pop_back();
      continue;
    }
    const bool is_last = ++level.next == count;
    const Tree_NodePtr child = level.node->GetChildAt(level.next - 1);
    lines.push_back(level.indent + (is_last ? "└─ " : "├─ ") + label(child));
    way.push_back({child, level.indent + (is_last ? "   " : "│  "), 0});
  }
  return lines;
}

// The tree of a picture.  The picture must be the one that Picture() makes of it.
inline Tree_NodePtr TreeOf(const Lines& picture) {
  std::vector<Tree_NodePtr> way;
  for (const std::string& line : picture) {
    // What stands in front of a name is blanks and line drawing, three bytes for each of
    // those characters.
    std::size_t columns = 0;
    std::size_t at = 0;
    while (at < line.size() && (line[at] == ' ' || line[at] == '\xe2')) {
      at += line[at] == ' ' ? 1 : 3;
      ++columns;
    }
    const std::size_t depth = columns / 3;
    if (columns % 3 != 0 || depth > way.size() || (depth == 0) != way.empty()) {
      ADD_FAILURE() << "not a tree: " << line;
      return Tree_NodePtr();
    }
    std::string name = line.substr(at);
    Tree_Value* value = nullptr;
    const std::size_t equals = name.find(" = ");
    if (equals != std::string::npos) {
      std::string text = name.substr(equals + 3);
      name.resize(equals);
      const bool is_changed = text.size() > 2 && text.compare(text.size() - 2, 2, " *") == 0;
      if (is_changed) text.resize(text.size() - 2);
      if (text == "\"\"") text.clear();
      value = new Tree_Value(text.c_str(), is_changed ? 1 : 0);
    }
    Tree_NodePtr node(new Tree_Node(name.c_str(), value));
    if (depth > 0) {
      EXPECT_EQ(1, way[depth - 1]->Add(node));
    }
    way.resize(depth);
    way.push_back(node);
  }
  if (way.empty()) return Tree_NodePtr();
  EXPECT_EQ(picture, Picture(way.front()));
  return way.front();
}

// One picture of a block and its title.
struct Column {
  std::string title;
  Lines picture;
};

// The pictures that stand side by side below a line of titles.
inline std::vector<Column> Columns(const Lines& block) {
  // Where a column of characters begins in a line of bytes.
  const auto byte_at = [](const std::string& line, std::size_t column) {
    std::size_t at = 0;
    for (; at < line.size() && column > 0; --column) {
      do {
        ++at;
      } while (at < line.size() && (static_cast<unsigned char>(line[at]) & 0xc0) == 0x80);
    }
    return at;
  };
  std::vector<Column> columns;
  std::vector<std::size_t> starts;
  const std::string titles = block.empty() ? "" : block[0];
  for (std::size_t at = 0; at < titles.size();) {
    const std::size_t end = std::min(titles.find("  ", at), titles.size());
    columns.push_back({titles.substr(at, end - at), {}});
    starts.push_back(at);
    at = std::min(titles.find_first_not_of(' ', end), titles.size());
  }
  for (std::size_t i = 1; i < block.size(); ++i) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const std::size_t first = byte_at(block[i], starts[c]);
      const std::size_t end =
          c + 1 < columns.size() ? byte_at(block[i], starts[c + 1]) : block[i].size();
      std::string cell = block[i].substr(first, end - first);
      cell.resize(cell.find_last_not_of(' ') + 1);
      if (!cell.empty()) columns[c].picture.push_back(cell);
    }
  }
  return columns;
}

// --- Code -------------------------------------------------------------------------

// Whether `wanted` stands in `source` line by line, however far indented.
inline bool HasCode(const Lines& source, const Lines& wanted) {
  const auto same = [](const std::string& a, const std::string& b) {
    return Trimmed(a) == Trimmed(b);
  };
  return std::search(source.begin(), source.end(), wanted.begin(), wanted.end(), same) !=
         source.end();
}

}  // namespace docs

#endif  // TREE_TESTS_DOCS_MARKDOWNEXAMPLES_H
