// Reads small configuration files whole, for the readers of settings. Re-entrant; no state.
#include "platform/file_text.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "platform/file_io.h"
#include "platform/handles.h"

namespace commutil {
namespace {

constexpr std::size_t kPieceSize = 64 * 1024;

}  // namespace

bool readFileText(const std::string& path, std::string& text) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return false;
  std::string content;
  std::array<char, kPieceSize> piece;  // NOLINT(*-member-init): filled by read
  while (true) {
    const ssize_t count =
        uninterrupted([&] { return ::read(file.get(), piece.data(), piece.size()); });
    if (count < 0) return false;
    if (count == 0) break;
    content.append(piece.data(), static_cast<std::size_t>(count));
  }
  text = std::move(content);
  return true;
}

}  // namespace commutil
