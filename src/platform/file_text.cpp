// Reads small configuration files whole, for the readers of settings. Re-entrant; no state.
#include "platform/file_text.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/handles.h"

namespace commutil {
namespace {

constexpr std::size_t kPieceSize = 64 * 1024;

ssize_t readPiece(int fd, char* buffer, std::size_t size) {
  ssize_t count = 0;
  do {
    count = ::read(fd, buffer, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

}  // namespace

bool readFileText(const std::string& path, std::string& text) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return false;
  std::string content;
  std::array<char, kPieceSize> piece;  // NOLINT(*-member-init): filled by read
  while (true) {
    const ssize_t count = readPiece(file.get(), piece.data(), piece.size());
    if (count < 0) return false;
    if (count == 0) break;
    content.append(piece.data(), static_cast<std::size_t>(count));
  }
  text = std::move(content);
  return true;
}

}  // namespace commutil
