// Lines of wide text from a stdio handle, for the reading side of the wide streams. Holds the
// handle's own lock while it reads.
#include "wideio/wide_lines.h"

#include <algorithm>

#include "wideio/handle_lock.h"

namespace commutil {
namespace {

// Short enough that filling it costs a short line little.
constexpr std::size_t kPieceSize = 128;

constexpr wchar_t kWeof = static_cast<wchar_t>(WEOF);

/// Reads values up to a line feed into `piece`, at most `room`, and returns their number. A text
/// with NULs or a failed read leave fgetws(3) without a length: elements that still hold WEOF,
/// which no character is, tell it.
std::size_t readPiece(std::FILE* file, wchar_t* piece, std::size_t room) {
  std::wmemset(piece, kWeof, room + 1);
  const bool terminated = ::fgetws_unlocked(piece, static_cast<int>(room + 1), file) != nullptr;
  if (terminated) {
    const std::size_t length = std::wcslen(piece);
    if (length == room || (length > 0 && piece[length - 1] == L'\n')) return length;
  }
  std::size_t written = room + 1;
  while (written > 0 && piece[written - 1] == kWeof) --written;
  return terminated ? written - 1 : written;
}

std::size_t readLine(std::FILE* file, wchar_t* buf, std::size_t limit) {
  wchar_t piece[kPieceSize];
  std::size_t i = 0;
  while (i != limit && ::feof_unlocked(file) == 0) {
    const std::size_t room = std::min(limit - i, kPieceSize - 1);
    const std::size_t count = readPiece(file, piece, room);
    std::wmemcpy(buf + i, piece, count);
    i += count;
    if (count > 0 && buf[i - 1] == L'\n') return i - 1;
    if (count < room) buf[i++] = kWeof;
  }
  return i;
}

}  // namespace

std::size_t readWide(std::FILE* file, wchar_t* buf, std::size_t limit, std::wint_t delim) {
  const HandleLock lock(file);
  if (delim == L'\n') return readLine(file, buf, limit);
  std::size_t i = 0;
  while (::feof_unlocked(file) == 0) {
    const std::wint_t c = ::fgetwc_unlocked(file);
    buf[i] = static_cast<wchar_t>(c);
    if (c == L'\n' || c == delim) return i;
    if (++i == limit) break;
  }
  return i;
}

}  // namespace commutil
