#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace commutil {

/// Collects a command's output like a reader of lines in pieces of at most 127 bytes as C strings:
/// what follows a NUL in its piece is lost. Output without a NUL is kept whole.
class OutputText {
 public:
  explicit OutputText(std::string& text) : m_text(text) {}

  /// Appends the next block of the output.
  void append(std::string_view block);

 private:
  void appendPieces(std::string_view block);

  std::string& m_text;
  std::size_t m_length = 0;  // bytes of the unfinished piece
  bool m_cut = false;        // that piece had its NUL
};

}  // namespace commutil
