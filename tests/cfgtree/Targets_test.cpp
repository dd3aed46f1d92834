// Where the client writes to when that is no plain file, and what signals leave behind.

#include <gtest/gtest.h>

#if !defined(_WIN32)

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "System.h"
#include "TempFolder.h"

using namespace cfgtree;

namespace {

const std::string kConvert = ShellWord(CFGTREE_PROGRAM) + " convert in.ini ";

// Runs a line of shell in the folder, where in.ini has one value.
int RunIn(const TempFolder& folder, const std::string& line) {
  WriteBytes(folder / "in.ini", "a = 1");
  return RunShell("cd " + ShellWord(folder.Path()) + " && { " + line + "; }");
}

struct DescriptorCase {
  const char* line;  // CONVERT stands for the program
  const char* out;   // what is then in the file "out"
};
const DescriptorCase kDescriptors[] = {
    // What is there stays, and so does what others write before and behind.
    {"echo old >out; CONVERT /dev/stdout --to text >>out", "old\na\t1\n"},
    {"echo old >out; CONVERT /dev/fd/3 --to text 3>>out", "old\na\t1\n"},
    {"{ echo before; CONVERT /dev/stdout --to text; echo behind; } >out", "before\na\t1\nbehind\n"},
    {"{ echo before; CONVERT /proc/self/fd/1 --to text; echo behind; } >out",
     "before\na\t1\nbehind\n"},
    {"{ echo before; CONVERT /proc/thread-self/fd/1 --to text; echo behind; } >out",
     "before\na\t1\nbehind\n"},
    {"echo old >out; CONVERT /dev/stderr --to text 2>>out", "old\na\t1\n"},
    {"echo something long >out; CONVERT /dev/stdout --to text >out", "a\t1\n"},
    {"echo something long >out; CONVERT /dev/stdout --to text 1<>out", "a\t1\nthing long\n"},
    // Pipes, and links that lead there.
    {"CONVERT /dev/stdout --to text | cat >out", "a\t1\n"},
    {"CONVERT /dev/fd/5 --to text 5>&1 | cat >out", "a\t1\n"},
    {"ln -s /dev/stdout link.txt; CONVERT link.txt | cat >out; rm link.txt", "a\t1\n"},
    {"ln -s /dev/fd folder; CONVERT folder/1 --to text | cat >out; rm folder", "a\t1\n"},
    {"{ CONVERT /dev/stdout --to text && echo behind; } | cat >out", "a\t1\nbehind\n"},
    // Another process's.
    {"echo old >out; { sleep 9 & CONVERT /proc/$!/fd/1 --to text; kill $!; } >>out", "old\na\t1\n"},
    {"echo old >out; { sleep 9 & CONVERT /proc/$!/fd/1 --to text; kill $!; } 1<>out",
     "old\na\t1\n"},
    {"{ sleep 9 & CONVERT /proc/$!/fd/1 --to text; kill $!; } | cat >out", "a\t1\n"},
};

TEST(Targets, AnOpenDescriptorIsWrittenToWhereItIs) {
  for (const DescriptorCase& c : kDescriptors) {
    SCOPED_TRACE(c.line);
    const TempFolder folder("descriptor");
    std::string line = c.line;
    const std::string word = "CONVERT ";
    for (std::size_t at = line.find(word); at != line.npos; at = line.find(word, at)) {
      line.replace(at, word.size(), kConvert);
      at += kConvert.size();
    }
    RunIn(folder, line);
    EXPECT_EQ(ReadBytes(folder / "out"), c.out);
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"in.ini", "out"}));
  }
}

TEST(Targets, ADescriptorThatCannotBeWrittenToIsNamed) {
  const TempFolder folder("closed");
  EXPECT_EQ(RunIn(folder, kConvert + "/dev/fd/7 --to text 2>err"), 1);
  EXPECT_EQ(ReadBytes(folder / "err"), "cfgtree: /dev/fd/7: bad file descriptor\n");
  EXPECT_EQ(RunIn(folder, "echo old >out; " + kConvert + "/dev/fd/7 --to text 7<out 2>err"), 1);
  EXPECT_EQ(ReadBytes(folder / "err"), "cfgtree: /dev/fd/7: bad file descriptor\n");
  EXPECT_EQ(ReadBytes(folder / "out"), "old\n");
}

// A number is a file like any other elsewhere.
TEST(Targets, AFileCalledLikeADescriptorIsReplaced) {
  const TempFolder folder("number");
  EXPECT_EQ(RunIn(folder, "mkdir fd; echo old >fd/1; echo old >1; " + kConvert +
                              "fd/1 --to text && " + kConvert + "1 --to text"),
            0);
  EXPECT_EQ(ReadBytes(folder / "fd/1"), "a\t1\n");
  EXPECT_EQ(ReadBytes(folder / "1"), "a\t1\n");
}

// Sends the signal to a process as soon as its temporary file shows.  Returns whether it
// ended the process; else that was done already.
bool EndWhileWriting(const TempFolder& folder, const std::string& bytes, int signal) {
  const std::string target = folder / "out";
  const pid_t child = fork();
  if (child == 0) {
    std::signal(signal, SIG_DFL);
    os::ReplaceFile(target, bytes);
    _exit(0);
  }
  int status = 0;
  while (folder.Names().size() < 2 && waitpid(child, &status, WNOHANG) == 0) {
  }
  kill(child, signal);
  waitpid(child, &status, 0);
  if (!WIFSIGNALED(status)) return false;
  EXPECT_EQ(WTERMSIG(status), signal);
  return true;
}

TEST(Targets, NoSignalButKillLeavesTheTemporaryFile) {
  const std::string bytes(std::size_t{1} << 26, 'n');
  std::vector<int> signals = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM,   SIGUSR1, SIGUSR2,
                              SIGALRM, SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGABRT};
#if defined(SIGRTMIN)
  signals.push_back(SIGRTMIN);
  signals.push_back(SIGRTMAX);
#endif
  std::size_t ended = 0;
  for (const int signal : signals) {
    SCOPED_TRACE(signal);
    const TempFolder folder("signal");
    WriteBytes(folder / "out", "old");
    if (EndWhileWriting(folder, bytes, signal)) ++ended;
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"out"});
    const std::string left = ReadBytes(folder / "out");
    EXPECT_TRUE(left == "old" || left == bytes) << left.size();
  }
  EXPECT_GT(ended, signals.size() / 2);
}

// Signals that do not end a process, and those that it ignores, leave it alone.
TEST(Targets, OtherSignalsDoNoHarm) {
  const std::string bytes(std::size_t{1} << 24, 'n');
  for (const int signal : {SIGCHLD, SIGURG, SIGWINCH, SIGCONT}) {
    SCOPED_TRACE(signal);
    const TempFolder folder("harmless");
    WriteBytes(folder / "out", "old");
    EXPECT_FALSE(EndWhileWriting(folder, bytes, signal));
    EXPECT_TRUE(ReadBytes(folder / "out") == bytes);
  }
}

}  // namespace

#else

TEST(Targets, AreTestedWithDescriptorsAndSignalsElsewhere) {
  GTEST_SKIP() << "needs POSIX descriptors and signals";
}

#endif
