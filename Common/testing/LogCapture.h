// Test support: collects every record the logging library delivers while a
// LogCapture lives, with category 0 reported up to a given level; restores the
// previous sink and level when it goes. One capture at a time per process.
// The capture may be filled from several threads; read it after they finish
// or through the copying accessors, which take its lock.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "qz_log/qz_log.h"

namespace dscore_testing {

class LogCapture {
 public:
  explicit LogCapture(int level = 1) : m_previousLevel(qz_log::get_report_level(0)) {
    qz_log::set_report_level(0, level);
    m_previous = qz_log::set_log_sink([this](const qz_log::LogRecord& r) {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_records.push_back(r);
    });
  }
  ~LogCapture() {
    qz_log::set_log_sink(std::move(m_previous));
    qz_log::set_report_level(0, m_previousLevel);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<qz_log::LogRecord> Records() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
  }
  // The message texts alone, in delivery order.
  std::vector<std::wstring> Messages() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::wstring> out;
    for (const auto& r : m_records) out.push_back(r.message);
    return out;
  }
  std::size_t Count() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records.size();
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<qz_log::LogRecord> m_records;
  qz_log::LogSink m_previous;
  int m_previousLevel;
};

}  // namespace dscore_testing
