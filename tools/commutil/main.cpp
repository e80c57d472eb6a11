// The operator's command: parses the command line and runs the chosen subcommand. For one thread.
#include <VexaVersion.h>

#include <cstdio>
#include <exception>

#include "output.h"
#include "tool.h"

namespace {

constexpr const char* kFooter =
    "Exit codes: 0 ok; 1 the answer is no or the operation failed; 2 wrong use.\n"
    "With --json, bytes that are not UTF-8 are written as \\u00XX.\n"
    "A text that begins with \"-\" is given behind \"--\".";

int parseAndRun(int argc, char** argv) {
  Tool tool;
  tool.app.set_version_flag("--version", "commutil " VEXA_COMMUTIL_VERSION);
  tool.app.require_subcommand(1);
  tool.app.footer(kFooter);
  for (const auto add : {addReport, addExplain, addCheck, addConfig, addQueryText, addNetwork,
                         addCommand, addPathSafety, addProcessLock, addBase64, addIdentifiers})
    add(tool);
  try {
    tool.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return tool.app.exit(error) == 0 ? kOk : kWrongUse;
  }
  return tool.action();
}

/// Tells whether all that was printed has reached standard output.
bool isWritten() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

}  // namespace

int main(int argc, char** argv) {
  try {
    const int code = parseAndRun(argc, argv);
    if (isWritten()) return code;
    complain("standard output cannot be written");
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return kNo;
}
