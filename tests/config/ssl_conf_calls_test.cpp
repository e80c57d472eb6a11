// How the SSL option file is written and closed. This program replaces write(2) and close(2).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>

#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/c_library.h"
#include "support/fixtures.h"

namespace {

using commutil_test::cLibrary;

constexpr std::string_view kName = "/svc_ssl_7.conf";

bool interruptsClose = false;
int writes = 0;
int writesThatExecWouldKeep = 0;  // to a descriptor that is not close-on-exec
int closes = 0;

bool isOptionFile(int fd) {
  std::array<char, PATH_MAX> path{};
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  const ssize_t size = ::readlink(link.c_str(), path.data(), path.size());
  const std::string_view target(path.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
  return target.size() >= kName.size() && target.substr(target.size() - kName.size()) == kName;
}

}  // namespace

extern "C" {

ssize_t write(int fd, const void* bytes, std::size_t count) {
  static auto* const real = cLibrary<ssize_t(int, const void*, std::size_t)>("write");
  if (isOptionFile(fd)) {
    ++writes;
    if ((::fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0) ++writesThatExecWouldKeep;
  }
  return real(fd, bytes, count);
}

int close(int fd) {
  static auto* const real = cLibrary<int(int)>("close");
  if (!isOptionFile(fd)) return real(fd);
  ++closes;
  const int result = real(fd);
  if (!interruptsClose) return result;
  errno = EINTR;
  return -1;
}
}

namespace {

using commutil_test::InstalledStore;
using commutil_test::openDescriptors;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

class SslConfCalls : public testing::Test {
 protected:
  SslConfCalls() {
    std::filesystem::create_directory(m_dir / "share");
    m_dir.write("app/conf/svc_ssl.conf", "\"-SSLCAfile a\"");
  }

  /// Generates the file, and expects that it exists.
  void generate() const {
    EXPECT_EQ(m_target, VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf"));
    EXPECT_EQ("\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"", readFile(m_target));
  }

 private:
  const TempDir m_dir;
  const std::string m_target = m_dir / "share/svc_ssl_7.conf";
  const InstalledStore m_store{"full"};
  const ScopedEnv m_share{"_APP_SHARE_DIR", m_dir / "share"};
  const ScopedEnv m_app{"APP_ROOT", m_dir / "app"};
  const ScopedEnv m_instance{"PROCESS_INSTANCE_ID", "7"};
};

TEST_F(SslConfCalls, TheFileIsCloseOnExecWhileItIsWritten) {
  runInChild([this] {
    generate();
    EXPECT_LT(0, writes);
    EXPECT_EQ(0, writesThatExecWouldKeep);
  });
}

TEST_F(SslConfCalls, AnInterruptedCloseCountsAsDone) {
  runInChild([this] {
    const std::size_t before = openDescriptors();
    interruptsClose = true;
    generate();
    interruptsClose = false;
    EXPECT_EQ(1, closes) << "another file may have the number by now";
    EXPECT_EQ(before, openDescriptors());
  });
}

}  // namespace
