// The committed corpus, run through the targets without a fuzzer: whatever was once worth
// keeping is repeated by every compiler and on every platform.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "Tree/Tree_Node.h"
#include "fuzz/Pools.h"
#include "fuzz/targets.h"
#include "support/LeakCheck.h"
#include "support/LogCapture.h"
#include "support/TreeMaking.h"

namespace {

struct Subject {
  const char* folder;
  fuzz::Target target;
  bool minds_pools = false;  // it decides itself whether the pools yield anything
};

void PrintTo(const Subject& subject, std::ostream* out) {
  *out << subject.folder;
}

const Subject kSubjects[] = {
    {"dynamic_string_arr", &fuzz::DynamicStringArr},
    {"operations", &fuzz::Operations, true},
    {"operations_zero_names", &fuzz::OperationsZeroNames, true},
    {"tree_path", &fuzz::TreePath},
#ifdef TREE_FUZZ_READERS
    {"reader_ini", &fuzz::ReaderIni},
    {"reader_json", &fuzz::ReaderJson},
    {"reader_reg", &fuzz::ReaderReg},
    {"reader_tree", &fuzz::ReaderTree},
    {"reader_xml", &fuzz::ReaderXml},
#endif
};

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(const std::string& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(fs::path(TREE_FUZZ_CORPUS) / folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string BytesOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class Corpus : public testing::TestWithParam<Subject> {
 protected:
  // So that the heap is compared fairly: names made after the clock are others every time.
  static void SetUpTestSuite() {
    const LogCapture log;
    InternNamesMadeAfterTheClock();
  }
};

TEST_P(Corpus, HasNoBug) {
  const std::vector<fs::path> files = FilesOf(GetParam().folder);
  ASSERT_FALSE(files.empty());
  for (const fs::path& file : files) {
    SCOPED_TRACE(file.string());
    const std::string bytes = BytesOf(file);
    EXPECT_NO_THROW(GetParam().target(bytes));
    if (GetParam().minds_pools) continue;
    // The same out of the heap, where a sanitizer sees each node.
    const fuzz::WithoutPools without_pools;
    EXPECT_NO_THROW(GetParam().target(bytes));
  }
}

INSTANTIATE_TEST_SUITE_P(Targets, Corpus, testing::ValuesIn(kSubjects),
                         [](const testing::TestParamInfo<Subject>& subject) {
                           return std::string(subject.param.folder);
                         });

#ifdef TREE_FUZZ_READERS
TEST(CorpusFolders, BelongToATarget) {
  for (const auto& entry : fs::directory_iterator(TREE_FUZZ_CORPUS)) {
    const std::string name = entry.path().filename().string();
    EXPECT_TRUE(std::any_of(std::begin(kSubjects), std::end(kSubjects),
                            [&](const Subject& subject) { return name == subject.folder; }))
        << name;
  }
}
#endif

}  // namespace
