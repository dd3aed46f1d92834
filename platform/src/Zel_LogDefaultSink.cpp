#include "Zel_LogDefaultSink.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <string_view>
#include <utility>

namespace {

// The logger is not entered in the logging library's registry, which is torn
// down with the static objects: messages may still come after that.
std::shared_ptr<spdlog::logger> MakeLogger(spdlog::sink_ptr sink) {
  auto logger = std::make_shared<spdlog::logger>("Tree", std::move(sink));
  logger->set_level(spdlog::level::trace);  // the level test was StoreParams'
  logger->set_pattern("%Y-%m-%d %H:%M:%S.%e %t %l %v");
  // A line is written when its Log call returns: the lines that matter most
  // are those just before a crash.
  logger->flush_on(spdlog::level::trace);
  return logger;
}

std::shared_ptr<spdlog::logger> StandardErrorLogger() {
  return MakeLogger(std::make_shared<spdlog::sinks::stderr_sink_st>());
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
