// An agent killed before and after each of its file calls while it writes and publishes: services
// and hosts find a whole snapshot, the old one or the new one, and the next agent goes on.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <optional>
#include <set>
#include <string>

#include "commutil-settings/pointer.h"
#include "commutil-settings/snapshot_keeper.h"
#include "support/fixtures.h"
#include "support/namespaces.h"
#include "support/watched_calls.h"

namespace {

using agent::Configuration;
using agent::Pointer;
using agent::SnapshotKeeper;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::Stop;
using commutil_test::TempDir;

constexpr int kKills = 1000;

settings::Snapshot version(std::int64_t number) {
  settings::Snapshot snapshot{{1, number, 0}, {}};
  for (int i = 0; i < 20; ++i)
    snapshot.entries.push_back({"/k" + std::to_string(i), std::to_string(number), number});
  return snapshot;
}

/// Starts an agent's keeper in a child, which writes and is killed at its stop number `stop`.
/// Returns false if it ends before.
bool killedAt(const Configuration& configuration, std::int64_t number, int stop) {
  const pid_t child = ::fork();
  if (child == 0) {
    int stops = 0;
    commutil_test::watchCalls(
        [&] {
          SnapshotKeeper keeper(configuration);
          keeper.load();
          keeper.write(agent::Time{}, version(number));
        },
        [&](const Stop&) {
          if (stops++ == stop) ::kill(::getpid(), SIGKILL);
        });
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) || status == 0) << status;
  return WIFSIGNALED(status);
}

/// The revision that hosts which follow the relay find, whose snapshot must be there and whole.
std::int64_t publishedRevision(const std::string& directory) {
  const std::optional<Pointer> pointer = agent::parsePointer(readFile(directory + "/current"));
  if (!pointer) return -1;
  const std::string file = directory + "/" + agent::publishedName(pointer->revision);
  EXPECT_EQ(pointer->sha256, agent::sha256Of(readFile(file))) << file;
  return pointer->revision;
}

void killAgents(const TempDir& dir) {
  Configuration configuration;
  configuration.endpoints = {"https://e1"};
  configuration.snapshotPath = dir / "settings.snap";
  configuration.publishDirectory = dir.path().string();
  SnapshotKeeper(configuration).write(agent::Time{}, version(1));
  std::set<bool> sawNew;
  std::int64_t published = 1;
  int kills = 0;
  for (int number = 2, stop = 0; kills < kKills; ++number) {
    const std::int64_t before = settings::readSnapshot(configuration.snapshotPath).header.revision;
    const bool killed = killedAt(configuration, number, stop);
    const std::int64_t after = settings::readSnapshot(configuration.snapshotPath).header.revision;
    ASSERT_TRUE(after == before || after == number) << stop;
    const std::int64_t publishedAfter = publishedRevision(dir.path().string());
    ASSERT_GE(publishedAfter, published) << stop;
    ASSERT_LE(publishedAfter, after) << stop;
    published = publishedAfter;
    if (killed) sawNew.insert(after == number);
    kills += killed ? 1 : 0;
    stop = killed ? stop + 1 : 0;
  }
  EXPECT_EQ((std::set<bool>{false, true}), sawNew);
}

TEST(SnapshotKeeperKills, AnyKillLeavesWholeSnapshotsAndAPointerToOne) {
  const TempDir dir;
  runInChild([&] {
    commutil_test::enterNamespaces(CLONE_NEWNS);
    commutil_test::mountTmpfs(dir.path());
    killAgents(dir);
  });
}

}  // namespace
