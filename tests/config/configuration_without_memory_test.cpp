// Reads configuration files with each allocation failing: the right result or an exception, never
// the result for an unreadable file.
#include <gtest/gtest.h>

#include <list>
#include <new>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/failing_allocations.h"
#include "support/fixtures.h"

namespace {

using commutil_test::failEachAllocation;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

/// Expects that `call` returns true or throws std::bad_alloc, whichever allocation fails, and that
/// some failure throws. In a child, because results are cached and SimpleIni leaks.
template <class Call>
void expectRightOrOutOfMemory(const Call& call) {
  runInChild([&call] {
    std::size_t wrong = 0;
    std::size_t thrown = 0;
    failEachAllocation([&] {
      try {
        if (!call()) ++wrong;
      } catch (const std::bad_alloc&) {
        ++thrown;
      }
    });
    EXPECT_EQ(0U, wrong);
    EXPECT_LT(0U, thrown);
    EXPECT_TRUE(call());
  });
}

class ConfigurationWithoutMemory : public ::testing::Test {
 protected:
  ConfigurationWithoutMemory() {
    m_dir.write("conf/setting.cfg",
                "[IP]\nListenAllIp=enable\nListenLoopbackIP=enable\n"
                "[TraceDir]\ntracedir=/srv/traces-of-this-service\n");
    m_dir.write("conf/secure.cfg", "[UnsafeWord]\nword1=rm -rf\n");
    m_dir.write("etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
    m_dir.write("etc/sysconf/nodelists.json",
                R"({"nodeList":{"a":{"extAttr":{"RemoteClient":"true","load":5.25},)"
                R"("IPAddresses":[{"IP":"10.0.0.1"}]}}})");
  }

 private:
  TempDir m_dir;
  ScopedEnv m_share{"_APP_SHARE_DIR", m_dir.path().string()};
  ScopedEnv m_common{"COMMON_SHARE_PATH", m_dir.path().string()};
  ScopedEnv m_root{"QORV_ROOT", m_dir.path().string()};
};

TEST_F(ConfigurationWithoutMemory, AnUnsafeStringIsNotLetThrough) {
  const std::string text = "do rm -rf /";
  expectRightOrOutOfMemory([&text] { return !VexaCommonUtils_i::checkUnSafeStr(text); });
}

TEST_F(ConfigurationWithoutMemory, TheListenSwitchesStayOn) {
  expectRightOrOutOfMemory([] { return VexaCommonUtils::isListenAllIp(); });
  expectRightOrOutOfMemory([] { return VexaCommonUtils_i::isListenLoopback(); });
}

TEST_F(ConfigurationWithoutMemory, TheTsModeStaysOn) {
  expectRightOrOutOfMemory([] { return VexaCommonUtils_i::isTsMode(); });
}

TEST_F(ConfigurationWithoutMemory, TheTraceDirectoryIsNotTheDefault) {
  expectRightOrOutOfMemory(
      [] { return VexaCommonUtils::getTracePath() == "/srv/traces-of-this-service/"; });
}

TEST_F(ConfigurationWithoutMemory, TheNodeListIsNotMalformed) {
  expectRightOrOutOfMemory([] {
    std::list<std::string> addresses;
    return VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses) == 0 && addresses.size() == 1;
  });
}

}  // namespace
