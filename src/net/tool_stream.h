#pragma once

#include <fcntl.h>

#include <array>
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
    return m_stream &&
           std::fgets(line.data(), static_cast<int>(line.size()), m_stream.get()) != nullptr;
  }

 private:
  std::unique_ptr<std::FILE, HandleCloser<std::FILE, &VexaCommonUtils_i::pclose_s>> m_stream;
};

}  // namespace commutil
