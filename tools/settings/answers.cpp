// The table of the library's answers, with the sources that decide each.
#include "settings/catalog.h"

namespace settings {
namespace {

constexpr std::string_view kSettings = "/vexa/common/setting_cfg/";
constexpr std::string_view kSsl = "/vexa/common/svc_ssl_conf/";

std::vector<Answer> switches() {
  return {
      {"isListenAllIp",
       "ListenAllIp",
       AnswerKind::onOff,
       "services listen on all addresses",
       {{Kind::iniKey, "ListenAllIp", "setting.cfg", "[IP]"},
        {Kind::storeKey, "ListenAllIp", kSettings, {}}},
       Caching::perCall},
      {"isListenLoopback",
       "ListenLoopbackIP",
       AnswerKind::onOff,
       "services listen on the loopback address",
       {{Kind::iniKey, "ListenLoopbackIP", "setting.cfg", "[IP]"},
        {Kind::storeKey, "ListenLoopbackIP", kSettings, {}}},
       Caching::perCall},
      {"isCorbaSSLOnly",
       "SSLNoProtection",
       AnswerKind::onOff,
       "CORBA traffic must be encrypted",
       {{Kind::storeKey, "SSLNoProtection", kSsl, {}}},
       Caching::perCall},
      {"isTsMode",
       "ts_mode",
       AnswerKind::onOff,
       "the platform runs in TS mode",
       {{Kind::iniKey, "ts_mode", "TSSetting.cfg", "[TS]"}},
       Caching::cached},
      {"isZirel",
       "",
       AnswerKind::onOff,
       "the host runs the ZirelOS distribution",
       {{Kind::line, "NAME=\"ZirelOS\"", "os-release", {}}},
       Caching::perCall},
      {"IsGlobalVersion", "", AnswerKind::onOff, "always yes", {}, Caching::perCall},
      {"getDBType",
       "databaseType",
       AnswerKind::text,
       "the database type",
       {{Kind::jsonMember, "databases.NAME[0].type", "application configuration", {}}},
       Caching::cached},
  };
}

std::vector<Answer> sslOptions() {
  std::vector<Answer> all;
  for (const std::string_view name : {"SSLAuthenticate", "SSLVersion", "SSLNoProtection"}) {
    const std::string_view option = name == "SSLAuthenticate" ? "-SSLAuthenticate"
                                    : name == "SSLVersion"    ? "-SSLVersion"
                                                              : "-SSLNoProtection";
    all.push_back({option,
                   name == "SSLNoProtection" ? std::string_view() : name,
                   AnswerKind::option,
                   "option of the SSL option file",
                   {{Kind::file, "svc_ssl.conf", {}, {}}, {Kind::storeKey, name, kSsl, {}}},
                   Caching::cached});
  }
  return all;
}

std::vector<Answer> paths() {
  const auto variable = [](std::string_view name) {
    return SourceRef{Kind::variable, name, {}, {}};
  };
  return {
      {"getConfFile setting.cfg",
       "setting.cfg",
       AnswerKind::path,
       "the settings file",
       {{Kind::file, "setting.cfg", {}, {}}},
       Caching::perCall},
      {"getConfFile svc_ssl.conf",
       "svc_ssl.conf",
       AnswerKind::path,
       "the template of the SSL option file",
       {{Kind::file, "svc_ssl.conf", {}, {}}},
       Caching::perCall},
      {"getConfFile secure.cfg",
       "secure.cfg",
       AnswerKind::path,
       "the list of unsafe words",
       {{Kind::file, "secure.cfg", {}, {}}},
       Caching::perCall},
      {"getCommonConfigPath",
       "",
       AnswerKind::path,
       "the common configuration directory",
       {variable("COMMON_LIB_PATH")},
       Caching::perCall},
      {"getConfigPath",
       "",
       AnswerKind::path,
       "the common configuration directory",
       {variable("COMMON_LIB_PATH")},
       Caching::perCall},
      {"getAppConfigPath",
       "",
       AnswerKind::path,
       "the application's configuration directory",
       {variable("APP_ROOT")},
       Caching::perCall},
      {"getAPPShareConfigPath",
       "",
       AnswerKind::path,
       "the shared configuration directory",
       {variable("_APP_SHARE_DIR")},
       Caching::perCall},
      {"getTracePath",
       "tracedir",
       AnswerKind::path,
       "the trace directory",
       {{Kind::iniKey, "tracedir", "setting.cfg", "[TraceDir]"}, variable("_APP_LOG_DIR")},
       Caching::cached},
      {"getDumpAllLocksFile",
       "",
       AnswerKind::path,
       "the file for lock diagnostics",
       {variable("VEXA_DUMP_ALL_LOCKS_FILE")},
       Caching::perCall},
  };
}

std::vector<Answer> lists() {
  return {
      {"GetAllWebswingNodeIPs",
       "clusterNodes",
       AnswerKind::list,
       "the addresses of the cluster's remote-client nodes",
       {{Kind::jsonMember, "nodeList.NODE.IPAddresses[].IP", "nodelists.json", {}}},
       Caching::perCall},
      {"checkUnSafeStr",
       "unsafeWords",
       AnswerKind::list,
       "words that input must not contain",
       {{Kind::iniKey, "any key", "secure.cfg", "[UnsafeWord]"}},
       Caching::perCall},
  };
}

std::vector<Answer> allAnswers() {
  std::vector<Answer> all;
  for (const auto part : {switches, sslOptions, paths, lists})
    for (Answer& answer : part()) all.push_back(std::move(answer));
  return all;
}

}  // namespace

const std::vector<Answer>& answers() {
  static const std::vector<Answer> all = allAnswers();
  return all;
}

}  // namespace settings
