// What a member sends on a watch: any bytes, cut anywhere, give the same messages.
#include "commutil-settings/watch_stream.h"

#include <vector>

#include "support/expect.h"
#include "support/input.h"

using agent::WatchMessage;
using agent::WatchStream;
using commutil_fuzz::expectEqual;

namespace {

std::string textOf(const WatchMessage& message) {
  std::string text = std::to_string(message.header.clusterId) + " " +
                     std::to_string(message.header.revision) + " " +
                     std::to_string(message.compactRevision) + message.cancelReason;
  text += message.isCreated ? " created" : "";
  text += message.isCanceled ? " canceled" : "";
  text += message.isFragment ? " fragment" : "";
  for (const agent::WatchEvent& event : message.events)
    text += (event.isDeletion ? " -" : " +") + event.setting.key + "=" + event.setting.value + "@" +
            std::to_string(event.setting.revision);
  return text + (message.error ? " error " + message.error->text : "");
}

/// Returns the messages of a stream that arrives in pieces of `size` bytes, and its end.
std::vector<std::string> read(std::string_view bytes, std::size_t size) {
  WatchStream stream;
  std::vector<std::string> messages;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(size, bytes.size())))
    for (const WatchMessage& message : stream.feed(bytes.substr(0, size)))
      messages.push_back(textOf(message));
  const std::optional<agent::Failure> end = stream.finish();
  messages.push_back(end ? end->text : "no error");
  return messages;
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::size_t size = 1 + input.choice(10);
  const std::string bytes = input.rest();
  const std::vector<std::string> whole = read(bytes, bytes.size() + 1);
  expectEqual(read(bytes, size), whole, "a stream is the same wherever it is cut");
  expectEqual(read(bytes, 1), whole, "a stream may arrive byte by byte");
}
