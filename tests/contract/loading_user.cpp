// A plug-in compiled against the library, as servers load them: it loads the library and uses every
// family that keeps state between calls.
#include <ace/Message_Block.h>

#include <list>
#include <map>
#include <string>

#include "ArgsOptions.h"
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocale.h"
#include "VexaLocks.h"
#include "VexaNetUtils.h"
#include "VexaWideIO.h"

namespace {

bool fillCaches(const std::string& traceDirectory) {
  return VexaCommonUtils::getTracePath() == traceDirectory &&
         VexaCommonUtils::getDBType() == "oracle" && VexaCommonUtils_i::isTsMode() &&
         VexaCommonUtils::transDBSearchString("a_b") == "a\\_b";
}

bool askSettings() {
  std::map<std::string, std::string> params;
  return VexaCommonUtils_i::isCorbaSSLOnly() && !VexaCommonUtils::isListenAllIp() &&
         VexaCommonUtils_i::getSettingGroupParams("group", params) == 0 &&
         params["group"] == "stored" &&
         !VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf").empty();
}

/// The instance that must be destroyed before the library is unloaded.
bool convertCharacters() {
  const bool converted =
      VexaCommonUtils::STR2WSTR("text") == L"text" && VexaCommonUtils::WSTR2STR(L"text") == "text";
  VexaLocale::Destory();
  return converted;
}

bool writeAndRead(const std::string& path) {
  constexpr int kRead = 8;
  constexpr int kWrite = 16;
  Vexawofstream writer;
  writer.open(path.c_str(), kWrite);
  writer << L"wide text" << wendl;
  writer.close();
  Vexawfstream reader;
  reader.open(path.c_str(), kRead);
  wchar_t line[16] = {};
  reader.get(line, 16);
  return std::wstring(line) == L"wide text";
}

bool lock() {
  VexaProcessLock mutex("loading", "/");
  return mutex.EnterProcessMutex() == 0 && mutex.ExitProcessMutex() == 0;
}

bool takeTurns() {
  VexaToken token;
  VexaToken_Message_Queue queue;
  queue.setToken(&token);
  queue.enqueue_tail(new ACE_Message_Block(16));
  ACE_Message_Block* message = nullptr;
  if (queue.dequeue_head(message, nullptr) != 0) return false;
  message->release();
  return token.acquire(nullptr, nullptr, nullptr) == 0 && token.release() == 0;
}

bool runCommands() {
  std::string output;
  char program[] = "/bin/true";
  char* const words[] = {program, nullptr};
  return VexaCommonUtils_i::getSystemExecResult("echo run", output) == 0 && output == "run\n" &&
         VexaCommonUtils_i::runCommand(program, words) == 0 &&
         VexaCommonUtils_i::runCommand(program, true, true) == 0;
}

bool askNetwork() {
  std::list<std::string> nodes;
  std::string address = "FE80::1";
  return VexaCommonUtils_i::GetAllWebswingNodeIPs(nodes) == 0 && nodes.size() == 1 &&
         VexaCommonUtils_i::formatStringIP(address) == 10 &&
         VexaCommonUtils_i::formatStringIP_DNS(address) == 10 &&
         VexaCommonUtils_i::generateUUID().size() == 32;
}

bool readWords() {
  char program[] = "program";
  char option[] = "-v";
  char* words[] = {program, option, nullptr};
  return ArgsOptions(2, words).hasOption("-v") && VexaCommonUtils_i::checkUnSafeStr("safe");
}

}  // namespace

/// Uses the library below the share directory `share`. Returns the family that failed, or "".
/// Leaves out what the contract keeps until the process ends: the interface lists of `getAllIPAddr`
/// and `getInterfaceOfIPV6`, and the session of `switchOmcUser`.
extern "C" __attribute__((visibility("default"))) const char* useLibrary(
    const char* share, const char* traceDirectory) {
  if (!fillCaches(traceDirectory)) return "caches";
  if (!askSettings()) return "settings";
  if (!convertCharacters()) return "character sets";
  if (!writeAndRead(std::string(share) + "/wide")) return "wide streams";
  if (!lock()) return "process lock";
  if (!takeTurns()) return "token";
  if (!runCommands()) return "commands";
  if (!askNetwork()) return "network";
  return readWords() ? "" : "options and input";
}
