#ifndef VEXA_STRING_UTILS_H
#define VEXA_STRING_UTILS_H

#include <string>

#include "VexaExport.h"

/// @file
/// The free functions on strings; the utility classes hold the others.

/// @name Strings
/// Bytes and ASCII only: the locale is never asked. None throws on bad input; a failing allocation
/// passes through as `std::bad_alloc`. Threads: any.
/// @{

/// Changes every byte 'a' to 'z' of `s` into its upper-case letter, in place; every other byte,
/// 0x80 and above included, stays as it is.
VEXA_EXPORT void ToUpperEx(std::string& s);

/// Returns a copy of `s` with its ASCII letters in upper case, as `ToUpperEx` makes them.
VEXA_EXPORT std::string ToUpper(const std::string& s);

/// Tells whether `s` holds no letter beyond the hexadecimal range: false as soon as one of 'G' to
/// 'Z' or 'g' to 'z' occurs. Digits, punctuation and blanks pass; the empty text yields true.
VEXA_EXPORT bool StringIsRight(const std::string& s);

/// Returns a copy of `s` in which every byte equal to `c` is replaced by the whole of `rep`, which
/// may be empty or of any length; inserted text is not searched again.
///
///     ReplaceChar("50%", '%', "\\%")  ->  "50\\%"
/// @throws std::length_error  no string can hold the result
VEXA_EXPORT std::string ReplaceChar(const std::string& s, char c, const std::string& rep);

/// Converts the hexadecimal digits of `hex` (up to its first NUL, no prefix, sign or blank) into
/// decimal text of at most three characters. It exists to convert one byte written as two digits:
/// "ff" yields "255", "0" and the empty text "0". Longer text wraps: its value modulo 2^64 counts,
/// so that digits before the last sixteen weigh nothing, and the low 32 bits of it are printed as a
/// signed number ("ffffffff" yields "-1").
/// @return the decimal text, "-99" to "999"; "" when a byte is no hexadecimal digit or when the
///         text would need more than three characters ("3e8" is 1000 and yields "")
VEXA_EXPORT std::string StrHexToInt(std::string hex);

/// @}

#endif
