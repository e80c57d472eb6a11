// Operations that change the process, or answer from what they cached first. Each call is in a
// child of a process without threads.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocale.h"
#include "VexaLocks.h"
#include "VexaWideIO.h"
#include "soak/operations.h"
#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_soak {
namespace {

using commutil_test::Host;
using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;
using Text = std::string;

Outcome runInShell(Caller& caller, int (*function)(const char*)) {
  const int code = static_cast<int>(caller.random.below(256));
  const int status = function(("exit " + std::to_string(code)).c_str());
  const bool restored = ::signal(SIGCHLD, SIG_DFL) == SIG_DFL;
  return both(caller.holds(restored && WIFEXITED(status)), caller.equal(WEXITSTATUS(status), code));
}

Outcome switchUser(Caller& caller) {
  const int result = Utils::switchOmcUser();
  return both(caller.equal(result, 0), caller.holds(::getuid() == 4711 && ::getgid() == 4712));
}

Outcome generateOptionFile(Caller& caller) {
  const Text path = Utils_i::get_svc_ssl_conf("svc_ssl.conf");
  const Text content = commutil_test::readFile(path);
  const bool ours = caller.surroundings().application == "application";
  const bool version =
      content.find(ours ? "-SSLVersion TLSv1.3" : "-SSLVersion TLSv1.2") != Text::npos;
  const bool protection = (content.find("-SSLNoProtection") != Text::npos) == ours;
  return both(
      caller.equal(path, Host::path("share/svc_ssl_" + caller.surroundings().instance + ".conf")),
      caller.holds(version && protection && commutil_test::modeOf(path) == 0640));
}

Outcome setLocale(Caller& caller) {
  constexpr const char* kNames[] = {"C", "C.UTF-8", "missing", "POSIX"};
  const Text name = caller.random.of(kNames);
  const char* const set = VexaLocale::SetLocale(name.c_str());
  if (name == "missing") return set == nullptr ? Outcome::failed : Outcome::wrong;
  return caller.holds(set != nullptr);
}

Outcome recreateLocale(Caller& caller) {
  const bool first = VexaLocale::Instance() != nullptr;
  VexaLocale::Destory();
  return both(caller.holds(first && VexaLocale::Instance() != nullptr),
              caller.equal(Utils::STR2WSTR(Text("text")), std::wstring(L"text")));
}

/// Opens the standard output anew on a file, neither wide nor one of bytes, and returns what `body`
/// prints.
template <class Body>
Text printed(const Caller& caller, const Body& body) {
  const Text path = caller.directory + "/output";
  if (std::freopen(path.c_str(), "w", stdout) == nullptr) return "cannot open " + path;
  body();
  std::fflush(stdout);
  return commutil_test::readFile(path);
}

Outcome printMessage(Caller& caller) {
  const Text message = caller.random.word(100);
  const VexaProcessLock lock("any", "/locks/");
  return caller.equal(printed(caller, [&] { lock.OutputScreen(message.c_str()); }), message + "\n");
}

Outcome printWide(Caller& caller) {
  const Text word = caller.random.word(100);
  const std::wstring wide(word.begin(), word.end());
  return caller.equal(printed(caller, [&] { Vexawprintf(L"%ls, %d", wide.c_str(), 7); }),
                      word + ", 7");
}

Outcome printStackTrace(Caller& caller) {
  const Text text = printed(caller, [] { Utils::printStackTrace(); });
  return caller.equal(std::count(text.begin(), text.end(), '\n'), 3);
}

/// The first answers of a process.
Outcome fillCaches(Caller& caller) {
  return both(both(caller.equal(Utils::getTracePath(), Host::path("log/trace/")),
                   caller.equal(Utils::getDBType(), Text("oracle"))),
              caller.holds(Utils_i::isTsMode()));
}

}  // namespace

Operations childOperations() {
  return {
      {{"VexaCommonUtils::system"},
       Cost::command,
       [](Caller& caller) { return runInShell(caller, Utils::system); }},
      {{"VexaCommonUtils_i::execve_s"},
       Cost::command,
       [](Caller& caller) { return runInShell(caller, Utils_i::execve_s); }},
      {{"VexaCommonUtils::switchOmcUser"}, Cost::command, switchUser},
      {{"VexaCommonUtils_i::get_svc_ssl_conf"}, Cost::files, generateOptionFile},
      {{"VexaLocale::SetLocale"}, Cost::files, setLocale},
      {{"VexaLocale::Destory"}, Cost::files, recreateLocale},
      {{"VexaProcessLock::OutputScreen [printing]"}, Cost::files, printMessage},
      {{"Vexawprintf"}, Cost::files, printWide},
      {{"VexaCommonUtils::printStackTrace"}, Cost::files, printStackTrace},
      {{"VexaCommonUtils::getTracePath [first]"}, Cost::files, fillCaches},
  };
}

Operations threadOperations() {
  Operations all;
  addTextOperations(all);
  addConfigOperations(all);
  addNetOperations(all);
  addProcessOperations(all);
  addSyncOperations(all);
  addWideOperations(all);
  return all;
}

}  // namespace commutil_soak
