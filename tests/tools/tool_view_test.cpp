// The view of a running service: its environment, user, working directory and root.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::Environment;
using commutil_test::ProcessResult;

/// A process with its own environment that waits until the end of the scope. `prepare` runs in it
/// before it becomes /bin/cat, which waits for the end of its input.
class Service {
 public:
  Service(const Environment& environment, const std::function<void()>& prepare) {
    if (::pipe2(m_pipe.data(), O_CLOEXEC) != 0) std::abort();
    std::array<int, 2> started{};
    if (::pipe2(started.data(), O_CLOEXEC) != 0) std::abort();
    m_child = ::fork();
    if (m_child == 0) {
      ::dup2(m_pipe[0], STDIN_FILENO);
      for (const auto& [name, value] : environment)
        value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
      prepare();
      ::execl("/bin/cat", "cat", nullptr);
      ::_exit(127);
    }
    ::close(m_pipe[0]);
    ::close(started[1]);
    char byte = 0;
    while (::read(started[0], &byte, 1) < 0 && errno == EINTR) {
    }  // closed once it is cat
    ::close(started[0]);
  }
  ~Service() {
    ::close(m_pipe[1]);
    ::waitpid(m_child, nullptr, 0);
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  std::string pid() const { return std::to_string(m_child); }

 private:
  std::array<int, 2> m_pipe{};
  pid_t m_child = -1;
};

/// The command's own environment, without the deployment.
Environment emptied(Environment environment) {
  for (auto& [name, value] : environment) value = std::nullopt;
  return environment;
}

ProcessResult run(const Deployment& deployment, std::vector<std::string> words) {
  words.insert(words.begin(), Deployment::tool());
  return commutil_test::runProcess(words, emptied(deployment.environment));
}

TEST(View, IsThatOfTheService) {
  const Deployment deployment;
  std::filesystem::create_directory(deployment / "logs");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(deployment / "")) {
    std::filesystem::last_write_time(
        entry, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
  }
  const Service service(deployment.environment, [] {});
  const ProcessResult explained =
      run(deployment, {"explain", "ListenAllIp", "--pid", service.pid()});
  EXPECT_EQ(0, explained.code) << explained.err;
  EXPECT_NE(std::string::npos,
            explained.out.find("its environment is the one that it was started"));
  EXPECT_NE(std::string::npos, explained.out.find("isListenAllIp = yes       decided by: " +
                                                  (deployment / "app/conf/setting.cfg") + "\n"))
      << explained.out;
  const ProcessResult checked = run(deployment, {"check", "--pid", service.pid()});
  EXPECT_EQ(0, checked.code) << checked.out;
  EXPECT_NE(std::string::npos, checked.out.find("ok       libsettingrest.so: /")) << checked.out;
  EXPECT_EQ(std::string::npos, checked.out.find("changed after the service was started"));
  const Json::Value report = run(deployment, {"report", "--json", "--pid", service.pid()}).json();
  EXPECT_EQ("inventory", report["environment"]["APP_NAME"].asString());
  EXPECT_NE(std::string::npos, report["view"].asString().find("process " + service.pid()));
}

TEST(View, ShowsWhatTheServiceMayStillHaveCached) {
  const Deployment deployment;
  const Service service(deployment.environment, [] {});
  std::filesystem::last_write_time(
      deployment / "app/conf/inventory.json",
      std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  const ProcessResult result = run(deployment, {"check", "--quiet", "--pid", service.pid()});
  EXPECT_EQ(1, result.code);
  EXPECT_NE(std::string::npos,
            result.out.find("warning  " + (deployment / "app/conf/inventory.json") +
                            ": changed after the service was started, which may still use the old "
                            "database type; restart the service\n"))
      << result.out;
}

TEST(View, HasTheServicesUser) {
  ASSERT_EQ(0U, ::geteuid()) << "taking another user needs root";
  const Deployment deployment;
  ASSERT_EQ(0, ::chmod((deployment / "").c_str(), 0755));
  ASSERT_EQ(0, ::chmod((deployment / "app/conf/setting.cfg").c_str(), 0600));
  const Service service(deployment.environment, [] { commutil_test::dropRoot(); });
  const ProcessResult result = run(deployment, {"explain", "ListenAllIp", "--pid", service.pid()});
  EXPECT_EQ(0, result.code) << result.err;
  EXPECT_NE(std::string::npos,
            result.out.find("isListenAllIp = no        decided by: no readable setting.cfg"))
      << result.out;
  EXPECT_NE(std::string::npos, result.out.find("not readable by user ")) << result.out;
}

TEST(View, ResolvesRelativePathsInTheServicesDirectory) {
  Deployment deployment;
  deployment.environment["APP_CONF_FILE"] = "conf/inventory.json";
  const std::string directory = deployment / "app";
  const Service service(deployment.environment,
                        [&] { ::chdir(directory.c_str()) == 0 ? void() : ::_exit(1); });
  EXPECT_EQ("oracle", run(deployment, {"explain", "--json", "databaseType", "--pid", service.pid()})
                          .json()["answers"][0]["answer"]
                          .asString());
}

TEST(View, ReadsFilesInAnotherRootAndDoesNotReadTheStore) {
  ASSERT_EQ(0U, ::geteuid()) << "separate mounts need root";
  const Deployment deployment;
  const std::string inner = deployment.write("inner.cfg", "[IP]\nListenAllIp = disable\n");
  const std::string target = deployment / "app/conf/setting.cfg";
  const Service service(deployment.environment, [&] {
    const bool mounted = ::unshare(CLONE_NEWNS) == 0 &&
                         ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         ::mount(inner.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0;
    if (!mounted) ::_exit(1);
  });
  const ProcessResult result = run(deployment, {"explain", "ListenAllIp", "--pid", service.pid()});
  EXPECT_EQ(0, result.code) << result.err;
  EXPECT_NE(std::string::npos,
            result.out.find("isListenAllIp = no        decided by: " + target + "\n"))
      << result.out;
  EXPECT_NE(std::string::npos,
            result.out.find("not read: other root; " + (deployment / "share/conf/settings.json") +
                            " has \"disable\""))
      << result.out;
  const ProcessResult checked = run(deployment, {"check", "--pid", service.pid()});
  EXPECT_NE(std::string::npos,
            checked.out.find("ok       libsettingrest.so: not read: other root\n"))
      << checked.out;
}

TEST(View, FollowsLinksInsideTheServicesRoot) {
  ASSERT_EQ(0U, ::geteuid()) << "a separate root directory needs root";
  const commutil_test::TempDir root;
  for (const std::string name : {"usr", "conf"}) std::filesystem::create_directory(root / name);
  for (const std::string name : {"bin", "lib", "lib64"})
    std::filesystem::create_symlink("usr/" + name, root / name);
  root.write("inside.cfg", "[IP]\nListenAllIp = enable\n");
  std::filesystem::create_symlink("/../inside.cfg", root / "conf/setting.cfg");
  const commutil_test::TempDir outside;
  std::filesystem::create_symlink(outside.write("secure.cfg", "[UnsafeWord]\na = outside\n"),
                                  root / "conf/secure.cfg");
  const Service service({{"COMMON_LIB_PATH", ""}, {"APP_ROOT", ""}, {"_APP_SHARE_DIR", ""}}, [&] {
    const bool entered = ::unshare(CLONE_NEWNS) == 0 &&
                         ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         ::mount("/usr", (root / "usr").c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                         ::chroot(root.path().c_str()) == 0 && ::chdir("/") == 0;
    if (!entered) ::_exit(1);
  });
  const ProcessResult result =
      run(Deployment(), {"explain", "ListenAllIp", "unsafeWords", "--pid", service.pid()});
  EXPECT_EQ(0, result.code) << result.err;
  EXPECT_NE(std::string::npos, result.out.find("isListenAllIp = yes       decided by: /conf/"))
      << result.out;
  EXPECT_NE(std::string::npos, result.out.find("/conf/secure.cfg   a link that leads nowhere"));
  EXPECT_EQ(std::string::npos, result.out.find("outside"));
}

TEST(View, ReadsOnlyWhatTheServicesUserMayReadAndDoesNotWait) {
  ASSERT_EQ(0U, ::geteuid()) << "taking another user needs root";
  Deployment deployment;
  ASSERT_EQ(0, ::chmod((deployment / "").c_str(), 0755));
  const std::string secret = deployment.write("secret", "[UnsafeWord]\na = secretword\n");
  ASSERT_EQ(0, ::chmod(secret.c_str(), 0600));
  for (const std::string name : {"secure.cfg", "svc_ssl.conf"})
    std::filesystem::remove(deployment / ("common/conf/" + name));
  std::filesystem::create_symlink(secret, deployment / "common/conf/secure.cfg");
  std::filesystem::create_symlink("/dev/zero", deployment / "common/conf/svc_ssl.conf");
  std::filesystem::remove(deployment / "app/conf/setting.cfg");
  ASSERT_EQ(0, ::mkfifo((deployment / "app/conf/setting.cfg").c_str(), 0666));
  deployment.environment["APP_CONF_FILE"] = secret;
  deployment.environment["SETTINGREST_URL"] = "file:///dev/zero";
  deployment.environment["LD_PRELOAD"] = deployment / "preloaded.so";
  const Service service(deployment.environment, [] {
    ::dup2(::open("/dev/null", O_WRONLY), 2);  // the dynamic linker complains
    commutil_test::dropRoot();
  });
  deployment.environment.erase("LD_PRELOAD");
  const ProcessResult result =
      run(deployment, {"check", "--timeout", "60", "--pid", service.pid()});
  EXPECT_EQ(2, result.code);
  EXPECT_EQ("", result.err);
  for (const std::string& line :
       {secret + ": not readable by user ",
        (deployment / "common/conf/secure.cfg") + ": not readable by user ",
        (deployment / "common/conf/svc_ssl.conf") + ": a device, not a regular file",
        (deployment / "app/conf/setting.cfg") + ": a FIFO, not a regular file",
        std::string("/dev/zero: a device, not a regular file")})
    EXPECT_NE(std::string::npos, result.out.find("error    " + line)) << line << "\n" << result.out;
  EXPECT_EQ(std::string::npos, result.out.find("secretword"));
}

TEST(View, ReportsAProcessThatDoesNotExist) {
  const Deployment deployment;
  const ProcessResult result = run(deployment, {"check", "--pid", "2147483647"});
  EXPECT_EQ(2, result.code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("commutil: there is no process 2147483647\n", result.err);
}

TEST(View, FailsWithTheExitCodeOfItsSubcommand) {
  const Deployment deployment;
  for (const std::string subcommand : {"report", "explain"})
    EXPECT_EQ(1, run(deployment, {subcommand, "--pid", "2147483647"}).code);
  const ProcessResult result = run(deployment, {"check", "--json", "--pid", "2147483647"});
  EXPECT_EQ(2, result.code);
  EXPECT_EQ("there is no process 2147483647", result.json()["error"].asString());
}

TEST(View, NamesAProcessThatHasEnded) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  siginfo_t ended{};
  ASSERT_EQ(0, ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT));
  const std::string pid = std::to_string(child);
  const ProcessResult result = run(Deployment(), {"explain", "--pid", pid});
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(1, result.code);
  EXPECT_EQ(
      "commutil: process " + pid + " has ended, or is one of the kernel: it has no environment\n",
      result.err);
}

TEST(View, PrintsNoTerminalControlsOfTheService) {
  Deployment deployment;
  // The dynamic linker of the command that has become the service's user names this directory.
  deployment.environment["LD_DEBUG"] = "libs";
  deployment.environment["LD_LIBRARY_PATH"] = "/\x1b[31mred";
  const Service service(deployment.environment, [] { ::dup2(::open("/dev/null", O_WRONLY), 2); });
  deployment.environment.erase("LD_DEBUG");
  const ProcessResult result = run(deployment, {"explain", "isTsMode", "--pid", service.pid()});
  EXPECT_NE(std::string::npos, result.err.find("/\\x1b[31mred")) << result.err;
  EXPECT_EQ(std::string::npos, result.err.find('\x1b'));
}

TEST(View, IsRefusedToAnotherUser) {
  ASSERT_EQ(0U, ::geteuid()) << "taking another user needs root";
  const Deployment deployment;
  const Service service(deployment.environment, [] {});
  commutil_test::runInChild([&] {
    commutil_test::dropRoot();
    const ProcessResult result = run(deployment, {"explain", "--pid", service.pid()});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: process " + service.pid() +
                  ": environ: Permission denied; run as root or as the user of the process\n",
              result.err);
  });
}

TEST(View, ComparesWithASavedReport) {
  Deployment deployment;
  const std::string saved =
      deployment.write("saved.json", deployment.run({"report", "--json"}).out);
  const ProcessResult same = deployment.run({"report", "--diff", saved});
  EXPECT_EQ(0, same.code) << same.out;
  EXPECT_EQ("", same.out);
  deployment.environment["APP_NAME"] = "gateway";
  const ProcessResult other = deployment.run({"report", "--diff", saved});
  EXPECT_EQ(1, other.code);
  EXPECT_NE(std::string::npos, other.out.find("environment.APP_NAME: inventory -> gateway\n"))
      << other.out;
  EXPECT_NE(std::string::npos, other.out.find("answers.isListenLoopback.answer: yes -> no\n"))
      << other.out;
  bool found = false;
  const Json::Value json = deployment.run({"report", "--json", "--diff", saved}).json();
  for (const Json::Value& row : json["differences"]) {
    found = found || (row["place"] == "environment.APP_NAME" && row["before"] == "inventory" &&
                      row["now"] == "gateway");
  }
  EXPECT_TRUE(found);
  const Service service(deployment.environment, [] {});
  EXPECT_NE(std::string::npos, run(deployment, {"report", "--diff", saved, "--pid", service.pid()})
                                   .out.find("environment.APP_NAME: inventory -> gateway\n"));
}

TEST(View, KeepsASavedReportFromTheServicesUser) {
  ASSERT_EQ(0U, ::geteuid()) << "taking another user needs root";
  Deployment deployment;
  ASSERT_EQ(0, ::chmod((deployment / "").c_str(), 0755));
  const std::string saved =
      deployment.write("saved.json", deployment.run({"report", "--json"}).out);
  ASSERT_EQ(0, ::chmod(saved.c_str(), 0600));
  const Service service(deployment.environment, [] { commutil_test::dropRoot(); });
  const ProcessResult result = run(deployment, {"report", "--diff", saved, "--pid", service.pid()});
  EXPECT_EQ(1, result.code) << result.err;
  EXPECT_NE(std::string::npos, result.out.find("user: root -> ")) << result.out;
}

TEST(View, RefusesASavedFileThatIsNotAReport) {
  const Deployment deployment;
  const std::string saved = deployment.write("saved.json", "{}");
  const ProcessResult result = deployment.run({"report", "--diff", saved});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ("commutil: " + saved + ": not a report of commutil report --json\n", result.err);
  EXPECT_EQ("commutil: /nowhere: missing\n", deployment.run({"report", "--diff", "/nowhere"}).err);
}

}  // namespace
