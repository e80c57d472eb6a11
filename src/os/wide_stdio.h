#pragma once

#include <features.h>

#include <cstddef>
#include <cstdio>
#include <cwchar>

// Works around glibc bug 31183: before version 2.39, glibc writes wide text 16 bytes per system
// call. These functions write UTF-8 in blocks instead, and read decoded text without a call per
// character. wide_stdio.cpp is the only file that knows glibc's internal structures.
//
// Delete both files and call stdio instead when no supported system has a glibc older than 2.39.

#ifndef COMMUTIL_WIDE_STDIO
#error "COMMUTIL_WIDE_STDIO is not the library's: these functions would replace the library's own"
#endif

/// True if the workaround is compiled in. At run time it also checks the C library's version.
#define COMMUTIL_HAS_WIDE_STDIO (COMMUTIL_WIDE_STDIO && !__GLIBC_PREREQ(2, 39))

namespace commutil {

#if COMMUTIL_HAS_WIDE_STDIO

/// fputws(3).
int putWideText(std::FILE* file, const wchar_t* text);

/// fputwc(3).
std::wint_t putWideCharacter(std::FILE* file, wchar_t c);

/// fflush(3) of a handle.
int flushWide(std::FILE* file);

/// fclose(3).
int closeWide(std::FILE* file);

/// Reads up to `limit` characters that `file` has already decoded, and stops after a line feed or
/// `delim`. Returns their number, 0 if fgetwc(3) must be called. The caller holds the handle's
/// lock.
std::size_t takeDecoded(std::FILE* file, wchar_t* buf, std::size_t limit, std::wint_t delim);

#else

inline int putWideText(std::FILE* file, const wchar_t* text) { return std::fputws(text, file); }
inline std::wint_t putWideCharacter(std::FILE* file, wchar_t c) { return std::fputwc(c, file); }
inline int flushWide(std::FILE* file) { return std::fflush(file); }
inline int closeWide(std::FILE* file) { return std::fclose(file); }
inline std::size_t takeDecoded(std::FILE*, wchar_t*, std::size_t, std::wint_t) { return 0; }

#endif

}  // namespace commutil
