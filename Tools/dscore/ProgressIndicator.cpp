#include "ProgressIndicator.h"

#include <unistd.h>

#include <cstdio>

namespace dscore_cli {
namespace {

constexpr auto kDelay = std::chrono::seconds(1);
constexpr auto kFrame = std::chrono::milliseconds(100);
constexpr int kBarWidth = 20;
constexpr int kBlockWidth = 5;

}  // namespace

ProgressIndicator::ProgressIndicator(std::string label) : m_label(std::move(label)) {
  if (isatty(STDERR_FILENO)) m_thread = std::thread([this] { Run(); });
}

ProgressIndicator::~ProgressIndicator() {
  if (!m_thread.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_done = true;
  }
  m_wake.notify_all();
  m_thread.join();
}

std::string ProgressIndicator::Line(const std::string& label, std::chrono::milliseconds elapsed, int frame) {
  // The block runs to the right and back.
  const int span = kBarWidth - kBlockWidth;
  const int step = frame % (2 * span);
  const int at = step <= span ? step : 2 * span - step;
  std::string bar(kBarWidth, ' ');
  bar.replace(static_cast<std::size_t>(at), kBlockWidth, kBlockWidth, '=');
  const long long tenths = elapsed.count() / 100;
  return label + " [" + bar + "] " + std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

void ProgressIndicator::Run() {
  const auto start = std::chrono::steady_clock::now();
  std::unique_lock<std::mutex> lock(m_mutex);
  if (m_wake.wait_for(lock, kDelay, [this] { return m_done; })) return;
  std::size_t width = 0;
  for (int frame = 0; !m_done; ++frame) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    const std::string line = Line(m_label, elapsed, frame);
    width = line.size();
    std::fprintf(stderr, "\r%s", line.c_str());
    std::fflush(stderr);
    m_wake.wait_for(lock, kFrame, [this] { return m_done; });
  }
  std::fprintf(stderr, "\r%s\r", std::string(width, ' ').c_str());
  std::fflush(stderr);
}

}  // namespace dscore_cli
