// The table of everything the library reads and writes.
#include "settings/catalog.h"

namespace settings {
namespace {

const Accepted kAnything{};
const Accepted kDirectory{Form::directory, {}};
const Accepted kFile{Form::file, {}};
const Accepted kPrefix{Form::pathPrefix, {}};
const Accepted kSegment{Form::segment, {}};
const Accepted kEnable{Form::word, {"enable", "disable"}};

std::vector<Item> treeVariables() {
  return {
      {.kind = Kind::variable,
       .name = "_APP_SHARE_DIR",
       .meaning = "the application's shared data directory: the first place of configuration "
                  "files, and where the SSL option file and lock files go",
       .missing = "empty: paths begin with \"/\"; `VexaProcessLock` refuses",
       .accepted = kDirectory,
       .readers = {"getAPPShareConfigPath", "getConfFile", "get_svc_ssl_conf", "VexaProcessLock"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::variable,
       .name = "APP_ROOT",
       .meaning = "root of the calling application: the second place of configuration files",
       .missing = "empty: paths begin with \"/\"",
       .accepted = kDirectory,
       .readers = {"getAppConfigPath", "getConfFile"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::variable,
       .name = "COMMON_LIB_PATH",
       .meaning = "root of the platform's common installation: the last place of configuration "
                  "files",
       .missing = "empty: paths begin with \"/\"",
       .accepted = kDirectory,
       .readers = {"getCommonConfigPath", "getConfigPath", "getConfFile"},
       .caching = Caching::perCall,
       .when = "each call"},
  };
}

std::vector<Item> pathVariables() {
  return {
      {.kind = Kind::variable,
       .name = "_APP_LOG_DIR",
       .meaning = "the application's log root",
       .missing = "empty: \"/log/\"",
       .accepted = kDirectory,
       .readers = {"getTracePath"},
       .caching = Caching::cached,
       .when = "until the trace directory is cached"},
      {.kind = Kind::variable,
       .name = "VEXA_DUMP_ALL_LOCKS_FILE",
       .meaning = "file for lock diagnostics; the empty string is a value",
       .missing = "\"/tmp/lockInfo.dump\"",
       .fallback = "/tmp/lockInfo.dump",
       .accepted = kAnything,
       .readers = {"getDumpAllLocksFile"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::variable,
       .name = "APP_NAME",
       .meaning = "the application's branch in the settings store",
       .missing = "empty: keys with \"//\"",
       .accepted = kSegment,
       .readers = {"isListenAllIp", "isListenLoopback", "isCorbaSSLOnly", "get_svc_ssl_conf"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::variable,
       .name = "APP_CONF_FILE",
       .meaning = "path of the application configuration (JSON)",
       .missing = "\"sybase\"",
       .accepted = kFile,
       .readers = {"getDBType"},
       .caching = Caching::cached,
       .when = "until the type is cached"},
  };
}

std::vector<Item> deploymentVariables() {
  return {
      {.kind = Kind::variable,
       .name = "COMMON_SHARE_PATH",
       .meaning = "root of the TS settings",
       .missing = "\"/export/home/omc\"",
       .fallback = "/export/home/omc",
       .accepted = kDirectory,
       .readers = {"isTsMode"},
       .caching = Caching::cached,
       .when = "until the mode is cached"},
      {.kind = Kind::variable,
       .name = "PROCESS_INSTANCE_ID",
       .meaning = "instance number in the name of the SSL option file",
       .missing = "empty: \"svc_ssl_.conf\"",
       .accepted = kSegment,
       .readers = {"get_svc_ssl_conf"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::variable,
       .name = "QORV_ROOT",
       .meaning = "prefix of the node list's path, joined without a separator; the empty string is "
                  "a value",
       .missing = "-1",
       .accepted = kPrefix,
       .readers = {"GetAllWebswingNodeIPs"},
       .caching = Caching::perCall,
       .when = "each call"},
  };
}

std::vector<Item> processVariables() {
  return {
      {.kind = Kind::variable,
       .name = "any NAME in $(NAME), %NAME%, ${NAME}",
       .meaning = "substituted text",
       .missing = "the reference stays as written",
       .readers = {"replaceEnvVar", "replEnvVar", "VexareplaceEnvVar"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::variable,
       .name = "LC_ALL",
       .meaning = "the process locale, before the other LC_ variables and LANG",
       .missing = "the other variables; without any, the \"C\" locale",
       .fallback = "C",
       .readers = {"VexaLocale", "wide and multibyte conversion"},
       .caching = Caching::cached,
       .when = "once"},
      {.kind = Kind::variable,
       .name = "LANG",
       .meaning = "the process locale, unless LC_ALL or another LC_ variable is set",
       .missing = "the \"C\" locale",
       .fallback = "C",
       .readers = {"VexaLocale", "wide and multibyte conversion"},
       .caching = Caching::cached,
       .when = "once"},
      {.kind = Kind::variable,
       .name = "TZ",
       .meaning = "the local time zone, see tzset(3)",
       .missing = "\"/etc/localtime\"",
       .fallback = "/etc/localtime",
       .readers = {"getTimeStamp"},
       .caching = Caching::external,
       .when = "as localtime_r(3) does"},
      {.kind = Kind::variable,
       .name = "PATH",
       .meaning = "where a command without a \"/\" is looked up",
       .missing = "as the C library does",
       .readers = {"runCommand", "shell commands"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::variable,
       .name = "LD_LIBRARY_PATH",
       .meaning = "directories in which the dynamic linker looks for the settings store first",
       .missing = "the linker's cache and default directories",
       .readers = {"getSettingParamValue", "getSettingGroupParams"},
       .caching = Caching::cached,
       .when = "at the start of the process"},
      {.kind = Kind::variable,
       .name = "SETTINGREST_URL",
       .meaning =
           "the settings document, as \"file:///path\", or the snapshot of a fleet's settings, "
           "as \"snapshot:///path\"",
       .missing = "\"settings.json\" of a configuration tree",
       .accepted = {Form::url, {}},
       .readers = {"reference settings store"},
       .caching = Caching::perCall,
       .when = "each lookup"},
  };
}

std::vector<Item> searchedFiles() {
  return {
      {.kind = Kind::file,
       .name = "setting.cfg",
       .meaning = "the trace directory, and the addresses that services listen on",
       .missing = "the listen switches are off; the default trace directory",
       .readers = {"isListenAllIp", "isListenLoopback", "getTracePath"},
       .caching = Caching::perCall,
       .when = "each call; the trace directory is cached",
       .location = Location::search,
       .format = Format::ini},
      {.kind = Kind::file,
       .name = "secure.cfg",
       .meaning = "words that input must not contain",
       .missing = "every string is safe; a message on standard error",
       .readers = {"checkUnSafeStr"},
       .caching = Caching::perCall,
       .when = "each call",
       .location = Location::search,
       .format = Format::ini},
      {.kind = Kind::file,
       .name = "svc_ssl.conf",
       .meaning = "the template of the SSL option file",
       .missing = "\"\": no SSL option file",
       .readers = {"get_svc_ssl_conf"},
       .caching = Caching::cached,
       .when = "until generated",
       .location = Location::search,
       .format = Format::text},
      {.kind = Kind::file,
       .name = "settings.json",
       .meaning = "the settings document of the reference store, unless SETTINGREST_URL names one; "
                  "directory trees whose variable is empty are skipped",
       .missing = "a store without settings",
       .readers = {"reference settings store"},
       .caching = Caching::perCall,
       .when = "each lookup, if it has changed",
       .location = Location::search,
       .format = Format::json},
  };
}

std::vector<Item> placedFiles() {
  return {
      {.kind = Kind::file,
       .name = "TSSetting.cfg",
       .meaning = "the TS settings",
       .missing = "TS mode is off, not cached",
       .readers = {"isTsMode"},
       .caching = Caching::cached,
       .when = "until the file is read",
       .location = Location::belowVariable,
       .format = Format::ini,
       .variable = "COMMON_SHARE_PATH",
       .rest = "/etc/conf/TSSetting.cfg"},
      {.kind = Kind::file,
       .name = "application configuration",
       .meaning = "the databases of the application",
       .missing = "\"sybase\", not cached",
       .readers = {"getDBType"},
       .caching = Caching::cached,
       .when = "until the type is cached",
       .location = Location::inVariable,
       .format = Format::json,
       .variable = "APP_CONF_FILE"},
      {.kind = Kind::file,
       .name = "nodelists.json",
       .meaning = "the cluster's nodes",
       .missing = "-1",
       .readers = {"GetAllWebswingNodeIPs"},
       .caching = Caching::perCall,
       .when = "each call",
       .location = Location::belowVariable,
       .format = Format::json,
       .variable = "QORV_ROOT",
       .rest = "/etc/sysconf/nodelists.json"},
      {.kind = Kind::file,
       .name = "os-release",
       .meaning = "the distribution",
       .missing = "a distribution other than ZirelOS",
       .readers = {"isZirel", "GetLocalMACAddr", "getMacAddrOfIPV6"},
       .caching = Caching::perCall,
       .when = "each call",
       .location = Location::fixed,
       .format = Format::text,
       .rest = "/etc/os-release"},
      {.kind = Kind::file,
       .name = "PAM service su",
       .meaning = "the session of the service user \"ossuser\"",
       .missing = "see `switchOmcUser`",
       .readers = {"switchOmcUser"},
       .caching = Caching::perCall,
       .when = "each call",
       .location = Location::fixed,
       .format = Format::text,
       .rest = "/etc/pam.d/su"},
  };
}

std::vector<Item> keysOfSettings() {
  return {
      {.kind = Kind::iniKey,
       .name = "tracedir",
       .parent = "setting.cfg",
       .section = "[TraceDir]",
       .meaning = "the trace directory; \"${NAME}\" references are expanded, a \"/\" is added at "
                  "the end",
       .missing = "the value of _APP_LOG_DIR + \"/log/\"; cached only if the file could be read",
       .accepted = kAnything,
       .readers = {"getTracePath"},
       .caching = Caching::cached,
       .when = "cached"},
      {.kind = Kind::iniKey,
       .name = "ListenAllIp",
       .parent = "setting.cfg",
       .section = "[IP]",
       .meaning = "\"enable\": services listen on all addresses",
       .missing = "the settings store; without a readable file: off",
       .accepted = kEnable,
       .readers = {"isListenAllIp"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::iniKey,
       .name = "ListenLoopbackIP",
       .parent = "setting.cfg",
       .section = "[IP]",
       .meaning = "\"enable\": services listen on the loopback address",
       .missing = "the settings store; without a readable file: off",
       .accepted = kEnable,
       .readers = {"isListenLoopback"},
       .caching = Caching::perCall,
       .when = "each call"},
  };
}

std::vector<Item> keysOfOtherFiles() {
  return {
      {.kind = Kind::iniKey,
       .name = "any key",
       .parent = "secure.cfg",
       .section = "[UnsafeWord]",
       .meaning = "the value is a word that input must not contain",
       .missing = "every string is safe",
       .readers = {"checkUnSafeStr"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::iniKey,
       .name = "ts_mode",
       .parent = "TSSetting.cfg",
       .section = "[TS]",
       .meaning = "\"true\": the platform runs in TS mode",
       .missing = "off; cached only if the file could be read",
       .accepted = {Form::word, {"true", "false"}},
       .readers = {"isTsMode"},
       .caching = Caching::cached,
       .when = "cached"},
  };
}

std::vector<Item> membersAndLines() {
  return {
      {.kind = Kind::jsonMember,
       .name = "databases.NAME[0].type",
       .parent = "application configuration",
       .meaning = "the database type, unchanged; NAME is the first name in byte order",
       .missing = "\"sybase\", not cached",
       .fallback = "sybase",
       .accepted = {Form::word, {"oracle", "sybase", "tessarn", "mssql"}},
       .readers = {"getDBType"},
       .caching = Caching::cached,
       .when = "cached"},
      {.kind = Kind::jsonMember,
       .name = "nodeList.NODE.extAttr.RemoteClient",
       .parent = "nodelists.json",
       .meaning = "\"true\": the node serves remote clients",
       .missing = "it does not",
       .accepted = {Form::word, {"true", "false"}},
       .readers = {"GetAllWebswingNodeIPs"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::jsonMember,
       .name = "nodeList.NODE.IPAddresses[].IP",
       .parent = "nodelists.json",
       .meaning = "an address of the node",
       .missing = "\"\"",
       .accepted = {Form::address, {}},
       .readers = {"GetAllWebswingNodeIPs"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::line,
       .name = "NAME=\"ZirelOS\"",
       .parent = "os-release",
       .meaning = "the host runs the ZirelOS distribution",
       .missing = "another distribution",
       .readers = {"isZirel", "GetLocalMACAddr", "getMacAddrOfIPV6"},
       .caching = Caching::perCall,
       .when = "each call"},
  };
}

std::vector<Item> storeParameters() {
  constexpr std::string_view kSettings = "/vexa/common/setting_cfg/";
  constexpr std::string_view kSsl = "/vexa/common/svc_ssl_conf/";
  return {
      {.kind = Kind::storeKey,
       .name = "ListenAllIp",
       .parent = kSettings,
       .meaning = "as in \"setting.cfg\"",
       .missing = "off",
       .accepted = kEnable,
       .readers = {"isListenAllIp"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::storeKey,
       .name = "ListenLoopbackIP",
       .parent = kSettings,
       .meaning = "as in \"setting.cfg\"",
       .missing = "off",
       .accepted = kEnable,
       .readers = {"isListenLoopback"},
       .caching = Caching::perCall,
       .when = "each call"},
      {.kind = Kind::storeKey,
       .name = "SSLNoProtection",
       .parent = kSsl,
       .meaning = "\"disable\": CORBA traffic must be encrypted; \"enable\": the option "
                  "\"-SSLNoProtection\" is added",
       .missing = "\"disable\"",
       .fallback = "disable",
       .accepted = kEnable,
       .readers = {"isCorbaSSLOnly", "get_svc_ssl_conf"},
       .caching = Caching::perCall,
       .when = "each call; until generated"},
      {.kind = Kind::storeKey,
       .name = "SSLAuthenticate",
       .parent = kSsl,
       .meaning = "value of \"-SSLAuthenticate\"",
       .missing = "\"NONE\"",
       .fallback = "NONE",
       .accepted = {Form::word, {"NONE", "SERVER", "SERVER_AND_CLIENT"}},
       .readers = {"get_svc_ssl_conf"},
       .caching = Caching::cached,
       .when = "until generated"},
      {.kind = Kind::storeKey,
       .name = "SSLVersion",
       .parent = kSsl,
       .meaning = "value of \"-SSLVersion\"",
       .missing = "\"TLSv1.2\"",
       .fallback = "TLSv1.2",
       .accepted = {Form::wordList, {"TLSv1.2", "TLSv1.3"}},
       .readers = {"get_svc_ssl_conf"},
       .caching = Caching::cached,
       .when = "until generated"},
  };
}

Item program(std::string_view path, std::string_view meaning,
             std::vector<std::string_view> readers) {
  return {.kind = Kind::program,
          .name = path.substr(path.rfind('/') + 1),
          .meaning = meaning,
          .missing = "the operations fail",
          .readers = std::move(readers),
          .caching = Caching::perCall,
          .when = "each call",
          .location = Location::fixed,
          .rest = path};
}

std::vector<Item> programsAndLibraries() {
  const std::vector<std::string_view> network{"getNetmaskByIP", "GetNetmaskByIpUseifconfig",
                                              "getInterfaceOfIPV6", "getMacAddrOfIPV6",
                                              "GetLocalMACAddr"};
  return {
      {.kind = Kind::sharedLibrary,
       .name = "libsettingrest.so",
       .meaning = "the settings store, found by the dynamic linker",
       .missing = "every lookup returns -1",
       .readers = {"getSettingParamValue", "getSettingGroupParams"},
       .caching = Caching::cached,
       .when = "until loaded, then cached"},
      program("/sbin/ifconfig", "lists the interfaces", network),
      program("/usr/bin/grep", "selects lines of ifconfig", network),
      program("/usr/bin/awk", "selects fields of ifconfig", network),
      program("/usr/bin/tr", "changes the case of fields of ifconfig", {"GetLocalMACAddr"}),
      program("/usr/bin/tty", "names the terminal", {"getSessionDetails"}),
      program("/usr/bin/whoami", "names the user", {"getSessionDetails"}),
      program("/usr/bin/who", "names where the user logged in from", {"getSessionDetails"}),
  };
}

std::vector<Item> writtenFiles() {
  return {
      {.kind = Kind::written,
       .name = "_APP_SHARE_DIR + \"/svc_ssl_\" + PROCESS_INSTANCE_ID + \".conf\"",
       .meaning = "the SSL option file, mode 0640",
       .readers = {"get_svc_ssl_conf"},
       .caching = Caching::cached,
       .when = "once"},
      {.kind = Kind::written,
       .name = "_APP_SHARE_DIR + directory + name + \"_PROCESSMUTEX\"",
       .meaning = "a lock file; never removed, never written to",
       .readers = {"VexaProcessLock"},
       .caching = Caching::perCall,
       .when = "each call"},
  };
}

std::vector<Item> allItems() {
  std::vector<Item> all;
  for (const auto part : {treeVariables, pathVariables, deploymentVariables, processVariables,
                          searchedFiles, placedFiles, keysOfSettings, keysOfOtherFiles,
                          membersAndLines, storeParameters, programsAndLibraries, writtenFiles})
    for (Item& item : part()) all.push_back(std::move(item));
  return all;
}

}  // namespace

const std::vector<Item>& items() {
  static const std::vector<Item> all = allItems();
  return all;
}

const std::vector<Tree>& trees() {
  static const std::vector<Tree> all{
      {"/vexa/common/setting_cfg/", "where services listen"},
      {"/vexa/common/svc_ssl_conf/", "the SSL options of services"},
  };
  return all;
}

const std::vector<std::string_view>& searchVariables() {
  static const std::vector<std::string_view> all{"_APP_SHARE_DIR", "APP_ROOT", "COMMON_LIB_PATH"};
  return all;
}

}  // namespace settings
