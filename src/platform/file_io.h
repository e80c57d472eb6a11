#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>

#include "platform/handles.h"

// Reading and writing through descriptors, whatever signals come in between.

namespace commutil {

/// Calls `transfer`, which is read(2), write(2) or one of their kin, until a signal does not
/// interrupt it.
template <class Transfer>
ssize_t uninterrupted(const Transfer& transfer) {
  ssize_t count = 0;
  do {
    count = transfer();
  } while (count < 0 && errno == EINTR);
  return count;
}

/// Appends what is left to read to `text`. Returns whether the end was reached; of a read that
/// fails what came before it stays appended.
inline bool readAll(int fd, std::string& text) {
  std::array<char, std::size_t{64} * 1024> piece;  // NOLINT(*-member-init): filled by read
  while (true) {
    const ssize_t count = uninterrupted([&] { return ::read(fd, piece.data(), piece.size()); });
    if (count <= 0) return count == 0;
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
}

/// Writes all of `bytes`. Returns whether it could.
inline bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = uninterrupted([&] { return ::write(fd, bytes.data(), bytes.size()); });
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Closes a file that was written. Returns false when a write failed after all: some file systems
/// report it only here. The descriptor is gone in either case, after an interruption too.
inline bool closeWritten(Descriptor& file) {
  return ::close(file.release()) == 0 || errno == EINTR;
}

}  // namespace commutil
