#include "LogRelay.h"

#include <iostream>

#include "Utf8Text.h"

namespace dscore_cli {
namespace {

constexpr int kLibraryCategory = 0;
constexpr int kWarningLevel = 2;

}  // namespace

LogRelay::LogRelay()
    : m_previousLevel(qz_log::get_report_level(kLibraryCategory)),
      m_previous(qz_log::set_log_sink([](const qz_log::LogRecord& record) {
        std::cerr << "dscore: " << utf8text::ToUtf8(record.message) << "\n";
      })) {
  qz_log::set_report_level(kLibraryCategory, kWarningLevel);
}

LogRelay::~LogRelay() {
  qz_log::set_report_level(kLibraryCategory, m_previousLevel);
  qz_log::set_log_sink(std::move(m_previous));
}

}  // namespace dscore_cli
