// How much memory reading takes.

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <string>

#include "Load.h"

using namespace cfgtree;

namespace {

#if defined(__linux__)

// A line such as "VmHWM:  1234 kB" of what the system tells of this process, in bytes.
std::size_t MemoryOf(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::size_t kilobytes = 0;
    if (word == name && status >> kilobytes) return kilobytes * 1024;
  }
  ADD_FAILURE() << "no " << name;
  return 0;
}

TEST(Memory, IsNotTakenForAnXmlFileASecondTime) {
  std::string bytes = "<a>\n";
  bytes.reserve(65000000);
  while (bytes.size() < 64000000) {
    bytes += "<!--";
    bytes.append(1000000, 'x');
    bytes += "-->\n";
  }
  bytes += "</a>\n";
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak counts from here on
  const std::size_t before = MemoryOf("VmHWM:");
  EXPECT_GT(before, bytes.size());
  Tree_NodePtr top = BuildTree({"f", bytes, nullptr}, Format::kXml, "t");
  EXPECT_EQ(top->GetNodeNum(), 2);
  EXPECT_LT(MemoryOf("VmHWM:"), before + bytes.size() / 2);
}

#else

TEST(Memory, IsNotTakenForAnXmlFileASecondTime) {
  GTEST_SKIP() << "needs Linux, which tells a process's peak of memory";
}

#endif

}  // namespace
