#ifndef ZEL_ZEL_LOGFILE_H
#define ZEL_ZEL_LOGFILE_H

#include <atomic>
#include <cstdio>
#include <functional>
#include <string>

#include "TreePlatform_Export.h"

// Lets the compiler check a message's arguments against its format.
#if defined(__MINGW32__)
#define ZEL_LOG_PRINTF(format_index, first_argument) \
  __attribute__((format(__MINGW_PRINTF_FORMAT, format_index, first_argument)))
#elif defined(__GNUC__)
#define ZEL_LOG_PRINTF(format_index, first_argument) \
  __attribute__((format(printf, format_index, first_argument)))
#else
#define ZEL_LOG_PRINTF(format_index, first_argument)
#endif

// One accepted message, as a sink receives it.  The pointers are those that
// StoreParams was given.
struct Zel_LogRecord {
  const char* source;    // such as "Tree/Tree_Node"
  const char* function;  // such as "Tree_Node::GetChildAt"
  int line;
  int level;  // 3 error, 4 repaired input, 5 notable, 6 lifecycle, 7 trace
  int category;
  std::string text;  // formatted, with whatever newline the message has
};

// The process's log.
//
// A log site takes two steps, so that a message nobody wants costs one relaxed
// load and one branch and its arguments are not computed:
//
//   if (ZelGLog.StoreParams("Tree/Tree_Node", "Tree_Node::Insert", __LINE__, 3, 501, 1)) {
//     ZelGLog.Log("no room under <%s>\n", GetPath().data());
//   }
//
// Sinks: accepted messages go to one sink, by default a file that the host
// program named, else standard error (one line per message).  SetSink puts
// another in its place.  Calls of the sink are serialised, so a sink needs no
// lock of its own.  It runs on the thread that logs and may itself log or
// replace the sink.  It must not wait for another thread that logs: that one
// waits for it.
//
// Threads: every operation may be called from any thread at any time, also
// while static objects are constructed or destroyed: the object is constant
// initialised and never destroyed.
//
// Errors: logging never throws.  When memory runs out or the sink throws, the
// message is lost and the caller goes on: nodes log while they are destroyed,
// where an exception would end the process.
class TREE_PLATFORM_API Zel_LogFile {
 public:
  constexpr Zel_LogFile() noexcept = default;
  Zel_LogFile(const Zel_LogFile&) = delete;
  Zel_LogFile& operator=(const Zel_LogFile&) = delete;

  // 0 when messages of `level` are not wanted; the caller then skips Log.
  // Otherwise keeps the parameters for this thread's next Log and returns 1.
  // `source` and `function` are kept as pointers and must stay valid until
  // that Log returns (callers pass literals).  `flag` is always 1 in this
  // product and has no effect.
  //
  // The arguments of a Log call may log in their turn: an inner pair of
  // StoreParams and Log leaves the outer parameters as they were.
  int StoreParams(const char* source, const char* function, int line, int level, int category,
                  int flag) noexcept {
    if (level > m_level.load(std::memory_order_relaxed)) return 0;
    return KeepParams(source, function, line, level, category, flag);
  }

  // Formats like printf, a text of any length, and hands the message with the
  // parameters kept by this thread's last StoreParams to the sink.
  void Log(const char* format, ...) noexcept ZEL_LOG_PRINTF(2, 3);

  // Messages of a level above `level` are refused from now on; 5 at the start.
  void SetLevel(int level) noexcept { m_level.store(level, std::memory_order_relaxed); }
  int GetLevel() const noexcept { return m_level.load(std::memory_order_relaxed); }

  // Puts `sink` in the place of the present sink; an empty function puts the
  // default sink back.  When the call returns, the former sink has returned
  // from its last call and is destroyed, unless it is itself the caller: then
  // both happen as soon as it returns.
  void SetSink(std::function<void(const Zel_LogRecord&)> sink);

  // Names the file that the default sink appends to.  Returns 0 and changes
  // nothing when it can't be opened; otherwise 1.  Null or an empty path turn
  // back to standard error.
  int SetFile(const char* path) noexcept;

 private:
  static int KeepParams(const char* source, const char* function, int line, int level, int category,
                        int flag) noexcept;

  std::atomic<int> m_level{5};
};

// The one log of the process.  All Zel_LogFile objects share its sink and its
// file; only the level is each object's own.
extern TREE_PLATFORM_API Zel_LogFile ZelGLog;

#endif  // ZEL_ZEL_LOGFILE_H
