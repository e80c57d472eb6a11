// Compares the netmask lookup that parses ifconfig's output with a model. No tool runs; the input
// supplies the output.
#include <algorithm>
#include <iterator>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>

#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
#include "models/tool_models.h"
#include "support/expect.h"
#include "support/fake_shell.h"
#include "support/input.h"
#include "text/strings_model.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::FakeShell;
using commutil_fuzz::Input;
using commutil_fuzz::modelOutput;
using commutil_test::modelSplit;

/// Returns the element after `word`; "" if there is none.
std::string after(const std::list<std::string>& words, std::list<std::string>::iterator word) {
  return std::next(word) == words.end() ? ""
                                        : commutil_test::modelTrim(*std::next(word), " \t\r\n");
}

std::string modelMaskText(const std::string& output) {
  std::string mask;
  std::list<std::string> fields = modelSplit(output, " ");
  for (auto field = fields.begin(); field != fields.end(); ++field) {
    if (ToUpper(*field) == "NETMASK") return after(fields, field);
    std::list<std::string> parts = modelSplit(*field, ":");
    const auto part = std::find_if(parts.begin(), parts.end(),
                                   [](const auto& text) { return ToUpper(text) == "MASK"; });
    if (part != parts.end()) mask = after(parts, part);
  }
  return mask;
}

/// Returns the netmask in the output, "" if there is none; throws if the library does.
std::string modelNetmask(const std::string& output) {
  if (output.empty()) return "";
  std::string mask = modelMaskText(output);
  if (!CheckIp(mask.c_str())) {
    mask = StrHexToInt(mask.substr(0, 2)) + "." + StrHexToInt(mask.substr(2, 2)) + "." +
           StrHexToInt(mask.substr(4, 2)) + "." + StrHexToInt(mask.substr(6, 2));
  }
  return CheckIp(mask.c_str()) ? mask : "";
}

void checkNetmask(Input& input) {
  const std::string ip = input.cText();
  std::string output = input.rest();
  std::optional<std::string> expected;
  try {
    expected = modelNetmask(modelOutput(output));
  } catch (const std::out_of_range&) {
  }

  const FakeShell shell([&](const std::string& command) {
    expectEqual(command, "ifconfig -a | grep '" + ip + "'", "the command of the netmask");
    return output;
  });
  std::string netmask = "before";
  try {
    const int result = GetNetmaskByIpUseifconfig(ip, netmask);
    expect(expected.has_value(), "a mask that is too short throws");
    expectEqual(netmask, *expected, "the netmask");
    expectEqual(result, expected->empty() ? -1 : 0, "GetNetmaskByIpUseifconfig");
  } catch (const std::out_of_range&) {
    expect(!expected.has_value(), "only a mask that is too short throws");
    expectEqual(netmask, "before", "the netmask is unchanged then");
  }
  expectEqual(shell.openStreams(), 0, "the stream is closed");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) { checkNetmask(input); }
