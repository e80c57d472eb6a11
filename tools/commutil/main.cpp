// The operator's command: parses the command line and runs the selected subcommand.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>

#include "output.h"
#include "tool.h"

namespace {

/// Opens standard descriptors that are closed, so that no file of the library or the command gets
/// their numbers. Reading or writing there fails as if they were still closed.
void occupyStandardDescriptors() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::fcntl(fd, F_GETFD) < 0) ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

/// Returns whether everything that was printed was written to standard output.
bool isWritten() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

int run(int argc, char** argv) {
  try {
    return Tool({argv, argv + argc}).runCommandLine();
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
