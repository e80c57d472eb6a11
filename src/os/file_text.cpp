#include "os/file_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <new>

#include "os/file_io.h"
#include "os/handles.h"

namespace commutil {
namespace {

/// Throws std::bad_alloc if the call that just failed ran out of memory.
void throwIfOutOfMemory() {
  if (errno == ENOMEM) throw std::bad_alloc();
}

/// Returns whether files of this kind are read: regular ones, and the null device as an empty one.
bool isReadable(const struct stat& status) {
  return S_ISREG(status.st_mode) || (S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3));
}

/// Returns whether the open file is of a kind that is read.
bool isReadable(const Descriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && isReadable(status);
}

/// Opens the file at `path`, and waits while a lease delays the open.
Descriptor openWaiting(const std::string& path) {
  // Through a descriptor that opens nothing, so that no FIFO can replace it now.
  const Descriptor place(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!place || !isReadable(place)) return {};
  return openFile("/proc/self/fd/" + std::to_string(place.get()), O_RDONLY);
}

/// Opens the file at `path`; empty if it cannot be opened or is not of a kind that is read.
Descriptor openReadable(const std::string& path) {
  struct stat status {};
  // Checked first, because opening a FIFO or a device has effects.
  if (::stat(path.c_str(), &status) != 0) {
    throwIfOutOfMemory();
    return {};
  }
  if (!isReadable(status)) return {};
  Descriptor file = openFile(path, O_RDONLY | O_NONBLOCK);
  // Another process has a lease on the file and will release it soon.
  if (!file && errno == EWOULDBLOCK) file = openWaiting(path);
  if (!file) throwIfOutOfMemory();
  if (file && !isReadable(file)) file.reset();
  return file;
}

/// Reads all of an open file, and waits if the file system makes a reader wait.
bool readWaiting(const Descriptor& file, std::string& text) {
  if (readAll(file.get(), text)) return true;
  return errno == EWOULDBLOCK && ::fcntl(file.get(), F_SETFL, 0) == 0 && readAll(file.get(), text);
}

}  // namespace

bool readFileText(const std::string& path, std::string& text) {
  const Descriptor file = openReadable(path);
  if (!file) return false;
  std::string content;
  if (!readWaiting(file, content)) {
    throwIfOutOfMemory();
    return false;
  }
  text = std::move(content);
  return true;
}

}  // namespace commutil
