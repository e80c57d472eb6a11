#include "postgresql_server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>

#include "os/handles.h"
#include "support/namespaces.h"

namespace commutil_test {
namespace {

namespace fs = std::filesystem;
using commutil::Descriptor;

constexpr uid_t kServerUser = 65534;  // what dropRoot becomes
constexpr int kNoTimeout = -1;        // the time limit of the test is enough

/// Returns the directory of the server's programs, relative to `packages`; empty if there is none.
fs::path programsBelow(const fs::path& packages) {
  std::error_code missing;
  for (const fs::directory_entry& version :
       fs::directory_iterator(packages / "usr/lib/postgresql", missing)) {
    if (fs::exists(version.path() / "bin/initdb")) {
      return fs::relative(version.path() / "bin", packages);
    }
  }
  return {};
}

/// Returns a socket named `path` that any user can send a notification to.
Descriptor notificationSocket(const std::string& path) {
  Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  EXPECT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(0, ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address))
      << std::strerror(errno);
  EXPECT_EQ(0, ::chmod(path.c_str(), 0666));
  return socket;
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

PostgresqlServer::PostgresqlServer(const fs::path& packages) : m_packages(packages) {
  const fs::path programs = programsBelow(packages);
  if (programs.empty()) {
    ADD_FAILURE() << "no PostgreSQL server in " << packages
                  << "; run cmake/dev/fetch-servers build/servers";
    return;
  }
  m_programs = (::geteuid() == 0 ? m_dir.path() / "packages" : packages) / programs;
  fs::create_directory(m_dir / "packages");
  const Descriptor notifications = notificationSocket(m_dir / "notifications");
  if (::geteuid() == 0) {
    EXPECT_EQ(0, ::chown(m_dir.path().c_str(), kServerUser, kServerUser));
  }

  if (!createCluster()) return;
  m_server =
      start("postgres", {"-D", "data", "-k", m_dir.path().string(), "-c", "listen_addresses=", "-c",
                         "fsync=off", "-c", "jit=off", "-c", "autovacuum=off"});
  m_isReady = waitUntilReady(notifications.get());
  if (!m_isReady) fail("postgres did not become ready");
}

PostgresqlServer::~PostgresqlServer() {
  if (m_server <= 0) return;
  ::kill(m_server, SIGINT);  // ends the sessions, then the server
  int status = -1;
  EXPECT_EQ(m_server, ::waitpid(m_server, &status, 0));
  EXPECT_EQ(0, status) << "the server failed";
}

std::string PostgresqlServer::connectionString() const {
  return "host=" + m_dir.path().string() + " user=tester dbname=postgres client_encoding=UTF8";
}

bool PostgresqlServer::createCluster() const {
  const pid_t child = start("initdb", {"--no-sync", "--auth=trust", "--username=tester",
                                       "--locale=C", "--encoding=UTF8", "--pgdata=data"});
  int status = -1;
  ::waitpid(child, &status, 0);
  if (status != 0) fail("initdb failed with wait status " + std::to_string(status));
  return status == 0;
}

pid_t PostgresqlServer::start(const std::string& program, const Arguments& arguments) const {
  const pid_t child = ::fork();
  if (child == 0) execute(program, arguments);
  return child;
}

void PostgresqlServer::execute(const std::string& program, const Arguments& arguments) const {
  if (::geteuid() == 0) {
    // The server's user may be unable to reach the directory of the packages.
    enterNamespaces(CLONE_NEWNS);
    bindOver(m_packages, m_dir / "packages");
    dropRoot();
  }
  ::prctl(PR_SET_PDEATHSIG, SIGQUIT);
  const int log = ::open((m_dir / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (::chdir(m_dir.path().c_str()) != 0 || ::dup2(log, 1) < 0 || ::dup2(log, 2) < 0) ::_exit(126);

  Arguments words = {m_programs / program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  Arguments environment = {"PATH=/usr/bin:/bin", "LC_ALL=C", "TZ=UTC",
                           "NOTIFY_SOCKET=" + (m_dir / "notifications")};
  ::execve(words.front().c_str(), pointersTo(words).data(), pointersTo(environment).data());
  ::_exit(127);
}

bool PostgresqlServer::waitUntilReady(int notifications) const {
  const Descriptor ended(static_cast<int>(::syscall(SYS_pidfd_open, m_server, 0)));
  std::array<pollfd, 2> events = {{{notifications, POLLIN, 0}, {ended.get(), POLLIN, 0}}};
  while (::poll(events.data(), events.size(), kNoTimeout) > 0) {
    std::array<char, 256> message{};  // ends with a NUL
    if ((events[0].revents & POLLIN) == 0) return false;
    const ssize_t size = ::recv(notifications, message.data(), message.size() - 1, 0);
    if (size > 0 && std::string_view(message.data()).find("READY=1") != std::string_view::npos) {
      return true;
    }
  }
  return false;
}

void PostgresqlServer::fail(const std::string& what) const {
  ADD_FAILURE() << what << "; its log:\n" << readFile(m_dir / "log");
}

}  // namespace commutil_test
