// Configuration files that are not regular: a FIFO or a device counts as unreadable, the null
// device as empty.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <list>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

/// An empty directory for each configuration file, and the variables that name them.
class ConfigurationKinds : public ::testing::Test {
 protected:
  ConfigurationKinds() {
    for (const char* const name : {"conf", "etc/conf", "etc/sysconf"})
      std::filesystem::create_directories(m_dir.path() / name);
  }

  /// Creates every configuration file by `make`, and runs `body` in a child with a time limit.
  template <class Make, class Body>
  void with(const Make& make, const Body& body) {
    for (const char* const name : {"conf/setting.cfg", "conf/secure.cfg", "conf/app.json",
                                   "etc/conf/TSSetting.cfg", "etc/sysconf/nodelists.json"}) {
      std::filesystem::remove(m_dir / name);
      ASSERT_EQ(0, make((m_dir / name).c_str())) << name;
    }
    runInChild([&body] {
      ::alarm(60);
      body();
    });
  }

  TempDir m_dir;

 private:
  ScopedEnv m_share{"_APP_SHARE_DIR", m_dir.path().string()};
  ScopedEnv m_common{"COMMON_SHARE_PATH", m_dir.path().string()};
  ScopedEnv m_root{"QORV_ROOT", m_dir.path().string()};
  ScopedEnv m_application{"APP_CONF_FILE", m_dir / "conf/app.json"};
  ScopedEnv m_log{"_APP_LOG_DIR", "/srv/app"};
};

int makeFifo(const char* path) { return ::mkfifo(path, 0600); }
int linkToZero(const char* path) { return ::symlink("/dev/zero", path); }
int linkToNull(const char* path) { return ::symlink("/dev/null", path); }
int makeFolder(const char* path) { return ::mkdir(path, 0755); }

TEST_F(ConfigurationKinds, NothingButAFileIsRead) {
  for (const auto make : {makeFifo, linkToZero, makeFolder}) {
    with(make, [this] {
      EXPECT_FALSE(VexaCommonUtils::isListenAllIp());
      EXPECT_FALSE(VexaCommonUtils_i::isListenLoopback());
      EXPECT_FALSE(VexaCommonUtils_i::isTsMode());
      EXPECT_EQ("/srv/app/log/", VexaCommonUtils::getTracePath());
      EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
      std::list<std::string> addresses{"before"};
      EXPECT_EQ(-1, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
      EXPECT_EQ(1U, addresses.size());
      CapturedOutput error(STDERR_FILENO);
      EXPECT_TRUE(VexaCommonUtils_i::checkUnSafeStr("text"));
      EXPECT_EQ("file open fail, " + (m_dir / "conf/secure.cfg") + "\n", error.stop());
    });
  }
}

TEST_F(ConfigurationKinds, TheNullDeviceIsAnEmptyFile) {
  with(linkToNull, [this] {
    EXPECT_FALSE(VexaCommonUtils_i::isTsMode());
    EXPECT_EQ("/srv/app/log/", VexaCommonUtils::getTracePath());
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
    std::list<std::string> addresses;
    EXPECT_EQ(-1, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
    CapturedOutput error(STDERR_FILENO);
    EXPECT_TRUE(VexaCommonUtils_i::checkUnSafeStr("text"));
    EXPECT_EQ("", error.stop()) << "the list could be read";
    // Results of readable files are cached, whatever replaces the files later.
    std::filesystem::remove(m_dir / "conf/setting.cfg");
    std::filesystem::remove(m_dir / "etc/conf/TSSetting.cfg");
    m_dir.write("conf/setting.cfg", "[TraceDir]\ntracedir=/srv/other\n");
    m_dir.write("etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
    EXPECT_EQ("/srv/app/log/", VexaCommonUtils::getTracePath());
    EXPECT_FALSE(VexaCommonUtils_i::isTsMode());
  });
}

}  // namespace
