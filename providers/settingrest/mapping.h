#pragma once

#include <cstddef>
#include <string_view>

namespace settingrest {

/// The bytes of a file in memory. They end the process (SIGBUS) if somebody truncates the file:
/// its writers replace it by rename.
class Mapping {
 public:
  /// Maps `size` bytes of `file`. Empty, with `errno`, if that fails.
  Mapping(int file, std::size_t size);
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
  ~Mapping();

  explicit operator bool() const { return m_bytes.data() != nullptr; }
  std::string_view bytes() const { return m_bytes; }

 private:
  std::string_view m_bytes;
};

}  // namespace settingrest
