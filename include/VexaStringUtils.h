#ifndef VEXA_STRING_UTILS_H
#define VEXA_STRING_UTILS_H

#include <string>

#include "VexaExport.h"

/// @file
/// The free functions on strings; the utility classes hold the others.

/// @name Strings
/// Bytes and ASCII only: the locale is never read. Throws nothing but `std::bad_alloc` and, for a
/// result that exceeds `std::string::max_size()`, `std::length_error`. Thread-safe.
/// @{

/// Converts every byte 'a' to 'z' of `s` to upper case in place; every other byte, 0x80 and above
/// included, stays.
VEXA_EXPORT void ToUpperEx(std::string& s);

/// Returns a copy of `s` with its ASCII letters in upper case.
VEXA_EXPORT std::string ToUpper(const std::string& s);

/// Returns whether `s` holds no letter after 'F' or 'f'.
/// @sharp{strings} Digits, punctuation and spaces pass ("--" is true), and so does the empty
/// string.
/// @instead Also test for digits and for emptiness.
VEXA_EXPORT bool StringIsRight(const std::string& s);

/// Returns a copy of `s` with every byte `c` replaced by `rep`, which may be empty; inserted bytes
/// are not searched again.
///
///     ReplaceChar("50%", '%', "\\%")  ->  "50\\%"
/// @throws std::length_error  no string can hold the result
VEXA_EXPORT std::string ReplaceChar(const std::string& s, char c, const std::string& rep);

/// Converts one byte from two hexadecimal digits to decimal.
///
///     StrHexToInt("ff")  ->  "255"
///
/// @param hex  digits up to the first NUL: no prefix, sign or space
/// @return the decimal string, "-99" to "999"; "0" for an empty `hex`; "" if a byte is not a
///         hexadecimal digit or the result needs more than three characters
/// @sharp{strings} Longer input wraps: its value modulo 2^64 is cut to 32 bits and printed with a
/// sign ("ffffffff" gives "-1", "3e8" gives ""). @instead Convert one byte at a time.
VEXA_EXPORT std::string StrHexToInt(std::string hex);

/// @}

#endif
