#pragma once

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

#include "VexaCommonUtils_i.h"
#include "os/handles.h"

namespace commutil {

/// Runs a system tool and reads its output.
class ToolStream {
 public:
  explicit ToolStream(const std::string& command)
      : m_stream(VexaCommonUtils_i::pipeline_s(command.c_str())) {
    if (m_stream) ::fcntl(::fileno(m_stream.get()), F_SETFD, FD_CLOEXEC);
  }

  /// Reads the next line with its line feed, or the next piece of a longer one. Returns whether
  /// there was one.
  template <std::size_t Size>
  bool readLine(std::array<char, Size>& line) {
    std::size_t length = 0;
    while (m_stream && length + 1 < line.size() && (length == 0 || line[length - 1] != '\n')) {
      const int c = next();
      if (c == EOF) break;
      line[length++] = static_cast<char>(c);
    }
    line[length] = '\0';
    return length > 0 && std::ferror(m_stream.get()) == 0;
  }

 private:
  /// Reads a byte regardless of signals. fgets(3) would lose what came before one of a line.
  int next() {
    int c = 0;
    while ((c = std::getc(m_stream.get())) == EOF && std::ferror(m_stream.get()) != 0) {
      if (errno != EINTR) break;
      std::clearerr(m_stream.get());
    }
    return c;
  }

  std::unique_ptr<std::FILE, HandleCloser<std::FILE, &VexaCommonUtils_i::pclose_s>> m_stream;
};

}  // namespace commutil
