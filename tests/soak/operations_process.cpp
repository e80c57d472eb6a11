// Commands, users and processes.
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "soak/operations.h"

namespace commutil_soak {
namespace {

using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;
using Text = std::string;

/// Exit codes that no documented failure has.
int exitCode(Random& random) { return 20 + static_cast<int>(random.below(100)); }

Outcome run(Caller& caller) {
  const int code = exitCode(caller.random);
  const Text command = "/bin/sh -c 'exit " + std::to_string(code) + "'";
  const bool inherit = caller.random.once(2);
  return caller.equal(Utils_i::runCommand(command.c_str(), inherit, true), code);
}

Outcome runProgram(Caller& caller) {
  const bool missing = caller.random.once(4);
  const int code = exitCode(caller.random);
  Text words[] = {"sh", "-c", "exit " + std::to_string(code)};
  char* const argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  const int result = Utils_i::runCommand(missing ? "/missing/program" : "/bin/sh", argv);
  if (missing) return result == 2 ? Outcome::failed : Outcome::wrong;
  return caller.equal(result, code);
}

Outcome readPipe(Caller& caller) {
  const Text word = caller.random.word(100);
  const int code = exitCode(caller.random);
  const Text command = "echo " + word + "; exit " + std::to_string(code);
  std::FILE* const stream = Utils_i::pipeline_s(command.c_str());
  if (stream == nullptr) return Outcome::wrong;
  std::array<char, 200> line{};
  const bool read = std::fgets(line.data(), line.size(), stream) != nullptr;
  const int status = Utils_i::pclose_s(stream);
  return both(caller.holds(read && line.data() == word + "\n"),
              caller.equal(WEXITSTATUS(status), code));
}

Outcome readOutput(Caller& caller) {
  const Text word = caller.random.word(100);
  Text output = "before";
  const bool silent = caller.random.once(4);
  const int result =
      Utils_i::getSystemExecResult((silent ? "true " + word : "echo " + word).c_str(), output);
  if (silent) return result == -1 && output.empty() ? Outcome::failed : Outcome::wrong;
  return both(caller.equal(result, 0), caller.equal(output, word + "\n"));
}

Outcome findSession(Caller& caller) {
  Text user;
  Text address;
  const int result = Utils::getSessionDetails(user, address);
  return caller.holds(result == 0 && user == "a-user-with-a-long-name" &&
                      address == "(192.0.2.200:11.22)");
}

void addCommands(Operations& all) {
  all.push_back({{"VexaCommonUtils_i::runCommand(char const*, bool, bool)"}, Cost::command, run});
  all.push_back(
      {{"VexaCommonUtils_i::runCommand(char const*, char* const*)"}, Cost::command, runProgram});
  all.push_back(
      {{"VexaCommonUtils_i::pipeline_s", "VexaCommonUtils_i::pclose_s"}, Cost::command, readPipe});
  all.push_back({{"VexaCommonUtils_i::getSystemExecResult"}, Cost::command, readOutput});
  all.push_back({{"VexaCommonUtils::getSessionDetails"}, Cost::command, findSession});
}

Outcome findByName(Caller& caller) {
  const bool unknown = caller.random.once(4);
  const Text name = unknown ? caller.random.word(20) : "ossuser";
  std::array<char, 1024> buffer{};
  passwd entry{};
  const bool found = Utils_i::securityGetpwnam(name, entry, buffer.data(), buffer.size());
  if (unknown) return found ? Outcome::wrong : Outcome::failed;
  return caller.holds(found && entry.pw_uid == 4711 && name == entry.pw_name);
}

Outcome findById(Caller& caller) {
  const bool unknown = caller.random.once(4);
  std::array<char, 1024> buffer{};
  passwd entry{};
  const bool found =
      Utils_i::securityGetpwuid(unknown ? 99999 : 4711, entry, buffer.data(), buffer.size());
  if (unknown) return found ? Outcome::wrong : Outcome::failed;
  return caller.holds(found && Text("ossuser") == entry.pw_name);
}

void addUsers(Operations& all) {
  all.push_back({{"VexaCommonUtils_i::securityGetpwnam"}, Cost::files, findByName});
  all.push_back({{"VexaCommonUtils_i::securityGetpwuid"}, Cost::files, findById});
  all.push_back({{"VexaCommonUtils_i::getCommandLine"}, Cost::files, [](Caller& caller) {
                   std::vector<Text> words;
                   Utils_i::getCommandLine(words);
                   return caller.holds(!words.empty() && words.front().find("soak") != Text::npos);
                 }});
  all.push_back({{"VexaCommonUtils::getKernelThreadIDForFS"}, Cost::memory, [](Caller& caller) {
                   return caller.equal(Utils::getKernelThreadIDForFS(), long{::gettid()});
                 }});
  all.push_back({{"VexaCommonUtils::getProcessCPUAndMem"}, Cost::memory, [](Caller& caller) {
                   unsigned cpu = 7;
                   unsigned memory = 7;
                   const int result = Utils::getProcessCPUAndMem("any", cpu, memory);
                   return caller.holds(result == 0 && cpu == 7 && memory == 7);
                 }});
}

}  // namespace

void addProcessOperations(Operations& all) {
  addCommands(all);
  addUsers(all);
}

}  // namespace commutil_soak
