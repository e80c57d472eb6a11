#pragma once

#include <cstdarg>
#include <cstddef>

// Bounded copies and formatting: the C library's functions with an explicit destination size, and
// only the behavior that callers rely on. Plain C names, so that a platform's own library can
// replace this file at build time.
extern "C" {

/// Copies `count` bytes. Returns 0; an error number, nothing copied, if a pointer is null or
/// `count` exceeds `size`. A `count` of 0 succeeds whatever `src` is.
int memcpy_s(void* dest, std::size_t size, const void* src, std::size_t count);

/// Fills `count` bytes with `value`. Returns 0; an error number, nothing written, if `dest` is null
/// or `count` exceeds `size`.
int memset_s(void* dest, std::size_t size, int value, std::size_t count);

/// Copies `src` up to its NUL, at most `count` bytes, and adds a NUL; silently drops the rest.
/// Returns 0; an error number if a pointer is null or the result with its NUL exceeds `size`,
/// `dest` then left empty if possible.
int strncpy_s(char* dest, std::size_t size, const char* src, std::size_t count);

/// Formats at most `count` characters and a NUL. Returns the number of characters; a negative
/// number if the output would exceed `count`, does not fit in `size`, or cannot be formatted.
/// `dest` is terminated in each case.
int snprintf_s(char* dest, std::size_t size, std::size_t count, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/// Formats wide text into `size` wide characters, NUL included. Returns the number of characters;
/// -1, `dest` set to "", if the output does not fit or cannot be formatted (vswprintf(3) does not
/// set it).
int vswprintf_s(wchar_t* dest, std::size_t size, const wchar_t* format, std::va_list args);
}
