#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/threads.h"

namespace {

using commutil_test::inThreads;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

/// A deployment of three empty trees, named by the environment.
class Paths : public testing::Test {
 protected:
  TempDir m_dir;

 private:
  ScopedEnv m_share{"_APP_SHARE_DIR", m_dir / "share"};
  ScopedEnv m_app{"APP_ROOT", m_dir / "app"};
  ScopedEnv m_common{"COMMON_LIB_PATH", m_dir / "common"};
  ScopedEnv m_log{"_APP_LOG_DIR", "/logs"};
};

struct Directory {
  const char* name;
  std::string (*get)();
  const char* variable;
};

const Directory kDirectories[] = {
    {"common", VexaCommonUtils::getCommonConfigPath, "COMMON_LIB_PATH"},
    {"config", VexaCommonUtils::getConfigPath, "COMMON_LIB_PATH"},
    {"app", VexaCommonUtils::getAppConfigPath, "APP_ROOT"},
    {"share", VexaCommonUtils::getAPPShareConfigPath, "_APP_SHARE_DIR"},
};

TEST_F(Paths, ComposesTheConfigurationDirectories) {
  for (const Directory& directory : kDirectories) {
    SCOPED_TRACE(directory.name);
    for (const char* const root : {"/opt/root", "relative", "/trailing/", "/", "a b", "$(HOME)"}) {
      const ScopedEnv variable(directory.variable, root);
      EXPECT_EQ(std::string(root) + "/conf", directory.get());
    }
    const ScopedEnv empty(directory.variable, "");
    EXPECT_EQ("/conf", directory.get());
    const ScopedEnv unset(directory.variable, std::nullopt);
    EXPECT_EQ("/conf", directory.get());
  }
}

TEST_F(Paths, SearchesShareThenApplicationThenCommon) {
  const std::string common = m_dir / "common/conf/a.cfg";
  EXPECT_EQ(common, VexaCommonUtils_i::getConfFile("a.cfg")) << "no tree has it";
  m_dir.write("common/conf/a.cfg", "");
  EXPECT_EQ(common, VexaCommonUtils_i::getConfFile("a.cfg"));
  const std::string app = m_dir.write("app/conf/a.cfg", "");
  EXPECT_EQ(app, VexaCommonUtils_i::getConfFile("a.cfg"));
  const std::string share = m_dir.write("share/conf/a.cfg", "");
  EXPECT_EQ(share, VexaCommonUtils_i::getConfFile("a.cfg"));
}

TEST_F(Paths, FindsWhateverExistsUnderTheName) {
  ::mkdir((m_dir / "share").c_str(), 0755);
  ::mkdir((m_dir / "share/conf").c_str(), 0755);
  ::mkdir((m_dir / "share/conf/a.cfg").c_str(), 0755);
  EXPECT_EQ(m_dir / "share/conf/a.cfg", VexaCommonUtils_i::getConfFile("a.cfg"));
  EXPECT_EQ(m_dir.path().string() + "/share/conf/", VexaCommonUtils_i::getConfFile(""));
}

TEST_F(Paths, FindsAFileThatCannotBeRead) {
  const std::string share = m_dir.write("share/conf/a.cfg", "");
  ASSERT_EQ(0, ::chmod(share.c_str(), 0));
  ASSERT_EQ(0, ::chmod(m_dir.path().c_str(), 0755));
  runInChild([&] {
    ASSERT_TRUE(::geteuid() != 0 || ::setuid(65'534) == 0);
    EXPECT_EQ(share, VexaCommonUtils_i::getConfFile("a.cfg"));
  });
}

TEST_F(Paths, SkipsADanglingLink) {
  const std::string app = m_dir.write("app/conf/a.cfg", "");
  m_dir.write("share/conf/other", "");
  ASSERT_EQ(0, ::symlink("missing", (m_dir / "share/conf/a.cfg").c_str()));
  EXPECT_EQ(app, VexaCommonUtils_i::getConfFile("a.cfg"));
}

TEST_F(Paths, AppendsTheFileNameUnchanged) {
  const std::string root = m_dir.path().string();
  m_dir.write("app/conf/sub/a.cfg", "");
  EXPECT_EQ(root + "/app/conf/sub/a.cfg", VexaCommonUtils_i::getConfFile("sub/a.cfg"));
  EXPECT_EQ(root + "/app/conf/../conf/sub/a.cfg",
            VexaCommonUtils_i::getConfFile("../conf/sub/a.cfg"));
  EXPECT_EQ(root + "/common/conf//b", VexaCommonUtils_i::getConfFile("/b"));
}

TEST_F(Paths, UnsetRootsGiveRootLevelCandidates) {
  const ScopedEnv share("_APP_SHARE_DIR", std::nullopt);
  const ScopedEnv app("APP_ROOT", std::nullopt);
  const ScopedEnv common("COMMON_LIB_PATH", std::nullopt);
  EXPECT_EQ("/conf/no such file", VexaCommonUtils_i::getConfFile("no such file"));
}

struct Trace {
  const char* name;
  const char* settings;
  const char* result;
};

const Trace kTraces[] = {
    {"directory", "[TraceDir]\ntracedir=/trace\n", "/trace/"},
    {"directory with its slash", "[TraceDir]\ntracedir=/trace/\n", "/trace/"},
    {"root", "[TraceDir]\ntracedir=/\n", "/"},
    {"relative", "[TraceDir]\ntracedir=trace\n", "trace/"},
    {"reference", "[TraceDir]\ntracedir=${_APP_LOG_DIR}/trace\n", "/logs/trace/"},
    {"reference whose value ends with the slash", "[TraceDir]\ntracedir=${SLASHED}\n", "/slashed/"},
    {"reference to an unset variable", "[TraceDir]\ntracedir=${NOPE}\n", "${NOPE}/"},
    {"other syntaxes", "[TraceDir]\ntracedir=$(HOME)%HOME%\n", "$(HOME)%HOME%/"},
    {"empty value", "[TraceDir]\ntracedir=\n", "/logs/log/"},
    {"key missing", "[TraceDir]\nother=/trace\n", "/logs/log/"},
    {"key in another section", "[IP]\ntracedir=/trace\n", "/logs/log/"},
    {"key in another case", "[TraceDir]\nTraceDir=/trace\n", "/logs/log/"},
    {"section without its bracket", "[TraceDir\ntracedir=/trace\n", "/logs/log/"},
    {"empty file", "", "/logs/log/"},
    {"CRLF", "[TraceDir]\r\ntracedir=/trace\r\n", "/trace/"},
    {"byte-order mark", "\xef\xbb\xbf[TraceDir]\ntracedir=/trace\n", "/trace/"},
    {"repeated key", "[TraceDir]\ntracedir=/first\ntracedir=/second\n", "/first/"},
    {"quotes", "[TraceDir]\ntracedir=\"/trace\"\n", "\"/trace\"/"},
};

TEST_F(Paths, FindsTheTraceDirectory) {
  const ScopedEnv slashed("SLASHED", "/slashed/");
  const ScopedEnv unset("NOPE", std::nullopt);
  for (const Trace& trace : kTraces) {
    SCOPED_TRACE(trace.name);
    m_dir.write("app/conf/setting.cfg", trace.settings);
    runInChild([&] {
      EXPECT_EQ(trace.result, VexaCommonUtils::getTracePath());
      // A result read from a settings file is cached.
      m_dir.write("app/conf/setting.cfg", "[TraceDir]\ntracedir=/changed\n");
      const ScopedEnv log("_APP_LOG_DIR", "/changed");
      EXPECT_EQ(trace.result, VexaCommonUtils::getTracePath());
    });
  }
}

TEST_F(Paths, TracesBelowTheLogDirectoryUntilThereAreSettings) {
  runInChild([&] {
    EXPECT_EQ("/logs/log/", VexaCommonUtils::getTracePath());
    const ScopedEnv log("_APP_LOG_DIR", "/elsewhere");
    EXPECT_EQ("/elsewhere/log/", VexaCommonUtils::getTracePath());
    const ScopedEnv unset("_APP_LOG_DIR", std::nullopt);
    EXPECT_EQ("/log/", VexaCommonUtils::getTracePath());
    m_dir.write("common/conf/setting.cfg", "[TraceDir]\ntracedir=/trace");
    EXPECT_EQ("/trace/", VexaCommonUtils::getTracePath());
    ::unlink((m_dir / "common/conf/setting.cfg").c_str());
    EXPECT_EQ("/trace/", VexaCommonUtils::getTracePath());
  });
}

TEST_F(Paths, ADirectoryInsteadOfTheSettingsFileIsTriedAgain) {
  m_dir.write("share/conf/setting.cfg/file", "");
  runInChild([&] {
    EXPECT_EQ("/logs/log/", VexaCommonUtils::getTracePath());
    std::filesystem::remove_all(m_dir / "share/conf/setting.cfg");
    m_dir.write("share/conf/setting.cfg", "[TraceDir]\ntracedir=/trace");
    EXPECT_EQ("/trace/", VexaCommonUtils::getTracePath());
  });
}

TEST_F(Paths, ThreadsGetOneTraceDirectory) {
  m_dir.write("app/conf/setting.cfg", "[TraceDir]\ntracedir=/trace\n");
  runInChild([] {
    inThreads(10, [](int) {
      for (int n = 0; n < 100; ++n) EXPECT_EQ("/trace/", VexaCommonUtils::getTracePath());
    });
  });
}

TEST_F(Paths, DumpsLocksWhereTheVariableSays) {
  const ScopedEnv unset("VEXA_DUMP_ALL_LOCKS_FILE", std::nullopt);
  EXPECT_EQ("/tmp/lockInfo.dump", VexaCommonUtils::getDumpAllLocksFile());
  const ScopedEnv empty("VEXA_DUMP_ALL_LOCKS_FILE", "");
  EXPECT_EQ("", VexaCommonUtils::getDumpAllLocksFile());
  const ScopedEnv set("VEXA_DUMP_ALL_LOCKS_FILE", "locks.txt");
  EXPECT_EQ("locks.txt", VexaCommonUtils::getDumpAllLocksFile());
}

}  // namespace
