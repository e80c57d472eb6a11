// Switching to the service user, and the session at the terminal.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pty.h>
#include <pwd.h>
#include <sched.h>
#include <security/pam_appl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmpx.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "VexaCommonUtils.h"
#include "support/c_library.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

using commutil_test::cLibrary;
using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::readFile;
using commutil_test::replaceFile;
using commutil_test::runInChild;
using commutil_test::ScopedUmask;

namespace {

/// Runs first in each call that changes the identity of the process.
std::function<void(const std::string& call)> onIdentityCall;

}  // namespace

extern "C" {

int setgid(gid_t group) noexcept {
  static auto* const real = cLibrary<int(gid_t)>("setgid");
  if (onIdentityCall) onIdentityCall("setgid");
  return real(group);
}

int initgroups(const char* user, gid_t group) {
  static auto* const real = cLibrary<int(const char*, gid_t)>("initgroups");
  if (onIdentityCall) onIdentityCall("initgroups");
  return real(user, group);
}

int setuid(uid_t user) noexcept {
  static auto* const real = cLibrary<int(uid_t)>("setuid");
  if (onIdentityCall) onIdentityCall("setuid");
  return real(user);
}
}

namespace {

// switchOmcUser

constexpr uid_t kUser = 4711;
constexpr gid_t kGroup = 4712;
constexpr const char* kUsers =
    "root:x:0:0:root:/root:/bin/sh\n"
    "ossuser:x:4711:4712:service user:/:/bin/sh\n";
constexpr const char* kGroups =
    "root:x:0:\n"
    "primary:x:4712:\n"
    "ossgroup:x:4713:ossuser\n"
    "other:x:4714:root,ossuser\n"
    "foreign:x:4715:root\n";
const std::string kSetcred =
    "setcred service=su user=ossuser flags=" + std::to_string(PAM_ESTABLISH_CRED) +
    " uid=0 gid=0 umask=23\n";
const std::string kOpen = "open service=su user=ossuser flags=0 uid=0 gid=0 umask=23\nopened\n";

/// A mount namespace with its own user database and PAM service "su". Its directory `/mnt` holds
/// PAM's files.
class Host {
 public:
  explicit Host(const std::string& moduleArguments = "", const char* users = kUsers) {
    enterNamespaces(CLONE_NEWNS);
    replaceFile("/etc/passwd", users);
    replaceFile("/etc/group", kGroups);
    replaceFile("/etc/nsswitch.conf", "passwd: files\ngroup: files\ninitgroups: files\n");
    mountTmpfs("/mnt");
    commutil_test::writeFile("/mnt/log", "");
    EXPECT_EQ(0, ::chmod("/mnt/log", 0666));
    const std::string module = std::string(PAM_RECORDER) + " log=/mnt/log " + moduleArguments;
    mountTmpfs("/etc/pam.d");
    commutil_test::writeFile("/etc/pam.d/su",
                             "auth required " + module + "\nsession required " + module + "\n");
  }

  std::string log() const { return readFile("/mnt/log"); }
};

void expectRoot() {
  uid_t real = 1;
  uid_t effective = 1;
  uid_t saved = 1;
  ASSERT_EQ(0, ::getresuid(&real, &effective, &saved));
  EXPECT_EQ(0U, real);
  EXPECT_EQ(0U, effective);
  EXPECT_EQ(0U, saved);
}

void expectGroup(gid_t group) {
  gid_t real = 1;
  gid_t effective = 1;
  gid_t saved = 1;
  ASSERT_EQ(0, ::getresgid(&real, &effective, &saved));
  EXPECT_EQ(group, real);
  EXPECT_EQ(group, effective);
  EXPECT_EQ(group, saved);
}

std::vector<gid_t> groups() {
  std::vector<gid_t> list(static_cast<std::size_t>(::getgroups(0, nullptr)));
  EXPECT_EQ(static_cast<int>(list.size()), ::getgroups(static_cast<int>(list.size()), list.data()));
  return list;
}

mode_t currentMask() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return mask;
}

/// Makes the system call `number` fail with EPERM from here on.
void refuseSystemCall(long number) {
  std::array<sock_filter, 4> program{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog filter{program.size(), program.data()};
  ASSERT_EQ(0, ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)) << std::strerror(errno);
  // For all threads: the C library ends a process whose threads have different identities.
  ASSERT_EQ(0, ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &filter))
      << std::strerror(errno);
}

TEST(SwitchUser, OpensASessionAndTakesTheIdentity) {
  runInChild([] {
    const Host host;
    const ScopedUmask mask(031);
    EXPECT_EQ(0, VexaCommonUtils::switchOmcUser());
    EXPECT_EQ(031U, currentMask());
    uid_t real = 0;
    uid_t effective = 0;
    uid_t saved = 0;
    ASSERT_EQ(0, ::getresuid(&real, &effective, &saved));
    EXPECT_EQ(kUser, real);
    EXPECT_EQ(kUser, effective);
    EXPECT_EQ(kUser, saved);
    expectGroup(kGroup);
    EXPECT_THAT(groups(), testing::UnorderedElementsAre(kGroup, 4713, 4714));
    // Root opened the session before the identity changed; it stays open.
    EXPECT_EQ(kSetcred + kOpen, host.log());
    EXPECT_EQ(-1, ::setuid(0)) << "root is still reachable";
    EXPECT_EQ(0, VexaCommonUtils::switchOmcUser());
    EXPECT_EQ(kSetcred + kOpen, host.log()) << "nothing is done for a caller that is not root";
  });
}

TEST(SwitchUser, ChangesTheIdentityUnderTheCallersMask) {
  runInChild([] {
    const Host host;
    const ScopedUmask mask(031);
    std::vector<std::string> seen;
    onIdentityCall = [&](const std::string& call) {
      EXPECT_EQ(031U, currentMask()) << call;
      EXPECT_EQ(kSetcred + kOpen, host.log()) << call;
      seen.push_back(call);
    };
    EXPECT_EQ(0, VexaCommonUtils::switchOmcUser());
    onIdentityCall = nullptr;
    EXPECT_THAT(seen, testing::ElementsAre("setgid", "initgroups", "setuid"));
  });
}

TEST(SwitchUser, DoesNothingForARealUserThatIsNotRoot) {
  runInChild([] {
    const Host host;
    ASSERT_EQ(0, ::setresuid(1000, 0, 0));
    const ScopedUmask mask(031);
    EXPECT_EQ(0, VexaCommonUtils::switchOmcUser());
    EXPECT_EQ(031U, currentMask());
    EXPECT_EQ(1000U, ::getuid());
    EXPECT_EQ(0U, ::geteuid());
    expectGroup(0);
    EXPECT_EQ("", host.log());
  });
}

TEST(SwitchUser, FailsWithoutTheServiceUser) {
  const std::string tooLong = "ossuser:x:4711:4712:" + std::string(2000, 'x') + ":/:/bin/sh\n";
  for (const char* users : {"root:x:0:0:root:/root:/bin/sh\n", "", tooLong.c_str()}) {
    SCOPED_TRACE(users);
    runInChild([users] {
      const Host host("", users);
      const ScopedUmask mask(031);
      EXPECT_EQ(-1, VexaCommonUtils::switchOmcUser());
      EXPECT_EQ(031U, currentMask());
      expectRoot();
      expectGroup(0);
      EXPECT_EQ("", host.log());
    });
  }
}

TEST(SwitchUser, ReturnsTheCodeOfATransactionThatCannotStart) {
  runInChild([] {
    const Host host;
    mountTmpfs("/etc/pam.d");  // no service "su", no service "other"
    const ScopedUmask mask(031);
    EXPECT_EQ(PAM_ABORT, VexaCommonUtils::switchOmcUser());
    EXPECT_EQ(031U, currentMask());
    expectRoot();
    expectGroup(0);
    EXPECT_EQ("", host.log());
  });
}

struct PamFailure {
  const char* arguments;
  std::string log;
};

TEST(SwitchUser, EndsTheTransactionWhenAStepFails) {
  const PamFailure cases[] = {
      {"setcred=17", kSetcred + "end status=17 umask=23\n"},
      {"setcred=15", kSetcred + "end status=15 umask=23\n"},
      {"open=14", kSetcred + kOpen + "end status=14 umask=23\n"},
  };
  for (const PamFailure& row : cases) {
    SCOPED_TRACE(row.arguments);
    runInChild([&row] {
      const Host host(row.arguments);
      const ScopedUmask mask(031);
      EXPECT_EQ(-1, VexaCommonUtils::switchOmcUser());
      EXPECT_EQ(031U, currentMask());
      EXPECT_EQ(row.log, host.log());
      expectRoot();
      expectGroup(0);
    });
  }
}

struct IdentityFailure {
  const char* name;
  long systemCall;
  gid_t group;
  bool groupsChanged;
};

TEST(SwitchUser, StopsAtTheFirstIdentityThatIsRefused) {
  const IdentityFailure cases[] = {
      {"setgid", SYS_setgid, 0, false},
      {"initgroups", SYS_setgroups, kGroup, false},
      {"setuid", SYS_setuid, kGroup, true},
  };
  for (const IdentityFailure& row : cases) {
    SCOPED_TRACE(row.name);
    runInChild([&row] {
      const Host host;
      const std::array<gid_t, 1> before{4715};
      ASSERT_EQ(0, ::setgroups(before.size(), before.data()));
      const ScopedUmask mask(031);
      refuseSystemCall(row.systemCall);
      EXPECT_EQ(-1, VexaCommonUtils::switchOmcUser());
      EXPECT_EQ(031U, currentMask());
      EXPECT_EQ(kSetcred + kOpen, host.log()) << "the session stays open";
      expectRoot();
      expectGroup(row.group);
      const std::vector<gid_t> after =
          row.groupsChanged ? std::vector<gid_t>{kGroup, 4713, 4714} : std::vector<gid_t>{4715};
      EXPECT_THAT(groups(), testing::UnorderedElementsAreArray(after));
    });
  }
}

TEST(SwitchUser, LetsThreadsSwitchOneAfterTheOther) {
  runInChild([] {
    const Host host;
    const ScopedUmask mask(031);
    std::atomic<int> waiting{2};
    std::atomic<int> succeeded{0};
    const auto switchUser = [&] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      if (VexaCommonUtils::switchOmcUser() == 0) ++succeeded;
    };
    std::thread one(switchUser);
    std::thread two(switchUser);
    one.join();
    two.join();
    // The second one finds that it is no longer root, before or after the lock.
    EXPECT_GE(succeeded, 1);
    EXPECT_EQ(kUser, ::getuid());
    EXPECT_EQ(031U, currentMask());
    const std::string log = host.log();
    EXPECT_EQ(kSetcred + kOpen, log.substr(0, (kSetcred + kOpen).size())) << log;
  });
}

// getSessionDetails

/// Runs `body` in a child whose controlling terminal and standard handles are a pseudo-terminal.
void runOnTerminal(const std::function<void()>& body) {
  int master = -1;
  const pid_t child = ::forkpty(&master, nullptr, nullptr, nullptr);
  ASSERT_NE(-1, child) << std::strerror(errno);
  if (child == 0) {
    body();
    std::fflush(nullptr);
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  std::string screen;
  std::array<char, 4096> block{};
  ssize_t count = 0;
  while ((count = ::read(master, block.data(), block.size())) > 0) {
    screen.append(block.data(), static_cast<std::size_t>(count));
  }
  int status = -1;
  EXPECT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_EQ(0, status) << screen;
  ::close(master);
}

/// Replaces the three tools by programs that print the given strings.
void replaceTools(const std::string& tty, const std::string& whoami, const std::string& who) {
  const auto replace = [](const char* tool, const std::string& text) {
    replaceFile(tool, "#!/bin/sh\nprintf '%b' '" + text + "'\n", 0755);
  };
  replace("/usr/bin/tty", tty);
  replace("/usr/bin/whoami", whoami);
  replaceFile("/usr/bin/who", "#!/bin/sh\n[ \"$*\" = -m ] && printf '%b' '" + who + "'\n", 0755);
}

struct SessionCase {
  const char* tty;
  const char* whoami;
  const char* who;
  int result;
  const char* user;
  const char* address;
};

TEST(SessionDetails, FailWithoutATerminal) {
  runInChild([] {
    const int null = ::open("/dev/null", O_RDONLY);
    ::dup2(null, 0);
    std::string user = "user";
    std::string address = "address";
    EXPECT_EQ(-1, VexaCommonUtils::getSessionDetails(user, address));
    EXPECT_EQ("user", user);
    EXPECT_EQ("address", address);
  });
}

TEST(SessionDetails, ReturnTheUserAndTheAddressOfATerminal) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs("/run");
    commutil_test::writeFile("/run/utmp", "");
    runOnTerminal([] {
      std::string user = "user";
      std::string address = "address";
      EXPECT_EQ(-1, VexaCommonUtils::getSessionDetails(user, address)) << "no session is recorded";
      EXPECT_EQ("root", user) << "the user was found before";
      EXPECT_EQ("address", address);

      utmpx session{};
      session.ut_type = USER_PROCESS;
      session.ut_pid = ::getpid();
      const std::string terminal = std::string(::ttyname(0)).substr(5);
      std::strncpy(session.ut_line, terminal.c_str(), sizeof session.ut_line - 1);
      std::strncpy(session.ut_user, "someone", sizeof session.ut_user - 1);
      std::strncpy(session.ut_host, "192.0.2.7", sizeof session.ut_host - 1);
      ::setutxent();
      ASSERT_NE(nullptr, ::pututxline(&session)) << std::strerror(errno);
      ::endutxent();
      user = "user";
      EXPECT_EQ(0, VexaCommonUtils::getSessionDetails(user, address));
      EXPECT_EQ("root", user);
      EXPECT_EQ("(192.0.2.7)", address);
    });
  });
}

TEST(SessionDetails, FollowWhatTheToolsPrint) {
  const SessionCase cases[] = {
      {"/dev/pts/1\\n", "joe\\n", "joe pts/1 2024-01-01 10:00 (10.0.0.1)\\n", 0, "joe",
       "(10.0.0.1)"},
      {" \\t\\r\\n/dev/pts/1", " \\t\\r\\njoe smith\\t \\r\\n", "(host)", 0, "joe smith", "(host)"},
      {"not a tty\\n", "joe\\n", "x (host)\\n", -1, "before", "before"},
      {"\\t not a tty \\r\\n", "joe\\n", "x (host)\\n", -1, "before", "before"},
      {"Not a tty\\n", "joe\\n", "x (host)\\n", 0, "joe", "(host)"},
      {"not a tty at all\\n", "joe\\n", "x (host)\\n", 0, "joe", "(host)"},
      {"\\n", "joe\\n", "x (host)\\n", 0, "joe", "(host)"},
      {"", "joe\\n", "x (host)\\n", -1, "before", "before"},
      {"/dev/pts/1\\n", "", "x (host)\\n", -1, "", "before"},
      {"/dev/pts/1\\n", "\\n", "x (host)\\n", 0, "", "(host)"},
      {"/dev/pts/1\\n", "joe\\n", "", -1, "joe", "before"},
      {"/dev/pts/1\\n", "joe\\n", "joe pts/1\\n", -1, "joe", "before"},
      {"/dev/pts/1\\n", "joe\\n", "joe (host\\n", -1, "joe", "before"},
      {"/dev/pts/1\\n", "joe\\n", "joe host)\\n", -1, "joe", "before"},
      {"/dev/pts/1\\n", "joe\\n", "joe (one) (two) x\\n", 0, "joe", "(two)"},
      {"/dev/pts/1\\n", "joe\\n", "joe ((x)) y\\n", 0, "joe", "(x))"},
      {"/dev/pts/1\\n", "joe\\n", "joe ()\\n", 0, "joe", "()"},
      {"/dev/pts/1\\n", "joe\\n", "joe (one\\ntwo) x\\n", 0, "joe", "(one\\ntwo)"},
      {"/dev/pts/1\\n", "joe\\n", "joe one) x (two \\n", 0, "joe", "(two"},
      {"/dev/pts/1\\n", "joe\\n", "joe )(two\\n", 0, "joe", "(two"},
      {"/dev/pts/1\\n", "joe\\n", ")(\\n", 0, "joe", "("},
      {"/dev/pts/1\\n", "joe\\n", "x $(reboot) `id`\\n", 0, "joe", "(reboot)"},
  };
  for (const SessionCase& row : cases) {
    SCOPED_TRACE(std::string(row.tty) + "|" + row.whoami + "|" + row.who);
    runInChild([&row] {
      enterNamespaces(CLONE_NEWNS);
      replaceTools(row.tty, row.whoami, row.who);
      std::string user = "before";
      std::string address = "before";
      EXPECT_EQ(row.result, VexaCommonUtils::getSessionDetails(user, address));
      EXPECT_EQ(row.user, user);
      std::string expected = row.address;
      if (const auto at = expected.find("\\n"); at != std::string::npos)
        expected.replace(at, 2, "\n");
      EXPECT_EQ(expected, address);
    });
  }
}

TEST(SessionDetails, FailWhenAToolIsMissing) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    const commutil_test::CapturedOutput quiet(2);
    replaceTools("/dev/pts/1", "joe", "x (host)");
    ASSERT_EQ(0, ::chmod("/usr/bin/who", 0644));  // the fake cannot be run
    std::string user = "before";
    std::string address = "before";
    EXPECT_EQ(-1, VexaCommonUtils::getSessionDetails(user, address));
    EXPECT_EQ("joe", user);
    EXPECT_EQ("before", address);
    ASSERT_EQ(0, ::chmod("/usr/bin/tty", 0644));
    user = "before";
    EXPECT_EQ(-1, VexaCommonUtils::getSessionDetails(user, address));
    EXPECT_EQ("before", user);
  });
}

}  // namespace
