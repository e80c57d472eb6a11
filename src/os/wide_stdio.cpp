#include "os/wide_stdio.h"

#if COMMUTIL_HAS_WIDE_STDIO

#include <fcntl.h>
#include <gconv.h>
#include <gnu/libc-version.h>
#include <stdio_ext.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <optional>
#include <string_view>

#include "bytes/utf8.h"
#include "os/handle_lock.h"

namespace commutil {
namespace {

// The C library of these structures. With any other, plain stdio does all the work.
constexpr std::string_view kKnownLibrary = "2.36";
constexpr std::string_view kUtf8 = "ISO-10646/UTF8/";
// After at least this many converted bytes, the library appends to its block and writes the block
// whole; after fewer it writes pieces of this size.
constexpr std::size_t kPiece = 16;
// The smallest byte buffer that is written as a block.
constexpr std::size_t kSmallestBuffer = 64;

/// The first members of glibc's `_IO_wide_data`.
struct WideData {
  wchar_t* readNext;  ///< decoded text that is not read yet
  wchar_t* readEnd;
  wchar_t* readBase;
  wchar_t* pending;  ///< text that waits to be converted and written
  wchar_t* next;     ///< after it
  wchar_t* end;      ///< of the room for it
  wchar_t* buffer;
  wchar_t* bufferEnd;
};

/// The first members of glibc's `_IO_codecvt`.
struct Conversion {
  __gconv_step* step;
  __gconv_step_data data;
};
struct Conversions {
  Conversion in;
  Conversion out;
};

/// Returns the number of bytes before the last character of some UTF-8.
std::size_t beforeLast(const char* text, std::size_t size) {
  do {
    --size;
  } while (continuesUtf8(static_cast<unsigned char>(text[size])));
  return size;
}

/// Returns the number of characters up to the first line feed or `delim`; `size` without one.
std::size_t lineLength(const wchar_t* text, std::size_t size, std::wint_t delim) {
  const wchar_t* const end = text + size;
  if (delim == L'\n') {
    const wchar_t* const lineFeed = std::wmemchr(text, L'\n', size);
    return lineFeed == nullptr ? size : static_cast<std::size_t>(lineFeed + 1 - text);
  }
  const auto ends = [delim](wchar_t c) {
    return c == L'\n' || static_cast<std::wint_t>(c) == delim;
  };
  const wchar_t* const last = std::find_if(text, end, ends);
  return static_cast<std::size_t>(last - text) + (last == end ? 0 : 1);
}

/// A wide handle whose internal layout is known: the only way to that layout.
class WideHandle {
 public:
  /// Returns nothing, without reading its layout, if `file` is not wide or belongs to an unknown C
  /// library.
  static std::optional<WideHandle> of(std::FILE* file) {
    static const bool known = ::gnu_get_libc_version() == kKnownLibrary;
    if (!known || ::fwide(file, 0) <= 0) return std::nullopt;
    return WideHandle(file);
  }

  std::size_t room() const { return static_cast<std::size_t>(m_wide->end - m_wide->next); }
  bool writesBlocks() const;
  void append(const wchar_t* text, std::size_t size) const {
    m_wide->next = std::wmemcpy(m_wide->next, text, size) + size;
  }
  bool isPiecePending() const;
  bool writePending() const;
  std::size_t takeDecoded(wchar_t* buf, std::size_t limit, std::wint_t delim) const;

 private:
  class Unwritten;

  explicit WideHandle(std::FILE* file)
      : m_file(file), m_wide(reinterpret_cast<WideData*>(file->_wide_data)) {}

  std::size_t pendingSize() const {
    return static_cast<std::size_t>(m_wide->next - m_wide->pending);
  }
  std::size_t byteBufferSize() const {
    return static_cast<std::size_t>(m_file->_IO_buf_end - m_file->_IO_buf_base);
  }
  bool hasEmptyByteBuffer() const;
  bool writesUtf8() const;
  bool waitsForRoom() const;
  bool isRegularFile() const;
  std::size_t writeBlock(wchar_t* text, std::size_t size) const;

  std::FILE* m_file;
  WideData* m_wide;
};

/// Makes text pending again unless it was written, whether the write returns a failure or unwinds
/// a canceled thread.
class WideHandle::Unwritten {
 public:
  Unwritten(const WideHandle& handle, wchar_t* text, wchar_t* end)
      : m_handle(handle), m_text(text), m_end(end) {}
  ~Unwritten() {
    if (m_written) return;
    m_handle.m_file->_IO_write_ptr = m_handle.m_file->_IO_write_base;
    m_handle.m_wide->pending = m_text;
    m_handle.m_wide->next = m_end;
  }
  Unwritten(const Unwritten&) = delete;
  Unwritten& operator=(const Unwritten&) = delete;

  void setWritten() { m_written = true; }

 private:
  const WideHandle& m_handle;
  wchar_t* const m_text;
  wchar_t* const m_end;
  bool m_written = false;
};

/// Returns whether blocks can be written: the handle is fully buffered, the buffer large enough,
/// and the layout agrees with what stdio reports.
bool WideHandle::writesBlocks() const {
  return m_wide->buffer != nullptr && ::__fwriting(m_file) != 0 && ::__flbf(m_file) == 0 &&
         m_wide->end == m_wide->bufferEnd && pendingSize() == ::__fpending(m_file) &&
         static_cast<std::size_t>(m_wide->bufferEnd - m_wide->buffer) == ::__fbufsize(m_file) &&
         byteBufferSize() >= kSmallestBuffer;
}

/// Bytes written to a wide handle wait in the buffer in which blocks would be converted.
bool WideHandle::hasEmptyByteBuffer() const {
  return m_file->_IO_write_ptr == m_file->_IO_buf_base &&
         m_file->_IO_write_base == m_file->_IO_buf_base &&
         m_file->_IO_read_end == m_file->_IO_buf_base;
}

/// The handle keeps its first encoding, whatever the locale is now.
bool WideHandle::writesUtf8() const {
  const __gconv_step* const step = reinterpret_cast<Conversions*>(m_file->_codecvt)->out.step;
  return step != nullptr && step->__to_name != nullptr && step->__to_name == kUtf8;
}

/// A nonblocking pipe takes fewer bytes in blocks than in pieces.
bool WideHandle::waitsForRoom() const {
  const int flags = ::fcntl(::fileno_unlocked(m_file), F_GETFL);
  return flags >= 0 && (flags & O_NONBLOCK) == 0;
}

bool WideHandle::isRegularFile() const {
  struct stat status = {};
  const int error = errno;
  const bool regular = ::fstat(::fileno_unlocked(m_file), &status) == 0 && S_ISREG(status.st_mode);
  errno = error;
  return regular;
}

/// Writes a block from the front of `text`, up to the first character that UTF-8 does not encode:
/// converts all but its last character here; the library writes them with that one. The library
/// writes text that is too short as a piece. Returns the number of characters, 0 if the write
/// fails.
std::size_t WideHandle::writeBlock(wchar_t* text, std::size_t size) const {
  char* const block = m_file->_IO_buf_base;
  // A pipe takes a block of this size whole or not at all. The last character must fit, too.
  const std::size_t room = std::min<std::size_t>(byteBufferSize(), PIPE_BUF);
  Unwritten unwritten(*this, text, text + size);
  Converted converted = narrowUtf8(text, size, block, room);
  const std::size_t bytes = beforeLast(block, converted.written);
  m_wide->pending = text;
  if (bytes >= kPiece) {
    m_file->_IO_write_ptr = block + bytes;
    m_wide->pending += converted.read - 1;
  } else {
    converted = narrowUtf8(text, converted.read, block, kPiece);
  }
  m_wide->next = text + converted.read;
  if (::fflush_unlocked(m_file) != 0) return 0;
  unwritten.setWritten();
  return converted.read;
}

/// Returns whether the library writes what is pending with one call, too.
bool WideHandle::isPiecePending() const {
  const std::size_t size = pendingSize();
  return size <= kPiece && writesBlocks() && measureUtf8(m_wide->pending, size) <= kPiece;
}

/// Writes what is pending if blocks can do that; false if a write failed. Then the same is pending
/// as with stdio: on a full disk all of it, so that later calls fail alike. What a pipe has taken
/// is not pending, because its reader must not get it twice.
bool WideHandle::writePending() const {
  const std::size_t size = pendingSize();
  if (size == 0 || !writesBlocks() || !hasEmptyByteBuffer() || !writesUtf8()) return true;
  if (!waitsForRoom()) return true;
  wchar_t* const text = m_wide->pending;
  for (std::size_t done = 0; done < size;) {
    if (measureUtf8(text + done, 1) == kNoUtf8) {
      // The library writes it and reports the failure.
      m_wide->pending = text + done;
      m_wide->next = text + size;
      return true;
    }
    const std::size_t count = writeBlock(text + done, size - done);
    if (count == 0) {
      if (isRegularFile()) m_wide->pending = text;
      return false;
    }
    done += count;
  }
  return true;
}

std::size_t WideHandle::takeDecoded(wchar_t* buf, std::size_t limit, std::wint_t delim) const {
  const auto ready = static_cast<std::size_t>(m_wide->readEnd - m_wide->readNext);
  if (ready == 0) return 0;
  const std::size_t count = lineLength(m_wide->readNext, std::min(ready, limit), delim);
  std::wmemcpy(buf, m_wide->readNext, count);
  m_wide->readNext += count;
  return count;
}

bool writePending(std::FILE* file) {
  const auto handle = WideHandle::of(file);
  return !handle || handle->isPiecePending() || handle->writePending();
}

/// Writes what is pending for the last time: drops text that cannot be written, so that fclose(3)
/// does not try again.
bool writeLast(std::FILE* file) {
  const HandleLock lock(file);
  const bool written = writePending(file);
  if (!written) ::__fpurge(file);
  return written;
}

/// Writes the first text of a line-buffered handle as fputws(3) does, which flushes each line feed.
int putCharacters(std::FILE* file, const wchar_t* text) {
  for (; *text != L'\0'; ++text) {
    if (::fputwc_unlocked(*text, file) == WEOF) return EOF;
  }
  return 1;
}

}  // namespace

int putWideText(std::FILE* file, const wchar_t* text) {
  const HandleLock lock(file);
  std::size_t left = std::wcslen(text);
  if (left > kPiece && ::fwide(file, 0) == 0) {
    // The first character sets the handle's orientation and allocates its buffers.
    if (::fputwc_unlocked(*text, file) == WEOF) return EOF;
    ++text;
    --left;
    if (::__flbf(file) != 0) return putCharacters(file, text);
  }
  if (const auto handle = WideHandle::of(file)) {
    while (left > handle->room() && handle->writesBlocks()) {
      const std::size_t count = handle->room();
      handle->append(text, count);
      text += count;
      left -= count;
      if (!handle->writePending()) return EOF;
      if (handle->room() == 0) break;
    }
  }
  return ::fputws_unlocked(text, file);
}

std::wint_t putWideCharacter(std::FILE* file, wchar_t c) {
  const HandleLock lock(file);
  const auto handle = WideHandle::of(file);
  if (handle && handle->room() == 0 && !handle->writePending()) return WEOF;
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

std::size_t takeDecoded(std::FILE* file, wchar_t* buf, std::size_t limit, std::wint_t delim) {
  const auto handle = WideHandle::of(file);
  return handle ? handle->takeDecoded(buf, limit, delim) : 0;
}

}  // namespace commutil

#endif
