// The operator's command: parses the command line and runs the chosen subcommand. For one thread.
#include <VexaVersion.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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
  for (const auto add : {addReport, addExplain, addCheck, addSettings, addSslConf, addExpand,
                         addQueryText, addNetwork, addCommand, addPathSafety, addUnsafeWord,
                         addProcessLock, addBase64, addIdentifiers, addHelp})
    add(tool);
  try {
    tool.parse(argc, argv);
  } catch (const CLI::Success& request) {
    return tool.app.exit(request);
  } catch (const CLI::ParseError& error) {
    return fail(error.what(), kWrongUse);
  }
  return tool.action();
}

/// Opens what is closed of the standard descriptors, so that no file of the library or the command
/// gets one of their numbers. Reading or writing there fails as if they were still closed.
void occupyStandardDescriptors() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::fcntl(fd, F_GETFD) < 0) ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

/// Returns whether everything that was printed was written to standard output.
bool isWritten() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

int run(int argc, char** argv) {
  try {
    return parseAndRun(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardDescriptors();
  const int code = run(argc, argv);
  if (isWritten()) return code;
  complain("standard output cannot be written");
  return std::max<int>(code, kNo);
}
