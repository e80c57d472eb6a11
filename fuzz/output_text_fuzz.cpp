// Compares the result of a command's output, split into any blocks, with a reader of short lines.
#include <algorithm>
#include <string>
#include <string_view>

#include "VexaCommonUtils_i.h"
#include "models/tool_models.h"
#include "process/output_text.h"
#include "support/expect.h"
#include "support/fake_shell.h"
#include "support/input.h"

namespace {

/// Passes on `output` in blocks of the lengths in `lengths`, repeatedly.
std::string collect(std::string_view output, const std::string& lengths) {
  std::string text;
  commutil::OutputText collected(text);
  for (std::size_t i = 0; !output.empty(); ++i) {
    const std::size_t wanted =
        lengths.empty() ? output.size() : static_cast<unsigned char>(lengths[i % lengths.size()]);
    const std::size_t length = std::clamp<std::size_t>(wanted, 1, output.size());
    collected.append(output.substr(0, length));
    output.remove_prefix(length);
  }
  return text;
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string lengths = input.field();
  std::string output = input.rest();
  const std::string expected = modelOutput(output);
  expectEqual(collect(output, lengths), expected, "what is kept does not depend on the blocks");

  std::string command;
  FakeShell shell([&](const std::string& asked) {
    command = asked;
    return output;
  });
  std::string result = "before";
  expectEqual(VexaCommonUtils_i::getSystemExecResult("tool -a", result), expected.empty() ? -1 : 0,
              "getSystemExecResult");
  expectEqual(result, expected, "the result of getSystemExecResult");
  expectEqual(command, "tool -a", "the command");
  expectEqual(shell.openStreams(), 0, "the stream is closed");
}
