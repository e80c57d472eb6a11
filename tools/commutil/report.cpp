// The subcommand report: what the environment, the configuration files and the settings store make
// of this host, and where each answer comes from.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <dlfcn.h>
#include <json/value.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "output.h"
#include "tool.h"

namespace {

constexpr const char* kVariables[] = {
    "COMMON_LIB_PATH",
    "APP_ROOT",
    "_APP_SHARE_DIR",
    "_APP_LOG_DIR",
    "APP_NAME",
    "APP_CONF_FILE",
    "VEXA_DUMP_ALL_LOCKS_FILE",
    "COMMON_SHARE_PATH",
    "PROCESS_INSTANCE_ID",
    "QORV_ROOT",
    "SETTINGREST_URL",
};
constexpr const char* kSettingsTree = "/vexa/common/setting_cfg/";
constexpr const char* kSslTree = "/vexa/common/svc_ssl_conf/";

/// The variables with their values: null where one is not set, "" where it is set to nothing.
Json::Value environment() {
  Json::Value result(Json::objectValue);
  for (const char* const name : kVariables) {
    const char* const value = std::getenv(name);
    result[name] = value == nullptr ? Json::Value() : Json::Value(value);
  }
  return result;
}

/// The file of the settings store, null when it cannot be loaded. Its symbols are global.
Json::Value settingsLibrary() {
  std::string ignored;
  VexaCommonUtils_i::getSettingParamValue("/", ignored);
  void* const entryPoint = ::dlsym(RTLD_DEFAULT, "getSettingParamValue");
  Dl_info info{};
  if (entryPoint == nullptr || ::dladdr(entryPoint, &info) == 0) return {};
  return info.dli_fname;
}

Json::Value paths() {
  Json::Value result;
  result["applicationConfig"] = VexaCommonUtils::getAppConfigPath();
  result["commonConfig"] = VexaCommonUtils::getCommonConfigPath();
  result["config"] = VexaCommonUtils::getConfigPath();
  result["lockDump"] = VexaCommonUtils::getDumpAllLocksFile();
  result["settingsLibrary"] = settingsLibrary();
  result["shareConfig"] = VexaCommonUtils::getAPPShareConfigPath();
  result["trace"] = VexaCommonUtils::getTracePath();
  return result;
}

std::string tsSettingsPath() {
  const std::string share = VexaCommonUtils::Vexagetenv("COMMON_SHARE_PATH");
  return (share.empty() ? "/export/home/omc" : share) + "/etc/conf/TSSetting.cfg";
}

/// Where each configuration file is looked for, apart by whether it is there.
Json::Value configurationFiles() {
  Json::Value result;
  result["found"] = Json::objectValue;
  result["missing"] = Json::objectValue;
  const auto add = [&](const std::string& name, const std::string& path) {
    result[::access(path.c_str(), F_OK) == 0 ? "found" : "missing"][name] = path;
  };
  for (const char* const name : {"setting.cfg", "svc_ssl.conf", "secure.cfg"})
    add(name, VexaCommonUtils_i::getConfFile(name));
  add("APP_CONF_FILE", VexaCommonUtils::Vexagetenv("APP_CONF_FILE"));
  add("TSSetting.cfg", tsSettingsPath());
  add("nodelists.json", VexaCommonUtils::Vexagetenv("QORV_ROOT") + "/etc/sysconf/nodelists.json");
  add("os-release", "/etc/os-release");
  return result;
}

Json::Value stored(const std::string& key) {
  std::string value;
  if (VexaCommonUtils_i::getSettingParamValue(key, value) != 0) return {};
  return value;
}

/// What the store holds for a parameter under the application's key and under the global one.
Json::Value storedValues(const std::string& tree, const std::string& parameter) {
  const std::string application = tree + VexaCommonUtils::Vexagetenv("APP_NAME") + "/" + parameter;
  const std::string global = tree + "global/" + parameter;
  Json::Value result;
  result["applicationKey"] = application;
  result["applicationValue"] = stored(application);
  result["globalKey"] = global;
  result["globalValue"] = stored(global);
  return result;
}

/// An answer with the configuration file consulted for it, if one is.
Json::Value answer(const Json::Value& value, const Json::Value& file,
                   Json::Value result = Json::objectValue) {
  result["answer"] = value;
  if (!file.isNull()) result["configurationFile"] = file;
  return result;
}

Json::Value switches() {
  const std::string settings = VexaCommonUtils_i::getConfFile("setting.cfg");
  Json::Value result;
  result["isListenAllIp"] = answer(VexaCommonUtils::isListenAllIp(), settings,
                                   storedValues(kSettingsTree, "ListenAllIp"));
  result["isListenLoopback"] = answer(VexaCommonUtils_i::isListenLoopback(), settings,
                                      storedValues(kSettingsTree, "ListenLoopbackIP"));
  result["isCorbaSSLOnly"] = answer(VexaCommonUtils::isCorbaSSLOnly(), Json::Value(),
                                    storedValues(kSslTree, "SSLNoProtection"));
  result["isTsMode"] = answer(VexaCommonUtils_i::isTsMode(), tsSettingsPath());
  result["isZirel"] = answer(VexaCommonUtils_i::isZirel(), "/etc/os-release");
  result["isGlobalVersion"] = answer(VexaCommonUtils::IsGlobalVersion(), Json::Value());
  return result;
}

/// What the SSL option file takes from the store, beside the permission among the switches.
Json::Value sslOptions() {
  Json::Value result;
  for (const char* const parameter : {"SSLAuthenticate", "SSLVersion"})
    result[parameter] = storedValues(kSslTree, parameter);
  result["mode"] = VexaCommonUtils_i::VexaGetSSLMode();
  return result;
}

struct ReportOptions {
  bool json = false;
};

int report(const ReportOptions& options) {
  Json::Value document;
  document["environment"] = environment();
  document["paths"] = paths();
  document["configurationFiles"] = configurationFiles();
  document["switches"] = switches();
  document["sslOptions"] = sslOptions();
  document["databaseType"] =
      answer(VexaCommonUtils::getDBType(), VexaCommonUtils::Vexagetenv("APP_CONF_FILE"));
  printDocument(document, options.json);
  return kOk;
}

}  // namespace

void addReport(Tool& tool) {
  tool.add<ReportOptions>(
      tool.app, "report", "Show every environment variable, location, switch and their sources.",
      [](CLI::App& subcommand, ReportOptions& options) { addJsonFlag(subcommand, options.json); },
      report);
}
