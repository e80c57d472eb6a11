// A snapshot's way into a file and out of it, and its limits.
#include "settings_snapshot/snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "support/fixtures.h"
#include "support/namespaces.h"

namespace settings {

bool operator==(const SnapshotEntry& a, const SnapshotEntry& b) {
  return std::tie(a.key, a.value, a.revision) == std::tie(b.key, b.value, b.revision);
}

}  // namespace settings

namespace {

using commutil_test::runInChild;
using commutil_test::TempDir;
using settings::encodeSnapshot;
using settings::readSnapshot;
using settings::Snapshot;
using settings::SnapshotEntry;
using settings::SnapshotError;
using testing::HasSubstr;

constexpr std::size_t kMostBytes = std::size_t{64} << 20;
constexpr std::size_t kMostKey = 4096;
constexpr std::size_t kMostValue = std::size_t{1} << 20;

/// The message of the SnapshotError that `call` throws.
template <class Call>
std::string errorOf(const Call& call) {
  try {
    call();
  } catch (const SnapshotError& error) {
    return error.what();
  }
  return "(no error)";
}

TEST(Snapshot, ComesBackSorted) {
  const TempDir dir;
  const std::string bytes = commutil_test::allBytes();
  const Snapshot snapshot{{0xFFFFFFFFFFFFFFFF, 42, -1},
                          {{"/b", "2", 41},
                           {"/\xff", "last", 5},
                           {"/a", "", INT64_MAX},
                           {std::string("/a\0", 3), bytes, INT64_MIN},
                           {bytes, "key", 0}}};
  const std::string path = dir.write("settings.snap", encodeSnapshot(snapshot));
  const Snapshot read = readSnapshot(path);
  EXPECT_EQ(0xFFFFFFFFFFFFFFFF, read.header.clusterId);
  EXPECT_EQ(42, read.header.revision);
  EXPECT_EQ(-1, read.header.writtenAt);
  const std::vector<SnapshotEntry> sorted{{bytes, "key", 0},
                                          {"/a", "", INT64_MAX},
                                          {std::string("/a\0", 3), bytes, INT64_MIN},
                                          {"/b", "2", 41},
                                          {"/\xff", "last", 5}};
  EXPECT_EQ(sorted, read.entries);
  EXPECT_EQ(encodeSnapshot(snapshot), encodeSnapshot(read));
}

TEST(Snapshot, MayBeEmpty) {
  const TempDir dir;
  const std::string path = dir.write("settings.snap", encodeSnapshot({}));
  EXPECT_TRUE(readSnapshot(path).entries.empty());
  EXPECT_EQ(56U, std::filesystem::file_size(path));
}

TEST(Snapshot, RefusesWhatNoFileHolds) {
  const std::string key(kMostKey, 'k');
  const std::string value(kMostValue, 'v');
  EXPECT_NO_THROW(encodeSnapshot({{}, {{key, value, 1}}}));
  EXPECT_EQ("snapshot: the key " + key.substr(0, 80) +
                "... has 4097 bytes, more than the limit of 4096; the last snapshot "
                "stays in use; shorten or delete settings",
            errorOf([&] {
              encodeSnapshot({{}, {{key + "k", "", 1}}});
            }));
  EXPECT_EQ(
      "snapshot: the value of /k has 1048577 bytes, more than the limit of 1048576; the last "
      "snapshot stays in use; shorten or "
      "delete settings",
      errorOf([&] {
        encodeSnapshot({{}, {{"/k", value + "v", 1}}});
      }));
  EXPECT_EQ("snapshot: a setting has an empty key; delete it", errorOf([] {
              encodeSnapshot({{}, {{"", "v", 1}}});
            }));
  EXPECT_EQ("snapshot: the key /k occurs twice; delete one of the two", errorOf([] {
              encodeSnapshot({{}, {{"/k", "1", 1}, {"/a", "", 1}, {"/k", "2", 2}}});
            }));
}

/// A snapshot whose file has `size` bytes.
Snapshot ofSize(std::size_t size) {
  constexpr std::size_t kEntry = 24 + 4;
  Snapshot snapshot{};
  std::size_t left = size - 56;
  for (int i = 100; left > 0; ++i) {
    const std::size_t value = std::min(left - kEntry, kMostValue - 100);
    snapshot.entries.push_back({"/" + std::to_string(i), std::string(value, 'v'), 1});
    left -= kEntry + value;
  }
  return snapshot;
}

TEST(Snapshot, HoldsAtMost64MiB) {
  EXPECT_EQ(kMostBytes - 1, encodeSnapshot(ofSize(kMostBytes - 1)).size());
  const std::string largest = encodeSnapshot(ofSize(kMostBytes));
  EXPECT_EQ(kMostBytes, largest.size());
  runInChild([&] {
    const TempDir dir;
    commutil_test::enterNamespaces(CLONE_NEWNS);
    commutil_test::mountTmpfs(dir.path());
    EXPECT_EQ(65U, readSnapshot(dir.write("settings.snap", largest)).entries.size());
  });
  EXPECT_EQ(
      "snapshot: the file has 67108865 bytes, more than the limit of 67108864; the last "
      "snapshot stays in use; shorten or delete "
      "settings",
      errorOf([] { encodeSnapshot(ofSize(kMostBytes + 1)); }));
}

TEST(Snapshot, ReadingAHugeFileTakesNoMemory) {
  const TempDir dir;
  const std::string path = dir.write("settings.snap", "");
  std::filesystem::resize_file(path, std::uintmax_t{1} << 40);
  EXPECT_THAT(errorOf([&] { readSnapshot(path); }), HasSubstr(path + ": larger than 64 MiB; "));
}

TEST(Snapshot, ManyEntriesInAShortFileTakeNoMemory) {
  const TempDir dir;
  std::string bytes = encodeSnapshot({{}, {{"/k", "v", 1}}});
  bytes.replace(24, 8, 8, '\xff');
  const std::string path = dir.write("settings.snap", bytes);
  EXPECT_THAT(errorOf([&] { readSnapshot(path); }), HasSubstr(path + ": wrong checksum; "));
}

TEST(Snapshot, NamesFileCauseAndRemedy) {
  const TempDir dir;
  const std::string remedy = "; restore it, or let the agent or an import write it again";
  ASSERT_EQ(0, ::mkfifo((dir / "fifo").c_str(), 0600));
  const struct {
    std::string path;
    std::string cause;
  } rows[] = {
      {dir / "missing", "No such file or directory"},
      {dir.path(), "not a regular file"},
      {dir / "fifo", "not a regular file"},
      {dir.write("empty", ""), "shorter than a snapshot's header"},
      {dir.write("text", std::string(100, 'x')), "not a settings snapshot"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(row.path + ": " + row.cause + remedy, errorOf([&] { readSnapshot(row.path); }));
}

}  // namespace
