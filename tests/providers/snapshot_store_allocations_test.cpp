// What a lookup in a snapshot allocates: nothing but the value that it returns.
#include <gtest/gtest.h>

#include <string>

#include "providers/loaded_store.h"
#include "settings_snapshot/snapshot.h"
#include "support/allocations.h"
#include "support/fixtures.h"

namespace {

using commutil_test::allocationsOf;
using commutil_test::paramValue;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

TEST(SnapshotStoreAllocations, ALookupAllocatesItsValueOnly) {
  const TempDir dir;
  const std::string path = dir / "a snapshot whose path does not fit into a string of its own";
  const ScopedEnv url("SETTINGREST_URL", "snapshot://" + path);
  const std::string key = "/vexa/common/setting_cfg/global/ListenAllIp";
  const std::string stored(100, 'v');
  settings::writeSnapshot(path, {{1, 1, 1}, {{key, stored, 1}}});
  std::string value;
  ASSERT_EQ(0, paramValue(key, value));
  const std::string relative = key.substr(1);
  const std::string absent = key + "X";
  std::size_t allocated = 0;
  for (int i = 0; i < 100; ++i) {
    std::string fresh;
    allocated += allocationsOf([&] { paramValue(key, fresh); });
    EXPECT_EQ(stored, fresh);
    EXPECT_EQ(0U, allocationsOf([&] { paramValue(relative, value); }));
    EXPECT_EQ(0U, allocationsOf([&] { paramValue(absent, value); }));
  }
  EXPECT_EQ(100U, allocated);
}

}  // namespace
