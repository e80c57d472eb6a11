#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "VexaCommonUtils_i.h"
#include "os/file_io.h"
#include "os/handles.h"

namespace {

using commutil::Descriptor;
using commutil::uninterrupted;

constexpr mode_t kNewFileMode = 0666;
constexpr std::size_t kPieceSize = 4096;  // on the caller's stack, which may be small
constexpr std::size_t kKernelPieceSize = std::size_t{1} << 30;

/// Returns the full path of `path` below its canonical directory; "" if that directory does not
/// exist.
std::string fullPath(const std::string& path) {
  std::string name;
  std::string full = VexaCommonUtils_i::getParentDirectory(path, name);
  if (!full.empty()) full.append("/").append(name);
  return full;
}

bool isSameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Returns whether `path` leads to the file of `status`, by any name or link.
bool leadsTo(const std::string& path, const struct stat& status) {
  struct stat found = {};
  return ::stat(path.c_str(), &found) == 0 && isSameFile(found, status);
}

/// Copies inside the kernel as far as it supports these files (no pipes, not all kernel files);
/// both offsets are then where the copy continues.
void copyInKernel(int source, int target) {
  ssize_t count = 0;
  do {
    count = uninterrupted([&] { return ::sendfile(target, source, nullptr, kKernelPieceSize); });
  } while (count > 0);
}

/// Copies to the end of the source. Returns false if a read or a write fails.
bool copyThroughBuffer(int source, int target) {
  std::array<char, kPieceSize> piece;  // NOLINT(*-member-init): filled by read
  while (true) {
    const ssize_t count = uninterrupted([&] { return ::read(source, piece.data(), piece.size()); });
    if (count <= 0) return count == 0;
    if (!commutil::writeAll(target, {piece.data(), static_cast<std::size_t>(count)})) return false;
  }
}

/// Empties a regular file; other kinds have no content to discard.
bool empty(int fd, const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return true;
  return uninterrupted([&] { return ::ftruncate(fd, 0); }) == 0;
}

bool copyContent(int source, int target) {
  copyInKernel(source, target);
  return copyThroughBuffer(source, target);  // also reports the errors
}

/// In this order, so that a change of owner clears the set-user-ID bits that the mode set.
void copyAttributes(const struct stat& status, int target) {
  const timespec times[] = {{status.st_atime, 0}, {status.st_mtime, 0}};
  ::futimens(target, times);
  ::fchmod(target, status.st_mode);
  [[maybe_unused]] const int ignored = ::fchown(target, status.st_uid, status.st_gid);
}

/// Fills the open file `target`, whose status is `status`, sets the attributes unless null, and
/// closes it.
bool writeCopy(const Descriptor& source, Descriptor& target, const struct stat& status,
               const struct stat* attributes) {
  if (!empty(target.get(), status) || !copyContent(source.get(), target.get())) return false;
  if (attributes != nullptr) copyAttributes(*attributes, target.get());
  return commutil::closeWritten(target);
}

/// Removes a partial copy, unless the path now names another file.
void removeCopy(const std::string& path, const struct stat& status) {
  if (leadsTo(path, status)) ::unlink(path.c_str());
}

/// Copies an open file to `path`, which it creates if `isNew` and overwrites otherwise.
bool copyTo(const std::string& path, bool isNew, const Descriptor& source,
            const struct stat* attributes) {
  // Empty it only after checking that it is not the source.
  Descriptor target(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kNewFileMode));
  struct stat from = {};
  struct stat to = {};
  if (!target) return false;
  if (::fstat(source.get(), &from) != 0 || ::fstat(target.get(), &to) != 0) {
    if (isNew) ::unlink(path.c_str());  // what identifies a copy is unknown
    return false;
  }
  if (isSameFile(from, to)) return false;
  // While this is open, no other file can have the inode number by which removal identifies the
  // copy.
  const Descriptor holder(::fcntl(target.get(), F_DUPFD_CLOEXEC, 0));
  if (writeCopy(source, target, to, attributes)) return true;
  removeCopy(path, to);
  return false;
}

}  // namespace

int VexaCommonUtils_i::copyFile(const std::string& source, const std::string& target,
                                bool noOverwrite, bool keepAttributes) {
  const std::string sourcePath = fullPath(source);
  const std::string targetPath = fullPath(target);
  if (sourcePath.empty() || targetPath.empty() || sourcePath == targetPath) return -1;
  if (noOverwrite && ::access(targetPath.c_str(), F_OK) == 0) return -1;
  struct stat status = {};
  struct stat old = {};
  if (::stat(sourcePath.c_str(), &status) != 0) return -1;
  const bool exists = ::stat(targetPath.c_str(), &old) == 0;
  const bool isNew = !exists && errno == ENOENT;
  if (exists && isSameFile(old, status)) return -1;
  const Descriptor file(::open(sourcePath.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return -1;
  return copyTo(targetPath, isNew, file, keepAttributes ? &status : nullptr) ? 0 : -1;
}
