// A writer killed before and after each of its file calls: the snapshot is the old one or the new
// one, and the next writer succeeds.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "settings_snapshot/snapshot.h"
#include "support/fixtures.h"
#include "support/namespaces.h"
#include "support/watched_calls.h"

namespace {

using commutil_test::runInChild;
using commutil_test::Stop;
using commutil_test::TempDir;
using commutil_test::watchCalls;
using settings::readSnapshot;
using settings::Snapshot;
using settings::writeSnapshot;

constexpr int kKills = 1000;

Snapshot version(int number) {
  Snapshot snapshot{{1, number, 0}, {}};
  for (int i = 0; i < 20; ++i)
    snapshot.entries.push_back({"/k" + std::to_string(i), std::to_string(number), number});
  return snapshot;
}

/// Writes in a child that is killed at its stop number `stop`. Returns false if it ends before.
bool killedAt(const std::string& path, const Snapshot& snapshot, int stop) {
  const pid_t child = ::fork();
  if (child == 0) {
    int stops = 0;
    watchCalls([&] { writeSnapshot(path, snapshot); },
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

void killWriters(const std::string& path) {
  writeSnapshot(path, version(0));
  int kills = 0;
  bool sawOld = false;
  bool sawNew = false;
  for (int number = 1, stop = 0; kills < kKills; ++number) {
    const std::int64_t before = readSnapshot(path).header.revision;
    const bool killed = killedAt(path, version(number), stop);
    const Snapshot found = readSnapshot(path);
    ASSERT_TRUE(found.header.revision == before || found.header.revision == number) << stop;
    for (const settings::SnapshotEntry& entry : found.entries)
      ASSERT_EQ(found.header.revision, entry.revision);
    (found.header.revision == number ? sawNew : sawOld) |= killed;
    kills += killed ? 1 : 0;
    stop = killed ? stop + 1 : 0;
  }
  EXPECT_TRUE(sawOld);
  EXPECT_TRUE(sawNew);
}

TEST(WriteSnapshotKills, AnyKillLeavesAWholeSnapshot) {
  const TempDir dir;
  runInChild([&] {
    commutil_test::enterNamespaces(CLONE_NEWNS);
    commutil_test::mountTmpfs(dir.path());
    killWriters(dir / "settings.snap");
  });
}

}  // namespace
