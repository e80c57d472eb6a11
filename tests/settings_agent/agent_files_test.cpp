// The files that the agent keeps: pointer, published snapshots, status, secrets; and when it
// writes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "commutil-settings/endpoint_chooser.h"
#include "commutil-settings/log.h"
#include "commutil-settings/pointer.h"
#include "commutil-settings/publisher.h"
#include "commutil-settings/secret_file.h"
#include "commutil-settings/snapshot_keeper.h"
#include "commutil-settings/status.h"
#include "commutil-settings/systemd_notify.h"
#include "commutil-settings/write_schedule.h"
#include "os/handles.h"
#include "support/fixtures.h"

namespace {

using namespace std::chrono_literals;
using agent::Pointer;
using agent::Publisher;
using agent::WriteSchedule;
using commutil_test::readFile;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kSha = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(Pointers, AreOneLineOfRevisionEpochAndChecksum) {
  EXPECT_EQ(kSha, agent::sha256Of("abc"));
  const Pointer pointer{12, 0, kSha};
  EXPECT_EQ("12 0 " + kSha + "\n", agent::pointerText(pointer));
  EXPECT_EQ(pointer, agent::parsePointer(agent::pointerText(pointer)));
}

TEST(Pointers, AreRefusedIfMalformed) {
  for (const std::string& text :
       {std::string(), kSha, "12 0 " + kSha, "12 0 " + kSha + "\n\n", "12 0 " + kSha + " \n",
        "-1 0 " + kSha + "\n", "1 -1 " + kSha + "\n", "01 0 " + kSha + "\n", " 1 0 " + kSha + "\n",
        "1  0 " + kSha + "\n", "1 0 x" + kSha.substr(1) + "\n", "1 0 A" + kSha.substr(1) + "\n",
        "9223372036854775808 0 " + kSha + "\n", "1 " + kSha + "\n", std::string("\n"),
        std::string(" ")})
    EXPECT_FALSE(agent::parsePointer(text)) << text;
  EXPECT_TRUE(agent::parsePointer("9223372036854775807 1 " + kSha + "\n"));
}

TEST(Pointers, AreNewerByEpochThenRevision) {
  EXPECT_TRUE((Pointer{1, 2, ""}.isNewerThan({9, 1, ""})));
  EXPECT_FALSE((Pointer{9, 1, ""}.isNewerThan({1, 2, ""})));
  EXPECT_TRUE((Pointer{2, 1, ""}.isNewerThan({1, 1, ""})));
  EXPECT_FALSE((Pointer{1, 1, ""}.isNewerThan({1, 1, ""})));
}

std::set<std::string> filesIn(const TempDir& dir) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
    names.insert(entry.path().filename().string());
  return names;
}

TEST(Publishers, KeepTheLastSnapshots) {
  const TempDir dir;
  const Publisher publisher(dir.path().string(), 2);
  for (int revision = 1; revision <= 4; ++revision) {
    publisher.publish("content " + std::to_string(revision), revision);
    const auto age = std::chrono::seconds(10 - revision);
    std::filesystem::last_write_time(dir / agent::publishedName(revision),
                                     std::filesystem::file_time_type::clock::now() - age);
  }
  EXPECT_THAT(filesIn(dir), ElementsAre("current", "settings-3.snap", "settings-4.snap"));
  EXPECT_EQ("content 4", readFile(dir / "settings-4.snap"));
  EXPECT_EQ(agent::pointerText({4, 0, agent::sha256Of("content 4")}), readFile(dir / "current"));
  EXPECT_EQ(0644U, commutil_test::modeOf(dir / "current"));
  publisher.publish("restored", 2);
  EXPECT_THAT(filesIn(dir), ElementsAre("current", "settings-2.snap", "settings-4.snap"))
      << "the lower revision is the newer file";
}

TEST(Publishers, RaiseTheEpochAndKeepIt) {
  const TempDir dir;
  const Publisher publisher(dir.path().string(), 2);
  EXPECT_THROW(publisher.raiseEpoch(), std::runtime_error) << "nothing is published yet";
  publisher.publish("a", 5);
  EXPECT_EQ(1, publisher.raiseEpoch());
  EXPECT_EQ(2, publisher.raiseEpoch());
  publisher.publish("b", 3);
  EXPECT_EQ(agent::pointerText({3, 2, agent::sha256Of("b")}), readFile(dir / "current"));
}

TEST(Publishers, LeaveWhatIsPublishedAsItIs) {
  const TempDir dir;
  const Publisher publisher(dir.path().string(), 2);
  publisher.publish("a", 5);
  struct stat before {};
  ASSERT_EQ(0, ::stat((dir / "current").c_str(), &before));
  publisher.publish("a", 5);
  struct stat after {};
  ASSERT_EQ(0, ::stat((dir / "current").c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST(Files, OfRootBelongToTheOwnerOfTheDirectory) {
  const TempDir dir;
  ASSERT_EQ(0, ::chown(dir.path().c_str(), 1234, 4321));
  Publisher(dir.path().string(), 2).publish("snapshot", 7);
  agent::Configuration configuration;
  configuration.snapshotPath = dir / "settings.snap";
  const agent::SnapshotKeeper keeper(configuration);
  for (const char* const name : {"current", "settings-7.snap", "settings.snap.agent"}) {
    struct stat status {};
    ASSERT_EQ(0, ::stat((dir / name).c_str(), &status)) << name;
    EXPECT_EQ(1234U, status.st_uid) << name;
    EXPECT_EQ(4321U, status.st_gid) << name;
  }
}

TEST(WriteSchedules, SettleAndLimitTheRate) {
  using Schedule = WriteSchedule;
  const Schedule::Time start{1h};
  Schedule schedule(100ms);
  EXPECT_FALSE(schedule.isPending());
  schedule.onChange(start);
  schedule.onChange(start + 90ms);
  EXPECT_EQ(start + 100ms, schedule.due()) << "counted from the first change";
  schedule.onWritten(start + 100ms);
  EXPECT_FALSE(schedule.isPending());
  schedule.onChange(start + 110ms);
  EXPECT_EQ(start + 300ms, schedule.due()) << "200 ms after the last write";
  int writes = 0;
  for (auto now = start + 300ms; now < start + 1300ms; now += 1ms) {
    schedule.onChange(now);
    if (!schedule.isDue(now)) continue;
    ++writes;
    schedule.onWritten(now);
  }
  EXPECT_LE(writes, 6);
  EXPECT_GE(writes, 5);
}

TEST(WriteSchedules, TryAgainEverLaterAfterAFailure) {
  const WriteSchedule::Time start{1h};
  WriteSchedule schedule(0ms);
  schedule.onChange(start);
  for (const auto wait : {500ms, 1000ms, 2000ms, 4000ms, 8000ms, 10'000ms, 10'000ms}) {
    schedule.onFailed(start);
    EXPECT_EQ(start + wait, schedule.due());
  }
  schedule.onWritten(start);
  schedule.onChange(start);
  schedule.onFailed(start);
  EXPECT_EQ(start + 500ms, schedule.due());
}

TEST(EndpointChoosers, KeepAnOrderOfTheHostsOwn) {
  const std::vector<std::string> urls{"a", "b", "c", "d"};
  std::set<std::string> firsts;
  for (std::uint64_t seed = 0; seed < 64; ++seed) {
    agent::EndpointChooser chooser(urls, seed);
    agent::EndpointChooser again(urls, seed);
    firsts.insert(chooser.current());
    std::set<std::string> seen;
    for (std::size_t i = 0; i < urls.size(); ++i) {
      EXPECT_EQ(chooser.current(), again.current());
      seen.insert(chooser.current());
      chooser.advance();
      again.advance();
    }
    EXPECT_EQ(4U, seen.size());
  }
  EXPECT_EQ(4U, firsts.size()) << "hosts are spread over all members";
}

TEST(Secrets, OfOthersAreRefused) {
  const TempDir dir;
  const std::string file = dir.write("password", "secret\r\nmore");
  for (const mode_t mode : {0600U, 0400U, 0700U}) {
    ASSERT_EQ(0, ::chmod(file.c_str(), mode));
    EXPECT_EQ("secret", agent::readSecret(file));
  }
  for (const mode_t mode : {0640U, 0604U, 0601U, 0620U}) {
    ASSERT_EQ(0, ::chmod(file.c_str(), mode));
    EXPECT_THROW(agent::readSecret(file), std::runtime_error) << mode;
  }
  EXPECT_THROW(agent::readSecret(dir / "none"), std::runtime_error);
  ASSERT_EQ(0, ::chmod(dir.write("empty", "\n").c_str(), 0600));
  EXPECT_THROW(agent::readSecret(dir / "empty"), std::runtime_error);
}

TEST(Secrets, MayBeCredentialsOfTheUnit) {
  const TempDir dir;
  ASSERT_EQ(0, ::chmod(dir.write("password", "secret\n").c_str(), 0440));
  const ScopedEnv set("CREDENTIALS_DIRECTORY", dir.path().string());
  EXPECT_EQ("secret", agent::readSecret("password"));
  const ScopedEnv unset("CREDENTIALS_DIRECTORY", std::nullopt);
  EXPECT_THROW(agent::readSecret("password"), std::runtime_error);
}

TEST(Statuses, AreReadAsTheyWereWritten) {
  const TempDir dir;
  EXPECT_FALSE(agent::readStatus(dir / "s"));
  agent::Status status;
  status.state = "watching";
  status.member = "https://e1";
  status.clusterId = 18446744073709551615U;
  status.revision = 12;
  status.verifiedUptime = agent::uptime() - 30s;
  status.bootId = agent::bootId();
  status.verifiedAt = 1;
  writeStatus(dir / "s", status);
  const std::optional<agent::Status> read = agent::readStatus(dir / "s");
  ASSERT_TRUE(read);
  EXPECT_EQ("watching", read->state);
  EXPECT_EQ(status.clusterId, read->clusterId);
  EXPECT_EQ(12, read->revision);
  EXPECT_GE(agent::ageOf(*read), 30s);
  EXPECT_LE(agent::ageOf(*read), 60s) << "the wall clock does not count";
  status.bootId = "another boot";
  EXPECT_GT(agent::ageOf(status), 24h) << "only the wall clock is left";
  dir.write("s.status", "{\"state\":7");
  EXPECT_FALSE(agent::readStatus(dir / "s"));
}

TEST(Managers, AreToldOverTheirSocket) {
  const TempDir dir;
  const std::string path = dir / "notify";
  const commutil::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, path.data(), path.size());
  ASSERT_EQ(0, ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  const ScopedEnv set("NOTIFY_SOCKET", path);
  agent::notifyManager("READY=1");
  std::array<char, 16> text{};
  ASSERT_EQ(7, ::recv(socket.get(), text.data(), text.size(), MSG_DONTWAIT));
  EXPECT_STREQ("READY=1", text.data());
  int told = 0;
  while (agent::notifyManager("WATCHDOG=1")) ASSERT_LT(told++, 100'000) << "nobody reads";
  ASSERT_EQ(10, ::recv(socket.get(), text.data(), text.size(), MSG_DONTWAIT));
  EXPECT_TRUE(agent::notifyManager("READY=1")) << "there is space again";
}

TEST(Managers, SetTheWatchdogOfThisProcessOnly) {
  const ScopedEnv limit("WATCHDOG_USEC", "30000000");
  const ScopedEnv own("WATCHDOG_PID", std::to_string(::getpid()));
  EXPECT_EQ(15s, agent::watchdogPeriod());
  const ScopedEnv other("WATCHDOG_PID", "1");
  EXPECT_EQ(std::nullopt, agent::watchdogPeriod());
}

TEST(LogLines, HaveAPriorityForTheJournalOnly) {
  const auto logged = [] {
    commutil_test::CapturedOutput output(STDERR_FILENO);
    agent::say(agent::Level::error, "one\ntwo");
    agent::say(agent::Level::warning, "w");
    agent::say(agent::Level::info, "i");
    return output.stop();
  };
  const ScopedEnv unset("JOURNAL_STREAM", std::nullopt);
  commutil_test::runInChild([&] {
    EXPECT_EQ(
        "commutil-settings: error: one?two\ncommutil-settings: warning: w\n"
        "commutil-settings: i\n",
        logged());
  });
  const ScopedEnv set("JOURNAL_STREAM", "8:1234");
  commutil_test::runInChild([&] {
    EXPECT_EQ(
        "<3>commutil-settings: error: one?two\n<4>commutil-settings: warning: w\n"
        "<6>commutil-settings: i\n",
        logged());
  });
}

class KeeperTest : public testing::Test {
 protected:
  KeeperTest() {
    configuration.endpoints = {"https://e1"};
    configuration.snapshotPath = m_dir / "state/settings.snap";
    configuration.settle = 0ms;
  }

  settings::Snapshot snapshotOf(std::int64_t revision) const {
    return {{7, revision, 0}, {{"/vexa/a", "1", 1}}};
  }

  TempDir m_dir;
  agent::Configuration configuration;
  const agent::Time now{1h};
};

TEST_F(KeeperTest, WritesWhatIsDueAndLoadsItAgain) {
  {
    agent::SnapshotKeeper keeper(configuration);
    EXPECT_FALSE(keeper.load());
    EXPECT_FALSE(keeper.isReady());
    keeper.onChange(now);
    keeper.onTime(now, [&] { return snapshotOf(5); });
    EXPECT_TRUE(keeper.isReady());
    EXPECT_FALSE(keeper.isPending());
  }
  agent::SnapshotKeeper keeper(configuration);
  const std::optional<settings::Snapshot> snapshot = keeper.load();
  ASSERT_TRUE(snapshot);
  EXPECT_EQ(5, snapshot->header.revision);
  EXPECT_TRUE(keeper.isReady());
}

TEST_F(KeeperTest, IsAloneWithItsFiles) {
  const agent::SnapshotKeeper keeper(configuration);
  try {
    const agent::SnapshotKeeper second(configuration);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("another agent keeps this snapshot"));
  }
}

TEST_F(KeeperTest, NamesTheDirectoryThatItCannotCreate) {
  configuration.snapshotPath = "/dev/null/state/settings.snap";
  try {
    const agent::SnapshotKeeper keeper(configuration);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ("/dev/null/state cannot be created: Not a directory", error.what());
  }
}

TEST_F(KeeperTest, PublishesWhatItWrites) {
  configuration.publishDirectory = m_dir.path().string();
  agent::SnapshotKeeper keeper(configuration);
  keeper.write(now, snapshotOf(5));
  EXPECT_EQ(readFile(configuration.snapshotPath), readFile(m_dir / "settings-5.snap"));
  std::filesystem::remove(m_dir / "current");
  keeper.load();
  EXPECT_EQ("5 0 ", readFile(m_dir / "current").substr(0, 4)) << "published anew at the start";
}

TEST_F(KeeperTest, ServesTheHostIfTheDirectoryToPublishIsMissing) {
  agent::SnapshotKeeper(configuration).write(now, snapshotOf(5));
  configuration.publishDirectory = m_dir / "published";
  agent::SnapshotKeeper keeper(configuration);
  EXPECT_TRUE(keeper.load());
  EXPECT_TRUE(keeper.isReady());
  keeper.onTime(now, [&] { return snapshotOf(5); });
  EXPECT_TRUE(keeper.isPending()) << "tried again later";
  std::filesystem::create_directory(m_dir / "published");
  keeper.onTime(now + 1s, [&] { return snapshotOf(5); });
  EXPECT_FALSE(keeper.isPending());
  EXPECT_TRUE(std::filesystem::exists(m_dir / "published/current"));
}

TEST_F(KeeperTest, KeepsTheLastSnapshotIfAWriteFailsAndTriesAgain) {
  agent::SnapshotKeeper keeper(configuration);
  keeper.write(now, snapshotOf(5));
  const std::string good = readFile(configuration.snapshotPath);
  settings::Snapshot large = snapshotOf(6);
  large.entries[0].value.assign((std::size_t{1} << 20) + 1, 'x');
  keeper.onChange(now);
  keeper.write(now, large);
  EXPECT_EQ(good, readFile(configuration.snapshotPath));
  EXPECT_TRUE(keeper.isPending());
  keeper.onTime(now + 1s, [&] { return snapshotOf(7); });
  EXPECT_FALSE(keeper.isPending());
  EXPECT_NE(good, readFile(configuration.snapshotPath));
}

TEST_F(KeeperTest, GivesTheGroupAccessOnRequest) {
  configuration.group = "root";
  agent::SnapshotKeeper keeper(configuration);
  keeper.write(now, snapshotOf(5));
  EXPECT_EQ(0640U, commutil_test::modeOf(configuration.snapshotPath));
  configuration.group = "no-such-group";
  configuration.snapshotPath += "2";
  EXPECT_THROW(agent::SnapshotKeeper other(configuration), std::runtime_error);
}

}  // namespace
