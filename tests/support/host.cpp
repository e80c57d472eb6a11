#include "support/host.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>

#include "support/namespaces.h"

namespace commutil_test {
namespace {

std::string directory;

/// Only the files of the name service: others would wait for a network.
void makeNames() {
  replaceFile("/etc/nsswitch.conf",
              "passwd: files\ngroup: files\ninitgroups: files\nhosts: files\n");
  replaceFile("/etc/hosts",
              "127.0.0.1 localhost\n192.0.2.17 node-with-a-long-name node\n"
              "2001:db8::17 node-of-the-sixth-version\n");
  replaceFile("/etc/passwd",
              "root:x:0:0:root:/root:/bin/sh\n"
              "ossuser:x:4711:4712:service user:/:/bin/sh\n");
  replaceFile("/etc/group", "root:x:0:\nossgroup:x:4712:\nmore:x:4713:ossuser\n");
  commutil_test::mountTmpfs("/etc/pam.d");
  commutil_test::writeFile("/etc/pam.d/su",
                           "auth required pam_permit.so\nsession required pam_permit.so\n");
  ASSERT_EQ(0, ::sethostname("node-with-a-long-name", 21));
}

void makeTools() {
  const auto replaceTool = [](const char* tool, const char* output) {
    replaceFile(tool, std::string("#!/bin/sh\necho '") + output + "'\n", 0755);
  };
  replaceTool("/usr/bin/tty", "/dev/pts/17");
  replaceTool("/usr/bin/whoami", "a-user-with-a-long-name");
  replaceTool("/usr/bin/who", "joe pts/1 2024-01-01 10:00 (192.0.2.200:11.22)");
  replaceFile(std::filesystem::canonical("/etc/os-release").string(), "NAME=\"ZirelOS\"\n");
}

void makeInterfaces() {
  shell(
      "ip link set lo up && ip link add name veth-long address 02:00:00:00:00:17 type veth "
      "peer name veth-peer address 06:00:00:00:00:17 && "
      "ip link set dev veth-long addrgenmode none && "
      "ip link set dev veth-peer addrgenmode none && "
      "ip address add 192.0.2.17/20 dev veth-long && "
      "ip address add 2001:db8::17/64 dev veth-long nodad && ip link set veth-long up");
}

void makePlatform(const TempDir& root) {
  root.write("app/conf/setting.cfg",
             "[TraceDir]\ntracedir=${_APP_LOG_DIR}/trace/of/the/application\n"
             "[IP]\nListenAllIp=enable\n");
  root.write("app/conf/secure.cfg",
             "[UnsafeWord]\nfirst=an unsafe word of some length\nsecond=another unsafe word\n");
  root.write("app/conf/svc_ssl.conf", "\"-SSLCAfile an/authority.pem\"\n");
  root.write("app.json", R"({"databases": {"main-database": [{"type": "oracle"}]}})");
  root.write("share/conf/settings.json", R"({"/vexa/common": {
      "setting_cfg/global": {"ListenLoopbackIP": "enable", "a-parameter": "a value of the store"},
      "svc_ssl_conf/application": {"SSLNoProtection": "enable", "SSLVersion": "TLSv1.3"}}})");
  root.write("common/etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
  root.write("qorv/etc/sysconf/nodelists.json", R"({"nodeList": {"first-node-of-the-list": {
      "extAttr": {"RemoteClient": "true"},
      "IPAddresses": [{"IP": "192.0.2.101"}, {"IP": "2001:db8::1:101"}]}}})");
  root.write("tree/one/file-of-the-first-directory", "");
  root.write("tree/file-of-the-root-directory", "");
  root.write("text", "the content of a file, of some length\n");
  root.write("lines", "a line of text, \xc3\xa4\xc3\xb6\xc3\xbc\n4711 08.15\nthe last line\n");
  root.write("numbers", "4711\n08.15\n");
}

void setVariables() {
  const std::pair<const char*, std::string> variables[] = {
      {"COMMON_LIB_PATH", directory + "/common"},
      {"COMMON_SHARE_PATH", directory + "/common"},
      {"APP_ROOT", directory + "/app"},
      {"_APP_SHARE_DIR", directory + "/share"},
      {"_APP_LOG_DIR", directory + "/log"},
      {"QORV_ROOT", directory + "/qorv"},
      {"APP_CONF_FILE", directory + "/app.json"},
      {"APP_NAME", "application"},
      {"PROCESS_INSTANCE_ID", "instance-17"},
      {"VEXA_DUMP_ALL_LOCKS_FILE", directory + "/locks.dump"},
      {"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"},
      {"LC_ALL", "C.UTF-8"},
      {"TZ", "ZONE-5"},
  };
  for (const auto& [name, value] : variables) ::setenv(name, value.c_str(), 1);
  ::unsetenv("SETTINGREST_URL");
}

}  // namespace

Host::Host() {
  directory = m_directory.path().string();
  commutil_test::enterNamespaces(CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS);
  makeNames();
  makeTools();
  makeInterfaces();
  makePlatform(m_directory);
  setVariables();
}

std::string Host::path(const std::string& name) { return directory + "/" + name; }

}  // namespace commutil_test
