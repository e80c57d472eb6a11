#include "hostile/operations.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <ios>
#include <list>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocks.h"
#include "VexaNetUtils.h"
#include "VexaWideIO.h"

namespace commutil_test {

namespace {

namespace fs = std::filesystem;
using Lib = VexaCommonUtils;
using Lib_i = VexaCommonUtils_i;

const std::string kText = "some text";
/// A template with every option, so that the settings store is not read.
const std::string kTemplate = "\"-SSLCAfile a -SSLAuthenticate b -SSLVersion c -SSLNoProtection\"";

std::string joined(int result, const std::string& output) {
  return std::to_string(result) + " " + output;
}

std::string readWhole(const std::string& path) {
  std::string content;
  const int result = Lib::readFile(path, content);
  return joined(result, content);
}

std::string walk(const std::string& directory) {
  std::list<std::string> files;
  const int result = Lib::getFilesByDir(directory, "", files);
  return joined(result, files.empty() ? "" : files.front());
}

std::string enterAndExit() {
  VexaProcessLock lock("backup", "/locks/");
  lock.SetOutputType(OUTPUT_TYPE_SILENT);
  const int entered = lock.EnterProcessMutex();
  return entered == 0 ? joined(entered, std::to_string(lock.ExitProcessMutex()))
                      : std::to_string(entered);
}

std::string writeStream(const std::string& path) {
  Vexawofstream stream;
  stream.open(path.c_str(), std::ios::out);
  if (!stream.isValid()) return "closed";
  stream.put(kText.c_str());
  stream << wflush;
  return stream.fail() == 0 ? "written" : "failed";
}

std::string readStream(const std::string& path) {
  Vexawifstream stream;
  stream.open(path.c_str(), std::ios::in);
  std::array<char, 100> line{};
  stream.get(line.data(), line.size());
  return line.data();
}

std::string nodeAddresses() {
  std::list<std::string> addresses;
  const int result = Lib_i::GetAllWebswingNodeIPs(addresses);
  return joined(result, addresses.empty() ? "" : addresses.front());
}

std::string runProgram() {
  const std::array<const char*, 4> arguments{"sh", "-c", "exit 3", nullptr};
  return std::to_string(Lib_i::runCommand("/bin/sh", const_cast<char* const*>(arguments.data())));
}

std::string outputOfEcho() {
  std::string output;
  const int result = Lib_i::getSystemExecResult("echo text", output);
  return joined(result, output);
}

std::string pipeOfEcho() {
  std::FILE* const stream = Lib_i::pipeline_s("echo text; exit 3");
  if (stream == nullptr) return "none";
  std::array<char, 100> line{};
  const bool read = std::fgets(line.data(), line.size(), stream) != nullptr;
  return joined(Lib_i::pclose_s(stream), read ? line.data() : "nothing");
}

std::string netmaskOfLoopback() {
  std::string netmask;
  const int result = GetNetmaskByIpUseioctl("127.0.0.1", netmask);
  return joined(result, netmask);
}

std::string nameOfRoot() {
  passwd entry{};
  std::array<char, 4096> buffer{};
  return Lib_i::securityGetpwuid(0, entry, buffer.data(), buffer.size()) ? entry.pw_name : "";
}

std::string ownCommandLine() {
  std::vector<std::string> words;
  Lib_i::getCommandLine(words);
  return words.empty() ? "no words" : "words";
}

std::vector<Operation> configuration() {
  const std::string share = std::getenv("_APP_SHARE_DIR");
  const auto listens = [] { return std::to_string(static_cast<int>(Lib::isListenAllIp())); };
  const auto isTs = [] { return std::to_string(static_cast<int>(Lib_i::isTsMode())); };
  const auto isSafe = [] {
    return std::to_string(static_cast<int>(Lib_i::checkUnSafeStr("rm -rf /")));
  };
  return {
      {"get_svc_ssl_conf",
       [] { return Lib_i::get_svc_ssl_conf("svc_ssl.conf"); },
       share + "/svc_ssl_7.conf",
       {{Lack::descriptors, ""}, {Lack::fileSize, ""}}},
      {"isListenAllIp", listens, "1", {{Lack::descriptors, "0"}}},
      {"getTracePath",
       [] { return Lib::getTracePath(); },
       "/srv/traces/",
       {{Lack::descriptors, share + "/log/"}}},
      {"isTsMode", isTs, "1", {{Lack::descriptors, "0"}}},
      {"getDBType", [] { return Lib::getDBType(); }, "oracle", {{Lack::descriptors, "sybase"}}},
      {"checkUnSafeStr", isSafe, "0", {{Lack::descriptors, "1"}}},
      {"GetAllWebswingNodeIPs", nodeAddresses, "0 10.0.0.1", {{Lack::descriptors, "-1 "}}},
  };
}

std::vector<Operation> commands() {
  const auto system = [] { return std::to_string(Lib::system("exit 3")); };
  const auto execve = [] { return std::to_string(Lib_i::execve_s("exit 3")); };
  const auto line = [] {
    return std::to_string(Lib_i::runCommand("/bin/sh -c 'exit 3'", true, true));
  };
  const std::map<Lack, std::string> fails{
      {Lack::descriptors, "-1"}, {Lack::processes, "-1"}, {Lack::host, "-1"}};
  return {
      {"system", system, "768", fails},
      {"execve_s", execve, "768", fails},
      // A child that cannot be started counts as exit code 0.
      {"runCommand, a line",
       line,
       "3",
       {{Lack::descriptors, "-1"}, {Lack::processes, "0"}, {Lack::host, "-1"}}},
      // The program starts, but its libraries cannot be opened.
      {"runCommand, a program",
       runProgram,
       "3",
       {{Lack::descriptors, "127"}, {Lack::processes, "-1"}, {Lack::host, "2"}}},
      {"getSystemExecResult",
       outputOfEcho,
       "0 text\n",
       {{Lack::descriptors, "-1 "}, {Lack::processes, "-1 "}, {Lack::host, "-1 "}}},
      {"pipeline_s",
       pipeOfEcho,
       "768 text\n",
       {{Lack::descriptors, "none"}, {Lack::processes, "none"}, {Lack::host, "none"}}},
  };
}

std::vector<Operation> host() {
  return {
      {"GetNetmaskByIpUseioctl", netmaskOfLoopback, "0 255.0.0.0", {{Lack::descriptors, "-1 "}}},
      {"securityGetpwuid", nameOfRoot, "root", {{Lack::descriptors, ""}, {Lack::host, ""}}},
      {"getCommandLine",
       ownCommandLine,
       "words",
       {{Lack::descriptors, "no words"}, {Lack::host, "no words"}}},
      {"generateUUID", [] { return std::to_string(Lib_i::generateUUID().size()); }, "32", {}},
      {"getTimeStamp", [] { return std::to_string(Lib::getTimeStamp(false).size()); }, "14", {}},
  };
}

}  // namespace

std::string Operation::resultWithout(Lack lack) const {
  const auto result = without.find(lack);
  return result == without.end() ? right : result->second;
}

Deployment::Deployment() {
  m_dir.write("conf/setting.cfg", "[IP]\nListenAllIp=enable\n[TraceDir]\ntracedir=/srv/traces\n");
  m_dir.write("conf/secure.cfg", "[UnsafeWord]\nword1=rm -rf\n");
  m_dir.write("conf/svc_ssl.conf", kTemplate);
  m_dir.write("conf/app.json", R"({"databases": {"main": [{"type": "oracle"}]}})");
  m_dir.write("etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
  m_dir.write("etc/sysconf/nodelists.json",
              R"({"nodeList":{"a":{"extAttr":{"RemoteClient":"true"},)"
              R"("IPAddresses":[{"IP":"10.0.0.1"}]}}})");
  m_dir.write("tree/sub/file", "");
  m_dir.write("source", kText);
  fs::create_directory(m_dir / "locks");
  configure();
}

void Deployment::becomeRoot() {
  ASSERT_EQ(0, ::chroot(m_root.c_str()));
  ASSERT_EQ(0, ::chdir("/"));
  m_root.clear();
  configure();
}

void Deployment::configure() const {
  // With nothing before it, a path starts at the root.
  for (const char* const name :
       {"_APP_SHARE_DIR", "COMMON_SHARE_PATH", "QORV_ROOT", "_APP_LOG_DIR"})
    ::setenv(name, m_root.empty() ? "/." : m_root.c_str(), 1);
  ::setenv("APP_CONF_FILE", at("conf/app.json").c_str(), 1);
  ::setenv("PROCESS_INSTANCE_ID", "7", 1);
}

std::vector<Operation> Deployment::files() const {
  const std::string source = at("source");
  const std::string copy = at("copy");
  const std::string tree = at("tree");
  const std::string stream = at("stream");
  return {
      {"readFile", [=] { return readWhole(source); }, "0 " + kText, {{Lack::descriptors, "1 "}}},
      {"copyFile",
       [=] { return std::to_string(Lib_i::copyFile(source, copy, false, true)); },
       "0",
       {{Lack::descriptors, "-1"}, {Lack::fileSize, "-1"}}},
      {"getFilesByDir",
       [=] { return walk(tree); },
       "0 " + tree + "/sub/file",
       {{Lack::descriptors, "-1 "}}},
      {"EnterProcessMutex", enterAndExit, "0 0", {{Lack::descriptors, "-1"}}},
      {"Vexawofstream",
       [=] { return writeStream(stream); },
       "written",
       {{Lack::descriptors, "closed"}, {Lack::fileSize, "failed"}}},
      {"Vexawifstream", [=] { return readStream(source); }, kText, {{Lack::descriptors, ""}}},
  };
}

std::vector<Operation> Deployment::operations() const {
  std::vector<Operation> all;
  for (const auto& group : {files(), configuration(), commands(), host()})
    all.insert(all.end(), group.begin(), group.end());
  return all;
}

void Deployment::expectWholeFiles() const {
  const std::pair<const char*, std::string> files[] = {
      {"copy", kText}, {"svc_ssl_7.conf", kTemplate}, {"locks/backup_PROCESSMUTEX", ""}};
  for (const auto& [name, content] : files) {
    if (fs::exists(at(name))) {
      EXPECT_EQ(content, readFile(at(name))) << name;
    }
  }
}

void withEachOperation(const std::function<void(const Operation&, const Deployment&)>& check,
                       const std::function<void(Deployment&)>& prepare) {
  const std::size_t count = Deployment().operations().size();
  for (std::size_t i = 0; i < count; ++i) {
    runInChild([&] {
      ::alarm(60);
      Deployment deployment;
      if (prepare) prepare(deployment);
      const Operation operation = deployment.operations().at(i);
      SCOPED_TRACE(operation.name);
      check(operation, deployment);
      deployment.expectWholeFiles();
      expectNoChildren();
    });
  }
}

void expectNoChildren() {
  EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
}

}  // namespace commutil_test
