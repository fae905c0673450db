// The one way a command of the tool fails: a message for standard error and
// the exit code that tells scripts what went wrong. Commands throw it; main
// prints it and exits with its code.
#pragma once

#include <stdexcept>
#include <string>

namespace dscore_cli {

constexpr int kExitOk = 0;
// The files given did not hold what the command needs (missing, malformed,
// no such data source or stream, an import that failed).
constexpr int kExitBadInput = 1;
// The command line itself is wrong (unknown option, bad time text, bad name).
constexpr int kExitBadUsage = 2;

class ToolError : public std::runtime_error {
 public:
  ToolError(int exitCode, const std::string& message) : std::runtime_error(message), m_exitCode(exitCode) {}
  [[nodiscard]] int ExitCode() const noexcept { return m_exitCode; }

 private:
  int m_exitCode;
};

[[noreturn]] inline void FailInput(const std::string& message) { throw ToolError(kExitBadInput, message); }
[[noreturn]] inline void FailUsage(const std::string& message) { throw ToolError(kExitBadUsage, message); }

}  // namespace dscore_cli
