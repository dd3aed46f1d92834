#include "ChildProcess.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#if defined(_WIN32)
#include <process.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

int ProcessId() {
#if defined(_WIN32)
  return _getpid();
#else
  return getpid();
#endif
}

// Tests run side by side, each in a process of its own.
std::string TempPath(const std::string& name) {
  return std::string(CFGTREE_TEST_TEMP) + "/" + std::to_string(ProcessId()) + "-" + name;
}

int ExitCode(int status) {
#if defined(_WIN32)
  return status;
#else
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

}  // namespace

std::string ShellWord(const std::string& text) {
#if defined(_WIN32)
  return '"' + text + '"';
#else
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
#endif
}

RunResult RunProgram(const std::vector<std::string>& arguments, std::string_view input) {
  const TempFile in("in", input);
  const TempFile out("out", "");
  const TempFile err("err", "");
  std::string line = ShellWord(CFGTREE_PROGRAM);
  for (const std::string& argument : arguments) line += ' ' + ShellWord(argument);
  line +=
      " <" + ShellWord(in.Path()) + " >" + ShellWord(out.Path()) + " 2>" + ShellWord(err.Path());
#if defined(_WIN32)
  line = '"' + line + '"';  // cmd takes the outer pair of quotes away
#endif
  const int code = ExitCode(std::system(line.c_str()));
  return {code, ReadBytes(out.Path()), ReadBytes(err.Path())};
}

TempFile::TempFile(const std::string& name, std::string_view bytes) : m_path(TempPath(name)) {
  std::ofstream file(m_path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(file.flush()) << m_path;
}

TempFile::~TempFile() {
  std::remove(m_path.c_str());
}

std::string ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

#if !defined(_WIN32)
int RunShell(const std::string& line) {
  return ExitCode(std::system(line.c_str()));
}
#endif
