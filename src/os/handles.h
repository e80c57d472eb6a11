#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

// Owners of operating system handles: each releases its handle once, at the end of its scope, and
// keeps `errno`. `release()` detaches a handle from its owner.

namespace commutil {

/// Restores `errno` at the end of a scope.
class ErrnoKeeper {
 public:
  ErrnoKeeper() = default;
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
  ~ErrnoKeeper() { errno = m_errno; }

 private:
  int m_errno = errno;
};

/// A file descriptor; -1 if empty.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : m_fd(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~Descriptor() { reset(); }

  int get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }
  int release() { return std::exchange(m_fd, -1); }
  void reset(int fd = -1) {
    const ErrnoKeeper keep;
    if (m_fd >= 0) ::close(m_fd);
    m_fd = fd;
  }

 private:
  int m_fd = -1;
};

/// Releases a handle of type `Handle` by `close`, keeping `errno`.
template <class Handle, auto close>
struct HandleCloser {
  void operator()(Handle* handle) const {
    const ErrnoKeeper keep;
    close(handle);
  }
};

using FileHandle = std::unique_ptr<std::FILE, HandleCloser<std::FILE, &std::fclose>>;
using PipeStream = std::unique_ptr<std::FILE, HandleCloser<std::FILE, &::pclose>>;
using DirectoryHandle = std::unique_ptr<DIR, HandleCloser<DIR, &::closedir>>;
using MallocBlock = std::unique_ptr<void, HandleCloser<void, &std::free>>;

/// Starts a shell command with a stream on its output (mode "r") or its input ("w") that no other
/// child inherits; empty if it cannot be started.
inline PipeStream openPipe(const char* command, const char* mode) {
  // The contract fixes the plain modes; close-on-exec is a separate step.
  PipeStream stream(::popen(command, mode));
  if (stream) ::fcntl(::fileno(stream.get()), F_SETFD, FD_CLOEXEC);
  return stream;
}

}  // namespace commutil
