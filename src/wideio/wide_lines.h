#pragma once

#include <cstddef>
#include <cstdio>
#include <cwchar>

namespace commutil {

/// Reads values with fgetwc(3) into `buf` until the handle is at its end, a line feed or `delim`
/// was stored, or `limit` values (at least 1) are. A read that fails stores WEOF and, unless it met
/// the end, the next one is tried. Returns the index of the line feed or delimiter that ended the
/// read, or else the number of values; elements from there on stay unwritten.
std::size_t readWide(std::FILE* file, wchar_t* buf, std::size_t limit, std::wint_t delim);

}  // namespace commutil
