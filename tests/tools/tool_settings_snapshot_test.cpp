// commutil settings on a snapshot: what it shows, checks and writes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "os/handles.h"
#include "settings_snapshot/snapshot.h"
#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::runUntilCall;
using settings::readSnapshot;
using settings::Snapshot;
using settings::writeSnapshot;
using testing::HasSubstr;
using Words = std::vector<std::string>;

const std::string kListenAll = "/vexa/common/setting_cfg/global/ListenAllIp";
const std::string kGateway = "/vexa/common/setting_cfg/gateway/ListenAllIp";
const std::string kVersion = "/vexa/common/svc_ssl_conf/global/SSLVersion";

class ToolSnapshot : public testing::Test {
 protected:
  ToolSnapshot() {
    m_deployment.environment["SETTINGREST_URL"] = "snapshot://" + m_path;
    writeSnapshot(m_path,
                  {{7, 42, 1000}, {{kListenAll, "disable", 40}, {kVersion, "TLSv1.3", 41}}});
  }

  ProcessResult run(Words words, const std::string& input = "") const {
    words.insert(words.begin(), "settings");
    return m_deployment.run(words, input);
  }

  std::string changed(const std::string& change) const { return m_path + "\n  " + change + "\n"; }

  Deployment m_deployment;
  const std::string m_path = m_deployment / "settings.snap";
};

TEST_F(ToolSnapshot, ShowsValuesAndGroups) {
  EXPECT_EQ("disable\n", run({"show", "ListenAllIp"}).out);
  EXPECT_EQ("TLSv1.3\n", run({"show", kVersion}).out);
  EXPECT_EQ(kVersion + "  TLSv1.3\n", run({"show", "/vexa/common/svc_ssl_conf/global/"}).out);
  EXPECT_EQ(1, run({"show", "ListenAllIp", "--app", "gateway"}).code);
}

TEST_F(ToolSnapshot, PutsAndDeletes) {
  ProcessResult result = run({"put", "ListenAllIp", "enable"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  EXPECT_EQ(changed(kListenAll + "  \"disable\" -> \"enable\""), result.out);
  EXPECT_EQ("enable\n", run({"show", "ListenAllIp"}).out);
  result = run({"put", "ListenAllIp", "disable", "--app", "gateway"});
  EXPECT_EQ(changed(kGateway + "  (not set) -> \"disable\""), result.out);
  result = run({"delete", "SSLVersion"});
  EXPECT_EQ(changed(kVersion + "  \"TLSv1.3\" -> (not set)"), result.out);
  EXPECT_EQ("commutil: " + kVersion + " is not set\n", run({"delete", "SSLVersion"}).err);
  const Snapshot snapshot = readSnapshot(m_path);
  ASSERT_EQ(2U, snapshot.entries.size());
  EXPECT_EQ(kGateway, snapshot.entries[0].key);
  EXPECT_EQ(44, snapshot.entries[0].revision);
  EXPECT_EQ(kListenAll, snapshot.entries[1].key);
  EXPECT_EQ(43, snapshot.entries[1].revision);
  EXPECT_EQ(45, snapshot.header.revision);
}

/// An agent that finds cluster 0 lists its cluster; one that found its own would go on from a
/// revision that the cluster has given to another change.
TEST_F(ToolSnapshot, WritesASnapshotOfNoCluster) {
  run({"put", "ListenAllIp", "enable"});
  EXPECT_EQ(0U, readSnapshot(m_path).header.clusterId);
}

TEST_F(ToolSnapshot, KeepsUnchangedSettingsAndTheFile) {
  const ProcessResult result = run({"put", "ListenAllIp", "disable"});
  EXPECT_EQ(m_path + ": unchanged\n", result.out);
  EXPECT_EQ(7U, readSnapshot(m_path).header.clusterId);
  run({"put", "ListenAllIp", "enable"});
  EXPECT_EQ(41, readSnapshot(m_path).entries[1].revision);
}

TEST_F(ToolSnapshot, LeavesTheSnapshotOfARunningAgentToIt) {
  const std::string path = m_path + ".agent";
  const commutil::Descriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_EQ(0, run({"put", "ListenAllIp", "enable"}).code) << "no agent has the lock";
  ASSERT_EQ(0, ::flock(lock.get(), LOCK_EX));
  const ProcessResult result = run({"put", "ListenAllIp", "disable"});
  EXPECT_EQ(1, result.code);
  EXPECT_THAT(result.err, HasSubstr(m_path + ": commutil-settings keeps this snapshot"));
  EXPECT_EQ("enable\n", run({"show", "ListenAllIp"}).out);
  EXPECT_EQ(0, run({"import", "--dry-run", "-"}, "{\"" + kVersion + "\": \"TLSv1.2\"}").code);
}

TEST_F(ToolSnapshot, KeepsTheMode) {
  ASSERT_EQ(0, ::chmod(m_path.c_str(), 0640));
  run({"put", "ListenAllIp", "enable"});
  EXPECT_EQ(0640U, commutil_test::modeOf(m_path));
}

TEST_F(ToolSnapshot, FollowsALink) {
  const std::string link = m_deployment / "link.snap";
  std::filesystem::create_symlink("settings.snap", link);
  m_deployment.environment["SETTINGREST_URL"] = "snapshot://" + link;
  EXPECT_EQ(0, run({"put", "ListenAllIp", "enable"}).code);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ("enable", readSnapshot(m_path).entries[0].value);
}

TEST_F(ToolSnapshot, RefusesWhatTheLibraryDoesNotAccept) {
  const std::string before = commutil_test::readFile(m_path);
  const ProcessResult result = run({"put", "ListenAllIp", "enabled"});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ("commutil: " + kListenAll +
                ": \"enabled\": takes enable or disable; did you mean enable? (--force writes "
                "it)\n",
            result.err);
  EXPECT_EQ(before, commutil_test::readFile(m_path));
}

TEST_F(ToolSnapshot, ImportsWhatItExports) {
  const std::string document = run({"export"}).out;
  EXPECT_EQ("{\n  \"" + kListenAll + "\": \"disable\",\n  \"" + kVersion + "\": \"TLSv1.3\"\n}\n",
            document);
  const std::string file =
      m_deployment.write("wanted.json", R"({")" + kGateway + R"(": "enable"})");
  EXPECT_EQ(0, run({"import", file, "--prune"}).code);
  EXPECT_EQ("{\n  \"" + kGateway + "\": \"enable\"\n}\n", run({"export"}).out);
  EXPECT_EQ(0, run({"import", "-", "--prune"}, document).code);
  EXPECT_EQ(document, run({"export"}).out);
}

TEST_F(ToolSnapshot, ImportWritesAFirstSnapshot) {
  const std::string file =
      m_deployment.write("wanted.json", R"({")" + kGateway + R"(": "enable"})");
  std::filesystem::remove(m_path);
  EXPECT_EQ("{}\n", run({"export"}).out);
  EXPECT_EQ(0, run({"import", file}).code);
  EXPECT_EQ("enable\n", run({"show", kGateway}).out);
  EXPECT_EQ(1, readSnapshot(m_path).header.revision);
  EXPECT_EQ(0644U, commutil_test::modeOf(m_path));
}

TEST_F(ToolSnapshot, DryRunWritesNothing) {
  const std::string before = commutil_test::readFile(m_path);
  const std::string file =
      m_deployment.write("wanted.json", R"({")" + kGateway + R"(": "enable"})");
  EXPECT_EQ(0, run({"import", file, "--dry-run"}).code);
  EXPECT_EQ(before, commutil_test::readFile(m_path));
  EXPECT_FALSE(std::filesystem::exists(m_path + ".lock"));
}

TEST_F(ToolSnapshot, ChecksAndImportsSnapshotFiles) {
  EXPECT_EQ(m_path + ": 2 settings, all accepted\n", run({"check", m_path}).out);
  const std::string bad = m_deployment / "bad.snap";
  writeSnapshot(bad, {{}, {{kListenAll, "Enable", 1}}});
  const ProcessResult result = run({"check", bad});
  EXPECT_EQ(1, result.code);
  EXPECT_THAT(result.out, HasSubstr(kListenAll + ": \"Enable\": takes enable or disable"));
  EXPECT_EQ(1, run({"import", bad}).code);
  EXPECT_EQ(0, run({"import", bad, "--force"}).code);
  EXPECT_EQ("Enable\n", run({"show", "ListenAllIp"}).out);
}

TEST_F(ToolSnapshot, SaysWhatIsWrongWithASnapshot) {
  commutil_test::writeFile(m_path, commutil_test::readFile(m_path) + "x");
  for (const Words& words : {Words{"export"}, Words{"put", "ListenAllIp", "enable"}}) {
    const ProcessResult result = run(words);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: " + m_path +
                  ": wrong number of bytes; restore it, or let the agent or an import write it "
                  "again\n",
              result.err);
  }
  EXPECT_EQ("commutil: " + m_path + ": wrong number of bytes\n", run({"check", m_path}).err);
}

TEST_F(ToolSnapshot, RefusesANameThatNoLookupFinds) {
  const std::string file = m_deployment.write("wanted.json", R"({"group": {"": "value"}})");
  const ProcessResult result = run({"import", file, "--force"});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ("commutil: /group/: a snapshot cannot hold a setting of this name\n", result.err);
}

TEST_F(ToolSnapshot, IsWholeWheneverTheWriterIsKilled) {
  const Words put{Deployment::tool(), "settings", "put", "ListenAllIp", "enable"};
  int kills = 0;
  while (runUntilCall(put, m_deployment.environment,
                      {SYS_openat, SYS_flock, SYS_write, SYS_fsync, SYS_rename, SYS_unlink},
                      kills + 1)) {
    ++kills;
    ASSERT_EQ(2U, readSnapshot(m_path).entries.size());
    ASSERT_EQ(0, run({"put", "ListenAllIp", "disable"}).code);
  }
  EXPECT_LT(5, kills);
  EXPECT_EQ("enable", readSnapshot(m_path).entries[0].value);
}

TEST_F(ToolSnapshot, ExplainReadsTheSnapshotAsTheLibraryDoes) {
  const ProcessResult result = m_deployment.run({"explain", "isCorbaSSLOnly"});
  EXPECT_EQ(0, result.code) << result.err;
  writeSnapshot(m_path, {{}, {{kListenAll, "Enable", 1}}});
  EXPECT_THAT(m_deployment.run({"check"}).out,
              HasSubstr(m_path + ": " + kListenAll + " is \"Enable\": takes enable or disable"));
  EXPECT_THAT(m_deployment.run({"report"}).out, HasSubstr(m_path));
  commutil_test::writeFile(m_path, "corrupt");
  EXPECT_THAT(m_deployment.run({"check"}).out,
              HasSubstr(m_path + ": shorter than a snapshot's header; let the settings agent or an "
                                 "import write it again"));
}

}  // namespace
