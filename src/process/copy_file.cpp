// Copying a file safely: never onto itself, no partial copy left behind. Re-entrant; no state.
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <array>
#include <string>

#include "VexaCommonUtils_i.h"
#include "platform/file_io.h"
#include "platform/handles.h"

namespace {

using commutil::Descriptor;
using commutil::uninterrupted;

constexpr mode_t kNewFileMode = 0666;
constexpr std::size_t kPieceSize = 4096;  // on a caller's stack, which may be small
constexpr std::size_t kKernelPieceSize = std::size_t{1} << 30;

/// The full path of `path` below its canonical directory; "" when that directory does not exist.
std::string fullPath(const std::string& path) {
  std::string name;
  std::string full = VexaCommonUtils_i::getParentDirectory(path, name);
  if (!full.empty()) full.append("/").append(name);
  return full;
}

/// Whether `path` leads to the file of `status`, by whatever name or link.
bool isSameFile(const std::string& path, const struct stat& status) {
  struct stat other = {};
  return ::stat(path.c_str(), &other) == 0 && other.st_dev == status.st_dev &&
         other.st_ino == status.st_ino;
}

/// Copies inside the kernel as far as it takes these files (not pipes, not all kernel files); both
/// are then at the place to go on from.
void copyInKernel(int source, int target) {
  ssize_t count = 0;
  do {
    count = uninterrupted([&] { return ::sendfile(target, source, nullptr, kKernelPieceSize); });
  } while (count > 0);
}

/// Copies to the end of the source. Returns false when a read or a write fails.
bool copyThroughBuffer(int source, int target) {
  std::array<char, kPieceSize> piece;  // NOLINT(*-member-init): filled by read
  while (true) {
    const ssize_t count = uninterrupted([&] { return ::read(source, piece.data(), piece.size()); });
    if (count <= 0) return count == 0;
    if (!commutil::writeAll(target, {piece.data(), static_cast<std::size_t>(count)})) return false;
  }
}

/// Copies all bytes of `source` to a target that is created or emptied, and closes it. The copy is
/// removed when it fails.
bool copyContent(const Descriptor& source, const std::string& targetPath) {
  Descriptor target(
      ::open(targetPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode));
  if (!target) return false;
  copyInKernel(source.get(), target.get());
  const bool copied = copyThroughBuffer(source.get(), target.get());  // and meets the errors
  if (commutil::closeWritten(target) && copied) return true;
  ::unlink(targetPath.c_str());
  return false;
}

/// In this order, so a change of owner clears set-user-ID bits that the mode had brought.
void copyAttributes(const struct stat& status, const std::string& target) {
  const utimbuf times = {status.st_atime, status.st_mtime};
  ::utime(target.c_str(), &times);
  ::chmod(target.c_str(), status.st_mode);
  [[maybe_unused]] const int ignored = ::chown(target.c_str(), status.st_uid, status.st_gid);
}

}  // namespace

int VexaCommonUtils_i::copyFile(const std::string& source, const std::string& target,
                                bool noOverwrite, bool keepAttributes) {
  const std::string sourcePath = fullPath(source);
  const std::string targetPath = fullPath(target);
  if (sourcePath.empty() || targetPath.empty() || sourcePath == targetPath) return -1;
  if (noOverwrite && ::access(targetPath.c_str(), F_OK) == 0) return -1;
  struct stat status = {};
  if (::stat(sourcePath.c_str(), &status) != 0 || isSameFile(targetPath, status)) return -1;
  const Descriptor file(::open(sourcePath.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file || !copyContent(file, targetPath)) return -1;
  if (keepAttributes) copyAttributes(status, targetPath);
  return 0;
}
