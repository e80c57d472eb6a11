#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace agent {

/// Splits a stream of bytes into lines, wherever the stream is cut.
class LineSplitter {
 public:
  /// @param limit  the longest line
  explicit LineSplitter(std::size_t limit) : m_limit(limit) {}

  /// Calls `onLine` for each line that `bytes` complete, without its line feed. Returns false if a
  /// line is beyond the limit; nothing more is split then.
  bool feed(std::string_view bytes, const std::function<void(std::string_view)>& onLine);

  /// Returns what followed the last line feed.
  std::string_view rest() const { return m_rest; }

 private:
  std::size_t m_limit;
  std::string m_rest;
};

}  // namespace agent
