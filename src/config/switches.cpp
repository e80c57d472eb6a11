#include <atomic>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/store_keys.h"
#include "config/uncached.h"
#include "platform/ini_reader.h"

namespace {

constexpr const char* kDefaultShare = "/export/home/omc";

/// Reads `parameter` of `tree` from the store, the application's branch first. `value` is not
/// cleared in between and the second result is not tested: what a failing store writes counts.
void readStore(const std::string& tree, const std::string& parameter, std::string& value) {
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
  if (value.empty()) readStore("/vexa/common/setting_cfg/", parameter, value);
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

bool VexaCommonUtils::isListenAllIp() { return isListenSwitchOn("ListenAllIp"); }

bool VexaCommonUtils::isCorbaSSLOnly() { return VexaCommonUtils_i::isCorbaSSLOnly(); }

bool VexaCommonUtils::IsGlobalVersion() { return true; }

bool VexaCommonUtils_i::isListenLoopback() { return isListenSwitchOn("ListenLoopbackIP"); }

bool VexaCommonUtils_i::isCorbaSSLOnly() {
  std::string value = "disable";
  readStore("/vexa/common/svc_ssl_conf/", "SSLNoProtection", value);
  return value == "disable";
}

bool VexaCommonUtils_i::isTsMode() {
  using commutil::TsMode;
  // Without a lock: concurrent first calls may each read the file and cache the same result.
  static constinit std::atomic<TsMode> known{TsMode::unknown};
  TsMode mode = known.load(std::memory_order_relaxed);
  if (mode == TsMode::unknown) {
    mode = commutil::readTsMode();
    if (mode != TsMode::unknown) known.store(mode, std::memory_order_relaxed);
  }
  return mode == TsMode::on;
}
