#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace commutil_fuzz {

/// A text as a C string has it: up to its first NUL.
inline std::string upToNul(const std::string& text) { return text.substr(0, text.find('\0')); }

/// What one run is fed with, taken from its front: choices, which are single characters ("0", "1",
/// ...), and fields, which end at the byte 0x1F. The last part of an input is taken as it is.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : m_rest(reinterpret_cast<const char*>(data), size) {}

  bool empty() const { return m_rest.empty(); }

  /// The next byte; NUL behind the end.
  char byte() {
    if (m_rest.empty()) return '\0';
    const char next = m_rest.front();
    m_rest.remove_prefix(1);
    return next;
  }

  /// A number below `count`.
  unsigned choice(unsigned count) { return static_cast<unsigned char>(byte() - '0') % count; }

  /// The text up to the next 0x1F, or all that is left.
  std::string field() {
    const std::size_t end = std::min(m_rest.find('\x1F'), m_rest.size());
    std::string text(m_rest.substr(0, end));
    m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
    return text;
  }

  /// A field up to its first NUL.
  std::string cText() { return upToNul(field()); }

  /// All that is left, with any byte in it.
  std::string rest() {
    std::string text(m_rest);
    m_rest = {};
    return text;
  }

 private:
  std::string_view m_rest;
};

/// What each target defines: one run. It ends the process where a property does not hold.
void testInput(Input& input);

}  // namespace commutil_fuzz
