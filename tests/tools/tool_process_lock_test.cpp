// commutil lock.
#include <VexaLocks.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::ScopedEnv;
using Words = std::vector<std::string>;

Words lockLine(const Words& options, const Words& command) {
  Words words{"lock", "job", "--dir", "/lock/"};
  words.insert(words.end(), options.begin(), options.end());
  words.emplace_back("--");
  words.insert(words.end(), command.begin(), command.end());
  return words;
}

TEST(Lock, RunsTheCommandAndReturnsItsExitCode) {
  const Deployment deployment;
  const struct {
    Words command;
    int code;
    std::string out;
  } rows[] = {
      {{"echo", "a  b", "--json"}, 0, "a  b --json\n"},
      {{"sh", "-c", "exit 9"}, 9, ""},
      {{"sh", "-c", "kill -9 $$"}, 4, ""},
      {{"nosuch"}, 127, ""},
      {{"/etc/passwd"}, 126, ""},
      {{"cat"}, 0, "input"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.command.front());
    const ProcessResult result = deployment.run(lockLine({}, row.command), "input");
    EXPECT_EQ(row.code, result.code);
    EXPECT_EQ(row.out, result.out);
  }
  EXPECT_TRUE(std::filesystem::exists(deployment / "share/lock/job_PROCESSMUTEX"));
}

TEST(Lock, HoldsTheLockMeanwhileAndOnlyThen) {
  const Deployment deployment;
  const std::string tool = deployment.tool();
  const Words inner{tool, "lock", "job", "--dir", "/lock/", "--", "true"};
  const ProcessResult nested = deployment.run(lockLine({}, inner));
  EXPECT_EQ(75, nested.code);
  EXPECT_EQ("commutil: the lock job is held by another process\n", nested.err);
  EXPECT_EQ(0, deployment.run(lockLine({}, {"true"})).code);
}

/// Holds the lock in this process for a scope.
class Holder {
 public:
  explicit Holder(const Deployment& deployment)
      : m_share("_APP_SHARE_DIR", deployment / "share"), m_lock("job", "/lock/") {
    EXPECT_EQ(0, m_lock.EnterProcessMutex());
  }
  ~Holder() { m_lock.ExitProcessMutex(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

 private:
  ScopedEnv m_share;
  VexaProcessLock m_lock;
};

TEST(Lock, HasASeparateExitCodeForAHeldLock) {
  const Deployment deployment;
  const Holder holder(deployment);
  const struct {
    Words options;
    std::string out;
  } rows[] = {
      {{}, ""},
      {{"--wait", "0", "--message", "busy"}, "busy\n"},
      {{"--wait", "1"}, "Waiting for the lock.\nWaiting for the lock.\n"},
      {{"--wait", "9", "--message", std::string(1023, 'x')}, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.options));
    const ProcessResult result = deployment.run(lockLine(row.options, {"echo", "ran"}));
    EXPECT_EQ(75, result.code);
    EXPECT_EQ(row.out, result.out);
    EXPECT_EQ("commutil: the lock job is held by another process\n", result.err);
  }
}

TEST(Lock, WaitsForAFreeLockWithoutAMessage) {
  const ProcessResult result = Deployment().run(lockLine({"--wait", "5"}, {"echo", "ran"}));
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("ran\n", result.out);
}

TEST(Lock, RefusesADirectoryWithoutBothSlashes) {
  const Deployment deployment;
  const std::string share = deployment / "share";
  const std::string meant = share + "/lock/job_PROCESSMUTEX\n";
  const struct {
    std::string directory;
    std::string file;
  } rows[] = {{"lock", share + "lockjob_PROCESSMUTEX"},
              {"/lock", share + "/lockjob_PROCESSMUTEX"},
              {"lock/", share + "lock/job_PROCESSMUTEX"}};
  for (const auto& row : rows) {
    const ProcessResult result =
        deployment.run({"lock", "job", "--dir", row.directory, "--", "echo", "ran"});
    EXPECT_EQ(2, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("commutil: --dir " + row.directory +
                  ": a slash is missing at its start or end; the lock file would be " + row.file +
                  ", and with --dir /lock/ " + meant,
              result.err);
    EXPECT_FALSE(std::filesystem::exists(row.file));
  }
  EXPECT_EQ(2, deployment.run({"lock", "job", "--dir", "", "--", "true"}).code);
  EXPECT_EQ(0, deployment.run({"lock", "job", "--dir", "/", "--", "true"}).code);
  EXPECT_TRUE(std::filesystem::exists(share + "/job_PROCESSMUTEX"));
}

TEST(Lock, SaysWhyTheLockCannotBeTaken) {
  Deployment deployment;
  const ProcessResult missing =
      deployment.run({"lock", "job", "--dir", "/no/parent/", "--", "echo", "ran"});
  EXPECT_EQ(1, missing.code);
  EXPECT_EQ("commutil: the lock job cannot be taken: " +
                (deployment / "share/no/parent/job_PROCESSMUTEX: No such file or directory\n"),
            missing.err);
  deployment.environment["_APP_SHARE_DIR"] = std::nullopt;
  for (const Words& options : {Words{}, Words{"--wait", "5"}}) {
    const ProcessResult result = deployment.run(lockLine(options, {"echo", "ran"}));
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("Getting the envionment variable _APP_SHARE_DIR failed.\n", result.out);
    EXPECT_EQ("commutil: the lock job cannot be taken: _APP_SHARE_DIR is not set\n", result.err);
  }
}

}  // namespace
