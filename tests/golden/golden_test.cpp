// Serialized trees, flat string arrays and checksums beside those that a script has
// written without this library.
//
// trees.txt and arrays.txt describe what is built; expected/ holds what make_golden.py
// made of them.

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Tree/Tree_Node.h"
#include "strarr/Dynamic_String_Arr.h"
#include "support/TreeMaking.h"

namespace {

// --- Reading the files ---------------------------------------------------------

std::string PathOf(const std::string& file) {
  return std::string(TREE_GOLDEN_DIR) + "/" + file;
}

struct Token {
  bool is_quoted;
  std::string text;  // without quotation marks
};

struct Line {
  std::size_t indentation;
  std::vector<Token> tokens;
};

int DigitOf(char c) {
  const std::string kDigits = "0123456789ABCDEF";
  const std::size_t at = kDigits.find(c);
  if (at == std::string::npos) ADD_FAILURE() << "no hexadecimal digit: " << c;
  return static_cast<int>(at % 16);
}

char ByteOf(const std::string& text, std::size_t at) {
  return static_cast<char>(DigitOf(text.at(at)) * 16 + DigitOf(text.at(at + 1)));
}

Token QuotedAt(const std::string& line, std::size_t& at) {
  Token token{true, ""};
  for (++at; line.at(at) != '"'; ++at) {
    if (line[at] != '\\') {
      token.text += line[at];
    } else if (line.at(++at) == 'x') {
      token.text += ByteOf(line, at + 1);
      at += 2;
    } else {
      token.text += line[at];
    }
  }
  ++at;
  return token;
}

// The lines of a file that say something.
std::vector<Line> LinesOf(const std::string& file) {
  std::ifstream in(PathOf(file), std::ios::binary);
  EXPECT_TRUE(in.is_open()) << PathOf(file);
  std::vector<Line> lines;
  for (std::string text; std::getline(in, text);) {
    if (!text.empty() && text[0] == '#') continue;
    Line line{std::min(text.find_first_not_of(' '), text.size()), {}};
    for (std::size_t at = line.indentation; at < text.size();) {
      if (text[at] == ' ') {
        ++at;
      } else if (text[at] == '"') {
        line.tokens.push_back(QuotedAt(text, at));
      } else {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        line.tokens.push_back({false, text.substr(at, end - at)});
        at = end;
      }
    }
    if (!line.tokens.empty()) lines.push_back(line);
  }
  return lines;
}

std::string BytesOfHexFile(const std::string& file) {
  std::ifstream in(PathOf(file), std::ios::binary);
  EXPECT_TRUE(in.is_open()) << PathOf(file);
  std::string bytes;
  for (std::string line; std::getline(in, line);) {
    line.resize(std::min(line.find('#'), line.size()));
    std::istringstream pairs(line);
    for (std::string pair; pairs >> pair;) {
      EXPECT_EQ(2u, pair.size()) << pair;
      bytes += ByteOf(pair, 0);
    }
  }
  return bytes;
}

struct Serialization {
  std::string file;
  bool with_header = false;
  bool has_header_path = false;
  std::string header_path;
  std::string skip_name;
};

struct Tree {
  std::string name;
  Tree_NodePtr top;
  std::string checksum;  // empty when it is not known from elsewhere
  std::vector<Serialization> files;
};

Tree_NodePtr NodeOf(const std::vector<Token>& tokens) {
  if (tokens.size() == 1) return Inner(Bytes(tokens[0].text));
  EXPECT_EQ("=", tokens[1].text);
  const int flag = tokens.size() > 3 ? std::atoi(tokens[3].text.c_str()) : 0;
  return Leaf(Bytes(tokens[0].text), Bytes(tokens.at(2).text), flag);
}

Serialization SerializationOf(const std::vector<Token>& tokens) {
  Serialization result;
  result.file = tokens.at(1).text;
  for (std::size_t i = 2; i < tokens.size(); ++i) {
    if (tokens[i].text == "skip") {
      result.skip_name = tokens.at(++i).text;
      continue;
    }
    EXPECT_EQ("header", tokens[i].text);
    result.with_header = true;
    if (i + 1 < tokens.size() && tokens[i + 1].is_quoted) {
      result.has_header_path = true;
      result.header_path = tokens[++i].text;
    }
  }
  return result;
}

std::vector<Tree> ReadTrees() {
  std::vector<Tree> trees;
  std::vector<Tree_NodePtr> open;  // the last node of every level
  for (const Line& line : LinesOf("trees.txt")) {
    const std::string& word = line.tokens[0].text;
    if (line.tokens[0].is_quoted) {
      Tree_NodePtr node = NodeOf(line.tokens);
      const std::size_t depth = line.indentation / 2 - 1;
      if (depth == 0) {
        trees.back().top = node;
      } else {
        open.at(depth - 1)->Add(node);
      }
      open.resize(depth);
      open.push_back(node);
    } else if (word == "tree") {
      trees.push_back({line.tokens.at(1).text, {}, "", {}});
    } else if (word == "checksum") {
      trees.back().checksum = line.tokens.at(1).text;
    } else if (word == "serialize") {
      trees.back().files.push_back(SerializationOf(line.tokens));
    } else {
      ADD_FAILURE() << "unknown word in trees.txt: " << word;
    }
  }
  return trees;
}

struct Array {
  std::string name;
  std::vector<std::string> strings;
};

std::vector<Array> ReadArrays() {
  std::vector<Array> arrays;
  for (const Line& line : LinesOf("arrays.txt")) {
    if (!line.tokens[0].is_quoted) {
      EXPECT_EQ("array", line.tokens[0].text);
      arrays.push_back({line.tokens.at(1).text, {}});
      continue;
    }
    std::string text;
    const int times = line.tokens.size() > 1 ? std::atoi(line.tokens.at(2).text.c_str()) : 1;
    for (int i = 0; i < times; ++i) text += line.tokens[0].text;
    arrays.back().strings.push_back(text);
  }
  return arrays;
}

// --- What the library makes of them --------------------------------------------

std::string Taken(char* buffer, int size) {
  const std::unique_ptr<char[]> owner(buffer);
  EXPECT_NE(nullptr, buffer);
  return buffer == nullptr ? "" : std::string(buffer, static_cast<std::size_t>(size));
}

// By way of the list of records, which is what a header with a path needs.
std::string BytesOfList(Tree_NodePtr& top, const Serialization& file) {
  RWCString skip_name = Bytes(file.skip_name);
  int size = -1;
  char* const buffer = Tree_Node::GetSerializeIdNodeInfoVec(
      Tree_Node::GetIdNodeVecFromTreeSkipPath(top, nullptr, skip_name), size,
      Bytes(file.header_path), file.with_header, false);
  return Taken(buffer, size);
}

std::string BytesOfTree(Tree_NodePtr& top, const Serialization& file) {
  int size = -1;
  if (file.skip_name.empty()) {
    char* const buffer = Tree_Node::GetSerializedTreeNode(top, size, file.with_header);
    return Taken(buffer, size);
  }
  RWCString skip_name = Bytes(file.skip_name);
  char* const buffer =
      Tree_Node::GetSerializedTreeNodeSkipPath(top, size, file.with_header, skip_name);
  return Taken(buffer, size);
}

// As pairs of digits, sixteen per line: what a failure shows.
std::string Hex(const std::string& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text += kDigits[byte / 16];
    text += kDigits[byte % 16];
    text += i % 16 == 15 ? '\n' : ' ';
  }
  return text;
}

std::string Hex32(unsigned long number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  std::string text;
  for (const char c : Hex(bytes)) {
    if (c != ' ') text += c;
  }
  return text;
}

TEST(Golden, SerializedTreesAreTheExpectedBytes) {
  std::size_t compared = 0;
  for (Tree& tree : ReadTrees()) {
    for (const Serialization& file : tree.files) {
      SCOPED_TRACE(tree.name + ", " + file.file);
      const std::string expected = BytesOfHexFile("expected/serialized/" + file.file + ".hex");
      EXPECT_EQ(Hex(expected), Hex(BytesOfList(tree.top, file)));
      if (!file.has_header_path) {
        EXPECT_EQ(Hex(expected), Hex(BytesOfTree(tree.top, file)));
      }
      ++compared;
    }
  }
  EXPECT_EQ(44u, compared);
}

TEST(Golden, ChecksumsAreTheExpectedNumbers) {
  std::map<std::string, std::string> expected;
  for (const Line& line : LinesOf("expected/checksums.txt")) {
    expected[line.tokens.at(0).text] = line.tokens.at(1).text;
  }
  std::vector<Tree> trees = ReadTrees();
  EXPECT_EQ(26u, trees.size());
  EXPECT_EQ(trees.size(), expected.size());
  for (Tree& tree : trees) {
    SCOPED_TRACE(tree.name);
    const std::string checksum = Hex32(tree.top->GetChecksumIgnoreOrder());
    EXPECT_EQ(expected[tree.name], checksum);
    if (!tree.checksum.empty()) {
      EXPECT_EQ(tree.checksum, checksum);
    }
  }
}

// --- Flat arrays ---------------------------------------------------------------

int LengthOf(const std::string& text) {
  return static_cast<int>(text.size());
}

std::string Flat(const Dynamic_String_Arr& array) {
  char* out = nullptr;
  const int size = array.FlattenToByteArray(out);
  EXPECT_NE(nullptr, out);
  const std::string bytes(out, static_cast<std::size_t>(size));
  ::operator delete(out);
  return bytes;
}

void ExpectHolds(const std::vector<std::string>& strings, const Dynamic_String_Arr& array) {
  ASSERT_EQ(static_cast<int>(strings.size()), array.GetInsertedNum());
  for (int i = 0; i < array.GetInsertedNum(); ++i) {
    const std::string& expected = strings[static_cast<std::size_t>(i)];
    ASSERT_EQ(LengthOf(expected), array.GetLength(i));
    EXPECT_EQ(expected, std::string(array.GetStr(i), expected.size()));
    EXPECT_EQ('\0', array.GetStr(i)[expected.size()]);
  }
}

TEST(Golden, FlatArraysAreTheExpectedBytes) {
  const std::vector<Array> arrays = ReadArrays();
  EXPECT_EQ(9u, arrays.size());
  for (const Array& a : arrays) {
    SCOPED_TRACE(a.name);
    Dynamic_String_Arr array(static_cast<int>(a.strings.size()));
    for (const std::string& text : a.strings) array.AddStr(text.data(), LengthOf(text));
    ExpectHolds(a.strings, array);
    EXPECT_EQ(Hex(BytesOfHexFile("expected/arrays/" + a.name + ".hex")), Hex(Flat(array)));
  }
}

// Slots that were never written stay out of the bytes.
TEST(Golden, FlatArraysHoldNothingOfSlotsWithoutAString) {
  for (const Array& a : ReadArrays()) {
    SCOPED_TRACE(a.name);
    Dynamic_String_Arr array(40);
    for (const std::string& text : a.strings) array.AddStr(text.data(), LengthOf(text));
    EXPECT_EQ(Hex(BytesOfHexFile("expected/arrays/" + a.name + ".hex")), Hex(Flat(array)));
  }
}

TEST(Golden, FlatArraysAreReadAndWrittenAgain) {
  for (const Array& a : ReadArrays()) {
    SCOPED_TRACE(a.name);
    const std::string bytes = BytesOfHexFile("expected/arrays/" + a.name + ".hex");
    // Exactly as large as the bytes, so that a sanitizer sees whoever reads on.
    const std::unique_ptr<char[]> block(new char[bytes.size()]);
    bytes.copy(block.get(), bytes.size());
    Dynamic_String_Arr array;
    array.ReadFromFlattenedByteArray(block.get());
    EXPECT_EQ(static_cast<int>(a.strings.size()), array.GetArrLen());
    ExpectHolds(a.strings, array);
    EXPECT_EQ(Hex(bytes), Hex(Flat(array)));
    EXPECT_EQ(bytes, std::string(block.get(), bytes.size()));
  }
}

}  // namespace
