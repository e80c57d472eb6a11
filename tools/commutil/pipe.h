#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "os/handles.h"

/// Both ends of a pipe, not inherited by programs.
struct Pipe {
  commutil::Descriptor in;   ///< to read from
  commutil::Descriptor out;  ///< to write to

  /// @throws std::runtime_error if it cannot be created
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
      throw std::runtime_error(std::string("no pipe: ") + std::strerror(errno));
    in.reset(ends[0]);
    out.reset(ends[1]);
  }
};
