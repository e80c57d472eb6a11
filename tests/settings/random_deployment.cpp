#include "settings/random_deployment.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace commutil_test {
namespace {

using Words = std::vector<std::string>;

const Words kLines{"[IP]",
                   "[IP]",
                   "[IP]",
                   "[Ip]",
                   "[IP",
                   "[IPS]",
                   " [ IP ] ",
                   "[IP] ; note",
                   "[\nIP]",
                   "[TraceDir]",
                   "[TS]",
                   "[UnsafeWord]",
                   "[]",
                   "ListenAllIp = enable",
                   "ListenAllIp=disable",
                   "ListenAllIp = Enable",
                   "ListenAllIP = enable",
                   "ListenAllIp = \"enable\"",
                   "ListenAllIp = enable ; note",
                   "ListenAllIp =",
                   "ListenAllIp",
                   "\tListenLoopbackIP\t=\tenable\t",
                   "ListenLoopbackIP = enabled",
                   "ListenLoopbackIP=disable=enable",
                   "ts_mode = true",
                   "ts_mode=TRUE",
                   "ts_mode = false",
                   "tracedir = ${_APP_LOG_DIR}/trace",
                   "tracedir = ${NOT_SET_ANYWHERE}",
                   "tracedir = /traces/",
                   "tracedir = ${unclosed",
                   "tracedir =",
                   "word = rm -rf",
                   "word = $(",
                   "word =",
                   "= value",
                   "; comment",
                   "# comment",
                   "",
                   "   ",
                   "[IP]ListenAllIp = enable",
                   "[IP]]"};

const Words kTypes{
    R"({"databases": {"main": [{"type": "oracle"}]}})",
    R"({"databases": {"b": [{"type": "oracle"}], "a": [{"type": "tessarn"}]}})",
    R"({"databases": {"main": [{"type": ""}]}})",
    R"({"databases": {"main": [{"type": 5}]}})",
    R"({"databases": {"main": [{"Type": "oracle"}]}})",
    R"({"databases": {"main": []}})",
    R"({"databases": {"main": {"type": "oracle"}}})",
    R"({"databases": {"main": "oracle"}})",
    R"({"databases": {}})",
    R"({"databases": []})",
    R"({"databases": null})",
    R"({"databases": "main"})",
    R"({"other": 1})",
    R"([1, 2])",
    R"("text")",
    R"(null)",
    R"({/* note */ "databases": {"main": [{"type": "oracle"}]}} // note)",
    R"({"databases": {"main": [{"type": "oracle"}]}, "databases": {"x": [{"type": "sybase"}]}})",
};

const Words kNodes{
    R"({"nodeList": {"a": {"extAttr": {"RemoteClient": "true"}, "IPAddresses": [{"IP": "10.0.0.1"}]}}})",
    R"({"nodeList": {"a": {"extAttr": {"RemoteClient": true}, "IPAddresses": [{"IP": "x"}, {}]}}})",
    R"({"nodeList": {"a": {"extAttr": {"RemoteClient": "TRUE"}, "IPAddresses": [{"IP": "10.0.0.1"}]}}})",
    R"({"nodeList": {"a": {"extAttr": {"RemoteClient": "true"}, "IPAddresses": {"IP": "10.0.0.1"}}}})",
    R"({"nodeList": {"a": {"extAttr": {"RemoteClient": "true"}}, "b": {"IPAddresses": [{"IP": "1"}]}}})",
    R"({"nodeList": {"a": {"extAttr": {"RemoteClient": ["true"]}}}})",
    R"({"nodeList": {"a": {"extAttr": []}}})",
    R"({"nodeList": {"a": 1}})",
    R"({"nodeList": {"a": {"extAttr": {"RemoteClient": "true"}, "IPAddresses": [{"IP": ["1"]}]}}})",
    R"({"nodeList": []})",
    R"({"nodeList": {}})",
    R"({})",
    R"([])",
    R"(7)",
};

const Words kTemplates{
    "static F \"-SSLCAfile ca.pem\"\n",
    "static F \"-SSLAuthenticate NONE -SSLCAfile ca.pem\"\n",
    "static F \"-SSLCAfile ca.pem -SSLVersion TLSv1.3\" -SSLNoProtection\n",
    "static F \"-SSLCAfile ca.pem -SSLVersion x -SSLAuthenticate y -SSLNoProtection\"\n",
    "static F -SSLCAfile ca.pem\n",
    "static F \"-SSL\"\n",
    "\"-SSLVersionX -SSLCAfile\"",
    "",
};

const Words kParameters{"ListenAllIp", "ListenLoopbackIP", "SSLNoProtection", "SSLAuthenticate",
                        "SSLVersion",  "ListenAllIP",      "SSLversion"};
const Words kBranches{"inventory", "inventory", "global", "global", "Inventory", "inventry", ""};
const Words kTrees{"setting_cfg", "setting_cfg", "svc_ssl_conf", "svc_ssl_conf", "svc_ssl"};
const Words kValues{R"("enable")", R"("enable")",   R"("disable")", R"("Enabled")", R"("")",
                    R"("NONE")",   R"("SERVER")",   R"("TLSv1.3")", "true",         "5.0",
                    "null",        R"(["enable"])", R"("enable ")", R"({"x": 1})"};
const Words kApplications{"inventory", "inventory", "inventory", "Inventory", "global", "a/b", ""};

std::string asUtf16(const std::string& text) {
  std::string wide("\xff\xfe", 2);
  for (const char c : text) wide.append(1, c).append(1, '\0');
  return wide;
}

}  // namespace

RandomDeployment::RandomDeployment(std::string directory, unsigned seed)
    : m_directory(std::move(directory)), m_random(seed) {}

bool RandomDeployment::oneIn(unsigned n) { return m_random() % n == 0; }

const std::string& RandomDeployment::pick(const Words& words) {
  return words[m_random() % words.size()];
}

std::string RandomDeployment::iniText() {
  const std::string end = pick({"\n", "\n", "\n", "\r\n", "\r"});
  std::string text;
  for (auto lines = m_random() % 12; lines > 0; --lines) text += pick(kLines) + end;
  if (oneIn(4) && !text.empty()) text.pop_back();
  if (oneIn(12)) text.insert(m_random() % (text.size() + 1), 1, '\0');
  if (oneIn(8)) text.insert(m_random() % (text.size() + 1), 1, static_cast<char>(m_random()));
  if (oneIn(10)) text.insert(0, "\xef\xbb\xbf");
  return oneIn(20) ? asUtf16(text) : text;
}

std::string RandomDeployment::jsonText(const Words& documents) {
  std::string text = pick(documents);
  if (oneIn(8)) text.erase(m_random() % (text.size() + 1), 1);
  if (oneIn(12)) text.insert(m_random() % (text.size() + 1), 1, static_cast<char>(m_random()));
  if (oneIn(12)) text += pick({" ", "\n\n", "x", "// note", "/* open", ","});
  if (oneIn(12)) text.insert(0, "\xef\xbb\xbf");
  if (oneIn(30)) text.clear();
  return oneIn(30) ? asUtf16(text) : text;
}

std::string RandomDeployment::settingsText() {
  std::string flat;
  std::string nested;
  for (auto settings = m_random() % 8; settings > 0; --settings) {
    const std::string tree = pick(kTrees);
    const std::string branch = pick(kBranches);
    const std::string parameter = pick(kParameters);
    const std::string value = pick(kValues);
    flat += (flat.empty() ? "" : ", ") + ("\"/vexa/common/" + tree) + "/" + branch + "/" +
            parameter + "\": " + value;
    nested = "\"vexa\": {\"common/" + tree + "\": {\"" + branch + "\": {\"" + parameter +
             "\": " + value + "}}}";
  }
  if (oneIn(3) && !nested.empty()) flat += ", " + nested;
  return jsonText({"{" + flat + "}"});
}

void RandomDeployment::makeFile(const std::string& name, const std::string& text) {
  const std::string path = m_directory + "/" + name;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  const auto kind = m_random() % 16;
  m_description += "\n" + name + " (kind " + std::to_string(kind) + "): " + text;
  if (kind == 0) {
    std::filesystem::create_directory(path);
  } else if (kind == 1) {
    std::filesystem::create_symlink(m_directory + "/nowhere", path);
  } else if (kind == 2) {
    std::filesystem::create_symlink("/dev/null", path);
  } else {
    std::ofstream(path, std::ios::binary) << text;
    if (kind == 3) ::chmod(path.c_str(), 0);
  }
}

void RandomDeployment::makeTree(const std::string& name) {
  std::filesystem::create_directories(m_directory + "/" + name + "/conf");
  if (oneIn(2)) makeFile(name + "/conf/setting.cfg", iniText());
  if (oneIn(3)) makeFile(name + "/conf/secure.cfg", iniText());
  if (oneIn(2)) makeFile(name + "/conf/svc_ssl.conf", pick(kTemplates));
  if (oneIn(2)) makeFile(name + "/conf/settings.json", settingsText());
  if (oneIn(20)) ::chmod((m_directory + "/" + name + "/conf").c_str(), 0);
}

void RandomDeployment::setVariable(const std::string& name,
                                   const std::optional<std::string>& value) {
  m_description += "\n" + name + "=" + value.value_or("(not set)");
  value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
}

std::optional<std::string> RandomDeployment::rootValue(const std::string& name) {
  if (oneIn(15)) return std::nullopt;
  if (oneIn(20)) return "";
  return m_directory + "/" + (oneIn(20) ? "absent" : name) + (oneIn(10) ? "/" : "");
}

void RandomDeployment::install() {
  for (const char* const tree : {"share", "app", "common"}) makeTree(tree);
  makeFile("omc/etc/conf/TSSetting.cfg", iniText());
  makeFile("app.json", jsonText(kTypes));
  makeFile("cluster/etc/sysconf/nodelists.json", jsonText(kNodes));
  makeFile("other store.json", settingsText());
  setVariable("_APP_SHARE_DIR", rootValue("share"));
  setVariable("APP_ROOT", rootValue("app"));
  setVariable("COMMON_LIB_PATH", rootValue("common"));
  setVariable("COMMON_SHARE_PATH", rootValue("omc"));
  setVariable("QORV_ROOT", rootValue("cluster"));
  setVariable("_APP_LOG_DIR", rootValue("logs"));
  setVariable("APP_CONF_FILE", rootValue("app.json"));
  setVariable("PROCESS_INSTANCE_ID", oneIn(8) ? std::nullopt : std::optional<std::string>("7"));
  setVariable("APP_NAME",
              oneIn(10) ? std::nullopt : std::optional<std::string>(pick(kApplications)));
  setVariable("VEXA_DUMP_ALL_LOCKS_FILE",
              oneIn(2) ? std::nullopt : std::optional<std::string>(pick({"", "/tmp/locks"})));
  setVariable("SETTINGREST_URL",
              !oneIn(4) ? std::nullopt
                        : std::optional<std::string>(pick(
                              {"", "file://" + m_directory + "/other%20store.json",
                               "FILE://localhost" + m_directory + "/other store.json",
                               "file://" + m_directory + "/absent.json", "http://host/settings",
                               "file://relative", "file:///wrong%2", m_directory, "file://"})));
}

}  // namespace commutil_test
