#pragma once

#include <array>
#include <list>
#include <optional>
#include <string>

// What is read off the output of commands, a step at a time.

namespace commutil_fuzz {

/// The output that a reader of pieces of at most 127 bytes for C strings keeps: what follows a NUL
/// in its piece is lost.
std::string modelOutput(const std::string& output);

/// The lines that fgets(3) gives with a buffer of `size` bytes, each up to its first NUL.
std::list<std::string> modelLines(const std::string& output, std::size_t size);

using MacBytes = std::array<unsigned char, 6>;

/// Six hexadecimal fields between ":"; none for any other number of them.
std::optional<MacBytes> modelMacBytes(const std::string& text);

/// The address behind the first "ether" of a line, or of a line without the word.
std::optional<MacBytes> modelEther(const std::string& line);

/// The address in the field behind the first field "ether".
std::optional<MacBytes> modelZirelEther(const std::string& line);

}  // namespace commutil_fuzz
