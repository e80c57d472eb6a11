// The reference settings store on a snapshot that is replaced while threads read it.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "providers/loaded_store.h"
#include "settings_snapshot/snapshot.h"
#include "support/fixtures.h"

namespace {

using commutil_test::groupParams;
using commutil_test::Params;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

constexpr int kParams = 50;
constexpr int kVersions = 100;
constexpr int kReaders = 4;

settings::Snapshot version(int number) {
  const std::string value = std::to_string(1000 + number) + std::string(100, 'v');
  settings::Snapshot snapshot{{1, number, 0}, {}};
  for (int i = 0; i < kParams; ++i)
    snapshot.entries.push_back({"/g/p" + std::to_string(i), value, number});
  return snapshot;
}

/// Reads until it has seen the last version. Counts the groups that mix two versions and those
/// older than one seen before.
int readVersions(std::atomic<bool>& stop) {
  const std::string last = version(kVersions - 1).entries.front().value;
  std::string seen;
  int failures = 0;
  while (seen != last && !stop) {
    Params params;
    if (groupParams("/g", params) != 0 || params.size() != kParams) ++failures;
    for (const auto& [name, value] : params)
      if (value != params.begin()->second) ++failures;
    if (!params.empty() && params.begin()->second < seen) ++failures;
    if (!params.empty()) seen = params.begin()->second;
  }
  return failures;
}

TEST(SnapshotStoreThreads, ReadersSeeWholeVersionsInOrder) {
  const TempDir dir;
  const std::string path = dir / "settings.snap";
  const ScopedEnv url("SETTINGREST_URL", "snapshot://" + path);
  settings::writeSnapshot(path, version(0));
  std::atomic<int> failures{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> readers(kReaders);
  for (std::thread& reader : readers) reader = std::thread([&] { failures += readVersions(stop); });
  for (int number = 1; number < kVersions; ++number) {
    settings::writeSnapshot(path, version(number));
    // So that readers are at work in most versions; they need not see each.
    for (int i = 0; i < 100; ++i) {
      Params params;
      if (groupParams("/g", params) != 0) ++failures;
    }
  }
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(0, failures);
}

}  // namespace
