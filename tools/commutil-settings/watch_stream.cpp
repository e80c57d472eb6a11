#include "commutil-settings/watch_stream.h"

namespace agent {
namespace {

WatchMessage malformed(const std::string& why) {
  WatchMessage message;
  message.error = Failure{Failure::Kind::malformed, "malformed message: " + why};
  return message;
}

WatchMessage parse(std::string_view line) {
  try {
    return parseWatchMessage(line);
  } catch (const MalformedReply& error) {
    return malformed(error.what());
  }
}

}  // namespace

std::vector<WatchMessage> WatchStream::feed(std::string_view bytes) {
  std::vector<WatchMessage> messages;
  const bool fits = m_lines.feed(bytes, [&](std::string_view line) {
    if (!line.empty()) messages.push_back(parse(line));
  });
  if (!fits) messages.push_back(malformed("a line of more than 128 MiB"));
  return messages;
}

std::optional<Failure> WatchStream::finish() const {
  return m_lines.rest().empty() ? std::nullopt : parse(m_lines.rest()).error;
}

}  // namespace agent
