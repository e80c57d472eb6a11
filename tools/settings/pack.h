#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace settings {

/// Writes strings and numbers for another process that reads them in the same order.
class Packer {
 public:
  Packer& add(std::string_view text) {
    m_bytes += std::to_string(text.size()) + ":";
    m_bytes += text;
    return *this;
  }
  Packer& add(std::intmax_t number) { return add(std::string_view(std::to_string(number))); }
  std::string take() { return std::move(m_bytes); }

 private:
  std::string m_bytes;
};

/// Reads what a `Packer` wrote. Values that are missing at the end read as empty or zero.
class Unpacker {
 public:
  explicit Unpacker(std::string_view bytes) : m_rest(bytes) {}

  std::string text() { return std::string(next()); }
  std::intmax_t number() { return parsed(next()); }
  bool atEnd() const { return m_rest.empty(); }

 private:
  static std::intmax_t parsed(std::string_view digits) {
    std::intmax_t value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
  }
  std::string_view next() {
    const std::size_t colon = m_rest.find(':');
    if (colon == std::string_view::npos) return m_rest = {};
    const auto size = static_cast<std::size_t>(parsed(m_rest.substr(0, colon)));
    const std::string_view text = m_rest.substr(colon + 1, size);
    m_rest.remove_prefix(colon + 1 + text.size());
    return text;
  }

  std::string_view m_rest;
};

}  // namespace settings
