// The deployment switches: what the site's settings files, its settings store and the system say
// about how services run. Safe between threads; the TS mode and the database type are kept.
#include <json/value.h>

#include <atomic>
#include <cstdio>
#include <exception>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/store_keys.h"
#include "config/uncached.h"
#include "os/file_text.h"
#include "os/handles.h"
#include "os/lazy_value.h"
#include "platform/ini_reader.h"
#include "platform/json_reader.h"

namespace {

constexpr const char* kDefaultDatabaseType = "sybase";
constexpr const char* kDefaultShare = "/export/home/omc";
constexpr std::size_t kLinePiece = 1023;

/// Asks the store for `parameter` of `tree`, the application's branch first. `value` is not cleared
/// in between and the second result is not tested: what a failing store writes counts.
void askStore(const std::string& tree, const std::string& parameter, std::string& value) {
  const commutil::StoreKeys keys = commutil::storeKeys(tree, parameter);
  const int result = VexaCommonUtils_i::getSettingParamValue(keys.application, value);
  if (result == 0 && !value.empty()) return;
  VexaCommonUtils_i::getSettingParamValue(keys.global, value);
}

bool isListenSwitchOn(const std::string& parameter) {
  std::string value;
  {
    VexaIniReader settings(VexaCommonUtils_i::getConfFile("setting.cfg"));
    if (settings.initialize(false) != 0) return false;
    value = settings.getParamValue("[IP]", parameter);
  }
  if (value.empty()) askStore("/vexa/common/setting_cfg/", parameter, value);
  return value == "enable";
}

}  // namespace

commutil::TsMode commutil::readTsMode() {
  std::string directory = VexaCommonUtils::Vexagetenv("COMMON_SHARE_PATH");
  if (directory.empty()) directory = kDefaultShare;
  VexaIniReader settings(directory + "/etc/conf/TSSetting.cfg");
  if (settings.initialize(false) != 0) return TsMode::unknown;
  return settings.getParamValue("[TS]", "ts_mode") == "true" ? TsMode::on : TsMode::off;
}

namespace {

/// Reads the next line with its line feed, or the next piece of a longer one, into `piece`. Returns
/// whether there was one.
bool readLinePiece(std::FILE* file, std::string& piece) {
  piece.clear();
  int c = 0;
  while (piece.size() < kLinePiece && c != '\n' && (c = ::getc_unlocked(file)) != EOF)
    piece += static_cast<char>(c);
  return !piece.empty();
}

/// The type of the first database, by name, in the application configuration; "" when it has none.
/// Throws what jsoncpp does where a value is of the wrong kind.
std::string readDatabaseType(const std::string& path) {
  std::string text;
  Json::Value root;
  commutil::readFileText(path, text);  // a file that cannot be read is as an empty one
  if (!JsonReader(false).parse(text, root)) return {};
  const Json::Value& databases = root["databases"];
  const Json::Value::Members names = databases.getMemberNames();
  if (names.empty()) return {};
  const Json::Value& type = databases[names.front()][0U]["type"];
  return type.isString() ? type.asString() : std::string();
}

/// The same, but "" for every failure to read or parse, lack of memory included.
std::string tryDatabaseType(const std::string& path) {
  try {
    return readDatabaseType(path);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace

commutil::Answer<std::string> commutil::findDatabaseType() {
  const std::string path = VexaCommonUtils::Vexagetenv("APP_CONF_FILE");
  if (path.empty()) return {kDefaultDatabaseType, false};
  std::string type = tryDatabaseType(path);
  if (type.empty()) return {kDefaultDatabaseType, false};
  return {std::move(type), true};
}

bool VexaCommonUtils::isListenAllIp() { return isListenSwitchOn("ListenAllIp"); }

bool VexaCommonUtils::isCorbaSSLOnly() { return VexaCommonUtils_i::isCorbaSSLOnly(); }

bool VexaCommonUtils::IsGlobalVersion() { return true; }

std::string VexaCommonUtils::getDBType() {
  return commutil::lazyUntilExit<commutil::findDatabaseType>();
}

bool VexaCommonUtils_i::isListenLoopback() { return isListenSwitchOn("ListenLoopbackIP"); }

bool VexaCommonUtils_i::isCorbaSSLOnly() {
  std::string value = "disable";
  askStore("/vexa/common/svc_ssl_conf/", "SSLNoProtection", value);
  return value == "disable";
}

bool VexaCommonUtils_i::isTsMode() {
  using commutil::TsMode;
  // Without a lock: concurrent first calls may each read the file and store the same answer.
  static constinit std::atomic<TsMode> known{TsMode::unknown};
  TsMode mode = known.load(std::memory_order_relaxed);
  if (mode == TsMode::unknown) {
    mode = commutil::readTsMode();
    if (mode != TsMode::unknown) known.store(mode, std::memory_order_relaxed);
  }
  return mode == TsMode::on;
}

bool VexaCommonUtils_i::isZirel() {
  const commutil::FileHandle file(std::fopen("/etc/os-release", "rte"));
  if (!file) return false;
  std::string line;
  while (readLinePiece(file.get(), line)) {
    if (line.back() == '\n') line.pop_back();
    if (line == "NAME=\"ZirelOS\"") return true;
  }
  return false;
}
