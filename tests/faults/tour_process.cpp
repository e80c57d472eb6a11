// Commands, users and sessions, files, checks of names.
#include <pwd.h>
#include <security/_pam_types.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "faults/tour.h"
#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_faults {
namespace {

namespace fs = std::filesystem;
using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;

constexpr const char* kCommand = "exit 77";  // no error number

/// The results of a command whose program or status is not available: no process, no status, or the
/// error of the program's execution.
std::vector<std::string> commandFailures() {
  std::vector<std::string> failures{show(-1), show(0)};
  for (const int error : kCalls[callNamed("execv")].errorList()) failures.push_back(show(error));
  return failures;
}

/// A command that exits with 77, run in one of the ways.
template <class Function>
Operation running(const char* name, Function function, std::vector<std::string> failures) {
  return {name, [=](Attempt& attempt) { return show(attempt(function)); }, std::move(failures)};
}

std::string readAll(std::FILE* stream) {
  std::string text;
  for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) text += static_cast<char>(c);
  return text;
}

std::string shownUser(bool found, const passwd& entry) {
  return found ? show(true, entry.pw_name, entry.pw_uid, entry.pw_gid) : show(false);
}

std::string sorted(std::list<std::string> files) {
  files.sort();
  return show(files);
}

}  // namespace

Tour commandsTour() {
  return {
      running("VexaCommonUtils::system", [] { return Utils::system(kCommand); },
              {show(-1), show(0)}),
      running("VexaCommonUtils_i::execve_s", [] { return Utils_i::execve_s(kCommand); },
              {show(-1), show(0)}),
      running("VexaCommonUtils_i::runCommand(char const*, bool, bool)",
              [] { return Utils_i::runCommand("/bin/sh -c 'exit 77'", true, true); },
              {show(-1), show(0)}),
      running("VexaCommonUtils_i::runCommand(char const*, bool, bool) [without environment]",
              [] { return Utils_i::runCommand("/bin/sh -c 'exit 77'", false, false); },
              {show(-1), show(0)}),
      running(
          "VexaCommonUtils_i::runCommand(char const*, char* const*)",
          [] {
            char* const words[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                                   const_cast<char*>(kCommand), nullptr};
            return Utils_i::runCommand("/bin/sh", words);
          },
          commandFailures()),
      {"VexaCommonUtils_i::pipeline_s",
       [](Attempt& attempt) {
         std::FILE* const stream = attempt([] { return Utils_i::pipeline_s("echo a line"); });
         if (stream == nullptr) return show("no stream");
         const std::string text = readAll(stream);
         return show(text, Utils_i::pclose_s(stream));
       },
       {show("no stream")}},
      {"VexaCommonUtils_i::pclose_s",
       [](Attempt& attempt) {
         std::FILE* const stream = Utils_i::pipeline_s(kCommand);
         return show(attempt([&] { return Utils_i::pclose_s(stream); }));
       },
       {show(-1)}},
      {"VexaCommonUtils_i::getSystemExecResult",
       [](Attempt& attempt) {
         std::string output = "before";
         const int result = attempt(
             [&] { return Utils_i::getSystemExecResult("echo a line of some length", output); });
         return show(result, output);
       },
       {show(-1, "")}},
  };
}

Tour usersTour() {
  return {
      {"VexaCommonUtils::switchOmcUser",
       [](Attempt& attempt) {
         const mode_t mask = ::umask(031);
         const int result = attempt([] { return Utils::switchOmcUser(); });
         const mode_t after = ::umask(mask);
         return show(result, after, ::getuid(), ::getgid());
       },
       // The user database, PAM or changing the identity.
       {show(-1, 031, 0, 0), show(PAM_BUF_ERR, 031, 0, 0), show(PAM_ABORT, 031, 0, 0),
        show(PAM_SYSTEM_ERR, 031, 0, 0), show(-1, 031, 0, 4712)},
       {"VexaCommonUtils_i::securityGetpwnam"}},
      {"VexaCommonUtils::getSessionDetails",
       [](Attempt& attempt) {
         std::string user = "before";
         std::string address = "before";
         const int result = attempt([&] { return Utils::getSessionDetails(user, address); });
         return show(result, user, address);
       },
       {show(-1, "before", "before"), show(-1, "", "before"),
        show(-1, "a-user-with-a-long-name", "before")}},
      {"VexaCommonUtils_i::securityGetpwnam",
       [](Attempt& attempt) {
         const std::string name = "ossuser";
         std::array<char, 1024> buffer{};
         passwd entry{};
         const bool found = attempt(
             [&] { return Utils_i::securityGetpwnam(name, entry, buffer.data(), buffer.size()); });
         return shownUser(found, entry);
       },
       {show(false)}},
      {"VexaCommonUtils_i::securityGetpwuid",
       [](Attempt& attempt) {
         std::array<char, 1024> buffer{};
         passwd entry{};
         const bool found = attempt(
             [&] { return Utils_i::securityGetpwuid(4711, entry, buffer.data(), buffer.size()); });
         return shownUser(found, entry);
       },
       {show(false)}},
      {"VexaCommonUtils_i::getCommandLine",
       [](Attempt& attempt) {
         std::vector<std::string> words{"before"};
         attempt([&] { Utils_i::getCommandLine(words); });
         return show(words);
       },
       {show(std::vector<std::string>{"before"})}},
      {"VexaCommonUtils::getKernelThreadIDForFS",
       [](Attempt& attempt) {
         return show(attempt([] { return Utils::getKernelThreadIDForFS(); }) == ::getpid());
       }},
      {"VexaCommonUtils::getProcessCPUAndMem",
       [](Attempt& attempt) {
         const std::string process = "a-process-with-a-long-name";
         unsigned int cpu = 7;
         unsigned int memory = 7;
         const int result =
             attempt([&] { return Utils::getProcessCPUAndMem(process, cpu, memory); });
         return show(result, cpu, memory);
       }},
      {"VexaCommonUtils::printStackTrace",
       [](Attempt& attempt) {
         attempt([] { Utils::printStackTrace(); });
         return show(takePrinted());
       },
       // A line that cannot be written is lost.
       {show("Stack trace printing not supported on this platform\n\n"), show("Stack Trace:\n\n"),
        show("Stack Trace:\nStack trace printing not supported on this platform\n")}},
  };
}

Tour filesTour() {
  const std::string one = commutil_test::Host::path("tree/file-of-the-root-directory");
  const std::string other = commutil_test::Host::path("tree/one/file-of-the-first-directory");
  using Files = std::list<std::string>;
  return {
      {"VexaCommonUtils::mkdir_all",
       [](Attempt& attempt) {
         const std::string path = commutil_test::Host::path("made/one/two");
         fs::remove_all(commutil_test::Host::path("made"));
         attempt([&] { Utils::mkdir_all(path); });
         return show(fs::is_directory(path));
       },
       {show(false)}},
      {"VexaCommonUtils::readFile",
       [](Attempt& attempt) {
         const std::string path = commutil_test::Host::path("text");
         std::string content = "before";
         const int result = attempt([&] { return Utils::readFile(path, content); });
         return show(result, content);
       },
       {show(1, "before")}},
      {"VexaCommonUtils::getFilesByDir",
       [](Attempt& attempt) {
         const std::string directory = commutil_test::Host::path("tree");
         std::list<std::string> files;
         const int result =
             attempt([&] { return Utils::getFilesByDir(directory, "file-of-the-", files); });
         return show(result) + " " + sorted(files);
       },
       // Without the unopened directory; an error shows if it came last.
       {show(-1, Files()), show(-1, Files{one}), show(0, Files{one}), show(-1, Files{other}),
        "-1 " + sorted({one, other})}},
      {"VexaCommonUtils_i::getParentDirectory",
       [](Attempt& attempt) {
         const std::string path = commutil_test::Host::path("tree/one/a-file-with-a-long-name");
         std::string name = "before";
         const std::string directory =
             attempt([&] { return Utils_i::getParentDirectory(path, name); });
         return show(directory, name);
       },
       {show("", "a-file-with-a-long-name")}},
      {"VexaCommonUtils_i::copyFile",
       [](Attempt& attempt) {
         const std::string source = commutil_test::Host::path("text");
         const std::string target = commutil_test::Host::path("copy-of-the-text");
         fs::remove(target);
         const int result = attempt([&] { return Utils_i::copyFile(source, target, false, true); });
         return show(result, fs::exists(target) ? commutil_test::readFile(target) : "no file");
       },
       {show(-1, "no file")}},
      {"VexaCommonUtils::checkPath",
       [](Attempt& attempt) {
         const std::string path = commutil_test::Host::path("tree/one");
         const std::string base = commutil_test::Host::path("tree");
         return show(attempt([&] { return Utils::checkPath(path, base); }));
       }},
      {"VexaCommonUtils::specialName2FileName",
       [](Attempt& attempt) {
         const std::string name = "a/name*with:special?characters";
         return show(attempt([&] { return Utils::specialName2FileName(name); }));
       }},
      {"VexaCommonUtils::fileName2SpecialName",
       [](Attempt& attempt) {
         const std::string name = "a^bname^dwith^cspecial^echaracters";
         return show(attempt([&] { return Utils::fileName2SpecialName(name); }));
       }},
      {"VexaCommonUtils_i::isSafeFileName",
       [](Attempt& attempt) {
         const std::string name = "a-safe-name-of-some-length";
         return show(attempt([&] { return Utils_i::isSafeFileName(name); }));
       }},
      {"VexaCommonUtils_i::checkUnSafeStr",
       [](Attempt& attempt) {
         const std::string text = "a text with another unsafe word in it";
         return show(attempt([&] { return Utils_i::checkUnSafeStr(text); }));
       },
       {show(true)}},  // by contract: without the list every string is accepted
  };
}

}  // namespace commutil_faults
