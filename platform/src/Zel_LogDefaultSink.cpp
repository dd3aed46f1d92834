#include "Zel_LogDefaultSink.h"

#include <spdlog/details/null_mutex.h>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

namespace {

// Writes to standard error as it is at the time; the logging library's own sink holds on to
// the Windows handle that it had when the sink was made.
class StandardErrorSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    std::fwrite(line.data(), 1, line.size(), stderr);
  }
  void flush_() override { std::fflush(stderr); }
};

// The logger is not entered in the logging library's registry, which is torn
// down with the static objects: messages may still come after that.
std::shared_ptr<spdlog::logger> MakeLogger(spdlog::sink_ptr sink) {
  auto logger = std::make_shared<spdlog::logger>("Tree", std::move(sink));
  logger->set_level(spdlog::level::trace);  // the level test was StoreParams'
  // Lines end alike on every system; the stream behind standard error has its own view.
  logger->set_formatter(std::make_unique<spdlog::pattern_formatter>(
      "%Y-%m-%d %H:%M:%S.%e %t %l %v", spdlog::pattern_time_type::local, "\n"));
  // A line is written when its Log call returns: the lines that matter most
  // are those just before a crash.
  logger->flush_on(spdlog::level::trace);
  return logger;
}

std::shared_ptr<spdlog::logger> StandardErrorLogger() {
  return MakeLogger(std::make_shared<StandardErrorSink>());
}

spdlog::level::level_enum SeverityOf(int level) {
  switch (level) {
    case 3:
      return spdlog::level::err;
    case 4:
      return spdlog::level::warn;
    case 5:
      return spdlog::level::info;
    case 6:
      return spdlog::level::debug;
    default:
      return level < 3 ? spdlog::level::critical : spdlog::level::trace;
  }
}

}  // namespace

Zel_LogDefaultSink::Zel_LogDefaultSink() : m_logger(StandardErrorLogger()) {}

Zel_LogDefaultSink::~Zel_LogDefaultSink() = default;

void Zel_LogDefaultSink::Write(const Zel_LogRecord& record) {
  // Most messages end with a newline, a few don't; a line gets exactly one.
  std::string_view text = record.text;
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  m_logger->log(SeverityOf(record.level), "[{} {}] {}:{} {}: {}", record.category, record.level,
                record.source, record.line, record.function, text);
}

bool Zel_LogDefaultSink::SetFile(const char* path) {
  if (path == nullptr || *path == '\0') {
    m_logger = StandardErrorLogger();
    return true;
  }
  try {
    m_logger = MakeLogger(std::make_shared<spdlog::sinks::basic_file_sink_st>(path));
  } catch (const spdlog::spdlog_ex&) {
    return false;
  }
  return true;
}
