// The subcommand lock: a command run while this process holds a named lock between processes.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <VexaLocks.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "output.h"
#include "tool.h"

namespace {

constexpr int kHeld = -9;  // the library's answer for a lock that another process holds
constexpr int kNoWait = -1;

struct LockOptions {
  std::string name;
  std::string directory;
  int wait = kNoWait;
  std::string message = "Waiting for the lock.";
  std::vector<std::string> command;
};

/// Takes the lock. A failed wait does not say why, so one more silent attempt finds out.
int enter(VexaProcessLock& lock, const LockOptions& options) {
  if (options.wait < 0) return lock.EnterProcessMutex();
  if (lock.WaitMaxTime(options.wait, options.message) == 0) return 0;
  lock.SetOutputType(OUTPUT_TYPE_SILENT);
  return lock.EnterProcessMutex();
}

/// Runs the command, which is found as by a shell, and returns its exit code; 4 if a signal killed
/// it.
int runCommand(const std::vector<std::string>& command) {
  std::vector<std::string> words{"sh", "-c", "exec \"$@\"", "sh"};
  words.insert(words.end(), command.begin(), command.end());
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  return VexaCommonUtils_i::runCommand("/bin/sh", arguments.data());
}

/// Returns the path that the library composes.
std::string lockFile(const LockOptions& options, const std::string& directory) {
  return VexaCommonUtils::Vexagetenv("_APP_SHARE_DIR") + directory + options.name + "_PROCESSMUTEX";
}

bool hasBothSlashes(const std::string& directory) {
  return !directory.empty() && directory.front() == '/' && directory.back() == '/';
}

std::string withBothSlashes(std::string directory) {
  if (directory.empty() || directory.front() != '/') directory.insert(0, "/");
  return directory.back() == '/' ? directory : directory + "/";
}

int refuseDirectory(const LockOptions& options) {
  const std::string meant = withBothSlashes(options.directory);
  return fail("--dir " + options.directory + ": a slash is missing at its start or end; the lock " +
                  "file would be " + lockFile(options, options.directory) + ", and with --dir " +
                  meant + " " + lockFile(options, meant),
              kWrongUse);
}

/// Returns why the library cannot take a lock that no other process holds.
std::string failure(const LockOptions& options) {
  const std::string prefix = "the lock " + options.name + " cannot be taken: ";
  if (VexaCommonUtils::Vexagetenv("_APP_SHARE_DIR").empty())
    return prefix + "_APP_SHARE_DIR is not set";
  const std::string path = lockFile(options, options.directory);
  const bool accessible = ::access(path.c_str(), R_OK | W_OK) == 0;
  return prefix + path + (accessible ? "" : ": " + std::generic_category().message(errno));
}

int lock(const LockOptions& options) {
  if (!hasBothSlashes(options.directory)) return refuseDirectory(options);
  VexaProcessLock mutex(options.name, options.directory);
  const int entered = enter(mutex, options);
  if (entered == kHeld)
    return fail("the lock " + options.name + " is held by another process", kBusy);
  if (entered != 0) return fail(failure(options));
  const int code = runCommand(options.command);
  if (mutex.ExitProcessMutex() != 0) complain("the lock " + options.name + " is not released");
  return code >= 0 ? code : fail("the command cannot be started");
}

}  // namespace

void addProcessLock(Tool& tool) {
  tool.add<LockOptions>(
      tool.command, "lock",
      "Run a command under a lock between processes: lock NAME --dir DIR -- COMMAND...",
      [](Command& subcommand, LockOptions& options) {
        subcommand.arguments = {
            operand("NAME", options.name, "The lock's name"),
            {.name = "--dir",
             .value = &options.directory,
             .purpose = "Its directory below _APP_SHARE_DIR, with its own slashes: /lock/",
             .valueName = "DIR",
             .details = "Refused without both slashes: the lock would be another file.",
             .required = true},
            {.name = "--wait",
             .value = &options.wait,
             .purpose = "Wait about N seconds for a held lock",
             .valueName = "N",
             .range = Range{}},
            {.name = "--message",
             .value = &options.message,
             .purpose = "What to print each second; at most 1022 bytes",
             .valueName = "TEXT"}};
        subcommand.exitCodes = {
            {"the command's own,", "where 4 also means that a signal killed it"},
            {"127", "for a command that cannot be found"},
            {"126", "for one that cannot be run"},
            {"75", "if another process holds the lock"},
            {"1", "if it cannot be taken for another reason"},
            {"2", "for wrong use"}};
        subcommand.taken = &options.command;
      },
      lock);
}
