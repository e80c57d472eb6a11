// Lines of wide text from a stdio handle, for the reading side of the wide streams. Holds the
// handle's own lock while it reads.
#include "wideio/wide_lines.h"

#include <algorithm>

#include "wideio/handle_lock.h"

namespace commutil {
namespace {

/// The characters that a handle has decoded and not given out yet: the first members of glibc's
/// record of a handle's wide side, which stdio has no call for.
struct DecodedText {
  wchar_t* next;
  wchar_t* end;
};

DecodedText& decodedText(std::FILE* file) {
  return *reinterpret_cast<DecodedText*>(file->_wide_data);
}

/// Tells whether reading one character moved the text as it must: only then is it what it is taken
/// for and can be read beyond that character. It did not when the handle decoded anew, nor in a
/// handle that had decoded nothing yet, whose text is null.
bool advancedByOne(const DecodedText& before, const DecodedText& after) {
  return before.next != nullptr && after.next == before.next + 1 && after.end == before.end;
}

/// The number of characters before the first line feed or `delim`, `size` without one.
std::size_t plainLength(const wchar_t* text, std::size_t size, std::wint_t delim) {
  const wchar_t* const end = text + size;
  if (delim == L'\n') {
    const wchar_t* const lineFeed = std::wmemchr(text, L'\n', size);
    return lineFeed == nullptr ? size : static_cast<std::size_t>(lineFeed - text);
  }
  const auto ends = [delim](wchar_t c) {
    return c == L'\n' || static_cast<std::wint_t>(c) == delim;
  };
  return static_cast<std::size_t>(std::find_if(text, end, ends) - text);
}

}  // namespace

std::size_t readWide(std::FILE* file, wchar_t* buf, std::size_t limit, std::wint_t delim) {
  const HandleLock lock(file);
  DecodedText& decoded = decodedText(file);
  std::size_t i = 0;
  while (i != limit && ::feof_unlocked(file) == 0) {
    const DecodedText before = decoded;
    const std::wint_t c = ::fgetwc_unlocked(file);
    buf[i] = static_cast<wchar_t>(c);
    if (c == L'\n' || c == delim) return i;
    ++i;
    if (!advancedByOne(before, decoded)) continue;

    // Up to the character that ends the line, the handle would give these out one by one.
    const auto ready = static_cast<std::size_t>(decoded.end - decoded.next);
    const std::size_t count = plainLength(decoded.next, std::min(ready, limit - i), delim);
    std::wmemcpy(buf + i, decoded.next, count);
    decoded.next += count;
    i += count;
  }
  return i;
}

}  // namespace commutil
