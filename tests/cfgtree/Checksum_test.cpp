// The checksum as the user sees it.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "ProgramLine.h"
#include "RandomTrees.h"
#include "commands/Checksum.h"

using namespace cfgtree;

namespace {

struct ChecksumCase {
  const char* top_name;
  std::string_view json;
  const char* checksum;
};
const ChecksumCase kChecksums[] = {
    {"a", R"("1")", "0C39F5AD"},
    {"b", R"("2")", "97761A4E"},
    {"a", R"("")", "8084E5DC"},
    {"a", "{}", "8084E5DC"},
    {"r", R"({"a": "1", "b": "2"})", "758CABD3"},
    {"r", R"({"b": "2", "a": "1"})", "758CABD3"},
    {"r", R"({"a": "1", "a": "2"})", "C2C42EB0"},
    {"cfg", R"({"net": {"host": "h1", "port": 80}, "z": ""})", "DD94CC8C"},
};

TEST(Checksum, HasEightCapitalDigits) {
  for (const ChecksumCase& c : kChecksums) {
    Tree_NodePtr top = JsonTree(c.json, c.top_name);
    EXPECT_EQ(ChecksumText(*top), c.checksum) << c.json;
  }
}

TEST(ChecksumProgram, PrintsTheSumTheFileAndThePath) {
  const TempFile file("sum.json", R"({"net": {"host": "h1", "port": 80}, "z": "", "a": 1})");
  RunResult result = RunProgram({"checksum", file.Path(), "a"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "0C39F5AD\t" + file.Path() + "\ta\n");
  EXPECT_EQ(result.err, "");
  result = RunProgram({"checksum", "-", "--color", "always"}, R"({"a": "1"})");
  EXPECT_EQ(result.code, 0);
  EXPECT_NE(result.out.find("\x1b[0m  \x1b[36m<stdin>\x1b[0m\n"), std::string::npos);
}

TEST(ChecksumProgram, IsTheSameForTheSameContentInAnyFile) {
  const TempFile json("one.json", R"({"a": {"x": "1", "y": "2"}})");
  const TempFile ini("two.ini", "[a]\ny = 2\nx = 1\n");
  const auto sum = [](const std::vector<std::string>& arguments) {
    return RunProgram(arguments).out.substr(0, 9);
  };
  const std::string expected = sum({"checksum", json.Path()});
  EXPECT_EQ(expected.size(), 9u);
  EXPECT_EQ(sum({"checksum", ini.Path()}), expected);
  EXPECT_EQ(sum({"checksum", ini.Path(), "--name", "top"}), expected);
  EXPECT_NE(sum({"checksum", ini.Path(), "--name", "other"}), expected);
}

TEST(ChecksumProgram, TakesAnotherNameForTheNode) {
  const std::string input = R"({"net": {"host": "h1", "port": 80}, "z": ""})";
  EXPECT_EQ(RunProgram({"checksum", "-", "--name", "cfg"}, input).out, "DD94CC8C\t<stdin>\n");
  EXPECT_EQ(RunProgram({"checksum", "-", "z", "--name", "a"}, input).out, "8084E5DC\t<stdin>\tz\n");
}

TEST(ChecksumProgram, PrintsJson) {
  EXPECT_EQ(RunProgram({"checksum", "-", "a", "--json"}, R"({"a": 1})").out,
            R"({"file":"<stdin>","path":"a","name":"a","checksum":"0C39F5AD"})"
            "\n");
}

TEST(ChecksumProgram, SaysInOneLineWhatIsWrong) {
  ExpectRefusal(RunProgram({"checksum", "-", "x"}, "{}"), 1, "<stdin>: no such path: x");
  ExpectRefusal(RunProgram({"checksum", "-"}, "{\n"), 1, "<stdin>:2:1: ...");
  ExpectRefusal(RunProgram({"checksum"}), 2, "FILE is required; see cfgtree --help");
  ExpectRefusal(RunProgram({"checksum", "-", "--name"}), 2,
                "--name needs a value; see cfgtree --help");
}

}  // namespace
