// The hash table of a snapshot's keys, beside a search of all of them.
#include "settingrest/key_index.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "settings_snapshot/snapshot.h"

namespace {

using settingrest::KeyIndex;
using settingrest::SnapshotView;

std::size_t searched(const SnapshotView& view, const std::string& name) {
  for (std::size_t i = 0; i < view.size(); ++i)
    if (view.entry(i).key == "/" + name) return i;
  return view.size();
}

void expectSame(const settings::Snapshot& snapshot) {
  const std::string bytes = settings::encodeSnapshot(snapshot);
  const SnapshotView view(bytes);
  const KeyIndex keys(view);
  for (const settings::SnapshotEntry& entry : snapshot.entries) {
    const std::string name = entry.key.substr(1);
    for (const std::string& asked : {name, name + "x", "/" + name, name.substr(0, name.size() / 2)})
      ASSERT_EQ(searched(view, asked), keys.find(asked)) << asked;
  }
  EXPECT_EQ(searched(view, ""), keys.find(""));
}

TEST(KeyIndex, FindsTheKeysOfSnapshotsOfAnySize) {
  settings::Snapshot snapshot{};
  expectSame(snapshot);
  for (int i = 0; i < 200; ++i) {
    snapshot.entries.push_back(
        {"/" + std::string(static_cast<std::size_t>(i % 20), 'k') + std::to_string(i), "v", 1});
    expectSame(snapshot);
  }
  snapshot.entries.push_back({"/", "", 1});
  snapshot.entries.push_back({"relative", "", 1});
  snapshot.entries.push_back({std::string("/nul\0nul", 8), "", 1});
  expectSame(snapshot);
}

/// A name of 16 bytes whose hash is that of every other one: the second word undoes the first.
std::string colliding(std::uint64_t number) {
  constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
  std::uint64_t second = (16 ^ number) * kMultiplier;
  second ^= second >> 32 ^ kMultiplier;
  std::string name(16, '\0');
  std::memcpy(name.data(), &number, 8);
  std::memcpy(name.data() + 8, &second, 8);
  return name;
}

TEST(KeyIndex, FindsKeysThatSomebodyMadeCollide) {
  settings::Snapshot snapshot{};
  for (std::uint64_t i = 1; i <= 300; ++i) snapshot.entries.push_back({"/" + colliding(i), "v", 1});
  expectSame(snapshot);
}

TEST(KeyIndex, ManyCollidingKeysCostNoMoreThanOthers) {
  settings::Snapshot snapshot{};
  for (std::uint64_t i = 1; i <= 200'000; ++i)
    snapshot.entries.push_back({"/" + colliding(i), "v", 1});
  const std::string bytes = settings::encodeSnapshot(snapshot);
  const SnapshotView view(bytes);
  const KeyIndex keys(view);
  EXPECT_EQ(view.size(), keys.find("absent"));
  for (const std::size_t i : {std::size_t{0}, view.size() / 2, view.size() - 1})
    EXPECT_EQ(i, keys.find(view.entry(i).key.substr(1)));
}

}  // namespace
