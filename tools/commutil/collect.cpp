#include "collect.h"

#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <dlfcn.h>
#include <json/reader.h>
#include <json/writer.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <functional>
#include <list>
#include <memory>

#include "child_call.h"
#include "settings/explanation.h"
#include "settings/pack.h"
#include "settings/paths.h"
#include "store_library.h"

namespace {

using settings::Answer;
using settings::Packer;
using settings::Unpacker;

std::string textOf(bool value) { return value ? "yes" : "no"; }

std::string textOf(const std::string& value) { return value; }

/// The library's answers that are a switch or one string.
const std::map<std::string_view, std::function<std::string()>>& operations() {
  static const std::map<std::string_view, std::function<std::string()>> all{
      {"isListenAllIp", [] { return textOf(VexaCommonUtils::isListenAllIp()); }},
      {"isListenLoopback", [] { return textOf(VexaCommonUtils_i::isListenLoopback()); }},
      {"isCorbaSSLOnly", [] { return textOf(VexaCommonUtils::isCorbaSSLOnly()); }},
      {"isTsMode", [] { return textOf(VexaCommonUtils_i::isTsMode()); }},
      {"isZirel", [] { return textOf(VexaCommonUtils_i::isZirel()); }},
      {"IsGlobalVersion", [] { return textOf(VexaCommonUtils::IsGlobalVersion()); }},
      {"getDBType", [] { return textOf(VexaCommonUtils::getDBType()); }},
      {"getCommonConfigPath", [] { return VexaCommonUtils::getCommonConfigPath(); }},
      {"getConfigPath", [] { return VexaCommonUtils::getConfigPath(); }},
      {"getAppConfigPath", [] { return VexaCommonUtils::getAppConfigPath(); }},
      {"getAPPShareConfigPath", [] { return VexaCommonUtils::getAPPShareConfigPath(); }},
      {"getTracePath", [] { return VexaCommonUtils::getTracePath(); }},
      {"getDumpAllLocksFile", [] { return VexaCommonUtils::getDumpAllLocksFile(); }},
  };
  return all;
}

/// The library's list of cluster nodes: "0" and the addresses, or its failure.
std::string clusterNodes() {
  std::list<std::string> nodes;
  const int result = VexaCommonUtils_i::GetAllWebswingNodeIPs(nodes);
  Packer packer;
  packer.add(result);
  for (const std::string& node : nodes) packer.add(node);
  return packer.take();
}

Json::Value nodesFrom(const std::string& bytes) {
  Unpacker unpacker(bytes);
  if (unpacker.number() != 0) return {};
  Json::Value nodes(Json::arrayValue);
  while (!unpacker.atEnd()) nodes.append(unpacker.text());
  return nodes;
}

Json::Value valueFrom(const Answer& answer, const std::string& bytes) {
  if (answer.kind == settings::AnswerKind::onOff) return bytes == "yes";
  if (answer.kind == settings::AnswerKind::list) return nodesFrom(bytes);
  return bytes;
}

/// Returns the library call for `answer`; empty if it would write, or if there is none.
std::function<std::string()> callFor(const Answer& answer) {
  const auto operation = operations().find(answer.name);
  if (operation != operations().end()) return operation->second;
  if (answer.name == "GetAllWebswingNodeIPs") return clusterNodes;
  if (answer.kind == settings::AnswerKind::path) {
    return [&answer] {
      return VexaCommonUtils_i::getConfFile(std::string(answer.sources.front().name));
    };
  }
  return {};
}

/// Reads a setting through the library. A mark shows that the store did not write the value.
std::string readSetting(const std::string& key) {
  const std::string mark("\x01not written\x01");
  std::string value = mark;
  settings::StoreReply reply;
  const auto begin = std::chrono::steady_clock::now();
  reply.code = VexaCommonUtils_i::getSettingParamValue(key, value);
  reply.duration = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - begin);
  if (value != mark) reply.written = value;
  return settings::packed(reply);
}

std::string localeName() {
  const char* const name = std::setlocale(LC_ALL, "");
  return name != nullptr ? name : "";
}

std::string localAddresses() {
  std::list<std::string> addresses;
  VexaCommonUtils_i::getAllIPAddr(addresses);
  Packer packer;
  for (const std::string& address : addresses) packer.add(address);
  return packer.take();
}

std::string netmaskOf(std::string address) {
  std::string netmask;
  return VexaCommonUtils::getNetmaskByIP(address, netmask) == 0 ? netmask : std::string();
}

void collectFiles(ChildCalls& calls, const Request& request, settings::Facts& facts) {
  std::vector<std::string> paths = settings::pathsToExamine(facts.environment);
  std::sort(paths.begin(), paths.end());
  paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
  for (const std::string& path : paths) {
    calls.start(
        "the file " + path,
        [&, path] { return settings::packed(settings::examine(path, request.root)); },
        [&facts, path](const CallResult& result) {
          settings::FileFacts file = settings::unpackedFile(result.bytes);
          file.path = path;
          file.fault = result.fault;
          facts.files[path] = std::move(file);
        });
  }
}

void collectLibrary(ChildCalls& calls, settings::Facts& facts) {
  calls.start(
      "libsettingrest.so", [] { return settings::packed(examineStoreLibrary()); },
      [&facts](const CallResult& result) {
        facts.library = settings::unpackedLibrary(result.bytes);
        facts.library.fault = result.fault;
      });
}

/// Returns the path of the reference store's document if it is too large for all calls to load it
/// at once, else "".
std::string largeDocument(const settings::Facts& facts) {
  const std::string path = settings::settingsDocument(facts);
  return facts.library.isReference && facts.file(path).isLarge() ? path : "";
}

void collectReplies(ChildCalls& calls, settings::Facts& facts) {
  const std::string large = largeDocument(facts);
  for (const std::string& key : settings::keysToAsk(facts.environment)) {
    if (!large.empty()) {
      facts.replies[key].asked = false;
      facts.replies[key].fault =
          "not read: " + large + " has " + settings::sizeText(facts.file(large).size);
      continue;
    }
    calls.start(
        "store " + key, [key] { return readSetting(key); },
        [&facts, key](const CallResult& result) {
          settings::StoreReply reply = settings::unpackedReply(result.bytes);
          reply.fault = result.fault;
          facts.replies[key] = std::move(reply);
        });
  }
}

/// Returns whether the library would load a file for `answer` that is too large for all calls to
/// load it at once.
bool loadsLargeFile(const Answer& answer, const settings::Facts& facts) {
  for (const settings::SourceRef& source : answer.sources) {
    const bool onlyFound =
        answer.kind == settings::AnswerKind::path && source.kind == settings::Kind::file;
    if (onlyFound) continue;
    if (source.kind == settings::Kind::storeKey && !largeDocument(facts).empty()) return true;
    const settings::Item* const file = settings::findItem(
        settings::Kind::file, source.kind == settings::Kind::file ? source.name : source.parent);
    if (file == nullptr) continue;
    const bool searched = file->location == settings::Location::search;
    const std::string path = searched ? settings::chosenPath(file->name, facts)
                                      : settings::pathOf(*file, facts.environment);
    if (facts.file(path).isLarge()) return true;
  }
  return false;
}

void collectAnswers(ChildCalls& calls, const Request& request, Collection& collection) {
  for (const Answer* answer : request.answers) {
    const auto call = callFor(*answer);
    if (!call || loadsLargeFile(*answer, collection.facts)) continue;
    calls.start(std::string(answer->name), call, [&collection, answer](const CallResult& result) {
      LibraryAnswer& entry = collection.answers[std::string(answer->name)];
      entry.fault = result.fault;
      if (result.fault.empty()) entry.value = valueFrom(*answer, result.bytes);
    });
  }
}

void collectHost(ChildCalls& calls, Collection& collection) {
  calls.start("the locale", localeName, [&collection](const CallResult& result) {
    collection.locale = result.bytes;
    collection.localeFault = result.fault;
  });
  calls.start("getAllIPAddr", localAddresses, [&collection](const CallResult& result) {
    Unpacker unpacker(result.bytes);
    while (!unpacker.atEnd()) collection.addresses.push_back({unpacker.text(), {}, {}});
    if (!result.fault.empty()) collection.addresses.push_back({{}, {}, result.fault});
  });
}

void collectNetmasks(ChildCalls& calls, Collection& collection) {
  for (HostAddress& entry : collection.addresses) {
    if (entry.address.empty() || entry.address.find(':') != std::string::npos) continue;
    calls.start(
        "getNetmaskByIP " + entry.address, [address = entry.address] { return netmaskOf(address); },
        [&entry](const CallResult& result) {
          entry.netmask = result.bytes;
          entry.fault = result.fault;
        });
  }
}

}  // namespace

Collection collect(const settings::Environment& environment, const Request& request) {
  Collection collection;
  settings::Facts& facts = collection.facts;
  facts.environment = environment;
  facts.isRoot = ::geteuid() == 0;
  facts.storeNotAsked = request.storeNotAsked;
  const bool asksLibrary = request.root < 0;
  // Two rounds: the host's facts, then the calls that depend on them.
  ChildCalls calls(request.timeout);
  calls.start("the user's name", settings::currentUser, [&facts](const CallResult& result) {
    facts.user = result.fault.empty() ? result.bytes : std::to_string(::geteuid());
  });
  collectFiles(calls, request, facts);
  if (asksLibrary) collectLibrary(calls, facts);
  if (asksLibrary && request.host) collectHost(calls, collection);
  calls.finish();
  if (!asksLibrary) return collection;
  collectReplies(calls, facts);
  collectAnswers(calls, request, collection);
  if (request.host) collectNetmasks(calls, collection);
  calls.finish();
  return collection;
}
