// export and convert as a user runs them: exit codes, standard error, files.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ReaderText.h"
#include "System.h"
#include "TempFolder.h"
#include "TreeBytes.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

using namespace cfgtree;

namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;
using Names = std::vector<std::string>;

void ExpectDone(const RunResult& result, const std::string& err = "") {
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, err);
}

void ExpectLine(const RunResult& result, int code, const std::string& line) {
  EXPECT_EQ(result.code, code);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "cfgtree: " + line + "\n");
}

const std::string kJson = R"({"a": "1", "net": {"host": "h", "list": [8]}, "skip": {"b": "2"}})";

TEST(Export, WritesASerializedTree) {
  const TempFolder folder("export");
  const std::string in = folder / "cfg.json";
  const std::string out = folder / "cfg.tree";
  WriteBytes(in, kJson);
  const std::string losses =
      "cfgtree: warning: 1 array becomes a sub-tree\n"
      "cfgtree: warning: 1 number, boolean or null becomes a text\n";
  const std::string head = Record(0, -1, "cfg") + Record(1, 0, "a", "1") + Record(2, 0, "net") +
                           Record(3, 2, "host", "h") + Record(4, 2, "list") +
                           Record(5, 4, "0", "8");
  const std::string skipped = Record(6, 0, "skip") + Record(7, 6, "b", "2");
  ExpectDone(RunProgram({"export", in, "-o", out}), losses);
  EXPECT_EQ(ReadBytes(out), head + skipped);
  ExpectDone(RunProgram({"export", "--skip", "skip", in, "--output", out, "--header"}), losses);
  EXPECT_EQ(ReadBytes(out), Number(0) + head);
  EXPECT_EQ(folder.Names(), (Names{"cfg.json", "cfg.tree"}));

  const RunResult piped = RunProgram({"export", "-", "-o", "-"}, "a = 1");
  EXPECT_EQ(piped.code, 0);
  EXPECT_EQ(piped.out, Record(0, -1, "stdin") + Record(1, 0, "a", "1"));
  EXPECT_EQ(piped.err, "");
}

TEST(Export, KeepsTheHeaderOfASerializedTree) {
  const TempFolder folder("header");
  const std::string in = folder / "in.tree";
  const std::string out = folder / "out.tree";
  const std::string tree = Record(0, -1, "cfg") + Record(1, 0, "a", "1");
  for (const char* const path : {"", "p", "virtual\\parent"}) {
    SCOPED_TRACE(path);
    WriteBytes(in, Sized(path) + tree);
    for (const char* const option : {"--format=tree", "--header"}) {
      ExpectDone(RunProgram({"export", in, "-o", out, option}));
      EXPECT_EQ(ReadBytes(out), Sized(path) + tree) << option;
    }
  }
  // Without one there is none, unless it is asked for.
  WriteBytes(in, tree + Record(2, 0, "net") + Record(3, 2, "port", "80"));
  ExpectDone(RunProgram({"export", in, "-o", out, "--skip", "net"}));
  EXPECT_EQ(ReadBytes(out), tree);
  ExpectDone(RunProgram({"export", in, "-o", out, "--skip", "net", "--header"}));
  EXPECT_EQ(ReadBytes(out), Number(0) + tree);
}

TEST(Export, SaysWhenThereIsNothingToSkip) {
  const RunResult result = RunProgram({"export", "-", "-o", "-", "--skip", "b"}, "a = 1\nb = 2\n");
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err,
            "cfgtree: warning: no sub-tree of the top is called b; nothing is left out\n");
}

TEST(TreeFiles, AreReadByAllCommands) {
  const TempFolder folder("commands");
  const std::string tree = folder / "x.tree";
  WriteBytes(tree, Record(0, -1, "cfg") + Record(1, 0, "a", "1", 1) + Record(2, 0, "net") +
                       Record(3, 2, "port", "80") + Record(4, 0, "e"));
  EXPECT_EQ(RunProgram({"print", tree}).out,
            "cfg (3)\n├─ a = 1\n├─ net (1)\n│  └─ port = 80\n└─ e = \"\"\n");
  EXPECT_EQ(RunProgram({"get", tree, "net\\port"}).out, "80\n");
  EXPECT_EQ(RunProgram({"ls", tree}).out, "a\ttext\t1\nnet\t1 entry\t\ne\ttext\t\n");
  EXPECT_EQ(RunProgram({"search", tree, "port"}).out, "net\\port\t80\n");
  const RunResult stats = RunProgram({"stats", tree});
  EXPECT_NE(stats.out.find("\nformat\ttree\n"), std::string::npos) << stats.err;
  EXPECT_NE(stats.out.find("\nnodes\t5\n"), std::string::npos);
  // By its content, with and without a header, and by name.
  EXPECT_EQ(RunProgram({"get", "-", "net\\port"}, ReadBytes(tree)).out, "80\n");
  EXPECT_EQ(RunProgram({"get", "-", "net\\port"}, Number(0) + ReadBytes(tree)).out, "80\n");
  EXPECT_EQ(
      RunProgram({"get", "-", "net\\port", "--format", "tree"}, Sized("p") + ReadBytes(tree)).out,
      "80\n");
}

TEST(TreeFiles, ThatAreBrokenAreRefusedInOneLine) {
  const TempFolder folder("broken");
  const std::string tree = folder / "x.tree";
  WriteBytes(tree, Record(0, -1, "cfg") + Record(1, 0, "a", "1").substr(0, 14));
  ExpectLine(RunProgram({"print", tree}), 1,
             tree + ": byte 32: the file ends inside the length of a value");
  WriteBytes(tree, "");
  ExpectLine(RunProgram({"stats", tree}), 1,
             tree + ": byte 0: the file is empty; a serialized tree has a record at least");
}

TEST(Convert, GoesByTheEndings) {
  const TempFolder folder("convert");
  const std::string reg = folder / "a.reg";
  WriteBytes(reg,
             "REGEDIT4\r\n\r\n[K]\r\n\"n\"=dword:00000001\r\n\r\n[K\\L]\r\n\"t\"=\"x\"\r\n\r\n");
  ExpectDone(RunProgram({"convert", reg, folder / "a.json"}));
  EXPECT_EQ(
      ReadBytes(folder / "a.json"),
      "{\n  \"K\": {\n    \"n\": \"dword:00000001\",\n    \"L\": {\n      \"t\": \"x\"\n    }\n"
      "  }\n}\n");
  ExpectDone(RunProgram({"convert", reg, folder / "a.tree"}));
  ExpectDone(RunProgram({"convert", folder / "a.tree", folder / "a.TXT"}));
  EXPECT_EQ(ReadBytes(folder / "a.TXT"), "K\\n\tdword:00000001\nK\\L\\t\tx\n");
  // The same format keeps the layout, a new one gets the usual one.
  ExpectDone(RunProgram({"convert", reg, folder / "b.reg"}));
  EXPECT_EQ(ReadBytes(folder / "b.reg"), ReadBytes(reg));
  ExpectDone(RunProgram({"convert", folder / "a.json", folder / "c.reg"}));
  EXPECT_EQ(ReadBytes(folder / "c.reg"),
            Utf16("Windows Registry Editor Version 5.00\r\n\r\n[K]\r\n\"n\"=dword:00000001\r\n\r\n"
                  "[K\\L]\r\n\"t\"=\"x\"\r\n\r\n"));
  EXPECT_EQ(folder.Names(), (Names{"a.TXT", "a.json", "a.reg", "a.tree", "b.reg", "c.reg"}));
}

TEST(Convert, GoesByTheFormatsThatAreNamed) {
  const RunResult text = RunProgram({"convert", "-", "-", "--to", "text"}, "{\"a\": 1}");
  EXPECT_EQ(text.code, 0);
  EXPECT_EQ(text.out, "a\t1\n");
  EXPECT_EQ(RunProgram({"convert", "-", "-", "--from", "ini", "--to", "json"}, "[]\na=1\n").out,
            "{\n  \"\": {\n    \"a\": \"1\"\n  }\n}\n");
  const TempFolder folder("named");
  ExpectDone(RunProgram({"convert", "-", folder / "a.json", "--to", "tree"}, "a = 1"));
  EXPECT_EQ(ReadBytes(folder / "a.json"), Record(0, -1, "stdin") + Record(1, 0, "a", "1"));
}

TEST(Convert, WarnsOfWhatIsLostAndSucceeds) {
  const TempFolder folder("losses");
  const std::string out = folder / "out.reg";
  ExpectDone(
      RunProgram({"convert", "-", out}, R"({"x": 1, "y": "2", "k": {"n": null, "n": true}})"),
      "cfgtree: warning: 2 values stand outside of every key and are left out\n"
      "cfgtree: warning: 1 name comes again in its key, where the registry keeps one only\n"
      "cfgtree: warning: 2 numbers, booleans and nulls become texts\n");
  EXPECT_EQ(Read(Format::kReg, ReadBytes(out)), "t/\n  k/\n    n = null\n    n = true\n");
}

TEST(Convert, RefusesWrongUsageBeforeItReads) {
  const std::pair<Arguments, std::string> cases[] = {
      {{"convert", "/no/such/file", "out"},
       "cannot tell what out shall become; its name must end in .tree, .reg, .json, .txt, .ini or "
       ".xml"},
      {{"convert", "/no/such/file", "-"},
       "cannot tell what standard output shall become; its name must end in .tree, .reg, .json, "
       ".txt, .ini or .xml"},
      {{"convert", "x"}, "OUT is required"},
      {{"convert"}, "IN is required"},
      {{"convert", "x", "y.json", "z"}, "too many arguments: z"},
      {{"convert", "x", "y", "--to", "yaml"}, "--to: yaml not in {json,xml,ini,reg,tree,text}"},
      {{"convert", "x", "y", "--from", "text"}, "--from: text not in {json,xml,ini,reg,tree}"},
      {{"export", "x"}, "--output is required"},
      {{"export", "x", "-o"}, "--output needs a value"},
      {{"export", "x", "-o", "y", "--to=json"}, "unknown option --to=json"},
  };
  for (const auto& [arguments, line] : cases) {
    SCOPED_TRACE(line);
    ExpectLine(RunProgram(arguments), 2, line + "; see cfgtree --help");
  }
}

TEST(Convert, HelpsWithExamples) {
  for (const char* const command : {"export", "convert"}) {
    const RunResult result = RunProgram({command, "--help"});
    EXPECT_EQ(result.code, 0);
    EXPECT_NE(result.out.find("Examples:\n  cfgtree "), std::string::npos) << result.out;
  }
}

// --- The file that is written --------------------------------------------------

TEST(Writing, LeavesTheOldFileWhenTheInputIsBad) {
  const TempFolder folder("old");
  const std::string out = folder / "out.json";
  WriteBytes(out, "old");
  ExpectLine(RunProgram({"convert", "-", out, "--from", "json"}, "{"), 1,
             "<stdin>:1:2: missing a name for object member (the document ends here)");
  EXPECT_EQ(ReadBytes(out), "old");
  EXPECT_EQ(folder.Names(), Names{"out.json"});
}

TEST(Writing, NamesTheFileThatCannotBeWritten) {
  const TempFolder folder("target");
  const std::string nowhere = folder / "no/such/out.tree";
  ExpectLine(RunProgram({"export", "-", "-o", nowhere}, "a = 1"), 1,
             nowhere + ": no such file or directory");
  ExpectLine(RunProgram({"export", "-", "-o", folder.Path()}, "a = 1"), 1,
             folder.Path() + ": is a directory");
  const std::string below = folder / "file";
  WriteBytes(below, "x");
  ExpectLine(RunProgram({"export", "-", "-o", below + "/out.tree"}, "a = 1"), 1,
#if defined(_WIN32)  // which does not tell the two apart
             below + "/out.tree: no such file or directory");
#else
             below + "/out.tree: not a directory");
#endif
  EXPECT_EQ(folder.Names(), Names{"file"});
}

#if !defined(_WIN32)

// The mode of a file, without its type.
unsigned Mode(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST(Writing, KeepsTheModeOfAnOldFileAndHeedsTheMaskForANewOne) {
  const TempFolder folder("mode");
  const std::string out = folder / "out.json";
  for (const unsigned mode : {0600u, 0640u, 0664u, 0755u, 02755u, 04711u, 06640u, 01644u}) {
    WriteBytes(out, "old");
    ASSERT_EQ(chmod(out.c_str(), mode), 0);
    ExpectDone(RunProgram({"convert", "-", out}, "a = 1"));
    EXPECT_EQ(Mode(out), mode);
    EXPECT_EQ(ReadBytes(out), "{\n  \"a\": \"1\"\n}\n");
  }
  const std::string fresh = folder / "fresh.json";
  EXPECT_EQ(RunShell("umask 027; echo a=1 | " + ShellWord(CFGTREE_PROGRAM) + " convert - " +
                     ShellWord(fresh)),
            0);
  EXPECT_EQ(Mode(fresh), 0640u);
}

TEST(Writing, ReplacesWhatALinkLeadsTo) {
  const TempFolder folder("links");
  fs::create_directory(folder / "sub");
  WriteBytes(folder / "sub/real.json", "old");
  fs::create_symlink("sub/real.json", folder / "one.json");
  fs::create_symlink("one.json", folder / "two.json");
  ExpectDone(RunProgram({"convert", "-", folder / "two.json"}, "a = 1"));
  EXPECT_TRUE(fs::is_symlink(folder / "one.json"));
  EXPECT_TRUE(fs::is_symlink(folder / "two.json"));
  EXPECT_EQ(ReadBytes(folder / "sub/real.json"), "{\n  \"a\": \"1\"\n}\n");

  // A link that leads nowhere yet, and one that leads to itself.
  fs::create_symlink("sub/new.json", folder / "three.json");
  ExpectDone(RunProgram({"convert", "-", folder / "three.json"}, "a = 2"));
  EXPECT_TRUE(fs::is_symlink(folder / "three.json"));
  EXPECT_EQ(ReadBytes(folder / "sub/new.json"), "{\n  \"a\": \"2\"\n}\n");
  fs::create_symlink("loop.json", folder / "loop.json");
  ExpectLine(RunProgram({"convert", "-", folder / "loop.json"}, "a = 2"), 1,
             folder / "loop.json" + ": too many levels of symbolic links");
}

TEST(Writing, WritesDevicesAndPipesDirectly) {
  ExpectLine(RunProgram({"convert", "-", "/dev/full", "--to", "json"}, "a = 1"), 1,
             "/dev/full: no space left on device");
  ExpectDone(RunProgram({"convert", "-", "/dev/null", "--to", "json"}, "a = 1"));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  const TempFolder folder("pipe");
  const std::string line = "cd " + ShellWord(folder.Path()) +
                           " && mkfifo pipe && { cat pipe >got & echo a=1 | " +
                           ShellWord(CFGTREE_PROGRAM) + " convert - pipe --to text; wait; }";
  EXPECT_EQ(RunShell(line), 0);
  EXPECT_EQ(ReadBytes(folder / "got"), "a\t1\n");
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
  ExpectLine(RunProgram({"convert", "-", "/dev/stdout", "--to", "json", "--from", "json"}, "x"), 1,
             "<stdin>:1:1: not a JSON value");
}

// No file can be made there, not even by root.
TEST(Writing, RefusesAFolderThatTakesNoFiles) {
  const RunResult result = RunProgram({"convert", "-", "/proc/out.json"}, "a = 1");
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err.rfind("cfgtree: /proc/out.json: ", 0), 0u) << result.err;
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
}

// What ReplaceFile() says when it is called by a user without rights, in a process of its
// own: the tests may run as root, who has all rights.
std::string ReplaceAsNobody(const std::string& path) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    constexpr unsigned kNobody = 65534;
    std::string said = "cannot become nobody";
    if (geteuid() != 0 || (setgid(kNobody) == 0 && setuid(kNobody) == 0)) {
      try {
        os::ReplaceFile(path, "new");
        said = "written";
      } catch (const Error& error) {
        said = error.what();
      }
    }
    const ssize_t sent = write(ends[1], said.data(), said.size());
    _exit(sent > 0 ? 0 : 1);
  }
  close(ends[1]);
  char text[1000];
  const ssize_t length = read(ends[0], text, sizeof text);
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return {text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

TEST(Writing, RefusesReadOnlyFilesAndFolders) {
  const std::string folder = "/tmp/cfgtree-test-" + std::to_string(getpid());
  const std::string file = folder + "/out.json";
  ASSERT_EQ(mkdir(folder.c_str(), 0777), 0);
  ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
  WriteBytes(file, "old");
  ASSERT_EQ(chmod(file.c_str(), 0444), 0);
  EXPECT_EQ(ReplaceAsNobody(file), file + ": permission denied");
  EXPECT_EQ(ReplaceAsNobody(folder + "/new.json"), "written");
  ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
  EXPECT_EQ(ReplaceAsNobody(folder + "/newer.json"), folder + "/newer.json: permission denied");
  ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
  EXPECT_EQ(ReadBytes(file), "old");
  EXPECT_EQ(ReadBytes(folder + "/new.json"), "new");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 2);
  fs::remove_all(folder);
}

// A file of some megabytes as JSON.
std::string LargeIni() {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "name" + std::to_string(i) + " = value\n";
  return text;
}

// The system ends a process at a limit for the size of its files, in the middle of a write,
// unless that ignores the signal, as the program does: it sees an error there.
TEST(Writing, AtTheLimitForFilesLeavesTheOldFile) {
  const TempFolder folder("limit");
  WriteBytes(folder / "in.ini", LargeIni());
  WriteBytes(folder / "out.json", "old");
  const std::string enter = "cd " + ShellWord(folder.Path()) + " && ulimit -f 100 && exec " +
                            ShellWord(CFGTREE_PROGRAM) + " convert in.ini ";
  EXPECT_EQ(RunShell(enter + "out.json 2>err"), 1);
  EXPECT_EQ(ReadBytes(folder / "err"), "cfgtree: out.json: file too large\n");
  EXPECT_EQ(RunShell(enter + "- --to json >part 2>err"), 1);
  EXPECT_EQ(ReadBytes(folder / "err"), "cfgtree: standard output: file too large\n");
  EXPECT_EQ(ReadBytes(folder / "out.json"), "old");
  EXPECT_EQ(folder.Names(), (Names{"err", "in.ini", "out.json", "part"}));
}

// Whenever it is interrupted: the old file or the new one, and nothing beside it.
TEST(Writing, InterruptedLeavesNoTemporaryFile) {
  const TempFolder folder("interrupted");
  WriteBytes(folder / "in.ini", LargeIni());
  ASSERT_EQ(RunProgram({"convert", folder / "in.ini", folder / "new.json"}).code, 0);
  const std::string fresh = ReadBytes(folder / "new.json");
  for (int i = 0; i < 12; ++i) {
    WriteBytes(folder / "out.json", "old");
    const char* const signal = i % 2 == 0 ? "TERM" : "INT";
    // The moment is that at which the temporary file shows, or a later one.
    const std::string line =
        "cd " + ShellWord(folder.Path()) + " && { " + ShellWord(CFGTREE_PROGRAM) +
        " convert in.ini out.json & program=$!; n=0; "
        "while [ -z \"$(ls -A | grep tmp$)\" ] && kill -0 $program 2>/dev/null; do :; done; "
        "kill -" +
        signal + " $program 2>/dev/null; wait $program; true; } 2>/dev/null";
    EXPECT_EQ(RunShell(line), 0);
    EXPECT_EQ(folder.Names(), (Names{"in.ini", "new.json", "out.json"})) << i;
    const std::string bytes = ReadBytes(folder / "out.json");
    EXPECT_TRUE(bytes == "old" || bytes == fresh) << i;
  }
}

TEST(Writing, ManyAtOnceLeaveOneWholeFile) {
  const TempFolder folder("many");
  WriteBytes(folder / "in.ini", LargeIni());
  const std::string line = "cd " + ShellWord(folder.Path()) + " && for i in 1 2 3 4; do " +
                           ShellWord(CFGTREE_PROGRAM) + " convert in.ini out.json & done; wait; " +
                           ShellWord(CFGTREE_PROGRAM) +
                           " convert in.ini one.json && cmp out.json one.json";
  EXPECT_EQ(RunShell(line), 0);
  EXPECT_EQ(folder.Names(), (Names{"in.ini", "one.json", "out.json"}));
}

#else

TEST(Writing, IsTestedWithModesLinksAndDevicesElsewhere) {
  GTEST_SKIP() << "needs POSIX modes, links, devices and signals";
}

#endif

}  // namespace
