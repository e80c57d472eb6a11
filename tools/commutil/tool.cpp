// The command with all its subcommands, and the arguments that they share.
#include "tool.h"

#include <VexaVersion.h>

#include <algorithm>

#include "output.h"
#include "settings_agent.h"

namespace {

constexpr const char* kNotes =
    "With --json, bytes that are not UTF-8 are written as \\u00XX.\n"
    "An operand that begins with \"-\" follows \"--\".";

void addHelp(Tool& tool) {
  using Path = std::vector<std::string>;
  tool.add<Path>(
      tool.command, "help", "Print the help of the command or of a subcommand: help ip check",
      [](Command& subcommand, Path& path) {
        subcommand.arguments = {{.name = "SUBCOMMAND",
                                 .value = &path,
                                 .purpose = "The subcommand's words",
                                 .completion = Completion::subcommand}};
      },
      [&tool](const Path& path) {
        printBytes(helpOf(tool.command, path));
        return kOk;
      });
}

bool wantsJson(const std::vector<std::string>& words) {
  const auto mark = std::find(words.begin(), words.end(), "--");
  return std::find(words.begin(), mark, "--json") != mark;
}

}  // namespace

Tool::Tool(std::vector<std::string> line) : words(std::move(line)) {
  command.name = "commutil";
  command.purpose = "Shows on a live host what a service gets from the common utility library.";
  command.exitCodes = {
      {"0", "ok"}, {"1", "the answer is \"no\" or the operation failed"}, {"2", "wrong use"}};
  command.notes = kNotes;
  for (const auto add : {addReport, addExplain, addCheck, addSettings, addSslConf, addExpand,
                         addQueryText, addNetwork, addCommand, addPathSafety, addUnsafeWord,
                         addProcessLock, addBase64, addIdentifiers, addHelp})
    add(*this);
}

int Tool::runCommandLine() {
  setJson(wantsJson(words));
  if (isForSettingsAgent(words)) return becomeSettingsAgent(words);
  try {
    const Invocation invocation = parse(command, "commutil " VEXA_COMMUTIL_VERSION, words);
    if (invocation.command != nullptr) return invocation.command->run();
    printBytes(invocation.text);
    return kOk;
  } catch (const WrongUse& error) {
    return fail(error.what(), kWrongUse);
  }
}

Argument jsonFlag(bool& json) {
  return {.name = "--json",
          .value = &json,
          .purpose = "Print JSON; bytes that are not UTF-8 are written as \\u00XX"};
}

Argument operand(const char* name, std::string& value, const char* purpose) {
  return {.name = name, .value = &value, .purpose = purpose, .required = true};
}
