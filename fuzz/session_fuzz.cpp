// Compares the session lookup, which parses the output of three tools, with a model. No tool runs;
// the input supplies the output.
#include <string>

#include "VexaCommonUtils.h"
#include "models/tool_models.h"
#include "support/expect.h"
#include "support/fake_shell.h"
#include "support/input.h"
#include "text/strings_model.h"

namespace {

using commutil_fuzz::expectEqual;
using commutil_fuzz::FakeShell;
using commutil_fuzz::Input;
using commutil_fuzz::modelOutput;

std::string trimmed(const std::string& text) { return commutil_test::modelTrim(text, " \t\r\n"); }

void checkSession(Input& input) {
  const std::string tty = input.field();
  const std::string name = input.field();
  const std::string who = input.rest();
  const FakeShell shell([&](const std::string& command) {
    return command == "/usr/bin/tty" ? tty : command == "/usr/bin/whoami" ? name : who;
  });
  const bool hasTerminal = !modelOutput(tty).empty() && trimmed(modelOutput(tty)) != "not a tty";
  const std::string user = hasTerminal ? trimmed(modelOutput(name)) : "before";
  const std::string line = trimmed(modelOutput(who));
  const std::size_t open = line.rfind('(');
  const std::size_t close = line.rfind(')');
  const bool found =
      hasTerminal && !modelOutput(name).empty() && open != line.npos && close != line.npos;
  std::string address = "before";
  if (found) address = line.substr(open, close < open ? line.npos : close + 1 - open);

  std::string actualUser = "before";
  std::string actualAddress = "before";
  expectEqual(VexaCommonUtils::getSessionDetails(actualUser, actualAddress), found ? 0 : -1,
              "getSessionDetails");
  expectEqual(actualUser, user, "the session's user");
  expectEqual(actualAddress, address, "the session's address");
  expectEqual(shell.openStreams(), 0, "the streams are closed");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) { checkSession(input); }
