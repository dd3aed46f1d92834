#include "System.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>

#if defined(_WIN32)
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
// Behind windows.h, whose types it needs.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#include <sys/stat.h>
#else
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "Error.h"

namespace cfgtree::os {
namespace {

constexpr TerminalSize kUsualSize = {80, 24};

std::string ErrorText(int error) {
  return os::ErrorText({error, std::generic_category()});
}

struct FileCloser {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

#if defined(_WIN32)

std::string ToUtf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) return "";
  std::string result(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
  result.pop_back();
  return result;
}

std::wstring ToWide(const std::string& text) {
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  if (size <= 1) return L"";
  std::wstring result(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, result.data(), size);
  result.pop_back();
  return result;
}

std::FILE* Open(const std::string& path) {
  const std::wstring wide = ToWide(path);
  std::FILE* const file = _wfopen(wide.c_str(), L"rb");
  if (file != nullptr) return file;
  // As elsewhere: a folder is one, and what no file can be called does not exist.
  const int error = errno;
  const DWORD attributes = error == EACCES ? GetFileAttributesW(wide.c_str()) : 0;
  const bool is_folder =
      attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  errno = is_folder ? EISDIR : error == EINVAL ? ENOENT : error;
  return nullptr;
}

// Size of a regular file, 0 for anything else.
std::size_t SizeOf(std::FILE* file) {
  struct _stat64 status;
  if (_fstat64(_fileno(file), &status) != 0 || (status.st_mode & _S_IFREG) == 0) return 0;
  return static_cast<std::size_t>(status.st_size);
}

#else

std::FILE* Open(const std::string& path) {
  return std::fopen(path.c_str(), "rb");
}

// Size of a regular file, 0 for anything else.
std::size_t SizeOf(std::FILE* file) {
  struct stat status;
  if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  return static_cast<std::size_t>(status.st_size);
}

#endif

}  // namespace

#if defined(_WIN32)

void Prepare() {
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
  for (const DWORD id : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    const HANDLE console = GetStdHandle(id);
    DWORD mode = 0;
    if (GetConsoleMode(console, &mode)) {
      SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
  }
}

std::vector<std::string> Arguments(int /*argc*/, char** /*argv*/) {
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(ToUtf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

bool IsTerminal(Stream stream) {
  return _isatty(_fileno(stream == Stream::kOutput ? stdout : stderr)) != 0;
}

TerminalSize GetTerminalSize() {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return kUsualSize;
  return {info.srWindow.Right - info.srWindow.Left + 1,
          info.srWindow.Bottom - info.srWindow.Top + 1};
}

bool IsPathSeparator(char c) {
  return c == '/' || c == '\\';
}

#else

void Prepare() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

std::vector<std::string> Arguments(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

bool IsTerminal(Stream stream) {
  return isatty(stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO) != 0;
}

TerminalSize GetTerminalSize() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return kUsualSize;
  }
  return {size.ws_col, size.ws_row};
}

bool IsPathSeparator(char c) {
  return c == '/';
}

#endif

std::string ErrorText(std::error_code error) {
  // In the same words on every system, where they have words for it.
  const std::error_condition condition = error.default_error_condition();
  std::string text =
      condition.category() == std::generic_category() ? condition.message() : error.message();
  if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') {
    text[0] = static_cast<char>(text[0] - 'A' + 'a');
  }
  return text;
}

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string ReadFile(const std::string& path, std::string_view shown,
                     const std::function<void(std::size_t, std::size_t)>& progress) {
  errno = 0;
  const File file(path == "-" ? stdin : Open(path));
  if (file == nullptr) throw Error(shown, ErrorText(errno));

  const std::size_t expected = SizeOf(file.get());
  constexpr std::string_view kTooLarge = "larger than 2 GiB, which is more than a tree can hold";
  if (expected > kMaxFileSize) throw Error(shown, kTooLarge);

  constexpr std::size_t kStep = std::size_t{1} << 20;
  std::string bytes;
  // One more than expected, so that the end of the file shows without growing the text.
  bytes.reserve(expected + 1);
  for (;;) {
    const std::size_t have = bytes.size();
    const std::size_t room = bytes.capacity() - have;
    const std::size_t step = room > 0 && room < kStep ? room : kStep;
    bytes.resize(have + step);
    const std::size_t got = std::fread(&bytes[have], 1, step, file.get());
    bytes.resize(have + got);
    if (got < step) break;
    if (bytes.size() > kMaxFileSize) throw Error(shown, kTooLarge);
    progress(bytes.size(), expected);
  }
  if (std::ferror(file.get()) != 0) throw Error(shown, ErrorText(errno));
  return bytes;
}

void WriteOutput(std::string_view text) {
  errno = 0;
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!written || std::fflush(stdout) != 0) throw Error("standard output", ErrorText(errno));
}

void WriteError(std::string_view text) {
  // Nothing can be reported about a failure to report.
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
  static_cast<void>(std::fflush(stderr));
}

void Exit(int code) {
  std::fflush(nullptr);
  std::_Exit(code);
}

}  // namespace cfgtree::os
