// Broken files of every kind: whatever happens to the bytes of a valid file, a reader
// gives a tree or one line.  The sanitizer builds make this a search for bad accesses.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "ReaderText.h"

using namespace cfgtree;

namespace {

std::string ReadData(const std::string& name) {
  std::ifstream file(std::string(CFGTREE_TEST_DATA) + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

struct Sample {
  const char* file;
  Format format;
};
const Sample kSamples[] = {{"sample.json", Format::kJson},     {"sample.xml", Format::kXml},
                           {"sample-utf16.xml", Format::kXml}, {"sample.ini", Format::kIni},
                           {"sample.reg", Format::kReg},       {"sample-utf16.reg", Format::kReg}};

int trees = 0;
int errors = 0;

void ExpectTreeOrOneLine(Format format, const std::string& bytes) {
  const std::string result = Read(format, bytes);
  if (result.compare(0, 7, "error: ") != 0) {
    ++trees;
    return;
  }
  ++errors;
  ASSERT_EQ(result.compare(7, 2, "f:"), 0) << result;
  ASSERT_EQ(result.find('\n'), result.npos) << result;
}

TEST(BrokenFiles, GiveATreeOrOneLine) {
  for (const Sample& sample : kSamples) {
    SCOPED_TRACE(sample.file);
    const std::string bytes = ReadData(sample.file);
    ASSERT_GT(bytes.size(), 100u);
    ASSERT_NE(Read(sample.format, bytes).compare(0, 7, "error: "), 0);
    trees = errors = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      ExpectTreeOrOneLine(sample.format, bytes.substr(0, i));
      ExpectTreeOrOneLine(sample.format, bytes.substr(0, i) + bytes.substr(i + 1));
      for (const char flip : {'\x01', '\x02', '\x08', '\x20', '\x40', '\x80', '\xFF'}) {
        std::string broken = bytes;
        broken[i] = static_cast<char>(broken[i] ^ flip);
        ExpectTreeOrOneLine(sample.format, broken);
      }
      for (const char put : {'\0', '\n', '"', '\\', '[', ']', '<', '&', '='}) {
        std::string broken = bytes;
        broken[i] = put;
        ExpectTreeOrOneLine(sample.format, broken);
      }
    }
    // Both happen for each format, or the loop would not have tried much.
    EXPECT_GT(trees, 10);
    EXPECT_GT(errors, 10);
  }
}

TEST(BrokenFiles, OfAnotherFormatGiveATreeOrOneLine) {
  for (const Sample& sample : kSamples) {
    for (const Sample& other : kSamples) {
      ExpectTreeOrOneLine(other.format, ReadData(sample.file));
    }
  }
}

}  // namespace
