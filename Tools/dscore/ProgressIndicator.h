// A progress bar on standard error for a step that may take a while (a load,
// an import, a save). It appears only when the step has run for a second and
// only when standard error is a terminal, so scripts and pipes never see it.
// The library gives no fractions for these steps, so the bar sweeps and the
// elapsed time counts up; the line is erased when the step ends.
//
// Threads: one drawing thread per indicator, joined by the destructor.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace dscore_cli {

class ProgressIndicator {
 public:
  explicit ProgressIndicator(std::string label);
  ~ProgressIndicator();
  ProgressIndicator(const ProgressIndicator&) = delete;
  ProgressIndicator& operator=(const ProgressIndicator&) = delete;

  // The bar line for a step running for elapsed; frame moves the sweep.
  [[nodiscard]] static std::string Line(const std::string& label, std::chrono::milliseconds elapsed, int frame);

 private:
  void Run();

  std::string m_label;
  std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_done = false;
  std::thread m_thread;
};

}  // namespace dscore_cli
