// Environment, paths, settings and switches; files; path and input safety.
#include <filesystem>
#include <list>
#include <map>
#include <stdexcept>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "soak/deployment.h"
#include "soak/operations.h"
#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_soak {
namespace {

namespace fs = std::filesystem;
using commutil_test::Host;
using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;
using Text = std::string;

/// Adds an operation without arguments whose result does not change.
template <class Result>
void addFixed(Operations& all, const char* name, Result (*function)(), Result expected) {
  all.push_back(
      {{name}, Cost::files, [=](Caller& caller) { return caller.equal(function(), expected); }});
}

/// Adds one that expands references to variables, between `open` and `close`.
void addExpander(Operations& all, const char* name, Text (*function)(const Text&), const char* open,
                 const char* close) {
  all.push_back({{name}, Cost::memory, [=](Caller& caller) {
                   const Text before = caller.random.textOf("ab/", 100);
                   const Text after = caller.random.textOf("ab/", 100);
                   const Text& value = caller.surroundings().application;
                   return caller.equal(function(before + open + "APP_NAME" + close + after),
                                       before + value + after);
                 }});
}

void addEnvironment(Operations& all) {
  all.push_back({{"VexaCommonUtils::Vexagetenv"}, Cost::memory, [](Caller& caller) {
                   return caller.equal(Utils::Vexagetenv("APP_NAME"),
                                       caller.surroundings().application);
                 }});
  addExpander(all, "VexaCommonUtils::replaceEnvVar", Utils::replaceEnvVar, "$(", ")");
  addExpander(all, "VexaCommonUtils::replEnvVar", Utils::replEnvVar, "%", "%");
  addExpander(all, "VexaCommonUtils_i::VexareplaceEnvVar", Utils_i::VexareplaceEnvVar, "${", "}");
  all.push_back({{"VexaCommonUtils_i::VexareplaceMacroVar"}, Cost::memory, [](Caller& caller) {
                   const Text text = caller.random.bytes(300);
                   return caller.equal(Utils_i::VexareplaceMacroVar(text), text);
                 }});
  addFixed(all, "VexaCommonUtils::getCommonConfigPath", Utils::getCommonConfigPath,
           Host::path("common/conf"));
  addFixed(all, "VexaCommonUtils::getConfigPath", Utils::getConfigPath, Host::path("common/conf"));
  addFixed(all, "VexaCommonUtils::getAppConfigPath", Utils::getAppConfigPath,
           Host::path("app/conf"));
  addFixed(all, "VexaCommonUtils::getAPPShareConfigPath", Utils::getAPPShareConfigPath,
           Host::path("share/conf"));
  addFixed(all, "VexaCommonUtils::getTracePath", Utils::getTracePath, Host::path("log/trace/"));
  addFixed(all, "VexaCommonUtils::getDumpAllLocksFile", Utils::getDumpAllLocksFile,
           Host::path("locks.dump"));
  all.push_back({{"VexaCommonUtils_i::getConfFile"}, Cost::files, [](Caller& caller) {
                   const bool exists = caller.random.once(2);
                   return caller.equal(
                       Utils_i::getConfFile(exists ? "setting.cfg" : "nowhere.cfg"),
                       Host::path(exists ? "app/conf/setting.cfg" : "common/conf/nowhere.cfg"));
                 }});
}

/// The store has a branch of the one application only.
bool unprotected(Caller& caller) { return caller.surroundings().application == "application"; }

Outcome lookUp(Caller& caller) {
  constexpr const char* kKeys[] = {"/vexa/common/setting_cfg/global/fixed",
                                   "/vexa/common/setting_cfg/changing/one",
                                   "/vexa/common/setting_cfg/global/missing"};
  const std::size_t key = caller.random.below(3);
  Text value = "before";
  const int result = Utils_i::getSettingParamValue(kKeys[key], value);
  if (key == 0) return both(caller.equal(result, 0), caller.equal(value, Text("the same")));
  if (key == 1) {
    return caller.holds(result == 0 &&
                        (value == changingSetting(0) || value == changingSetting(1)));
  }
  return result != 0 && value == "before" ? Outcome::failed : Outcome::wrong;
}

/// Both values of the group are of one version of the store.
Outcome lookUpGroup(Caller& caller) {
  std::map<Text, Text> values;
  const int result = Utils_i::getSettingGroupParams("/vexa/common/setting_cfg/changing", values);
  return caller.holds(result == 0 && values.size() == 2 && values["one"] == values["other"]);
}

Outcome lookUpWithFallback(Caller& caller) {
  Text value;
  const bool found = Utils_i::GetSetParamValue("/vexa/common/setting_cfg/application/fixed",
                                               "/vexa/common/setting_cfg/global/fixed", value);
  return both(caller.holds(found), caller.equal(value, Text("the same")));
}

void addSettings(Operations& all) {
  all.push_back({{"VexaCommonUtils_i::getSettingParamValue"}, Cost::files, lookUp});
  all.push_back({{"VexaCommonUtils_i::getSettingGroupParams"}, Cost::files, lookUpGroup});
  all.push_back({{"VexaCommonUtils_i::GetSetParamValue"}, Cost::files, lookUpWithFallback});
  addFixed(all, "VexaCommonUtils::isListenAllIp", Utils::isListenAllIp, true);
  addFixed(all, "VexaCommonUtils_i::isListenLoopback", Utils_i::isListenLoopback, true);
  addFixed(all, "VexaCommonUtils::IsGlobalVersion", Utils::IsGlobalVersion, true);
  addFixed(all, "VexaCommonUtils_i::isTsMode", Utils_i::isTsMode, true);
  addFixed(all, "VexaCommonUtils_i::isZirel", Utils_i::isZirel, true);
  addFixed(all, "VexaCommonUtils_i::VexaGetSSLMode", Utils_i::VexaGetSSLMode, 2);
  all.push_back({{"VexaCommonUtils::isCorbaSSLOnly"}, Cost::files, [](Caller& caller) {
                   return caller.equal(Utils::isCorbaSSLOnly(), !unprotected(caller));
                 }});
  all.push_back({{"VexaCommonUtils_i::isCorbaSSLOnly"}, Cost::files, [](Caller& caller) {
                   return caller.equal(Utils_i::isCorbaSSLOnly(), !unprotected(caller));
                 }});
}

bool isSource(const Text& content) {
  static const Text contents[] = {contentOf(kSourceFile, 0), contentOf(kSourceFile, 1)};
  return content == contents[0] || content == contents[1];
}

Outcome readSource(Caller& caller) {
  Text content = "before";
  if (caller.random.once(4)) {
    const int result = Utils::readFile(Host::path("missing"), content);
    return result == 1 && content == "before" ? Outcome::failed : Outcome::wrong;
  }
  const int result = Utils::readFile(Host::path(kSourceFile), content);
  return both(caller.equal(result, 0), caller.holds(isSource(content)));
}

Outcome copySource(Caller& caller) {
  const Text target = caller.directory + "/copy";
  const bool noOverwrite = caller.random.once(4);
  const bool exists = fs::exists(target);
  const int result =
      Utils_i::copyFile(Host::path(kSourceFile), target, noOverwrite, caller.random.once(2));
  if (noOverwrite && exists) return result == -1 ? Outcome::failed : Outcome::wrong;
  const bool whole = isSource(commutil_test::readFile(target));
  if (caller.random.once(2)) fs::remove(target);
  return both(caller.equal(result, 0), caller.holds(whole));
}

Outcome listFiles(Caller& caller) {
  const Text directory = caller.directory + "/tree";
  const Text below = directory + "/" + caller.random.word(4) + "/" + caller.random.word(4);
  Utils::mkdir_all(below);
  std::list<Text> expected{below + "/" + caller.random.word(20) + "-found"};
  commutil_test::writeFile(expected.front(), "");
  commutil_test::writeFile(below + "/other", "");
  std::list<Text> files;
  const int result = Utils::getFilesByDir(directory, "-found", files);
  fs::remove_all(directory);
  return both(caller.equal(result, 0), caller.equal(files, expected));
}

Outcome splitPath(Caller& caller) {
  const bool empty = caller.random.once(8);
  const Text name = caller.random.word(20);
  Text last = "before";
  try {
    const Text directory =
        Utils_i::getParentDirectory(empty ? "  " : caller.directory + "/./" + name, last);
    return both(caller.equal(directory, fs::canonical(caller.directory).string()),
                caller.equal(last, name));
  } catch (const std::out_of_range&) {
    return empty && last.empty() ? Outcome::threw : Outcome::wrong;
  }
}

void addFiles(Operations& all) {
  all.push_back({{"VexaCommonUtils::readFile"}, Cost::files, readSource});
  all.push_back({{"VexaCommonUtils_i::copyFile"}, Cost::files, copySource});
  all.push_back(
      {{"VexaCommonUtils::getFilesByDir", "VexaCommonUtils::mkdir_all"}, Cost::files, listFiles});
  all.push_back({{"VexaCommonUtils_i::getParentDirectory"}, Cost::files, splitPath});
}

void addSafety(Operations& all) {
  all.push_back({{"VexaCommonUtils::checkPath"}, Cost::memory, [](Caller& caller) {
                   const Text base = "/" + caller.random.word(5);
                   const bool below = caller.random.once(2);
                   const Text path = base + (below ? "/" : "") + caller.random.word(5);
                   return caller.equal(Utils::checkPath(path, base), below);
                 }});
  all.push_back({{"VexaCommonUtils::specialName2FileName", "VexaCommonUtils::fileName2SpecialName"},
                 Cost::memory,
                 [](Caller& caller) {
                   const Text name = caller.random.textOf("ab^/\\:*?\"<>|", 100);
                   const Text file = Utils::specialName2FileName(name);
                   return both(caller.holds(file.find('/') == Text::npos),
                               caller.equal(Utils::fileName2SpecialName(file), name));
                 }});
  all.push_back({{"VexaCommonUtils_i::isSafeFileName"}, Cost::memory, [](Caller& caller) {
                   const Text name = caller.random.textOf("abcdefghijkl;", 30);
                   return caller.equal(Utils_i::isSafeFileName(name), name.find(';') == Text::npos);
                 }});
  all.push_back({{"VexaCommonUtils_i::checkUnSafeStr"}, Cost::files, [](Caller& caller) {
                   const bool unsafe = caller.random.once(2);
                   const Text text = caller.random.word(30) + (unsafe ? kUnsafeWord : "") +
                                     caller.random.word(30);
                   return caller.equal(Utils_i::checkUnSafeStr(text), !unsafe);
                 }});
}

}  // namespace

void addConfigOperations(Operations& all) {
  addEnvironment(all);
  addSettings(all);
  addFiles(all);
  addSafety(all);
}

}  // namespace commutil_soak
