#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/threads.h"

namespace {

using commutil_test::fakeStore;
using commutil_test::InstalledStore;
using commutil_test::inThreads;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::StoreAnswer;
using commutil_test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

/// A deployment of three empty trees that the environment names.
class Switches : public testing::Test {
 protected:
  void writeSettings(std::string_view content) const {
    m_dir.write("app/conf/setting.cfg", content);
  }

  TempDir m_dir;

 private:
  ScopedEnv m_share{"_APP_SHARE_DIR", m_dir / "share"};
  ScopedEnv m_app{"APP_ROOT", m_dir / "app"};
  ScopedEnv m_common{"COMMON_LIB_PATH", m_dir / "common"};
  ScopedEnv m_name{"APP_NAME", "gateway"};
  ScopedEnv m_commonShare{"COMMON_SHARE_PATH", m_dir / "ts"};
};

// Listen switches

struct ListenSwitch {
  const char* parameter;
  bool (*isOn)();
};

const ListenSwitch kListenSwitches[] = {
    {"ListenAllIp", VexaCommonUtils::isListenAllIp},
    {"ListenLoopbackIP", VexaCommonUtils_i::isListenLoopback},
};

struct FileSwitch {
  const char* name;
  const char* settings;  ///< "@" is replaced by the parameter
  bool on;
  bool asksStore;
};

const FileSwitch kFileSwitches[] = {
    {"enabled", "[IP]\n@=enable\n", true, false},
    {"disabled", "[IP]\n@=disable\n", false, false},
    {"capital", "[IP]\n@=Enable\n", false, false},
    {"all capitals", "[IP]\n@=ENABLE\n", false, false},
    {"more", "[IP]\n@=enabled\n", false, false},
    {"less", "[IP]\n@=enabl\n", false, false},
    {"another word", "[IP]\n@=true\n", false, false},
    {"quoted", "[IP]\n@=\"enable\"\n", false, false},
    {"spaces around", "[IP]\n @ = enable \n", true, false},
    {"CRLF", "[IP]\r\n@=enable\r\n", true, false},
    {"byte-order mark", "\xef\xbb\xbf[IP]\n@=enable\n", true, false},
    {"repeated key", "[IP]\n@=enable\n@=disable\n", true, false},
    {"repeated section", "[IP]\n@=disable\n[IP]\n@=enable\n", false, false},
    {"empty value", "[IP]\n@=\n", false, true},
    {"key missing", "[IP]\nother=enable\n", false, true},
    {"longer key", "[IP]\n@x=enable\n", false, true},
    {"no section", "@=enable\n", false, true},
    {"another section", "[TS]\n@=enable\n", false, true},
    {"section without its bracket", "[IP\n@=enable\n", false, true},
    {"section in another case", "[ip]\n@=enable\n", false, true},
    {"commented out", "[IP]\n;@=enable\n", false, true},
    {"empty file", "", false, true},
    {"binary bytes", "\x01\xff\xfe[IP\x80]\n=\n\n]@[\n", false, true},
};

TEST_F(Switches, TheFileDecidesListenSwitchesFirst) {
  const InstalledStore store("full");
  for (const ListenSwitch& listen : kListenSwitches) {
    const std::string tree = "/vexa/common/setting_cfg/";
    for (const FileSwitch& row : kFileSwitches) {
      SCOPED_TRACE(std::string(listen.parameter) + ": " + row.name);
      std::string settings;
      for (const char* c = row.settings; *c != '\0'; ++c)
        settings += *c == '@' ? std::string(listen.parameter) : std::string(1, *c);
      writeSettings(settings);
      runInChild([&] {
        EXPECT_EQ(row.on, listen.isOn());
        if (row.asksStore) {
          EXPECT_THAT(fakeStore().asked, ElementsAre(tree + "gateway/" + listen.parameter,
                                                     tree + "global/" + listen.parameter));
        } else {
          EXPECT_THAT(fakeStore().asked, IsEmpty());
        }
      });
    }
  }
}

/// A store's results for the application's and the global key; none is "no such key".
struct StoreSwitch {
  const char* name;
  std::optional<StoreAnswer> application;
  std::optional<StoreAnswer> global;
  bool on;
  bool asksGlobal;
};

const StoreSwitch kListenStores[] = {
    {"nothing", {}, {}, false, true},
    {"application", {{0, "enable"}}, {}, true, false},
    {"application over global", {{0, "disable"}}, {{0, "enable"}}, false, false},
    {"global", {}, {{0, "enable"}}, true, true},
    {"global says no", {}, {{0, "disable"}}, false, true},
    {"capital", {{0, "Enable"}}, {{0, "enable"}}, false, false},
    {"application is empty", {{0, ""}}, {{0, "enable"}}, true, true},
    {"application succeeds without writing", {{0, std::nullopt}}, {{0, "enable"}}, true, true},
    {"application fails after writing, global is off", {{1, "enable"}}, {{0, "no"}}, false, true},
    // The second result is not tested and nothing is cleared: what a failing lookup writes counts.
    {"application fails after writing, no global", {{1, "enable"}}, {}, true, true},
    {"global fails having written", {}, {{1, "enable"}}, true, true},
    {"global succeeds without writing", {{1, "enable"}}, {{0, std::nullopt}}, true, true},
    {"global empties it", {{1, "enable"}}, {{0, ""}}, false, true},
};

TEST_F(Switches, TheStoreDecidesListenSwitchesThatTheFileLeavesOpen) {
  const InstalledStore store("full");
  writeSettings("[IP]\nListenAllIp=\n");
  for (const ListenSwitch& listen : kListenSwitches) {
    for (const StoreSwitch& row : kListenStores) {
      SCOPED_TRACE(std::string(listen.parameter) + ": " + row.name);
      runInChild([&] {
        const std::string application =
            std::string("/vexa/common/setting_cfg/gateway/") + listen.parameter;
        const std::string global =
            std::string("/vexa/common/setting_cfg/global/") + listen.parameter;
        if (row.application) fakeStore().answers[application] = *row.application;
        if (row.global) fakeStore().answers[global] = *row.global;
        EXPECT_EQ(row.on, listen.isOn());
        if (row.asksGlobal) {
          EXPECT_THAT(fakeStore().asked, ElementsAre(application, global));
        } else {
          EXPECT_THAT(fakeStore().asked, ElementsAre(application));
        }
      });
    }
  }
}

TEST_F(Switches, WithoutAReadableFileNoListenSwitchIsOnAndTheStoreIsNotRead) {
  const InstalledStore store("full");
  const auto expectOff = [] {
    for (const ListenSwitch& listen : kListenSwitches) {
      for (const char* const branch : {"gateway/", "global/"}) {
        const std::string tree = std::string("/vexa/common/setting_cfg/") + branch;
        fakeStore().answers[tree + listen.parameter] = {0, "enable"};
      }
      EXPECT_FALSE(listen.isOn());
    }
    EXPECT_THAT(fakeStore().asked, IsEmpty());
  };
  {
    SCOPED_TRACE("no file");
    runInChild(expectOff);
  }
  {
    SCOPED_TRACE("a directory");
    m_dir.write("share/conf/setting.cfg/file", "");
    runInChild(expectOff);
    std::filesystem::remove_all(m_dir / "share");
  }
  SCOPED_TRACE("a file that this user may not read");
  writeSettings("[IP]\nListenAllIp=enable\nListenLoopbackIP=enable\n");
  ASSERT_EQ(0, ::chmod((m_dir / "app/conf/setting.cfg").c_str(), 0));
  ASSERT_EQ(0, ::chmod(m_dir.path().c_str(), 0755));
  runInChild([&] {
    ASSERT_TRUE(::geteuid() != 0 || ::setuid(65'534) == 0);
    expectOff();
  });
}

TEST_F(Switches, ListenSwitchesWithoutAStoreAreOff) {
  const TempDir empty;
  writeSettings("[IP]\n");
  runInChild([&] {
    ASSERT_EQ(0, ::chdir(empty.path().c_str()));
    for (const ListenSwitch& listen : kListenSwitches) EXPECT_FALSE(listen.isOn());
  });
}

TEST_F(Switches, ListenSwitchesAreReadOnEveryCall) {
  const InstalledStore store("full");
  runInChild([&] {
    for (const ListenSwitch& listen : kListenSwitches) {
      writeSettings(std::string("[IP]\n") + listen.parameter + "=enable\n");
      EXPECT_TRUE(listen.isOn());
      writeSettings(std::string("[IP]\n") + listen.parameter + "=disable\n");
      EXPECT_FALSE(listen.isOn());
      writeSettings("[IP]\n");
      fakeStore().answers[std::string("/vexa/common/setting_cfg/gateway/") + listen.parameter] = {
          0, "enable"};
      EXPECT_TRUE(listen.isOn());
      std::filesystem::remove(m_dir / "app/conf/setting.cfg");
      EXPECT_FALSE(listen.isOn());
    }
  });
}

TEST_F(Switches, AnUnsetApplicationNameLeavesItsPlaceInTheKeyEmpty) {
  const InstalledStore store("full");
  writeSettings("");
  runInChild([] {
    const ScopedEnv unset("APP_NAME", std::nullopt);
    VexaCommonUtils::isListenAllIp();
    VexaCommonUtils_i::isCorbaSSLOnly();
    EXPECT_THAT(fakeStore().asked, ElementsAre("/vexa/common/setting_cfg//ListenAllIp",
                                               "/vexa/common/setting_cfg/global/ListenAllIp",
                                               "/vexa/common/svc_ssl_conf//SSLNoProtection",
                                               "/vexa/common/svc_ssl_conf/global/SSLNoProtection"));
  });
}

TEST_F(Switches, AHundredMebibytesOfSettingsAreRead) {
  std::string settings = "[Other]\n";
  settings.reserve(101U << 20U);
  const std::string line = std::string(100, 'k') + "=" + std::string(4000, 'v') + "\n";
  while (settings.size() < 100U << 20U) settings += line;
  writeSettings(settings + "[IP]\nListenAllIp=enable\n");
  EXPECT_TRUE(VexaCommonUtils::isListenAllIp());
}

// CORBA protection

const StoreSwitch kProtectionStores[] = {
    {"nothing", {}, {}, true, true},
    {"application says disable", {{0, "disable"}}, {{0, "enable"}}, true, false},
    {"application says enable", {{0, "enable"}}, {{0, "disable"}}, false, false},
    {"global says disable", {}, {{0, "disable"}}, true, true},
    {"global says enable", {}, {{0, "enable"}}, false, true},
    {"capital", {{0, "Disable"}}, {{0, "disable"}}, false, false},
    {"another word", {{0, "no"}}, {}, false, false},
    {"application is empty, nothing global", {{0, ""}}, {}, false, true},
    {"application is empty, global says disable", {{0, ""}}, {{0, "disable"}}, true, true},
    // The value starts as "disable" and is never cleared: a store that succeeds without writing
    // returns a nonempty value, and what a failing lookup writes counts.
    {"application succeeds without writing", {{0, std::nullopt}}, {{0, "enable"}}, true, false},
    {"application fails after writing, no global", {{1, "enable"}}, {}, false, true},
    {"application fails having written, global disables",
     {{1, "enable"}},
     {{0, "disable"}},
     true,
     true},
    {"global fails having written", {}, {{1, "enable"}}, false, true},
    {"global succeeds without writing", {{1, "enable"}}, {{0, std::nullopt}}, false, true},
    {"global is empty", {}, {{0, ""}}, false, true},
    {"global fails, emptying it", {}, {{1, ""}}, false, true},
};

TEST_F(Switches, TheStoreDecidesWhetherCorbaIsProtected) {
  const InstalledStore store("full");
  const std::string application = "/vexa/common/svc_ssl_conf/gateway/SSLNoProtection";
  const std::string global = "/vexa/common/svc_ssl_conf/global/SSLNoProtection";
  for (auto* const isCorbaSSLOnly :
       {&VexaCommonUtils_i::isCorbaSSLOnly, &VexaCommonUtils::isCorbaSSLOnly}) {
    for (const StoreSwitch& row : kProtectionStores) {
      SCOPED_TRACE(row.name);
      runInChild([&] {
        if (row.application) fakeStore().answers[application] = *row.application;
        if (row.global) fakeStore().answers[global] = *row.global;
        for (int call = 0; call < 2; ++call) {
          fakeStore().asked.clear();
          EXPECT_EQ(row.on, isCorbaSSLOnly());
          if (row.asksGlobal) {
            EXPECT_THAT(fakeStore().asked, ElementsAre(application, global));
          } else {
            EXPECT_THAT(fakeStore().asked, ElementsAre(application));
          }
        }
      });
    }
  }
}

TEST_F(Switches, CorbaIsProtectedWithoutAStore) {
  const TempDir empty;
  runInChild([&] {
    ASSERT_EQ(0, ::chdir(empty.path().c_str()));
    EXPECT_TRUE(VexaCommonUtils_i::isCorbaSSLOnly());
    EXPECT_TRUE(VexaCommonUtils::isCorbaSSLOnly());
  });
}

TEST_F(Switches, CorbaProtectionIsReadOnEveryCall) {
  const InstalledStore store("full");
  runInChild([] {
    EXPECT_TRUE(VexaCommonUtils_i::isCorbaSSLOnly());
    fakeStore().answers["/vexa/common/svc_ssl_conf/global/SSLNoProtection"] = {0, "enable"};
    EXPECT_FALSE(VexaCommonUtils_i::isCorbaSSLOnly());
    const ScopedEnv other("APP_NAME", "other");
    fakeStore().answers["/vexa/common/svc_ssl_conf/other/SSLNoProtection"] = {0, "disable"};
    EXPECT_TRUE(VexaCommonUtils_i::isCorbaSSLOnly());
  });
}

// TS mode

struct TsSetting {
  const char* name;
  const char* content;
  bool on;
};

const TsSetting kTsSettings[] = {
    {"on", "[TS]\nts_mode=true\n", true},
    {"off", "[TS]\nts_mode=false\n", false},
    {"capital", "[TS]\nts_mode=True\n", false},
    {"another word", "[TS]\nts_mode=enable\n", false},
    {"a number", "[TS]\nts_mode=1\n", false},
    {"empty", "[TS]\nts_mode=\n", false},
    {"key missing", "[TS]\nother=true\n", false},
    {"another section", "[IP]\nts_mode=true\n", false},
    {"section without its bracket", "[TS\nts_mode=true\n", false},
    {"empty file", "", false},
    {"CRLF", "[TS]\r\nts_mode=true\r\n", true},
    {"byte-order mark", "\xef\xbb\xbf[TS]\nts_mode=true\n", true},
};

TEST_F(Switches, TheFirstTsModeReadIsCached) {
  for (const TsSetting& row : kTsSettings) {
    SCOPED_TRACE(row.name);
    m_dir.write("ts/etc/conf/TSSetting.cfg", row.content);
    runInChild([&] {
      EXPECT_EQ(row.on, VexaCommonUtils_i::isTsMode());
      m_dir.write("ts/etc/conf/TSSetting.cfg",
                  row.on ? "[TS]\nts_mode=false\n" : "[TS]\nts_mode=true\n");
      EXPECT_EQ(row.on, VexaCommonUtils_i::isTsMode());
      std::filesystem::remove_all(m_dir / "ts");
      EXPECT_EQ(row.on, VexaCommonUtils_i::isTsMode());
    });
  }
}

TEST_F(Switches, TsModeIsOffUntilItsFileCanBeRead) {
  runInChild([&] {
    EXPECT_FALSE(VexaCommonUtils_i::isTsMode());
    m_dir.write("ts/etc/conf/TSSetting.cfg/file", "");
    EXPECT_FALSE(VexaCommonUtils_i::isTsMode());
    std::filesystem::remove_all(m_dir / "ts");
    m_dir.write("elsewhere/etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
    const ScopedEnv moved("COMMON_SHARE_PATH", m_dir / "elsewhere");
    EXPECT_TRUE(VexaCommonUtils_i::isTsMode());
  });
}

TEST_F(Switches, ThreadsMayReadTheTsModeTogether) {
  m_dir.write("ts/etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
  runInChild([] {
    inThreads(10, [](int) {
      for (int call = 0; call < 100; ++call) EXPECT_TRUE(VexaCommonUtils_i::isTsMode());
    });
  });
}

TEST(FixedSwitches, TheVersionIsGlobal) {
  EXPECT_TRUE(VexaCommonUtils::IsGlobalVersion());
  EXPECT_EQ(1, static_cast<int>(VexaCommonUtils::IsGlobalVersion()));
}

}  // namespace
