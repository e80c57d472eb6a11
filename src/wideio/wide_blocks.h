#pragma once

#include <cstdio>
#include <cwchar>

// stdio's wide output with other system calls below: glibc writes what a wide handle has pending 16
// bytes a call; here it goes out in blocks. Results, errors, order and what stays pending are
// stdio's own.

namespace commutil {

/// fputws(3).
int putWideText(std::FILE* file, const wchar_t* text);

/// fputwc(3).
std::wint_t putWideCharacter(std::FILE* file, wchar_t c);

/// fflush(3).
int flushWide(std::FILE* file);

/// fclose(3).
int closeWide(std::FILE* file);

}  // namespace commutil
