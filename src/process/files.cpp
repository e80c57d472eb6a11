// Small jobs on files that services need again and again: making a directory path, reading a file
// whole, copying one safely, listing a tree. Re-entrant; no state.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <string>

#include "VexaCommonUtils.h"
#include "platform/handles.h"

namespace {

using commutil::Descriptor;

constexpr off_t kPieceSize = 256 * 1024;

// The size that the file says it has; -1 when it has none to say.
off_t statedSize(int fd) {
  struct stat status = {};
  if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) return -1;
  if (S_ISREG(status.st_mode) && status.st_size > 0) return status.st_size;
  const off_t size = S_ISREG(status.st_mode) ? 0 : ::lseek(fd, 0, SEEK_END);
  return ::lseek(fd, 0, SEEK_SET) < 0 ? -1 : size;
}

ssize_t readPiece(int fd, char* buffer, std::size_t size) {
  ssize_t count = 0;
  do {
    count = ::read(fd, buffer, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

}  // namespace

int VexaCommonUtils::readFile(const std::string& path, std::string& content) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return 1;
  const off_t size = statedSize(file.get());
  if (size < 0 || size > INT_MAX) return 1;
  std::string text;
  text.reserve(static_cast<std::size_t>(size));
  const auto pieceSize = static_cast<std::size_t>(std::min(size, kPieceSize));
  const std::unique_ptr<char[]> piece(new char[pieceSize]);
  while (text.size() < static_cast<std::size_t>(size)) {
    const std::size_t want = std::min(pieceSize, static_cast<std::size_t>(size) - text.size());
    const ssize_t count = readPiece(file.get(), piece.get(), want);
    if (count <= 0) return 1;
    text.append(piece.get(), static_cast<std::size_t>(count));
  }
  content = std::move(text);
  return 0;
}
