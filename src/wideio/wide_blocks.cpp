// Wide text to a stdio handle in blocks, for the writing side of the wide streams. Only what is
// pending is written here, and only in a handle that is known inside out; stdio does all the rest.
// Holds the handle's own lock while it works.
#include "wideio/wide_blocks.h"

#include <gconv.h>
#include <gnu/libc-version.h>
#include <stdio_ext.h>

#include <algorithm>
#include <string_view>

#include "platform/utf8.h"
#include "wideio/handle_lock.h"

namespace commutil {
namespace {

// The C library whose records of a handle these are.
constexpr std::string_view kKnownLibrary = "2.36";
constexpr std::string_view kUtf8 = "ISO-10646/UTF8/";
constexpr std::size_t kLongestUtf8 = 4;
// Behind at least as many converted bytes the library adds to its block, and it writes the block
// whole; with fewer it takes a block of this size.
constexpr std::size_t kSmallBlock = 16;

/// The first members of glibc's record of a handle's wide side.
struct WideSide {
  wchar_t* read[3];
  wchar_t* pending;  ///< the text that waits to be converted and written
  wchar_t* next;     ///< behind it
  wchar_t* end;      ///< of the room for it
  wchar_t* buffer;
  wchar_t* bufferEnd;
};

/// The first members of glibc's record of a handle's conversions.
struct Conversion {
  __gconv_step* step;
  __gconv_step_data data;
};
struct Conversions {
  Conversion in;
  Conversion out;
};

WideSide& wideSide(std::FILE* file) { return *reinterpret_cast<WideSide*>(file->_wide_data); }

std::size_t pendingSize(const WideSide& side) {
  return static_cast<std::size_t>(side.next - side.pending);
}

std::size_t roomIn(const WideSide& side) { return static_cast<std::size_t>(side.end - side.next); }

/// Whether the handle writes wide text through full buffers, and its record agrees with what stdio
/// tells of it.
bool isWritingWide(std::FILE* file) {
  const WideSide& side = wideSide(file);
  return ::fwide(file, 0) > 0 && ::__fwriting(file) != 0 && ::__flbf(file) == 0 &&
         side.end == side.bufferEnd && pendingSize(side) == ::__fpending(file) &&
         static_cast<std::size_t>(side.bufferEnd - side.buffer) == ::__fbufsize(file);
}

/// Whether the handle converts to UTF-8, which it has been told once, whatever the locale is now.
bool writesUtf8(const std::FILE* file) {
  if (::gnu_get_libc_version() != kKnownLibrary) return false;
  const __gconv_step* const step = reinterpret_cast<Conversions*>(file->_codecvt)->out.step;
  return step != nullptr && step->__to_name != nullptr && step->__to_name == kUtf8;
}

/// How many characters of a text fit into `room` bytes, as far as that is quickly told.
std::size_t fitting(const wchar_t* text, std::size_t size, std::size_t room) {
  const std::size_t most = std::min(size, room);
  const std::size_t bytes = measureUtf8(text, most);
  if (bytes <= room) return most;
  const std::size_t share = most * room / bytes;
  return measureUtf8(text, share) <= room ? share : room / kLongestUtf8;
}

/// Makes the text from `text` to `end` pending again unless it was written: a write that fails
/// returns, and that of a canceled thread unwinds.
class Unwritten {
 public:
  Unwritten(std::FILE* file, wchar_t* text, wchar_t* end)
      : m_file(file), m_text(text), m_end(end) {}
  ~Unwritten() {
    if (m_file == nullptr) return;
    m_file->_IO_write_ptr = m_file->_IO_write_base;
    wideSide(m_file).pending = m_text;
    wideSide(m_file).next = m_end;
  }
  Unwritten(const Unwritten&) = delete;
  Unwritten& operator=(const Unwritten&) = delete;

  void setWritten() { m_file = nullptr; }

 private:
  std::FILE* m_file;
  wchar_t* const m_text;
  wchar_t* const m_end;
};

/// Writes a block from the front of `text`: all but its last character are converted here, and the
/// library writes them with that one. Returns the number of characters, 0 when it fails.
std::size_t writeBlock(std::FILE* file, wchar_t* text, std::size_t size) {
  char* const block = file->_IO_write_base;
  const auto room = static_cast<std::size_t>(file->_IO_buf_end - block) - kSmallBlock;
  const std::size_t count = fitting(text, size, room);
  Unwritten unwritten(file, text, text + size);
  char* const end = narrowUtf8(text, count - 1, block);
  WideSide& side = wideSide(file);
  side.pending = text;
  side.next = text + count;
  if (static_cast<std::size_t>(end - block) >= kSmallBlock) {
    file->_IO_write_ptr = end;
    side.pending = side.next - 1;
  }
  if (::fflush_unlocked(file) != 0) return 0;
  unwritten.setWritten();
  return count;
}

/// Writes what is pending where it pays and can be done; false when it failed. All of it is then
/// pending still, as the library leaves it.
bool writePending(std::FILE* file) {
  if (!isWritingWide(file)) return true;
  const WideSide before = wideSide(file);
  const std::size_t size = pendingSize(before);
  // Bytes put on a handle of wide text stand where the blocks would.
  if (size <= kSmallBlock || file->_IO_write_ptr != file->_IO_write_base) return true;
  if (!writesUtf8(file) || measureUtf8(before.pending, size) == kNoUtf8) return true;
  for (std::size_t done = 0; done < size;) {
    const std::size_t count = writeBlock(file, before.pending + done, size - done);
    if (count == 0) {
      wideSide(file).pending = before.pending;
      wideSide(file).next = before.next;
      return false;
    }
    done += count;
  }
  return true;
}

/// Writes what is pending for the last time: text that cannot be written is dropped, so that
/// fclose(3) does not try again.
bool writeLast(std::FILE* file) {
  const HandleLock lock(file);
  const bool written = writePending(file);
  if (!written) ::__fpurge(file);
  return written;
}

}  // namespace

int putWideText(std::FILE* file, const wchar_t* text) {
  const HandleLock lock(file);
  const WideSide& side = wideSide(file);
  std::size_t left = std::wcslen(text);
  if (left > kSmallBlock && side.buffer == nullptr) {
    // The first character gives the handle its orientation and its buffers.
    if (::fputwc_unlocked(*text, file) == WEOF) return EOF;
    ++text;
    --left;
  }
  while (left > roomIn(side) && isWritingWide(file)) {
    const std::size_t count = roomIn(side);
    std::wmemcpy(side.next, text, count);
    wideSide(file).next += count;
    text += count;
    left -= count;
    if (!writePending(file)) return EOF;
    if (roomIn(side) == 0) break;
  }
  return ::fputws_unlocked(text, file);
}

std::wint_t putWideCharacter(std::FILE* file, wchar_t c) {
  const HandleLock lock(file);
  if (roomIn(wideSide(file)) == 0 && !writePending(file)) return WEOF;
  return ::fputwc_unlocked(c, file);
}

int flushWide(std::FILE* file) {
  const HandleLock lock(file);
  return writePending(file) ? ::fflush_unlocked(file) : EOF;
}

int closeWide(std::FILE* file) {
  const bool written = writeLast(file);
  return std::fclose(file) == 0 && written ? 0 : EOF;
}

}  // namespace commutil
