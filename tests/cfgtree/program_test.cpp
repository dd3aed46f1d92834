// The program as a user runs it: exit codes, standard output, standard error.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ChildProcess.h"

namespace {

using Arguments = std::vector<std::string>;

std::string Data(const std::string& name) {
  return std::string(CFGTREE_TEST_DATA) + "/" + name;
}
std::string Example(const std::string& name) {
  return std::string(CFGTREE_EXAMPLES) + "/" + name;
}

constexpr const char* kFerry = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Example\\Ferry";

void ExpectOutput(const RunResult& result, const std::string& out) {
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, out);
  EXPECT_EQ(result.err, "");
}

// Exactly one line on standard error and nothing on standard output.
void ExpectLine(const RunResult& result, int code, const std::string& line) {
  EXPECT_EQ(result.code, code);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "cfgtree: " + line + "\n");
}

// --- What the commands print --------------------------------------------------

TEST(Program, PrintsATree) {
  ExpectOutput(RunProgram({"print", Example("ferry.ini")}),
               "ferry (6)\n"
               "├─ service = ferry\n"
               "├─ verbose = \"\"\n"
               "├─ listener public (3)\n"
               "│  ├─ address = 0.0.0.0\n"
               "│  ├─ port = 8080\n"
               "│  └─ tls = yes\n"
               "├─ listener admin (2)\n"
               "│  ├─ address = 127.0.0.1\n"
               "│  └─ port = 8081\n"
               "├─ route (2)\n"
               "│  ├─ host = nord.ferry.example\n"
               "│  └─ weight = 10\n"
               "└─ route (5)\n"
               "   ├─ host = sued.ferry.example\n"
               "   ├─ weight = 5\n"
               "   ├─ spool = D:\\Spool\\sued\n"
               "   ├─ greeting = \"Moin; wie geht's?\"\n"
               "   └─ comment = \"\"\n");
}

TEST(Program, PrintsPartOfATreeWithinLimits) {
  const std::string input = R"({"a": {"b": {"c": 1}, "l": [1, 2, 3, 4, 5, 6]}, "z": 0})";
  const auto print = [&](Arguments arguments) {
    arguments.insert(arguments.begin(), "print");
    return RunProgram(arguments, input);
  };
  ExpectOutput(print({"-", "a\\b"}), "a\\b (1)\n└─ c = 1\n");
  ExpectOutput(print({"-", "z"}), "z = 0\n");
  ExpectOutput(print({"-", "--depth", "1"}),
               "stdin (2)\n├─ a (2)\n└─ z = 0\n"
               "3 of 12 nodes are shown; --all shows everything\n");
  ExpectOutput(print({"-", "a\\l", "--children", "3", "--ascii"}),
               "a\\l [6]\n|- 0 = 1\n|- 1 = 2\n|- 2 = 3\n`- ... 3 more\n"
               "4 of 7 nodes are shown; --all shows everything\n");
  // A line that says "1 more" would take the room of that one.
  ExpectOutput(print({"-", "a\\l", "--children", "5"}),
               "a\\l [6]\n├─ 0 = 1\n├─ 1 = 2\n├─ 2 = 3\n├─ 3 = 4\n├─ 4 = 5\n└─ 5 = 6\n");
  ExpectOutput(print({"-", "--children", "9", "--depth", "9", "--lines", "3"}),
               "stdin (2)\n├─ a (2)\n"
               "2 of 12 nodes are shown; --all shows everything\n");
}

TEST(Program, PrintsABigFileOnOneScreen) {
  std::string input = "[";
  for (int i = 0; i < 1000; ++i)
    input += (i > 0 ? ",{\"a\":1,\"b\":[1,2]}" : "{\"a\":1,\"b\":[1,2]}");
  input += "]";
  const RunResult result = RunProgram({"print", "-"}, input);
  EXPECT_EQ(result.code, 0);
  EXPECT_LE(std::count(result.out.begin(), result.out.end(), '\n'), 40);
  EXPECT_NE(result.out.find("more\n"), std::string::npos);
  EXPECT_NE(result.out.find("of 5,001 nodes are shown; --all shows everything\n"),
            std::string::npos);
  const RunResult all = RunProgram({"print", "-", "--all"}, input);
  EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 5001);
}

TEST(Program, PrintsATreeAsJson) {
  const std::string input = R"({"a": {"b": [1, "x"]}, "e": {}})";
  ExpectOutput(
      RunProgram({"print", "-", "--json"}, input),
      R"({"name":"stdin","kind":"tree","entries":2,"children":[)"
      R"({"name":"a","kind":"tree","entries":1,"children":[)"
      R"({"name":"b","kind":"array","entries":2,"children":[)"
      R"({"name":"0","kind":"number","value":"1"},{"name":"1","kind":"text","value":"x"}]}]},)"
      R"({"name":"e","kind":"tree","entries":0,"children":[]}]})"
      "\n");
  ExpectOutput(RunProgram({"print", "-", "--json", "--depth", "1", "--children", "1"}, input),
               R"({"name":"stdin","kind":"tree","entries":2,"children":[)"
               R"({"name":"a","kind":"tree","entries":1,"children":[],"omitted":1}],"omitted":1})"
               "\n");
}

TEST(Program, GetsAValue) {
  const std::string reg = Example("ferry.reg");
  ExpectOutput(RunProgram({"get", reg, std::string(kFerry) + "\\InstallDir"}),
               "C:\\Program Files\\Ferry\n");
  ExpectOutput(RunProgram({"get", reg, std::string(kFerry) + "\\@"}), "Ferry message service\n");
  ExpectOutput(RunProgram({"get", reg, std::string(kFerry) + "\\Listeners\\Public\\Port"}),
               "dword:00001f90\n");
  ExpectOutput(RunProgram({"get", Example("ferry-site.reg"), std::string(kFerry) + "\\LogLevel"}),
               "dword:00000005\n");
  ExpectOutput(RunProgram({"get", Example("ferry.ini"), "route[2]\\host"}), "sued.ferry.example\n");
  ExpectOutput(RunProgram({"get", Data("sample.xml"), "service\\@name"}), "ferry\n");
  ExpectOutput(RunProgram({"get", Data("sample.json"), "numbers\\3", "--json"}),
               R"({"path":"numbers\\3","kind":"number","value":"12345678901234567890"})"
               "\n");
  ExpectOutput(RunProgram({"get", "-", ""}, "\"alone\""), "alone\n");
}

TEST(Program, GetsAValueByteForByteIntoAPipe) {
  ExpectOutput(RunProgram({"get", "-", "a"}, R"({"a": "x\u001b[31m\n\u0000y"})"),
               std::string("x\x1b[31m\n\0y\n", 10));
}

TEST(Program, ListsAsFieldsBetweenTabs) {
  ExpectOutput(RunProgram({"ls", "-"}, R"({"a": "x", "l": [1, 2], "o": {}, "n": null, "a": 2})"),
               "a\ttext\tx\nl\tarray of 2\t\no\t0 entries\t\nn\tnull\tnull\na[2]\tnumber\t2\n");
  ExpectOutput(RunProgram({"ls", "-", "l", "--limit", "1"}, R"({"l": [1, 2]})"), "0\tnumber\t1\n");
  ExpectOutput(RunProgram({"ls", "-", "a"}, R"({"a": "x"})"), "a\ttext\tx\n");
  ExpectOutput(RunProgram({"ls", "-"}, "7"), "stdin\tnumber\t7\n");
  ExpectOutput(RunProgram({"ls", "-"}, "{}"), "");
  ExpectOutput(RunProgram({"ls", "-", "--json", "--limit", "2"}, R"({"a": 1, "a": {}, "b": 2})"),
               R"({"path":"","children":[{"name":"a","select":"a","kind":"number","value":"1"},)"
               R"({"name":"a","select":"a[2]","kind":"tree","entries":0}],"omitted":1})"
               "\n");
}

TEST(Program, ShowsNothingThatCouldDriveATerminal) {
  const std::string input = R"({"\u001b]0;x\u0007": "a\u001b[2Jb\nc\td\u202e"})";
  ExpectOutput(RunProgram({"ls", "-"}, input), "\\x1b]0;x\\x07\ttext\ta\\x1b[2Jb\\nc\\td\\u202e\n");
  ExpectOutput(RunProgram({"print", "-"}, input),
               "stdin (1)\n└─ \\x1b]0;x\\x07 = a\\x1b[2Jb\\nc\\td\\u202e\n");
  ExpectLine(RunProgram({"get", "-", "\x1b[31m"}, input), 1, "<stdin>: no such path: \\x1b[31m");
  ExpectLine(RunProgram({"get", "no\nsuch\x1b.json", "a"}), 1,
             "no\\nsuch\\x1b.json: no such file or directory");
}

TEST(Program, SearchesEveryPlace) {
  const std::string input = R"({"a": {"p": 1}, "b": [{"p": {"q": 2}}, {"p": 3}], "p": 4})";
  ExpectOutput(RunProgram({"search", "-", "p"}, input),
               "p\t4\na\\p\t1\nb\\0\\p\t1 entry\nb\\1\\p\t3\n");
  ExpectOutput(RunProgram({"search", "-", "p\\q"}, input), "b\\0\\p\\q\t2\n");
  ExpectOutput(RunProgram({"search", "-", "p", "--limit", "1", "--json"}, input),
               R"({"search":"p","places":[{"path":"p","select":"p","kind":"number","value":"4"}],)"
               R"("omitted":3})"
               "\n");
}

TEST(Program, SearchTellsSiblingsOfOneNameApart) {
  const std::string input = "<r><e><v>1</v></e><e/><e><v>2</v><v>3</v></e></r>";
  ExpectOutput(RunProgram({"search", "-", "e\\v"}, input), "r\\e\\v\t1\n");
  ExpectOutput(RunProgram({"search", "-", "v"}, input), "r\\e\\v\t1\nr\\e[3]\\v\t2\n");
  ExpectOutput(
      RunProgram({"search", "-", "v", "--json"}, input),
      R"({"search":"v","places":[{"path":"r\\e\\v","select":"r\\e\\v","kind":"text",)"
      R"("value":"1"},{"path":"r\\e\\v","select":"r\\e[3]\\v","kind":"text","value":"2"}]})"
      "\n");
}

// A name may end like such a number.
TEST(Program, NumbersAreNeverTheNameOfAnother) {
  const std::string input = R"({"a": 1, "a": 2, "a[2]": 3, "x": {"y": 4}, "x": {"y": 5},
                                "x[2]": {"y": 6}, "x[02]": 7})";
  ExpectOutput(RunProgram({"ls", "-", "--limit", "3"}, input),
               "a\tnumber\t1\na[02]\tnumber\t2\na[2]\tnumber\t3\n");
  ExpectOutput(RunProgram({"get", "-", "a[02]"}, input), "2\n");
  ExpectOutput(RunProgram({"get", "-", "a[2]"}, input), "3\n");
  ExpectOutput(RunProgram({"search", "-", "y"}, input), "x\\y\t4\nx[002]\\y\t5\nx[2]\\y\t6\n");
  ExpectOutput(RunProgram({"get", "-", "x[002]\\y"}, input), "5\n");
  ExpectOutput(RunProgram({"ls", "-", "x[002]", "--json"}, input),
               R"({"path":"x[002]","children":[{"name":"y","select":"y","kind":"number",)"
               R"("value":"5"}]})"
               "\n");
}

TEST(Program, SearchKeepsPathsOfAnyLength) {
  for (const std::size_t length : {200u, 252u, 253u, 254u, 255u, 256u, 1000u, 100000u}) {
    const std::string name(length, 'n');
    const RunResult result =
        RunProgram({"search", "-", "v", "--json"}, "{\"" + name + "\": {\"v\": 1}}");
    std::string expected = R"({"search":"v","places":[{"path":"NAME\\v","select":"NAME\\v",)"
                           R"("kind":"number","value":"1"}]})"
                           "\n";
    for (int i = 0; i < 2; ++i) expected.replace(expected.find("NAME"), 4, name);
    EXPECT_EQ(result.out, expected) << length;
  }
}

TEST(Program, SearchOfAVeryDeepTreeAnswersOrRefuses) {
  constexpr int kLevels = 100000;
  std::string input;
  for (int i = 0; i < kLevels; ++i) input += "{\"a\":";
  input += "1" + std::string(kLevels, '}');
  ExpectOutput(RunProgram({"search", "-", "a", "--limit", "2"}, input),
               "a\t1 entry\na\\a\t1 entry\n");
  ExpectLine(RunProgram({"search", "-", "a"}, input), 1,
             "standard output: more than 1 GiB to print; ask for less");
}

TEST(Program, CountsWhatATreeHas) {
  const RunResult result = RunProgram(
      {"stats", "-", "--json"}, R"({"a": "x", "b": ["x", "a", "longer value", "longer value"]})");
  EXPECT_EQ(result.code, 0);
  const std::string& out = result.out;
  // Names: stdin a b 0 1 2 3; values: x x a, "longer value" twice.  "a" is one string.
  for (const char* const part :
       {R"("format":"json")", R"("file_bytes":59)", R"("nodes":7)", R"("leaves":5)", R"("depth":2)",
        R"("widest":{"path":"b","entries":4})", R"("total_size":38)",
        R"("strings":{"uses":12,"distinct":9,"bytes":38,"distinct_bytes":24,"saved_bytes":14})",
        R"({"name":"Tree_Node","in_use":7,)", R"({"name":"Tree_Value","in_use":5,)"}) {
    EXPECT_NE(out.find(part), std::string::npos) << part << " in " << out;
  }
  const RunResult plain = RunProgram({"stats", Example("ferry.reg")});
  EXPECT_EQ(plain.code, 0);
  EXPECT_NE(plain.out.find("\nnodes\t38\n"), std::string::npos) << plain.out;
  EXPECT_NE(plain.out.find("\nwidest path\tHKEY_LOCAL_MACHINE\\SOFTWARE\\Example\\Ferry\n"),
            std::string::npos);
}

TEST(Program, ColoursOnlyWhenAsked) {
  const std::string input = R"({"a": 1})";
  EXPECT_EQ(RunProgram({"ls", "-"}, input).out.find('\x1b'), std::string::npos);
  EXPECT_EQ(RunProgram({"ls", "-", "--color", "never"}, input).out, "a\tnumber\t1\n");
  EXPECT_EQ(RunProgram({"ls", "-", "--color", "always"}, input).out,
            "\x1b[1mNAME\x1b[0m  \x1b[1mKIND\x1b[0m    \x1b[1mVALUE\x1b[0m\n"
            "\x1b[36ma\x1b[0m     \x1b[2mnumber\x1b[0m  \x1b[32m1\x1b[0m\n"
            "\x1b[2m1 value, 0 sub-trees\x1b[0m\n");
}

TEST(Program, ShowsTheLibrarysLogOnStandardError) {
  const RunResult quiet = RunProgram({"get", "-", "a", "--log", "3"}, R"({"a": 1})");
  ExpectOutput(quiet, "1\n");
  const RunResult traced = RunProgram({"get", "-", "a", "--log", "7"}, R"({"a": 1})");
  EXPECT_EQ(traced.code, 0);
  EXPECT_EQ(traced.out, "1\n");
  EXPECT_NE(traced.err.find("log 7 Tree_Node::Insert: Start Insert(Tree_NodePtr& new_child = 0, "
                            "int child_index = -1)\n"),
            std::string::npos)
      << traced.err;
}

TEST(Program, HelpsWithExamples) {
  for (const Arguments& arguments :
       {Arguments{"--help"}, Arguments{"-h"}, Arguments{"print", "--help"},
        Arguments{"get", "--help"}, Arguments{"ls", "-h"}, Arguments{"search", "--help"},
        Arguments{"stats", "--help"}}) {
    const RunResult result = RunProgram(arguments);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("Usage: cfgtree "), std::string::npos);
    EXPECT_NE(result.out.find("Examples:\n  cfgtree "), std::string::npos);
  }
  const RunResult version = RunProgram({"--version"});
  EXPECT_EQ(version.code, 0);
  EXPECT_EQ(version.out.compare(0, 8, "cfgtree "), 0);
}

// --- What goes wrong ----------------------------------------------------------

TEST(Program, RefusesWrongUsageWithExitCode2) {
  const std::pair<Arguments, std::string> cases[] = {
      {{}, "no command given"},
      {{"frob", "x"}, "unknown command frob"},
      {{"Print", "x"}, "unknown command Print"},
      {{"print"}, "FILE is required"},
      {{"get", "x"}, "PATH is required"},
      {{"search", "x"}, "PATH is required"},
      {{"get", "x", "y", "z"}, "too many arguments: z"},
      {{"convert", "x", "y", "z", "-"}, "too many arguments: z -"},
      {{"convert", "x", "y", "--color", "always"}, "unknown option --color"},
      {{"print", "--frob", "x"}, "unknown option --frob"},
      {{"print", "x", "-d"}, "unknown option -d"},
      {{"ls", "x", "--all"}, "unknown option --all"},
      {{"print", "x", "--depth"}, "--depth needs a value"},
      {{"print", "x", "--depth", "-1"}, "--depth: Value -1 not in range 0 to 2147483647"},
      {{"print", "x", "--lines", "many"}, "--lines: Value many not in range 1 to 2147483647"},
      {{"print", "x", "--color", "red"}, "--color: red not in {auto,always,never}"},
      {{"print", "x", "--format", "yaml"}, "--format: yaml not in {json,xml,ini,reg,tree}"},
      {{"print", "x", "--log", "8"}, "--log: Value 8 not in range 0 to 7"},
      {{"search", Data("sample.json"), ""}, "search needs a PATH that is not empty"},
      {{"print", "--fr\nob", "x"}, "unknown option --fr\\nob"},
  };
  for (const auto& [arguments, line] : cases) {
    SCOPED_TRACE(line);
    ExpectLine(RunProgram(arguments), 2, line + "; see cfgtree --help");
  }
}

TEST(Program, TakesSharedOptionsBeforeTheCommandAndDashesAsPaths) {
  ExpectOutput(RunProgram({"--format", "json", "get", "-", "print"}, R"({"print": 1})"), "1\n");
  ExpectOutput(RunProgram({"--color", "never", "--json", "get", "-", "a"}, R"({"a": 1})"),
               "{\"path\":\"a\",\"kind\":\"number\",\"value\":\"1\"}\n");
  ExpectOutput(RunProgram({"get", "-", "--", "--x"}, R"({"--x": 1})"), "1\n");
  ExpectLine(RunProgram({"get", "--", "-x", "y"}), 1, "-x: no such file or directory");
}

TEST(Program, OffersPrintingOptionsToCommandsThatPrint) {
  for (const char* const command :
       {"print", "get", "ls", "search", "stats", "explain", "diff", "checksum"}) {
    const RunResult help = RunProgram({command, "--help"});
    EXPECT_NE(help.out.find("\n  --json "), std::string::npos) << command;
    EXPECT_NE(help.out.find("\n  --color WHEN "), std::string::npos) << command;
  }
}

TEST(Program, RefusesPrintingOptionsToCommandsThatWriteAFile) {
  const std::string json = Data("sample.json");
  const Arguments commands[] = {{"export", json, "-o", "-"},
                                {"convert", json, "-", "--to", "text"},
                                {"merge", json, json, "-o", "-", "--to", "text"},
                                {"changes", json, json, "-o", "-", "--to", "text"}};
  for (const Arguments& command : commands) {
    for (const std::string option : {"--json", "--color=never"}) {
      SCOPED_TRACE(command[0] + " " + option);
      Arguments behind = command;
      behind.push_back(option);
      ExpectLine(RunProgram(behind), 2, "unknown option " + option + "; see cfgtree --help");
      Arguments in_front = command;
      in_front.insert(in_front.begin(), option);
      ExpectLine(
          RunProgram(in_front), 2,
          command[0] + " takes no " + option.substr(0, option.find('=')) + "; see cfgtree --help");
    }
    const RunResult help = RunProgram({command[0], "--help"});
    EXPECT_EQ(help.out.find("--json "), std::string::npos) << help.out;
    EXPECT_EQ(help.out.find("--color"), std::string::npos) << help.out;
  }
}

TEST(Program, RefusesBadInputWithExitCode1) {
  const std::string json = Data("sample.json");
  ExpectLine(RunProgram({"get", json, "nested"}), 1,
             json + ": nested is a sub-tree with 4 entries, not a value");
  ExpectLine(RunProgram({"get", json, ""}), 1,
             json + ": the top is a sub-tree with 10 entries, not a value");
  ExpectLine(RunProgram({"get", json, "nested\\a\\x"}), 1,
             json + ": no such path: nested\\a\\x (nested\\a has no x)");
  ExpectLine(RunProgram({"ls", json, "x"}), 1, json + ": no such path: x");
  ExpectLine(RunProgram({"print", json, "x"}), 1, json + ": no such path: x");
  ExpectLine(RunProgram({"search", json, "x"}), 1, json + ": found nowhere: x");
  ExpectLine(RunProgram({"search", json, "x", "--json"}), 1, json + ": found nowhere: x");
  ExpectLine(RunProgram({"stats", "/no/such/file"}), 1, "/no/such/file: no such file or directory");
  ExpectLine(RunProgram({"print", "-"}, ""), 1,
             "<stdin>: cannot tell its format; name it with --format");
  ExpectLine(RunProgram({"print", "-"}, "{\n  \"a\": }"), 1, "<stdin>:2:8: not a JSON value");
  ExpectLine(RunProgram({"print", "-", "--format", "xml"}, "{}\n"), 1,
             "<stdin>:1:1: not XML; markup was expected here");
}

TEST(Program, ReadsEveryFormatFromStandardInput) {
  ExpectOutput(RunProgram({"get", "-", "a"}, "{\"a\": 1}"), "1\n");
  ExpectOutput(RunProgram({"get", "-", "a"}, "<a>1</a>"), "1\n");
  ExpectOutput(RunProgram({"get", "-", "a"}, "a = 1"), "1\n");
  ExpectOutput(RunProgram({"get", "-", "a\\@"}, "REGEDIT4\n[a]\n@=\"1\"\n"), "1\n");
  ExpectOutput(RunProgram({"get", "-", "a", "--format", "ini"}, "a = 1"), "1\n");
}

TEST(Program, ReadsAMillionLevels) {
  constexpr int kLevels = 1000000;
  const TempFile file("deep.json", std::string(kLevels, '[') + std::string(kLevels, ']'));
  const RunResult result = RunProgram({"stats", file.Path()});
  EXPECT_EQ(result.code, 0);
  EXPECT_NE(result.out.find("\nnodes\t1000000\n"), std::string::npos) << result.err;
  EXPECT_NE(result.out.find("\ndepth\t999999\n"), std::string::npos);
  const RunResult drawn = RunProgram({"print", file.Path(), "--depth", "2"});
  EXPECT_EQ(drawn.code, 0);
  EXPECT_NE(drawn.out.find("3 of 1,000,000 nodes are shown"), std::string::npos);
  const RunResult json = RunProgram({"print", file.Path(), "--json"});
  EXPECT_EQ(json.code, 0);
  EXPECT_GT(json.out.size(), 40u * kLevels);
  EXPECT_EQ(RunProgram({"print", file.Path(), "--all"}).code, 1);
}

#if !defined(_WIN32)

TEST(Program, ReadsAMillionLevelsOnASmallStack) {
  constexpr int kLevels = 1000000;
  const TempFile file("deep.json", std::string(kLevels, '[') + std::string(kLevels, ']'));
  for (const char* const command : {"stats", "ls", "print"}) {
    EXPECT_EQ(RunShell("ulimit -s 1024; " + ShellWord(CFGTREE_PROGRAM) + " " + command + " " +
                       ShellWord(file.Path()) + " >/dev/null"),
              0)
        << command;
  }
}

TEST(Program, RefusesFoldersAndUnreadableFiles) {
  ExpectLine(RunProgram({"print", "/"}), 1, "/: is a directory");
  ExpectLine(RunProgram({"print", "/proc/self/mem", "--format", "ini"}), 1,
             "/proc/self/mem: input/output error");
}

// Runs `command` with its standard error in a file, and returns what came there.
std::string ErrorOf(const std::string& command, int code) {
  const TempFile err("shell-err", "");
  EXPECT_EQ(RunShell(command + " 2>" + ShellWord(err.Path())), code) << command;
  return ReadBytes(err.Path());
}

TEST(Program, ReportsThatItCouldNotWrite) {
  const std::string program = ShellWord(CFGTREE_PROGRAM);
  const std::string file = ShellWord(Data("sample.json"));
  for (const std::string& command : {"ls " + file, "ls --json " + file, std::string("--help")}) {
    std::string line = "exec ";
    for (const std::string& part : {program, std::string(" "), command}) line += part;
    line += " >/dev/full";
    EXPECT_EQ(ErrorOf(line, 1), "cfgtree: standard output: no space left on device\n");
  }
  // The reader has gone before the program writes.
  EXPECT_EQ(ErrorOf("{ { sleep 1; " + program + " ls " + file + "; echo $? >&2; } | true; }", 0),
            "cfgtree: standard output: broken pipe\n1\n");
  EXPECT_EQ(ErrorOf("exec " + program + " ls " + file + " >&-", 1),
            "cfgtree: standard output: bad file descriptor\n");
}

#else

TEST(Program, IsTestedWithAShellElsewhere) {
  GTEST_SKIP() << "needs a POSIX shell, /dev/full and /proc";
}

#endif

}  // namespace
