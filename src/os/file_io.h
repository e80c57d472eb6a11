#pragma once

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>

#include "os/handles.h"

// Reading and writing through descriptors, regardless of signals.

namespace commutil {

/// Calls `transfer`, such as read(2) or write(2), until no signal interrupts it.
template <class Transfer>
ssize_t uninterrupted(const Transfer& transfer) {
  ssize_t count = 0;
  do {
    count = transfer();
  } while (count < 0 && errno == EINTR);
  return count;
}

/// Opens the file at `path`, which stays open in exec(3), and waits for it regardless of signals. A
/// terminal does not become the process's controlling terminal, whose hang-up would end the
/// process.
inline Descriptor openInheritable(const std::string& path, int flags, mode_t mode = 0) {
  flags |= O_NOCTTY;
  return Descriptor(
      static_cast<int>(uninterrupted([&] { return ssize_t{::open(path.c_str(), flags, mode)}; })));
}

/// The same, close-on-exec.
inline Descriptor openFile(const std::string& path, int flags, mode_t mode = 0) {
  return openInheritable(path, flags | O_CLOEXEC, mode);
}

/// Appends the rest of the file to `text`. Returns whether the end was reached; after a failed
/// read, the bytes before it stay appended. Reads into the string itself, because callers' stacks
/// may be small.
inline bool readAll(int fd, std::string& text) {
  constexpr std::size_t kLeastRoom = 4096;
  std::size_t size = text.size();
  while (true) {
    if (size == text.size()) text.resize(size + std::max(size, kLeastRoom));
    const ssize_t count =
        uninterrupted([&] { return ::read(fd, text.data() + size, text.size() - size); });
    if (count <= 0) {
      text.resize(size);
      return count == 0;
    }
    size += static_cast<std::size_t>(count);
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

/// Closes a written file. Returns false if a write failed: some file systems report that only here.
/// The descriptor is closed in either case, after an interruption too.
inline bool closeWritten(Descriptor& file) {
  return ::close(file.release()) == 0 || errno == EINTR;
}

}  // namespace commutil
