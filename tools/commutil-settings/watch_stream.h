#pragma once

#include <string_view>
#include <vector>

#include "commutil-settings/gateway_messages.h"
#include "commutil-settings/line_splitter.h"

namespace agent {

/// Turns the bytes of a watch, wherever they are cut, into messages.
class WatchStream {
 public:
  static constexpr std::size_t kLongestLine = std::size_t{128} << 20;

  /// Returns the messages that `bytes` complete. A malformed one is a message with an error, after
  /// which the stream is of no use.
  std::vector<WatchMessage> feed(std::string_view bytes);

  /// Returns the error that follows the last line, if there is one: it has no line feed.
  std::optional<Failure> finish() const;

  /// Returns the bytes after the last line.
  std::string_view rest() const { return m_lines.rest(); }

 private:
  LineSplitter m_lines{kLongestLine};
};

}  // namespace agent
