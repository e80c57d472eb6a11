// The environment, the settings and switches, and the SSL option file.
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "faults/tour.h"
#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_faults {
namespace {

using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;

/// An operation without arguments.
template <class Result>
Operation plain(const char* name, Result (*function)(), std::vector<std::string> failures = {},
                std::vector<std::string> related = {}) {
  return {name, [=](Attempt& attempt) { return show(attempt(function)); }, std::move(failures),
          std::move(related)};
}

/// An operation on a string.
Operation ofText(const char* name, std::string (*function)(const std::string&),
                 const std::string& text, std::vector<std::string> failures = {}) {
  return {name, [=](Attempt& attempt) { return show(attempt([&] { return function(text); })); },
          std::move(failures)};
}

const std::vector<std::string> kStoreUsers{
    "VexaCommonUtils_i::getSettingParamValue", "VexaCommonUtils_i::getSettingGroupParams",
    "VexaCommonUtils_i::GetSetParamValue", "VexaCommonUtils_i::isListenLoopback",
    "VexaCommonUtils_i::get_svc_ssl_conf"};

/// A process generates the option file once.
std::string optionFile(Attempt& attempt) {
  const std::string path = attempt([] { return Utils_i::get_svc_ssl_conf("svc_ssl.conf"); });
  return show(path, path.empty() ? "" : commutil_test::readFile(path));
}

std::string optionFileWith(const char* version, bool protection) {
  return show(commutil_test::Host::path("share/svc_ssl_instance-17.conf"),
              std::string("\"-SSLCAfile an/authority.pem\n-SSLAuthenticate NONE\n-SSLVersion ") +
                  version + (protection ? "" : "\n-SSLNoProtection") + "\"\n");
}

}  // namespace

Tour environmentTour() {
  return {
      {"VexaCommonUtils::Vexagetenv",
       [](Attempt& attempt) {
         return show(attempt([] { return Utils::Vexagetenv("APP_ROOT"); }));
       }},
      ofText("VexaCommonUtils::replaceEnvVar", Utils::replaceEnvVar, "below $(APP_ROOT)/there"),
      ofText("VexaCommonUtils::replEnvVar", Utils::replEnvVar, "below %APP_ROOT%/there"),
      ofText("VexaCommonUtils_i::VexareplaceEnvVar", Utils_i::VexareplaceEnvVar,
             "below ${APP_ROOT}/there"),
      ofText("VexaCommonUtils_i::VexareplaceEnvVar [long name]", Utils_i::VexareplaceEnvVar,
             "below ${" + std::string(200, 'n') + "}/there"),
      ofText("VexaCommonUtils_i::VexareplaceMacroVar", Utils_i::VexareplaceMacroVar,
             "below ${APP_ROOT}/there"),
      plain("VexaCommonUtils::getCommonConfigPath", Utils::getCommonConfigPath),
      plain("VexaCommonUtils::getConfigPath", Utils::getConfigPath),
      plain("VexaCommonUtils::getAppConfigPath", Utils::getAppConfigPath),
      plain("VexaCommonUtils::getAPPShareConfigPath", Utils::getAPPShareConfigPath),
      plain("VexaCommonUtils::getTracePath", Utils::getTracePath,
            {show(commutil_test::Host::path("log/log/"))}),
      plain("VexaCommonUtils::getDumpAllLocksFile", Utils::getDumpAllLocksFile),
      // An inaccessible file is searched for in the next tree; the last one is not checked.
      ofText("VexaCommonUtils_i::getConfFile", Utils_i::getConfFile, "setting.cfg",
             {show(commutil_test::Host::path("common/conf/setting.cfg"))}),
      ofText("VexaCommonUtils_i::getConfFile [nowhere]", Utils_i::getConfFile, "nowhere.cfg"),
      plain("VexaCommonUtils::IsGlobalVersion", Utils::IsGlobalVersion),
      plain("VexaCommonUtils_i::isTsMode", Utils_i::isTsMode, {show(false)}),
      plain("VexaCommonUtils_i::isZirel", Utils_i::isZirel, {show(false)}),
      plain("VexaCommonUtils_i::VexaGetSSLMode", Utils_i::VexaGetSSLMode),
  };
}

Tour settingsTour() {
  // A missing store returns -1, an unreadable one 1; either leaves the defaults.
  return {
      {"VexaCommonUtils_i::getSettingParamValue",
       [](Attempt& attempt) {
         std::string value = "before";
         const int result = attempt([&] {
           return Utils_i::getSettingParamValue("/vexa/common/setting_cfg/global/a-parameter",
                                                value);
         });
         return show(result, value);
       },
       {show(-1, "before"), show(1, "before")},
       kStoreUsers},
      {"VexaCommonUtils_i::getSettingGroupParams",
       [](Attempt& attempt) {
         std::map<std::string, std::string> values{{"before", "before"}};
         const int result = attempt([&] {
           return Utils_i::getSettingGroupParams("/vexa/common/setting_cfg/global", values);
         });
         return show(result, values);
       },
       {show(-1, std::map<std::string, std::string>{{"before", "before"}}),
        show(1, std::map<std::string, std::string>{{"before", "before"}})},
       kStoreUsers},
      {"VexaCommonUtils_i::GetSetParamValue",
       [](Attempt& attempt) {
         std::string value = "before";
         const bool result = attempt([&] {
           return Utils_i::GetSetParamValue("/vexa/common/setting_cfg/application/a-parameter",
                                            "/vexa/common/setting_cfg/global/a-parameter", value);
         });
         return show(result, value);
       },
       {show(false, "before")},
       kStoreUsers},
      plain("VexaCommonUtils::isListenAllIp", Utils::isListenAllIp, {show(false)}),
      plain("VexaCommonUtils_i::isListenLoopback", Utils_i::isListenLoopback, {show(false)},
            kStoreUsers),
      plain("VexaCommonUtils::isCorbaSSLOnly", Utils::isCorbaSSLOnly, {show(true)}, kStoreUsers),
      plain("VexaCommonUtils_i::isCorbaSSLOnly", Utils_i::isCorbaSSLOnly, {show(true)},
            kStoreUsers),
      {"VexaCommonUtils_i::get_svc_ssl_conf",
       optionFile,
       {optionFileWith("TLSv1.2", true), optionFileWith("TLSv1.3", true),
        optionFileWith("TLSv1.2", false), show("", "")},
       kStoreUsers},
      {"VexaCommonUtils_i::get_svc_ssl_conf [another file]",
       [](Attempt& attempt) {
         return show(attempt([] { return Utils_i::get_svc_ssl_conf("setting.cfg"); }));
       },
       {show(commutil_test::Host::path("common/conf/setting.cfg"))}},
  };
}

Tour databaseTour() {
  const std::string text = "100% of 'it' [all]_";
  // Without memory for the type, it is "sybase" for that call.
  const std::string oracle = R"('%100\% of ''it'' [all]\_%')";
  const std::string sybase = R"('%100[%] of ''it'' [[]all[]][_]%')";
  const std::string clause = R"( escape '\' )";
  return {
      plain("VexaCommonUtils::getDBType", Utils::getDBType, {show("sybase")},
            {"VexaCommonUtils::getEscapeString"}),
      ofText("VexaCommonUtils::transDBUpdateString", Utils::transDBUpdateString,
             text + std::string(40, '\'')),
      ofText("VexaCommonUtils::transDBUpdateString [nothing to double]", Utils::transDBUpdateString,
             "a text without any quote in it"),
      {"VexaCommonUtils::transDBSearchString",
       [=](Attempt& attempt) {
         return show(attempt([&] { return Utils::transDBSearchString(text); }));
       },
       {show("100[%] of 'it' [[]all[]][_]")},
       {"VexaCommonUtils::getDBType"}},
      plain("VexaCommonUtils::getEscapeString", Utils::getEscapeString, {show("")},
            {"VexaCommonUtils::getDBType"}),
      {"VexaCommonUtils::TransferLikeSqlForSybAndMSSQL",
       [=](Attempt& attempt) {
         return show(attempt([&] { return Utils::TransferLikeSqlForSybAndMSSQL(text); }));
       },
       {show(R"(100\% of ''it'' [all]\_)")},
       {"VexaCommonUtils::getDBType"}},
      {"VexaCommonUtils_i::TransferLikeSql",
       [=](Attempt& attempt) {
         return show(
             attempt([&] { return Utils_i::TransferLikeSql(text, Vexacommon::FUZZY_QUERY_BOTH); }));
       },
       // The type is read twice: the pattern may be in one dialect, its clause in the other.
       {show(sybase), show(sybase + clause), show(oracle)},
       {"VexaCommonUtils::getDBType"}},
  };
}

}  // namespace commutil_faults
