// Faults in a deployment: explain or check names each with its position and a remedy, as the
// troubleshooting page shows.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <linux/capability.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

namespace fs = std::filesystem;

using Inject = std::function<void(Deployment&)>;

/// A fault, and the command's report. "@" is the deployment's directory.
struct Fault {
  const char* name;
  Inject inject;
  std::vector<std::string> words;
  std::string line;
  int code;
};

const std::vector<std::string> kCheck{"check"};
const std::vector<std::string> kExplain{"explain", "ListenAllIp"};
constexpr const char* kSettings = "app/conf/setting.cfg";
constexpr const char* kStore = "share/conf/settings.json";
constexpr const char* kTypes = "app/conf/inventory.json";
constexpr const char* kNodes = "cluster/etc/sysconf/nodelists.json";
constexpr const char* kTsMode = "omc/etc/conf/TSSetting.cfg";
constexpr const char* kTemplate = "common/conf/svc_ssl.conf";

Inject content(const char* file, const std::string& text) {
  return [=](Deployment& deployment) { deployment.write(file, text); };
}

Inject removed(const char* file) {
  return [=](Deployment& deployment) { fs::remove_all(deployment / file); };
}

Inject unreadable(const char* file) {
  return [=](Deployment& deployment) { ::chmod((deployment / file).c_str(), 0); };
}

Inject fifo(const char* file) {
  return [=](Deployment& deployment) {
    fs::remove(deployment / file);
    ::mkfifo((deployment / file).c_str(), 0600);
  };
}

Inject linkToNothing(const char* file) {
  return [=](Deployment& deployment) {
    fs::remove(deployment / file);
    fs::create_symlink("/nowhere", deployment / file);
  };
}

Inject directory(const char* file) {
  return [=](Deployment& deployment) {
    fs::remove(deployment / file);
    fs::create_directory(deployment / file);
  };
}

Inject variable(const char* name, const std::optional<std::string>& value) {
  return [=](Deployment& deployment) { deployment.environment[name] = value; };
}

Inject storeLibrary(const char* directoryName) {
  return variable("LD_LIBRARY_PATH", directoryName);
}

std::string asUtf16(const std::string& text) {
  std::string wide("\xff\xfe", 2);
  for (const char c : text) wide.append(1, c).append(1, '\0');
  return wide;
}

std::string setting(const std::string& key, const std::string& value) {
  return "{\"/vexa/common/" + key + "\": \"" + value + "\"}";
}

std::vector<Fault> storeFaults() {
  return {
      {"malformed document", content(kStore, "{\n  \"a\" 1\n}\n"), kCheck,
       "error    @/share/conf/settings.json: malformed at line 2, column 7: Missing ':' after "
       "object member name; correct the document; until then the store has no settings",
       2},
      {"unreadable document", unreadable(kStore), kCheck,
       "error    @/share/conf/settings.json: not readable by user root (mode 0000, owner root); "
       "let root read it",
       2},
      {"missing document", removed(kStore), kCheck,
       "warning  settings document: no conf/settings.json below _APP_SHARE_DIR, APP_ROOT or "
       "COMMON_LIB_PATH: every lookup gives the default; create one or set SETTINGREST_URL",
       1},
      {"a FIFO instead of a document", fifo(kStore), kCheck,
       "error    @/share/conf/settings.json: a FIFO, not a regular file; replace it by a regular "
       "file",
       2},
      {"a directory instead of a document", directory(kStore), kCheck,
       "error    @/share/conf/settings.json: a directory, not a regular file; replace it by a "
       "regular file",
       2},
      {"link that leads to no document", linkToNothing(kStore), kCheck,
       "error    settings document: @/share/conf/settings.json is passed over: a link that leads "
       "nowhere; create its target or remove it",
       2},
      {"empty document", content(kStore, ""), kCheck,
       "error    @/share/conf/settings.json: empty, not a JSON document; write the settings, or "
       "{} for none",
       2},
      {"document over 64 MiB",
       [](Deployment& deployment) {
         fs::resize_file(deployment / kStore, std::uintmax_t{65} * 1024 * 1024);
       },
       kCheck,
       "warning  @/share/conf/settings.json: 65 MiB, over 64 MiB: not examined; check whether it "
       "is the right file",
       1},
      {"URL without a scheme", variable("SETTINGREST_URL", "/srv/settings.json"), kCheck,
       "error    settings document: SETTINGREST_URL /srv/settings.json: has no scheme; write it as "
       "file:///path",
       2},
      {"URL of a missing file", variable("SETTINGREST_URL", "file:///nowhere/settings.json"),
       kCheck, "error    /nowhere/settings.json: missing; create it", 2},
      {"URL of another scheme", variable("SETTINGREST_URL", "http://store/settings"), kCheck,
       "error    settings document: SETTINGREST_URL http://store/settings: no store serves http "
       "URLs; write it as file:///path",
       2},
      {"mistyped value", content(kStore, setting("setting_cfg/global/ListenAllIp", "Enabled")),
       kCheck,
       "warning  @/share/conf/settings.json: /vexa/common/setting_cfg/global/ListenAllIp is "
       "\"Enabled\": takes enable or disable; did you mean enable?; correct the document",
       1},
      {"mistyped key", content(kStore, setting("setting_cfg/global/ListenAllIP", "enable")), kCheck,
       "warning  @/share/conf/settings.json: /vexa/common/setting_cfg/global/ListenAllIP: is not "
       "a setting of the library; did you mean /vexa/common/setting_cfg/global/ListenAllIp?; "
       "correct the document",
       1},
      {"repeated key", content(kStore, "{\"/a/b\": \"1\",\n\"/a/b\": \"2\"}"), kCheck,
       "warning  @/share/conf/settings.json: line 2 repeats a name, whose last value applies: "
       "Duplicate key: '/a/b'; keep one of them",
       1},
      {"mistyped SSL version",
       content(kStore, setting("svc_ssl_conf/global/SSLVersion", "TLS1.2")),
       {"explain", "SSLVersion"},
       "\"TLS1.2\": not a comma-separated list of \"TLSv1.2\" and \"TLSv1.3\", is used as it is; "
       "did you mean TLSv1.2?",
       0},
      {"mistyped application", variable("APP_NAME", "inventroy"), kCheck,
       "warning  store /vexa/common/svc_ssl_conf/inventroy/SSLNoProtection: the store has no "
       "branch "
       "inventroy but one named inventory; set APP_NAME to inventory, or rename the branch",
       1},
      {"no application", variable("APP_NAME", std::nullopt), kCheck,
       "warning  APP_NAME: not set: empty: keys with \"//\"; set it to a name without \"/\"", 1},
  };
}

std::vector<Fault> libraryFaults() {
  return {
      {"no store library", storeLibrary("/nowhere"), kCheck,
       "error    libsettingrest.so: cannot be loaded: libsettingrest.so: cannot open shared object "
       "file: No such file or directory; every lookup fails; install a store, or add its directory "
       "to LD_LIBRARY_PATH",
       2},
      {"garbage instead of a store library",
       [](Deployment& deployment) {
         deployment.write("lib/libsettingrest.so", "garbage");
         deployment.environment["LD_LIBRARY_PATH"] = deployment / "lib";
       },
       kCheck,
       "error    libsettingrest.so: cannot be loaded: @/lib/libsettingrest.so: file too short; "
       "every lookup fails; install a store, or add its directory to LD_LIBRARY_PATH",
       2},
      {"store library without entry points", storeLibrary(COMMUTIL_EMPTY_STORE_DIR), kCheck,
       "error    libsettingrest.so: " COMMUTIL_EMPTY_STORE_DIR
       "/libsettingrest.so lacks getSettingParamValue and getSettingGroupParams; lookups fail; "
       "install a settings store there",
       2},
      {"another store through a link",
       [](Deployment& deployment) {
         fs::create_directories(deployment / "lib");
         fs::create_symlink(COMMUTIL_OTHER_STORE_DIR "/libsettingrest.so",
                            deployment / "lib/libsettingrest.so");
         deployment.environment["LD_LIBRARY_PATH"] = deployment / "lib";
       },
       kCheck,
       "warning  libsettingrest.so: " COMMUTIL_OTHER_STORE_DIR
       "/libsettingrest.so is another store than the reference one, which does not read "
       "@/share/conf/settings.json; change settings in that store, or choose the reference store "
       "with update-alternatives --config libsettingrest.so",
       1},
      {"store that hangs",
       storeLibrary(COMMUTIL_HANGING_STORE_DIR),
       {"check", "--timeout", "0.5"},
       "error    store /vexa/common/setting_cfg/global/ListenAllIp: no answer within 0.5 s; check "
       "the store and its server",
       2},
      {"answer that hangs",
       storeLibrary(COMMUTIL_HANGING_STORE_DIR),
       {"explain", "--timeout", "0.5", "SSLNoProtection"},
       "  error: isCorbaSSLOnly: no answer within 0.5 s",
       1},
  };
}

std::vector<Fault> settingsFileFaults() {
  return {
      {"shadowed settings file", content("share/conf/setting.cfg", "[TraceDir]\ntracedir = /t\n"),
       kExplain, "readable; no section [IP]; hides @/app/conf/setting.cfg\n", 0},
      {"link in a directory that comes first",
       [](Deployment& deployment) {
         fs::create_symlink("/nowhere", deployment / "share/conf/setting.cfg");
       },
       kCheck,
       "error    @/app/conf/setting.cfg: @/share/conf/setting.cfg is passed over: a link that "
       "leads nowhere; create its target or remove it",
       2},
      {"unreadable settings file", unreadable(kSettings), kCheck,
       "error    @/app/conf/setting.cfg: not readable by user root (mode 0000, owner root); let "
       "root read it",
       2},
      {"a directory instead of a settings file", directory(kSettings), kCheck,
       "error    @/app/conf/setting.cfg: a directory, not a regular file; replace it by a "
       "regular "
       "file",
       2},
      {"a FIFO instead of a settings file", fifo(kSettings), kCheck,
       "error    @/app/conf/setting.cfg: a FIFO, not a regular file; replace it by a regular "
       "file",
       2},
      {"section in another case", content(kSettings, "\n\n[Ip]\nListenAllIp = enable\n"), kExplain,
       "readable; no section [IP]; line 3 has [Ip]: names are case-sensitive\n", 0},
      {"section in another case, checked", content(kSettings, "\n\n[Ip]\nListenAllIp = enable\n"),
       kCheck,
       "warning  @/app/conf/setting.cfg: line 3 has [Ip]: names are case-sensitive; correct the "
       "spelling",
       1},
      {"other section", content(kSettings, "[IPS]\nListenAllIp = enable\n"), kExplain,
       "readable; no section [IP]; line 1 has [IPS], not [IP]\n", 0},
      {"unclosed section", content(kSettings, "[IP\nListenAllIp = enable\n"), kCheck,
       "warning  @/app/conf/setting.cfg: line 1: \"[IP\" lacks its closing bracket: the entries "
       "below it belong to no section; correct the line",
       1},
      {"key in another case", content(kSettings, "[IP]\nListenAllIP = enable\n"), kExplain,
       "readable; no key ListenAllIp in [IP]; line 2 has ListenAllIP: names are case-sensitive", 0},
      {"enabled", content(kSettings, "[IP]\nListenAllIp = enabled\n"), kExplain,
       "readable; line 2: \"enabled\": not \"enable\" or \"disable\", counts as off; did you mean "
       "enable?",
       0},
      {"enabled, checked", content(kSettings, "[IP]\nListenAllIp = enabled\n"), kCheck,
       "warning  @/app/conf/setting.cfg: readable; line 2: \"enabled\": not \"enable\" or "
       "\"disable\", counts as off; did you mean enable?; write enable or disable",
       1},
      {"repeated setting",
       content(kSettings, "[IP]\nListenAllIp = disable\nListenAllIp = enable\n"), kCheck,
       "warning  @/app/conf/setting.cfg: line 3 has ListenAllIp = enable, which has no effect: the "
       "first applies; keep one of the lines",
       1},
      {"value in quotes", content(kSettings, "[IP]\nListenAllIp = \"enable\"\n"), kExplain,
       "readable; line 2: \"\"enable\"\": not \"enable\" or \"disable\", counts as off; the quotes "
       "are part of the value; did you mean enable?",
       0},
      {"comment after a value", content(kSettings, "[IP]\nListenAllIp = enable ; note\n"), kExplain,
       "counts as off; the comment after the value is part of it; did you mean enable?", 0},
      {"UTF-16", content(kSettings, asUtf16("[IP]\nListenAllIp = enable\n")), kCheck,
       "warning  @/app/conf/setting.cfg: line 1: UTF-16: save the file as UTF-8 or ASCII; "
       "correct "
       "the line",
       1},
      {"trace directory in quotes", content(kSettings, "[TraceDir]\ntracedir = \"/t\"\n"), kCheck,
       "warning  @/app/conf/setting.cfg: readable; line 2: \"\"/t\"\"; the quotes are part of the "
       "value; write the value alone",
       1},
      {"trace directory with another reference",
       content(kSettings, "[TraceDir]\ntracedir = $(_APP_LOG_DIR)/t\n"), kCheck,
       "warning  @/app/conf/setting.cfg: readable; line 2: \"$(_APP_LOG_DIR)/t\"; \"$(\" is not a "
       "reference here: it stays as written; write ${NAME}",
       1},
      {"byte-order mark", content(kSettings, "\xef\xbb\xbf[IP]\nListenAllIp = enable\n"), kExplain,
       "readable; line 2: \"enable\"; byte-order mark at the start: skipped", 0},
      {"carriage returns", content(kSettings, "[IP]\r\nListenAllIp = enable\r\n"), kExplain,
       "readable; line 2: \"enable\"; lines end in carriage returns: accepted", 0},
  };
}

std::vector<Fault> otherFileFaults() {
  return {
      {"TS mode in another case", content(kTsMode, "[TS]\nts_mode = TRUE\n"), kCheck,
       "warning  @/omc/etc/conf/TSSetting.cfg: readable; line 2: \"TRUE\": not \"true\" or "
       "\"false\", counts as off; did you mean true?; write true or false",
       1},
      {"malformed application configuration", content(kTypes, "{\"databases\": }"), kCheck,
       "error    @/app/conf/inventory.json: malformed at line 1, column 15: Syntax error: value, "
       "object or array expected; correct the document",
       2},
      {"application configuration of a wrong kind", content(kTypes, "{\"databases\": [1]}"), kCheck,
       "error    @/app/conf/inventory.json: readable; a value is of the wrong kind; "
       "databases.NAME[0].type is expected; write {\"databases\": {\"NAME\": [{\"type\": ...}]}}",
       2},
      {"empty application configuration", content(kTypes, ""), kCheck,
       "error    @/app/conf/inventory.json: malformed at line 1, column 1: empty; correct the "
       "document",
       2},
      {"member in another case", content(kTypes, "{\"Databases\": {}}"), kCheck,
       "error    @/app/conf/inventory.json: readable; no member \"databases\"; line 1 has "
       "\"Databases\": names are case-sensitive; write {\"databases\": {\"NAME\": [{\"type\": "
       "...}]}}",
       2},
      {"mistyped database type", content(kTypes, R"({"databases": {"a": [{"type": "orcale"}]}})"),
       kCheck,
       "warning  @/app/conf/inventory.json: readable; databases.a[0].type is \"orcale\"; not "
       "\"oracle\", \"sybase\", \"tessarn\" or \"mssql\", escaped as for sybase; did you mean "
       "oracle?; write one of these",
       1},
      {"a FIFO instead of an application configuration", fifo(kTypes), kCheck,
       "error    @/app/conf/inventory.json: a FIFO, not a regular file; replace it by a regular "
       "file",
       2},
      {"missing application configuration", removed(kTypes), kCheck,
       "error    @/app/conf/inventory.json: missing; create it", 2},
      {"malformed node list", content(kNodes, "{\"nodeList\": {}"), kCheck,
       "error    @/cluster/etc/sysconf/nodelists.json: malformed at line 1, column 16: Missing "
       "',' or '}' in object declaration; correct the document",
       2},
      {"node list of a wrong kind", content(kNodes, "{\"nodeList\": [1]}"), kCheck,
       "error    @/cluster/etc/sysconf/nodelists.json: the library throws an exception; write "
       "{\"nodeList\": {\"NODE\": {\"extAttr\": {...}, \"IPAddresses\": [{\"IP\": ...}]}}}",
       2},
      {"node list in another case", content(kNodes, "{\"nodelist\": {}}"), kCheck,
       "warning  @/cluster/etc/sysconf/nodelists.json: readable; no member \"nodeList\"; line 1 "
       "has \"nodelist\": names are case-sensitive; write {\"nodeList\": {...}}",
       1},
      {"node with a mistyped mark",
       content(kNodes, R"({"nodeList": {"a": {"extAttr": {"remoteClient": "true"}}}})"), kCheck,
       "warning  @/cluster/etc/sysconf/nodelists.json: node a has no \"RemoteClient\"; line 1 has "
       "\"remoteClient\": names are case-sensitive; correct the spelling",
       1},
      {"node without addresses",
       content(kNodes, R"({"nodeList": {"a": {"extAttr": {"RemoteClient": "true"}}}})"), kCheck,
       "warning  @/cluster/etc/sysconf/nodelists.json: node a serves remote clients and has no "
       "\"IPAddresses\"; write \"IPAddresses\": [{\"IP\": ...}]",
       1},
      {"a FIFO instead of a node list", fifo(kNodes), kCheck,
       "error    @/cluster/etc/sysconf/nodelists.json: a FIFO, not a regular file; replace it by "
       "a regular file",
       2},
      {"no share directory", removed("share"), kCheck,
       "error    @/share: missing: neither locks nor the SSL option file can be written; create "
       "the directory",
       2},
      {"share directory not writable",
       [](Deployment& deployment) { ::chmod((deployment / "share").c_str(), 0555); }, kCheck,
       "error    @/share: not writable by user root (mode 0555, owner root): neither locks nor "
       "the "
       "SSL option file can be written; let root write to it",
       2},
      {"template without the option", content(kTemplate, "static F \"-SSL\"\n"), kCheck,
       "error    @/share/svc_ssl_7.conf: cannot be generated from the template "
       "@/common/conf/svc_ssl.conf: it has no -SSLCAfile; end the argument string with a quote",
       2},
      {"template without the quote", content(kTemplate, "static F -SSLCAfile ca.pem\n"), kCheck,
       "error    @/share/svc_ssl_7.conf: cannot be generated from the template "
       "@/common/conf/svc_ssl.conf: no double quote follows -SSLCAfile in line 1; end the "
       "argument "
       "string with a quote",
       2},
      {"template that names the option in a comment first",
       content(kTemplate, "# -SSLCAfile\nstatic F \"-SSLCAfile ca.pem\"\n"), kCheck,
       "warning  @/share/svc_ssl_7.conf: line 1 of @/common/conf/svc_ssl.conf has the first "
       "-SSLCAfile and is a comment: the options are added there; take the name out of the comment",
       1},
  };
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

/// Makes permissions apply to root too.
void obeyPermissions() {
  ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
  ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
}

/// `text` with three spaces between columns, which are as wide as the deployment's path.
std::string narrowed(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const bool isWide = result.size() >= 3 && result.compare(result.size() - 3, 3, "   ") == 0;
    if (c != ' ' || !isWide) result += c;
  }
  return result;
}

/// What the page shows of a run: the command and the first line that holds `line`, in a deployment
/// at /srv/vexa and with the test's own stores in /srv/lib.
std::string session(const Fault& fault, const std::string& output, const std::string& line,
                    const std::string& directory) {
  std::string text = "$ commutil";
  for (const std::string& word : fault.words) text += ' ' + word;
  const std::size_t at = output.find(line);
  const std::size_t begin = output.rfind('\n', at) + 1;
  text += '\n' + output.substr(begin, output.find('\n', at) - begin) + '\n';
  text = replaced(text, directory, "/srv/vexa");
  for (const char* store :
       {COMMUTIL_EMPTY_STORE_DIR, COMMUTIL_OTHER_STORE_DIR, COMMUTIL_HANGING_STORE_DIR})
    text = replaced(text, store, "/srv/lib");
  return fault.words.front() == "explain" ? narrowed(text) : text;
}

const std::string& page() {
  static const std::string text = commutil_test::readFile(COMMUTIL_TROUBLESHOOTING_PAGE);
  return text;
}

/// Returns `words` with a deadline that a busy host meets too, unless they have one.
std::vector<std::string> patient(std::vector<std::string> words) {
  if (std::find(words.begin(), words.end(), "--timeout") == words.end())
    words.insert(words.end(), {"--timeout", "60"});
  return words;
}

void expectNamed(const Fault& fault) {
  SCOPED_TRACE(fault.name);
  Deployment deployment;
  fs::create_directories(deployment / "logs");
  fault.inject(deployment);
  const ProcessResult result = deployment.run(patient(fault.words));
  std::string directoryName = deployment / "";
  directoryName.pop_back();
  const std::string line = replaced(fault.line, "@", directoryName);
  EXPECT_NE(std::string::npos, result.out.find(line)) << line << "\nis not in\n" << result.out;
  EXPECT_EQ(fault.code, result.code) << result.out;
  EXPECT_EQ("", result.err);
  const std::string shown = "```\n" + session(fault, result.out, line, directoryName) + "```\n";
  EXPECT_NE(std::string::npos, page().find(shown)) << "the troubleshooting page lacks\n" << shown;
}

void expectAllNamed(const std::vector<Fault>& faults) {
  commutil_test::runInChild([&] {
    obeyPermissions();
    for (const Fault& fault : faults) expectNamed(fault);
  });
}

TEST(Faults, OfTheStoresDocumentAreNamed) { expectAllNamed(storeFaults()); }

TEST(Faults, OfTheStoresLibraryAreNamed) { expectAllNamed(libraryFaults()); }

TEST(Faults, OfTheSettingsFileAreNamed) { expectAllNamed(settingsFileFaults()); }

TEST(Faults, OfOtherFilesAreNamed) { expectAllNamed(otherFileFaults()); }

TEST(Faults, AreThoseOfTheTroubleshootingPage) {
  const std::string command = "```\n$ commutil ";
  std::size_t sessions = 0;
  for (std::size_t at = 0; (at = page().find(command, at)) != std::string::npos; ++at) ++sessions;
  const std::size_t faults = storeFaults().size() + libraryFaults().size() +
                             settingsFileFaults().size() + otherFileFaults().size();
  EXPECT_EQ(faults, sessions);
}

}  // namespace
