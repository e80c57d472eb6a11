#pragma once

#include <array>
#include <list>
#include <optional>
#include <string>

// Models of the parsers of command output, one step per function.

namespace commutil_fuzz {

/// Returns the output as kept by a reader of 127-byte pieces as C strings: bytes after a NUL in a
/// piece are lost.
std::string modelOutput(const std::string& output);

/// Returns the lines that fgets(3) reads with a buffer of `size` bytes, each up to its first NUL.
std::list<std::string> modelLines(const std::string& output, std::size_t size);

using MacBytes = std::array<unsigned char, 6>;

/// Parses six hexadecimal fields between ":"; returns nothing for any other number of fields.
std::optional<MacBytes> modelMacBytes(const std::string& text);

/// Returns the address after the first "ether" of a line, or of a line without "ether".
std::optional<MacBytes> modelEther(const std::string& line);

/// Returns the address in the field after the first field "ether".
std::optional<MacBytes> modelZirelEther(const std::string& line);

}  // namespace commutil_fuzz
