// The subcommand run: starts a command as the library does, without a shell.
#include <VexaCommonUtils_i.h>

#include <json/value.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "output.h"
#include "program.h"
#include "tool.h"

namespace {

/// Quotes `word` for the splitting of command lines, which knows quotes but no escapes.
std::string quoted(const std::string& word) {
  if (!word.empty() && word.find_first_of(" \"'") == std::string::npos) return word;
  for (const char quote : {'"', '\''})
    if (word.find(quote) == std::string::npos) return quote + word + quote;
  throw std::runtime_error("a word with both kinds of quotes cannot be passed: " + word);
}

std::string commandLine(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + quoted(word);
  return line;
}

struct RunOptions {
  bool json = false;
  bool cleanEnvironment = false;
  std::vector<std::string> command;
};

int run(const RunOptions& options) {
  // The library's exit code for a program that cannot be started may also be the program's own.
  const Program program = findProgram(options.command.front(), !options.cleanEnvironment);
  if (!program.problem.empty())
    return fail(program.problem, program.isMissing ? kNotFound : kNotExecutable);
  const std::string line = commandLine(options.command);
  const int code = VexaCommonUtils_i::runCommand(line.c_str(), !options.cleanEnvironment, false);
  Json::Value document;
  document["exitCode"] = code;
  printDocument(document, options.json);
  return code == 0 ? kOk : kNo;
}

}  // namespace

void addCommand(Tool& tool) {
  tool.add<RunOptions>(
      tool.command, "run",
      "Run a command without a shell and print its exit code: run [--clean-env] -- COMMAND...\n"
      "Its standard input and outputs are /dev/null. 4 also means that a signal killed it.",
      [](Command& subcommand, RunOptions& options) {
        subcommand.arguments = {
            {.name = "--clean-env",
             .value = &options.cleanEnvironment,
             .purpose = "Give the command no environment; it is named by its path then"},
            jsonFlag(options.json)};
        subcommand.exitCodes = {{"0", "if the command's is 0"},
                                {"1", "if it is another one"},
                                {"127", "for a command that cannot be found"},
                                {"126", "for one that cannot be run"},
                                {"2", "for wrong use"}};
        subcommand.taken = &options.command;
      },
      run);
}
