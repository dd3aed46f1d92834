#include "Zel/Zel_LogFile.h"

#include <cstdarg>
#include <memory>
#include <mutex>
#include <utility>

#include "Zel_LogDefaultSink.h"

constinit Zel_LogFile ZelGLog;

namespace {

using Sink = std::function<void(const Zel_LogRecord&)>;

struct Params {
  const char* source = "";
  const char* function = "";
  int line = 0;
  int level = 0;
  int category = 0;
};

// What StoreParams keeps for Log, per thread.
//
// The arguments of a Log call are computed between the two, and computing them
// may log.  So parameters that no Log has used yet are kept below the newer
// ones and come up again when those are used.  Parameters whose Log never
// comes (its arguments threw) sink to the bottom and fall out.
class ParamsStack {
 public:
  void Push(const Params& params) noexcept {
    if (!m_top_is_used) {
      if (m_top == kDepth - 1) {
        for (int i = 1; i < kDepth; ++i) m_params[i - 1] = m_params[i];
      } else {
        ++m_top;
      }
    }
    m_params[m_top] = params;
    m_top_is_used = false;
  }

  const Params& Use() noexcept {
    // A second Log in a row without parameters of its own goes under those of
    // the first, unless older ones still wait for their Log.
    if (m_top_is_used && m_top > 0) --m_top;
    m_top_is_used = true;
    return m_params[m_top];
  }

 private:
  static constexpr int kDepth = 4;
  Params m_params[kDepth];
  int m_top = 0;
  bool m_top_is_used = true;  // nothing waits for its Log
};

constinit thread_local ParamsStack t_params;

// The sink and what guards it.  Made on first use and never destroyed, since
// objects that log may outlive this file's statics.
struct SinkState {
  // Recursive: a sink may log, and replace itself, on the thread it runs on.
  std::recursive_mutex mutex;
  std::shared_ptr<const Sink> sink;  // null: the default sink
  Zel_LogDefaultSink default_sink;
};

SinkState& State() {
  static SinkState* const state = new SinkState;
  return *state;
}

// The formatted text, of any length.
std::string Format(const char* format, std::va_list arguments) {
  char small[512];
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(small, sizeof small, format, arguments);
  std::string text;
  if (length < 0) {
    text = format;  // an argument that has no representation
  } else if (static_cast<std::size_t>(length) < sizeof small) {
    text.assign(small, static_cast<std::size_t>(length));
  } else {
    text.resize(static_cast<std::size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, format, again);
  }
  va_end(again);
  return text;
}

void Write(const Zel_LogRecord& record) {
  SinkState& state = State();
  const std::lock_guard<std::recursive_mutex> guard(state.mutex);
  // The copy keeps a sink alive that replaces itself while it runs.
  const std::shared_ptr<const Sink> sink = state.sink;
  if (sink != nullptr) {
    (*sink)(record);
  } else {
    state.default_sink.Write(record);
  }
}

}  // namespace

int Zel_LogFile::KeepParams(const char* source, const char* function, int line, int level,
                            int category, int /*flag*/) noexcept {
  t_params.Push({source, function, line, level, category});
  return 1;
}

void Zel_LogFile::Log(const char* format, ...) noexcept {
  const Params params = t_params.Use();
  std::va_list arguments;
  va_start(arguments, format);
  try {
    Write({params.source, params.function, params.line, params.level, params.category,
           Format(format, arguments)});
  } catch (...) {
    // The message is lost.  Its caller may be a destructor and has no use for
    // an exception about logging.
  }
  va_end(arguments);
}

void Zel_LogFile::SetSink(std::function<void(const Zel_LogRecord&)> sink) {
  std::shared_ptr<const Sink> next;
  if (sink) next = std::make_shared<const Sink>(std::move(sink));
  SinkState& state = State();
  {
    const std::lock_guard<std::recursive_mutex> guard(state.mutex);
    state.sink.swap(next);
  }
  // The former sink is destroyed here, outside the lock: its destructor is the
  // client's code.
}

int Zel_LogFile::SetFile(const char* path) noexcept {
  try {
    SinkState& state = State();
    const std::lock_guard<std::recursive_mutex> guard(state.mutex);
    return state.default_sink.SetFile(path) ? 1 : 0;
  } catch (...) {
    return 0;
  }
}
