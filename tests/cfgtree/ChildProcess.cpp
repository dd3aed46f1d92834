#include "ChildProcess.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#if defined(_WIN32)
#include <windows.h>
// Behind windows.h, whose types it needs.
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

#if !defined(_WIN32)
int ExitCode(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
#endif

}  // namespace

#if defined(_WIN32)

namespace {

std::wstring Wide(const std::string& text) {
  const int length = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(
      MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), length)));
  return wide;
}

// A file as a standard stream of another process.
class StreamFile {
 public:
  StreamFile(const std::string& path, DWORD access) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    m_handle = CreateFileW(Wide(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           &inherited, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(INVALID_HANDLE_VALUE, m_handle) << path;
  }
  ~StreamFile() { CloseHandle(m_handle); }
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;

  HANDLE Handle() const { return m_handle; }

 private:
  HANDLE m_handle;
};

}  // namespace

// As programs take their command line apart: a backslash counts as one of its own only
// before a quote.
std::string ShellWord(const std::string& text) {
  std::string word = "\"";
  std::size_t backslashes = 0;
  for (const char c : text) {
    if (c == '"') word.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    word += c;
  }
  word.append(backslashes, '\\');
  return word + '"';
}

// Without a shell, whose own rules for quotes and percent signs differ.
RunResult RunProgram(const std::vector<std::string>& arguments, std::string_view input) {
  const TempFile in("in", input);
  const TempFile out("out", "");
  const TempFile err("err", "");
  std::string line = ShellWord(CFGTREE_PROGRAM);
  for (const std::string& argument : arguments) line += ' ' + ShellWord(argument);
  std::wstring wide_line = Wide(line);

  DWORD code = static_cast<DWORD>(-1);
  {
    const StreamFile in_stream(in.Path(), GENERIC_READ);
    const StreamFile out_stream(out.Path(), GENERIC_WRITE);
    const StreamFile err_stream(err.Path(), GENERIC_WRITE);
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = in_stream.Handle();
    start.hStdOutput = out_stream.Handle();
    start.hStdError = err_stream.Handle();
    PROCESS_INFORMATION process = {};
    EXPECT_TRUE(CreateProcessW(nullptr, wide_line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                               nullptr, &start, &process))
        << line;
    if (process.hProcess != nullptr) {
      WaitForSingleObject(process.hProcess, INFINITE);
      GetExitCodeProcess(process.hProcess, &code);
      CloseHandle(process.hThread);
      CloseHandle(process.hProcess);
    }
  }
  return {static_cast<int>(code), ReadBytes(out.Path()), ReadBytes(err.Path())};
}

#else

std::string ShellWord(const std::string& text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}

RunResult RunProgram(const std::vector<std::string>& arguments, std::string_view input) {
  const TempFile in("in", input);
  const TempFile out("out", "");
  const TempFile err("err", "");
  std::string line = ShellWord(CFGTREE_PROGRAM);
  for (const std::string& argument : arguments) line += ' ' + ShellWord(argument);
  line +=
      " <" + ShellWord(in.Path()) + " >" + ShellWord(out.Path()) + " 2>" + ShellWord(err.Path());
  const int code = ExitCode(std::system(line.c_str()));
  return {code, ReadBytes(out.Path()), ReadBytes(err.Path())};
}

#endif

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
