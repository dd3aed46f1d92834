// What the arguments become.

#include "CommandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Error.h"

using namespace cfgtree;

namespace {

using Arguments = std::vector<std::string>;

// Names that the parser has other uses for.
const std::string kNames[] = {"[b.json]", "[]", "[[x]]", "[a,b]", "[", "]", "++", "%%", "+", "{}"};

TEST(CommandLine, TakesNamesAsTheyAre) {
  for (const std::string& name : kNames) {
    SCOPED_TRACE(name);
    Options options = ParseCommandLine({"merge", name, name, "x", name, "-o", name}).options;
    EXPECT_EQ(options.files, (Arguments{name, name, "x", name}));
    EXPECT_EQ(options.output, name);
    options = ParseCommandLine({"explain", name, "--one-level", "x", name, name}).options;
    EXPECT_EQ(options.path, name);
    EXPECT_TRUE(options.one_level);
    EXPECT_EQ(options.files, (Arguments{"x", name, name}));
    options = ParseCommandLine({"merge", "-o", "x", "--", name, name}).options;
    EXPECT_EQ(options.files, (Arguments{name, name}));

    options = ParseCommandLine({"get", name, name}).options;
    EXPECT_EQ(options.files, Arguments{name});
    EXPECT_EQ(options.path, name);
    options = ParseCommandLine({"convert", name, name}).options;
    EXPECT_EQ(options.files, Arguments{name});
    EXPECT_EQ(options.output, name);
    options = ParseCommandLine({"export", name, "--skip", name, "--output=" + name}).options;
    EXPECT_EQ(options.skip, name);
    EXPECT_EQ(options.output, name);
    options = ParseCommandLine({"checksum", name, "--name", name}).options;
    EXPECT_EQ(options.name, name);
  }
}

struct RefusedCase {
  Arguments arguments;
  const char* line;
};
const RefusedCase kRefused[] = {
    // What is no option is told before what there is too much of.
    {{"diff", "a", "b", "--limit", "3"}, "unknown option --limit"},
    {{"diff", "a", "b", "c", "--frob"}, "unknown option --frob"},
    {{"diff", "--frob", "a", "-x", "b"}, "unknown option --frob"},
    {{"diff", "a", "b", "c", "d"}, "too many arguments: c d"},
    {{"diff", "a", "b", "-", "[c]"}, "too many arguments: - [c]"},
    // Values are told as they are.
    {{"print", "a", "--format", "[x]"}, "--format: [x] not in {json,xml,ini,reg,tree}"},
    {{"print", "a", "--depth", "[1]"}, "--depth: Value [1] not in range 0 to 2147483647"},
    {{"[x]"}, "unknown command [x]"},
    {{"++", "x"}, "unknown command ++"},
};

TEST(CommandLine, SaysWhatIsWrong) {
  for (const RefusedCase& c : kRefused) {
    SCOPED_TRACE(c.line);
    try {
      ParseCommandLine(c.arguments);
      ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
      EXPECT_STREQ(error.what(), c.line);
    }
  }
}

}  // namespace
