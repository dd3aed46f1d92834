#ifndef ZEL_LOGDEFAULTSINK_H
#define ZEL_LOGDEFAULTSINK_H

#include <memory>

#include "Zel/Zel_LogFile.h"

namespace spdlog {
class logger;
}

// Where messages go that no other sink wants: the file that the host program
// named, else standard error, one line per message.
//
// Threads: the caller serialises all calls.
class Zel_LogDefaultSink {
 public:
  Zel_LogDefaultSink();
  ~Zel_LogDefaultSink();

  void Write(const Zel_LogRecord& record);

  // See Zel_LogFile::SetFile.
  bool SetFile(const char* path);

 private:
  std::shared_ptr<spdlog::logger> m_logger;
};

#endif  // ZEL_LOGDEFAULTSINK_H
