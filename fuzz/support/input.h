#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace commutil_fuzz {

/// Returns a string as C code reads it: up to its first NUL.
inline std::string upToNul(const std::string& text) { return text.substr(0, text.find('\0')); }

/// The input of one run, consumed from the front: choices, which are single characters ("0", "1",
/// ...), fields, which end at the byte 0x1F, and the rest.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : m_rest(reinterpret_cast<const char*>(data), size) {}

  bool empty() const { return m_rest.empty(); }

  /// Returns the next byte; NUL after the end.
  char byte() {
    if (m_rest.empty()) return '\0';
    const char next = m_rest.front();
    m_rest.remove_prefix(1);
    return next;
  }

  /// Returns a number below `count`.
  unsigned choice(unsigned count) { return static_cast<unsigned char>(byte() - '0') % count; }

  /// Returns the bytes up to the next 0x1F, or the rest.
  std::string field() {
    const std::size_t end = std::min(m_rest.find('\x1F'), m_rest.size());
    std::string text(m_rest.substr(0, end));
    m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
    return text;
  }

  /// Returns a field up to its first NUL.
  std::string cText() { return upToNul(field()); }

  /// Returns the rest, any bytes included.
  std::string rest() {
    std::string text(m_rest);
    m_rest = {};
    return text;
  }

 private:
  std::string_view m_rest;
};

/// The function that each target defines: one run. Ends the process if a property does not hold.
void testInput(Input& input);

}  // namespace commutil_fuzz
