// Serialized trees become the trees that they were, or one line that says at which byte
// they are broken.

#include "readers/TreeReader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "ReaderText.h"
#include "TreeBytes.h"
#include "property/settings.h"
#include "support/SmallStackThread.h"
#include "writers/Writer.h"

using namespace cfgtree;
using namespace std::string_literals;

namespace {

const std::string kTop = Record(0, -1, "cfg");

struct BytesCase {
  std::string bytes;
  std::string expected;
};

const BytesCase kTrees[] = {
    // The top alone is an inner node, whatever its name.
    {kTop, "cfg/\n"},
    {Record(0, -1, ""), "/\n"},
    // Leaves, inner nodes, and no value and no children: a leaf.
    {kTop + Record(1, 0, "a", "1") + Record(2, 0, "b") + Record(3, 2, "c", "x") + Record(4, 0, "d"),
     "cfg/\n  a = 1\n  b/\n    c = x\n  d = \n"},
    // Behind a header, empty or not.
    {Sized("") + kTop + Record(1, 0, "a", "1"), "cfg/\n  a = 1\n"},
    {Sized("over\\it") + kTop + Record(1, 0, "a", "1"), "cfg/\n  a = 1\n"},
    {Sized("\xFF\xFF\xFF\xFF") + kTop, "cfg/\n"},
    // Names are node names already, and any bytes.
    {kTop + Record(1, 0, "") + Record(2, 0, "a%5Cb", "x") + Record(3, 0, "%", "y") +
         Record(4, 0, " \xFF", " \xFE "),
     "cfg/\n   = \n  a%5Cb = x\n  % = y\n   \xFF =  \xFE \n"},
    {kTop + Record(1, 0, "a\0b"s, "\0"s), "cfg/\n  a\0b = \0\n"s},
    // Ids with gaps, out of order, and children of nodes that came long before.
    {kTop + Record(7, 0, "a") + Record(3, 7, "b", "1") + Record(2147483647, 0, "c", "2") +
         Record(1, 7, "d", "3"),
     "cfg/\n  a/\n    b = 1\n    d = 3\n  c = 2\n"},
    {kTop + Record(1, 0, "a") + Record(2, 0, "b") + Record(3, 1, "c") + Record(5, 2, "d"),
     "cfg/\n  a/\n    c = \n  b/\n    d = \n"},
    // A top with a value, which the library itself never writes.
    {Record(0, -1, "cfg", "v"), "cfg = v\n"},
};

TEST(TreeReader, ReadsTheTreeThatWasWritten) {
  for (const BytesCase& c : kTrees) EXPECT_EQ(Read(Format::kTree, c.bytes), c.expected);
}

const BytesCase kBroken[] = {
    {"", "byte 0: the file is empty; a serialized tree has a record at least"},
    // Something else.
    {"{\"a\": 1}",
     "byte 0: not a serialized tree: neither id 0 below -1 nor the length of a header "
     "(2065850658)"},
    {"\xFF\xFE[\0"s,
     "byte 0: not a serialized tree: neither id 0 below -1 nor the length of a header (-107776)"},
    {std::string(64, '\0'),
     "byte 4: not a serialized tree: its first record would have id 0 below 0, not 0 below -1"},
    {Record(1, -1, "cfg"),
     "byte 5: not a serialized tree: its first record would have id -256 below 867, not 0 below -1"},
    {Sized("p") + Record(1, -1, "cfg"),
     "byte 5: not a serialized tree: its first record would have id 1 below -1, not 0 below -1"},
    {Sized("p") + Record(0, 0, "cfg"),
     "byte 5: not a serialized tree: its first record would have id 0 below 0, not 0 below -1"},
    // Cut off.
    {"\0"s, "byte 0: the file ends inside the id of a record"},
    {"\0\0\0"s, "byte 0: the file ends inside the id of a record"},
    {Sized(""), "byte 4: the file ends where its first record should begin"},
    {Sized("abc"), "byte 7: the file ends where its first record should begin"},
    {Number(0) + "\xFF", "byte 4: the file ends inside the parent id of a record"},
    {Number(0) + Number(-1), "byte 8: the file ends inside the length of a name"},
    {kTop.substr(0, 13), "byte 8: a name of 3 bytes, but only 1 byte is left"},
    {kTop.substr(0, 17), "byte 15: the file ends inside the length of a value"},
    {kTop + Record(1, 0, "a", "xyz").substr(0, 19),
     "byte 32: a value of 3 bytes, but only 2 bytes are left"},
    {kTop + Record(1, 0, "a", "xyz").substr(0, 20),
     "byte 39: the file ends inside the change flag of a value"},
    {kTop + "\0\0"s, "byte 19: the file ends inside the id of a record"},
    // Lengths that cannot be.
    {Number(0) + Number(-1) + Number(-1), "byte 8: a name of -1 bytes"},
    {Number(0) + Number(-1) + Number(INT32_MIN), "byte 8: a name of -2147483648 bytes"},
    {Number(0) + Number(-1) + Number(0x7FFFFFFF) + "abc",
     "byte 8: a name of 2,147,483,647 bytes, but only 3 bytes are left"},
    {Number(0) + Number(-1) + Sized("cfg") + Number(0x7FFFFFFF),
     "byte 15: a value of 2,147,483,647 bytes, but only 0 bytes are left"},
    {Number(0) + Number(-1) + Sized("cfg") + Number(-5), "byte 15: a value of -5 bytes"},
    // Ids that cannot be.
    {kTop + Record(-2, 0, "a"), "byte 19: id -2 is negative"},
    {kTop + Record(0, 0, "a"), "byte 19: id 0 comes twice"},
    {kTop + Record(1, 0, "a") + Record(1, 0, "b"), "byte 36: id 1 comes twice"},
    {kTop + Record(9, 0, "a") + Record(0, 9, "b"), "byte 36: id 0 comes twice"},
    {kTop + Record(9, 0, "a") + Record(9, 0, "b"), "byte 36: id 9 comes twice"},
    {kTop + Record(1, -1, "a"), "byte 23: a second record without a parent"},
    {kTop + Record(1, -7, "a"), "byte 23: parent id -7 belongs to no earlier record"},
    {kTop + Record(1, 1, "a"), "byte 23: parent id 1 belongs to no earlier record"},
    {kTop + Record(1, 2, "a") + Record(2, 1, "b"),
     "byte 23: parent id 2 belongs to no earlier record"},
    {kTop + Record(9, 0, "a") + Record(4, 5, "b"),
     "byte 40: parent id 5 belongs to no earlier record"},
    {kTop + Record(1, 0, "a", "v") + Record(2, 1, "b"),
     "byte 45: parent id 1 has a value and so no children"},
    {Record(0, -1, "cfg", "v") + Record(1, 0, "a"),
     "byte 28: parent id 0 has a value and so no children"},
};

TEST(TreeReader, TellsAtWhichByteABufferIsBroken) {
  for (const BytesCase& c : kBroken) {
    EXPECT_EQ(Read(Format::kTree, c.bytes), "error: f: " + c.expected);
  }
}

TEST(TreeReader, KeepsChangeFlags) {
  Tree_NodePtr top = ReadExactly(
      Format::kTree, kTop + Record(1, 0, "a", "1", 1) + Record(2, 0, "b", "2") +
                         Record(3, 0, "c", "3", -1) + Record(4, 0, "d", "4", INT32_MAX));
  const int expected[] = {1, 0, -1, INT32_MAX};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(top->GetChildAt(i)->GetTreeValue()->IsChange(), expected[i]) << i;
  }
}

TEST(TreeReader, TellsTheHeader) {
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {"", std::nullopt}, {Sized(""), ""}, {Sized("a\\b"), "a\\b"}};
  for (const auto& [header, path] : cases) {
    SourceStyle style;
    ReadExactly(Format::kTree, header + kTop, &style);
    EXPECT_EQ(style.tree_header, path);
  }
}

// A buffer with everything in it.
std::string SampleBytes() {
  return kTop + Record(1, 0, "a", "1", 1) + Record(2, 0, "net") + Record(3, 2, "port", "80") +
         Record(4, 2, "") + Record(5, 0, "z", "\xFF\n", -1);
}

// Reads the bytes; where they are a tree, writing and reading it again must change nothing
// that the format keeps.  Whether they were one.
bool ReadsOrRefuses(const std::string& bytes) {
  try {
    Tree_NodePtr top = ReadExactly(Format::kTree, bytes);
    Losses losses;
    const std::string again = WriteFormat(top, Format::kTree, {}, losses);
    Tree_NodePtr copy = ReadExactly(Format::kTree, again);
    if (losses.empty()) {
      EXPECT_EQ(NodeLines(copy, true), NodeLines(top, true));
    }
    Losses more;
    EXPECT_EQ(WriteFormat(copy, Format::kTree, {}, more), again);
    return true;
  } catch (const Error& error) {
    const std::string_view line = error.what();
    EXPECT_EQ(line.substr(0, 8), "f: byte ") << line;
    EXPECT_LE(std::stoul(std::string(line.substr(8))), bytes.size()) << line;
    return false;
  }
}

TEST(TreeReader, ReadsATruncatedBufferUpToTheEndOfARecordOnly) {
  for (const std::string& header : {std::string(), Sized(""), Sized("path")}) {
    const std::string bytes = header + SampleBytes();
    const std::size_t sizes[] = {19, 41, 60, 86, 102};
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const bool whole = std::count(std::begin(sizes), std::end(sizes), size - header.size()) == 1;
      EXPECT_EQ(ReadsOrRefuses(bytes.substr(0, size)), whole) << header.size() << ' ' << size;
    }
    EXPECT_TRUE(ReadsOrRefuses(bytes));
  }
}

TEST(TreeReader, ReadsOrRefusesEveryCorruptedByte) {
  for (const std::string& header : {std::string(), Sized("")}) {
    const std::string bytes = header + SampleBytes();
    int read = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      for (int change = 1; change < 256; ++change) {
        std::string corrupted = bytes;
        corrupted[i] = static_cast<char>(corrupted[i] ^ change);
        read += ReadsOrRefuses(corrupted) ? 1 : 0;
      }
    }
    // Those in names, values, flags and some ids stay trees; all others must be seen.
    EXPECT_GT(read, 1000);
    EXPECT_LT(read, 255 * 60);
  }
}

TEST(TreeReader, ReadsOrRefusesRandomBuffers) {
  std::mt19937_64 random(settings::Seed());
  SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(settings::Seed()));
  for (std::uint64_t round = 0; round < settings::Rounds(300) * 10; ++round) {
    // Half of them are noise, half a tree with some numbers overwritten.
    std::string bytes = round % 2 == 0 ? kTop.substr(0, random() % 20) : SampleBytes();
    if (round % 2 == 0) {
      for (std::size_t i = random() % 60; i > 0; --i) {
        bytes += static_cast<char>(random() % 3 == 0 ? random() : random() % 3);
      }
    } else {
      for (std::size_t i = random() % 4 + 1; i > 0; --i) {
        const std::int64_t numbers[] = {-1, 0, 1, 2, 5, 0x7FFFFFFF, INT32_MIN, 16};
        bytes.replace(random() % (bytes.size() - 4), 4, Number(numbers[random() % 8]));
      }
    }
    ReadsOrRefuses(bytes);
  }
}

TEST(TreeReader, GivesBackAnyTreeThatTheLibraryFlattened) {
  std::mt19937_64 random(settings::Seed());
  SCOPED_TRACE("TREE_TEST_SEED=" + std::to_string(settings::Seed()));
  for (std::uint64_t round = 0; round < settings::Rounds(300); ++round) {
    RandomTreeOptions options;
    options.nodes = static_cast<int>(random() % 80);
    Tree_NodePtr top = RandomTree(random, options);
    for (const bool header : {false, true}) {
      const std::string bytes = Serialized(top, header);
      SourceStyle style;
      Tree_NodePtr copy = ReadExactly(Format::kTree, bytes, &style);
      ASSERT_EQ(NodeLines(copy, true), NodeLines(top, true)) << "round " << round;
      ASSERT_EQ(style.tree_header.has_value(), header);
      ASSERT_EQ(Serialized(copy, header), bytes) << "round " << round;
    }
  }
}

TEST(TreeReader, ReadsAMillionLevelsOnASmallStack) {
  constexpr int kLevels = 1000000;
  std::string bytes = kTop;
  for (int i = 1; i < kLevels; ++i) bytes += Record(i, i - 1, "n");
  RunOnSmallStack([&] {
    Tree_NodePtr top = BuildTree({"f", bytes, nullptr}, Format::kTree, "t");
    EXPECT_EQ(top->GetNodeNum(), kLevels);
    EXPECT_EQ(Serialized(top), bytes);
  });
}

TEST(TreeReader, ReadsAHundredThousandSiblingsWithIdsThatJump) {
  constexpr int kSiblings = 100000;
  // Ids fall, so that none of them is its own place.
  std::string bytes = kTop;
  for (int i = 1; i <= kSiblings; ++i) {
    bytes += Record(2 * (kSiblings - i) + 1, 0, "n" + std::to_string(i), "v");
  }
  Tree_NodePtr top = BuildTree({"f", bytes, nullptr}, Format::kTree, "t");
  EXPECT_EQ(top->GetChildCount(), kSiblings);
  EXPECT_EQ(View(top->GetChildAt(kSiblings - 1)->GetKeyName()), "n100000");
}

}  // namespace
