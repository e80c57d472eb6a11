#pragma once

#include <cstdarg>
#include <cstddef>

// Bounded copies and formatting: the C library's functions with an explicit destination size.
// Only the conduct that callers rely on is promised. Plain C names, so that the platform's own
// library can stand in for this file at build time.
extern "C" {

/// Copies `count` bytes. Returns 0; an error number when a pointer is null or `count` exceeds
/// `size`, nothing copied then. A `count` of 0 succeeds whatever `src` is.
int memcpy_s(void* dest, std::size_t size, const void* src, std::size_t count);

/// Fills `count` bytes with `value`. Returns 0; an error number when `dest` is null or `count`
/// exceeds `size`, nothing written then.
int memset_s(void* dest, std::size_t size, int value, std::size_t count);

/// Copies `src` up to its NUL, at most `count` bytes, and adds a terminator: text beyond `count` is
/// cut silently. Returns 0; an error number when a pointer is null or the result with its
/// terminator exceeds `size`, `dest` left empty then if it can be.
int strncpy_s(char* dest, std::size_t size, const char* src, std::size_t count);

/// Formats at most `count` characters and a terminator. Returns the number of characters; a
/// negative number when the output would exceed `count`, does not fit in `size`, or cannot be
/// formatted; `dest` is terminated in each case.
int snprintf_s(char* dest, std::size_t size, std::size_t count, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/// Formats wide text into `size` wide characters, terminator included. Returns the number of
/// characters; -1 when the output does not fit or cannot be formatted, and then `dest` is the
/// empty text, which vswprintf(3) alone does not see to.
int vswprintf_s(wchar_t* dest, std::size_t size, const wchar_t* format, std::va_list args);
}
