// Lets one process at a time do a job.
#include <VexaLocks.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>

#include "scratch.h"

namespace {

constexpr int kHeldElsewhere = -9;

/// Runs the job unless another process does.
const char* runOnce(VexaProcessLock& lock) {
  const int result = lock.EnterProcessMutex();
  if (result == kHeldElsewhere) return "another process runs the job";
  if (result != 0) return "the lock cannot be used";
  return lock.ExitProcessMutex() == 0 ? "done" : "the lock cannot be released";
}

/// Tries the lock in a second process.
void runInChild(VexaProcessLock& lock) {
  std::cout << std::flush;
  const pid_t child = ::fork();
  if (child == 0) {
    std::cout << "child: " << runOnce(lock) << std::endl;
    ::_exit(0);
  }
  ::waitpid(child, nullptr, 0);
}

}  // namespace

int main() {
  const Scratch scratch;
  scratch.name("_APP_SHARE_DIR", "share");

  VexaProcessLock lock("cleanup", "/lock/");  // the directory with both slashes
  lock.SetOutputType(OUTPUT_TYPE_SILENT);     // keeps messages out of our output

  if (lock.EnterProcessMutex() != 0) return 1;
  runInChild(lock);
  lock.ExitProcessMutex();
  runInChild(lock);

  // Without the directory the lock fails. Exit only objects that entered.
  ::unsetenv("_APP_SHARE_DIR");
  std::cout << runOnce(lock) << '\n';
}
