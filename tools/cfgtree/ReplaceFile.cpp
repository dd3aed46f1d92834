#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <system_error>

#if defined(_WIN32)
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#undef ReplaceFile  // which windows.h makes a macro
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <iterator>
#endif

#include "Error.h"
#include "System.h"

namespace cfgtree::os {
namespace {

namespace fs = std::filesystem;

// A failed step.  ReplaceFile() turns it into an Error with the name the user gave.
[[noreturn]] void Fail(std::error_code error) {
  throw std::system_error(error);
}

// Nobody can guess the name and put something in its place.  It does not depend on the
// length of the target's own name, which may be as long as the file system allows.
fs::path TemporaryName(const fs::path& folder) {
  std::random_device random;
  const std::uint64_t number = std::uint64_t{random()} << 32 | random();
  std::array<char, 48> name;
  std::snprintf(name.data(), name.size(), ".cfgtree-%016llx.tmp",
                static_cast<unsigned long long>(number));
  return folder / name.data();
}

// Whether `path` is one of the names that the system keeps for open descriptors, such as
// /proc/self/fd/1, to which /dev/stdout leads.  Some of them look like links to a file, but
// what they stand for is the descriptor: where it is in that file, and whether it appends.
bool NamesDescriptor(const fs::path& path);

// Where a chain of symbolic links ends; the last need not exist.
fs::path BehindLinks(fs::path path) {
  constexpr int kMostLinks = 40;
  for (int i = 0; i < kMostLinks; ++i) {
    std::error_code error;
    if (NamesDescriptor(path) || !fs::is_symlink(fs::symlink_status(path, error))) return path;
    const fs::path target = fs::read_symlink(path, error);
    if (error) Fail(error);
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  Fail(std::make_error_code(std::errc::too_many_symbolic_link_levels));
}

#if defined(_WIN32)

std::error_code LastError() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

fs::path NativePath(const std::string& path) {
  return fs::path(std::u8string(path.begin(), path.end()));
}

bool NamesDescriptor(const fs::path&) {
  return false;
}

// An open file that is being written.
class Writing {
 public:
  // A new file of this name.
  static Writing New(const fs::path& path, const fs::path& /*target*/) {
    return Writing(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                               FILE_ATTRIBUTE_NORMAL, nullptr));
  }
  static Writing Existing(const fs::path& path) {
    return Writing(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               0, nullptr));
  }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;
  ~Writing() {
    if (m_file != INVALID_HANDLE_VALUE) CloseHandle(m_file);
  }

  void Write(std::string_view bytes) {
    constexpr std::size_t kStep = std::size_t{1} << 26;
    while (!bytes.empty()) {
      const auto step = static_cast<DWORD>(bytes.size() < kStep ? bytes.size() : kStep);
      DWORD written = 0;
      if (!WriteFile(m_file, bytes.data(), step, &written, nullptr)) Fail(LastError());
      bytes.remove_prefix(written);
    }
  }

  void TakeOwnerAndMode(const fs::path& /*target*/) {}

  void ToDisk() {
    if (!FlushFileBuffers(m_file)) Fail(LastError());
  }

  void Close() {
    const HANDLE file = m_file;
    m_file = INVALID_HANDLE_VALUE;
    if (!CloseHandle(file)) Fail(LastError());
  }

 private:
  explicit Writing(HANDLE file) : m_file(file) {
    if (m_file == INVALID_HANDLE_VALUE) Fail(LastError());
  }

  HANDLE m_file;
};

void Rename(const fs::path& from, const fs::path& to) {
  if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    Fail(LastError());
  }
}

void RequireWritable(const fs::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    Fail(std::make_error_code(std::errc::permission_denied));
  }
}

// Windows: an interrupted process leaves the temporary file.
class RemovedOnSignal {
 public:
  explicit RemovedOnSignal(const fs::path&) {}
};

#else

std::error_code LastError() {
  return {errno, std::generic_category()};
}

fs::path NativePath(const std::string& path) {
  return fs::path(path);
}

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// The descriptor of this process that `path` names, -1 when it names none.
int OwnDescriptor(const fs::path& path) {
  const std::string name = path.filename().string();
  int number = -1;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), number);
  if (parsed.ec != std::errc() || parsed.ptr != name.data() + name.size()) return -1;
  for (const char* const folder : {"/dev/fd", "/proc/self/fd", "/proc/thread-self/fd"}) {
    std::error_code error;
    if (fs::equivalent(FolderOf(path), folder, error)) return number;
  }
  return -1;
}

bool NamesDescriptor(const fs::path& path) {
  if (OwnDescriptor(path) >= 0) return true;
  // Another process's: /proc/1/fd/1.
  std::error_code error;
  const fs::path folder = fs::canonical(FolderOf(path), error);
  return folder.filename() == "fd" && folder.string().rfind("/proc/", 0) == 0;
}

// An open file that is being written.
class Writing {
 public:
  // A new file of this name.  While it may come to replace `target`, nobody else reads it.
  static Writing New(const fs::path& path, const fs::path& target) {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    struct stat old;
    const bool replaces = stat(target.c_str(), &old) == 0;
    return Writing(open(path.c_str(), flags, replaces ? S_IRUSR | S_IWUSR : 0666));
  }

  // What is there already.  Our own descriptor goes on where it is.  That of another
  // process has no such place for us; behind the end nothing is overwritten.
  static Writing Existing(const fs::path& path) {
    const int descriptor = OwnDescriptor(path);
    if (descriptor >= 0) return Writing(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    const int flags = O_WRONLY | O_CLOEXEC;
    return Writing(open(path.c_str(), NamesDescriptor(path) ? flags | O_APPEND : flags));
  }

  Writing(Writing&& other) noexcept : m_file(other.m_file) { other.m_file = -1; }
  Writing& operator=(Writing&&) = delete;
  ~Writing() {
    if (m_file >= 0) close(m_file);
  }

  void Write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t written = write(m_file, bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) Fail(LastError());
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  // Gives the file owner and mode of `target`, when that exists.  Where the owner cannot be
  // kept, the permissions are, but not the bits that lend the owner's rights.  A write may
  // take those away, so this comes behind the last one.
  void TakeOwnerAndMode(const fs::path& target) {
    struct stat old;
    if (stat(target.c_str(), &old) != 0) return;
    const bool same_owner = fchown(m_file, old.st_uid, old.st_gid) == 0;
    if (same_owner && fchmod(m_file, old.st_mode & 07777) == 0) return;
    if (fchmod(m_file, old.st_mode & 0777) != 0) Fail(LastError());
  }

  void ToDisk() {
    if (fsync(m_file) != 0) Fail(LastError());
  }

  void Close() {
    const int file = m_file;
    m_file = -1;
    if (close(file) != 0) Fail(LastError());
  }

 private:
  explicit Writing(int file) : m_file(file) {
    if (m_file < 0) Fail(LastError());
  }

  int m_file;
};

void Rename(const fs::path& from, const fs::path& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) Fail(LastError());
  // The folder's new entry reaches the disk with it.  The file is complete either way.
  const int folder = open(FolderOf(to).c_str(), O_RDONLY);
  if (folder < 0) return;
  fsync(folder);
  close(folder);
}

// A file that may not be written to may not be replaced either, though its folder would
// allow it.
void RequireWritable(const fs::path& path) {
  if (access(path.c_str(), W_OK) != 0 && errno != ENOENT) Fail(LastError());
}

// While it exists, a process that a signal ends takes its temporary file along.
class RemovedOnSignal {
 public:
  explicit RemovedOnSignal(const fs::path& path) {
    s_path = path.c_str();
    ForEachSignal([](int number) {
      struct sigaction action = {};
      // Whoever ignores a signal, as nohup does, goes on to ignore it.
      if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
      action.sa_handler = RemoveAndEnd;
      action.sa_flags = SA_RESTART;
      sigaction(number, &action, nullptr);
    });
  }
  RemovedOnSignal(const RemovedOnSignal&) = delete;
  RemovedOnSignal& operator=(const RemovedOnSignal&) = delete;
  ~RemovedOnSignal() {
    ForEachSignal([](int number) {
      struct sigaction action = {};
      if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != RemoveAndEnd) return;
      std::signal(number, SIG_DFL);
    });
    s_path = nullptr;
  }

 private:
  // All signals but those that stop a process or pass it by.
  template <typename Do>
  static void ForEachSignal(Do action) {
    constexpr int kSpared[] = {SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU,
                               SIGCONT, SIGCHLD, SIGURG,  SIGWINCH};
    for (int number = 1; number < NSIG; ++number) {
      if (std::find(std::begin(kSpared), std::end(kSpared), number) == std::end(kSpared)) {
        action(number);
      }
    }
  }

  static void RemoveAndEnd(int number) {
    if (s_path != nullptr) unlink(s_path);
    std::signal(number, SIG_DFL);
    raise(number);
  }

  static inline const char* volatile s_path = nullptr;
};

#endif

void WriteDirectly(const fs::path& path, std::string_view bytes) {
  Writing file = Writing::Existing(path);
  file.Write(bytes);
  file.Close();
}

void WriteBeside(const fs::path& target, std::string_view bytes) {
  const fs::path temporary = TemporaryName(target.parent_path());
  const RemovedOnSignal removed(temporary);
  Writing file = Writing::New(temporary, target);
  try {
    file.Write(bytes);
    file.TakeOwnerAndMode(target);
    file.ToDisk();
    file.Close();
    Rename(temporary, target);
  } catch (...) {
    std::error_code ignored;
    fs::remove(temporary, ignored);
    throw;
  }
}

}  // namespace

void ReplaceFile(const std::string& path, std::string_view bytes) {
  if (path == "-") return WriteOutput(bytes);
  try {
    const fs::path target = BehindLinks(NativePath(path));
    if (NamesDescriptor(target)) return WriteDirectly(target, bytes);
    std::error_code ignored;
    const fs::file_status status = fs::status(target, ignored);
    if (fs::is_directory(status)) Fail(std::make_error_code(std::errc::is_a_directory));
    if (fs::exists(status) && !fs::is_regular_file(status)) return WriteDirectly(target, bytes);
    RequireWritable(target);
    WriteBeside(target, bytes);
  } catch (const std::system_error& error) {
    throw Error(path, ErrorText(error.code()));
  }
}

}  // namespace cfgtree::os
