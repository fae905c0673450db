#include "OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "ToolError.h"

namespace dscore_cli {
namespace {

[[noreturn]] void FailWrite(const std::string& path, int error) {
  FailInput(path + ": cannot write: " + std::strerror(error));
}

}  // namespace

void WriteOutputFile(const std::string& path, std::string_view bytes) {
  const std::string temporary = path + ".dscore-tmp";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) FailWrite(path, errno);
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int error = n < 0 ? errno : EIO;
      ::close(fd);
      ::unlink(temporary.c_str());
      FailWrite(path, error);
    }
    written += static_cast<std::size_t>(n);
  }
  if (::fsync(fd) != 0 || ::close(fd) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    FailWrite(path, error);
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    FailWrite(path, error);
  }
}

std::string ReadInputFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) FailInput(path + ": cannot open: " + std::strerror(errno));
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (in.bad()) FailInput(path + ": read error");
  return std::move(bytes).str();
}

}  // namespace dscore_cli
