#include "LogRelay.h"

#include <iostream>

#include "Utf8Text.h"

namespace dscore_cli {

LogRelay::LogRelay()
    : m_previous(qz_log::set_log_sink([](const qz_log::LogRecord& record) {
        std::cerr << "dscore: " << utf8text::ToUtf8(record.message) << "\n";
      })) {}

LogRelay::~LogRelay() { qz_log::set_log_sink(std::move(m_previous)); }

}  // namespace dscore_cli
