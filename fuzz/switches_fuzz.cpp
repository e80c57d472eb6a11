// Compares the deployment switches with a model, on settings files of any bytes and any result of
// the settings store, which is this program. Calls the code below the caches.
#include <algorithm>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/uncached.h"
#include "models/ini_model.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil::TsMode;
using commutil_fuzz::IniModel;
using commutil_fuzz::Input;
using commutil_fuzz::Scratch;
using commutil_fuzz::setVariable;

/// The store's results for the application's key, then for the global one.
struct StoreAnswer {
  int result = 1;
  std::string value;
};
StoreAnswer applicationAnswer;
StoreAnswer globalAnswer;

StoreAnswer readAnswer(Input& input) {
  const int result = static_cast<int>(input.choice(2));
  return {result, input.field()};
}

/// Returns `value` after the two lookups; a failing store writes nothing here.
std::string modelStore(std::string value) {
  for (const StoreAnswer& answer : {applicationAnswer, globalAnswer}) {
    if (answer.result != 0) continue;
    value = answer.value;
    if (!value.empty()) break;
  }
  return value;
}

bool modelListens(const IniModel& settings, const std::string& parameter) {
  std::string value = settings.value("IP", parameter);
  if (value.empty()) value = modelStore(value);
  return value == "enable";
}

std::string modelTraceDirectory(const IniModel& settings) {
  std::string directory =
      VexaCommonUtils_i::VexareplaceEnvVar(settings.value("TraceDir", "tracedir"));
  if (directory.empty()) directory = "/var/log/log/";
  if (directory.back() != '/') directory += '/';
  return directory;
}

bool modelIsSafe(const IniModel& secure, const std::string& text) {
  const auto words = secure.entries("UnsafeWord");
  return std::none_of(words.begin(), words.end(), [&](const auto& word) {
    return !word.second.empty() && text.find(word.second) != text.npos;
  });
}

const Scratch& deployment() {
  static const Scratch scratch;
  static const bool made = [] {
    scratch.makeFolder("conf");
    scratch.makeFolder("etc/conf");
    setVariable("_APP_SHARE_DIR", scratch.path());
    setVariable("COMMON_SHARE_PATH", scratch.path());
    setVariable("_APP_LOG_DIR", "/var/log");
    setVariable("APP_NAME", "app");
    return true;
  }();
  static_cast<void>(made);
  return scratch;
}

}  // namespace

int VexaCommonUtils_i::getSettingParamValue(const std::string& key, std::string& value) {
  const bool isGlobal = key.find("/global/") != key.npos;
  const StoreAnswer& answer = isGlobal ? globalAnswer : applicationAnswer;
  if (answer.result == 0) value = answer.value;
  return answer.result;
}

void commutil_fuzz::testInput(Input& input) {
  const Scratch& scratch = deployment();
  applicationAnswer = readAnswer(input);
  globalAnswer = readAnswer(input);
  const std::string text = input.field();
  const std::string file = input.rest();
  const IniModel model(file);

  scratch.write("conf/setting.cfg", file);
  expectEqual(VexaCommonUtils::isListenAllIp(), modelListens(model, "ListenAllIp"),
              "isListenAllIp");
  expectEqual(VexaCommonUtils_i::isListenLoopback(), modelListens(model, "ListenLoopbackIP"),
              "isListenLoopback");
  expectEqual(commutil::findTraceDirectory().value, modelTraceDirectory(model),
              "the trace directory");
  expectEqual(VexaCommonUtils_i::isCorbaSSLOnly(), modelStore("disable") == "disable",
              "isCorbaSSLOnly");

  scratch.write("etc/conf/TSSetting.cfg", file);
  expectEqual(static_cast<int>(commutil::readTsMode()),
              static_cast<int>(model.value("TS", "ts_mode") == "true" ? TsMode::on : TsMode::off),
              "the TS mode");

  scratch.write("conf/secure.cfg", file);
  expectEqual(VexaCommonUtils_i::checkUnSafeStr(text), text.empty() || modelIsSafe(model, text),
              "checkUnSafeStr");
}
