// Passes the library's log messages (an importer's "file:line: reason", a
// warning about times going backwards) to standard error with the tool's
// prefix, for as long as the relay lives. Errors (level 1) and warnings
// (level 2) are passed; the synchronisation trace (level 3) is not.
#pragma once

#include "qz_log/qz_log.h"

namespace dscore_cli {

class LogRelay {
 public:
  LogRelay();
  ~LogRelay();
  LogRelay(const LogRelay&) = delete;
  LogRelay& operator=(const LogRelay&) = delete;

 private:
  int m_previousLevel;
  qz_log::LogSink m_previous;
};

}  // namespace dscore_cli
