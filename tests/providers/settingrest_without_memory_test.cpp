// Fails each allocation of the reference settings store: a lookup may fail, but the next one finds
// the settings, and no document is reported as malformed.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "providers/coarse_clock.h"
#include "settings_snapshot/snapshot.h"
#include "support/failing_allocations.h"
#include "support/fixtures.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::Failing;
using commutil_test::FailingAllocations;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

using ValueFunction = int (*)(const std::string&, std::string&);

ValueFunction paramValue() {
  void* const library = ::dlopen(SETTINGREST_LIBRARY, RTLD_LAZY);
  return reinterpret_cast<ValueFunction>(::dlsym(library, "getSettingParamValue"));
}

/// Replaces the document by one that holds `value`, written `age` seconds after a time long ago, so
/// that its contents are cached.
void store(const std::string& path, const std::string& value, std::size_t age) {
  const std::string next = path + ".new";
  commutil_test::writeFile(next, R"({"real": 5.25, "large": 123456789012345678901234567890,
      "a": {"key that is long": ")" + value +
                                     R"(", "list": [true, null]}})");
  const timespec time{1'000'000'000 + static_cast<std::time_t>(age), 0};
  const timespec times[2] = {time, time};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, next.c_str(), times, 0));
  std::filesystem::rename(next, path);
}

TEST(SettingRestWithoutMemory, TheNextLookupFindsTheSettings) {
  const TempDir dir;
  const std::string path = dir / "store.json";
  const ScopedEnv url("SETTINGREST_URL", "file://" + path);
  const ValueFunction lookUp = paramValue();
  ASSERT_NE(nullptr, lookUp);
  const std::string key = "/a/key that is long";
  CapturedOutput errors(STDERR_FILENO);
  std::size_t failed = 0;
  for (const Failing failing : {Failing::once, Failing::fromThenOn}) {
    bool happened = true;
    for (std::size_t passing = 0; happened; ++passing) {
      const std::string stored = "a value of some length, number " + std::to_string(passing);
      store(path, stored, passing);
      std::string value = "before";
      int result = 0;
      {
        const FailingAllocations failures(passing, failing);
        result = lookUp(key, value);
        happened = failures.happened();
      }
      if (result != 0) ++failed;
      EXPECT_EQ(result == 0 ? stored : "before", value) << passing;
      EXPECT_EQ(0, lookUp(key, value)) << passing;
      EXPECT_EQ(stored, value) << passing;
    }
  }
  EXPECT_LT(0U, failed);
  EXPECT_EQ("", errors.stop());
}

/// Replaces the snapshot by one that holds `value`, and lets the store notice.
void storeSnapshot(const std::string& path, const std::string& key, const std::string& value) {
  commutil_test::writeFile(path + ".test",
                           settings::encodeSnapshot({{1, 1, 1}, {{key, value, 1}}}));
  std::filesystem::rename(path + ".test", path);
  commutil_test::passTime(10);
}

TEST(SettingRestWithoutMemory, ASnapshotStaysInUse) {
  const TempDir dir;
  const std::string path = dir / "settings.snap";
  const ScopedEnv url("SETTINGREST_URL", "snapshot://" + path);
  const ValueFunction lookUp = paramValue();
  const std::string key = "/a/key that is long";
  std::string before = "the first value, which is long";
  storeSnapshot(path, key, before);
  std::string value(100, 'x');
  ASSERT_EQ(0, lookUp(key, value));
  CapturedOutput errors(STDERR_FILENO);
  for (const Failing failing : {Failing::once, Failing::fromThenOn}) {
    bool happened = true;
    for (std::size_t passing = 0; happened; ++passing) {
      const std::string stored = "a value of some length, number " + std::to_string(passing);
      storeSnapshot(path, key, stored);
      int result = 0;
      {
        const FailingAllocations failures(passing, failing);
        result = lookUp(key, value);
        happened = failures.happened();
      }
      EXPECT_EQ(0, result) << passing;
      EXPECT_EQ(happened ? before : stored, value) << passing;
      commutil_test::passTime(10);
      EXPECT_EQ(0, lookUp(key, value)) << passing;
      EXPECT_EQ(stored, value) << passing;
      before = stored;
    }
  }
  EXPECT_EQ("", errors.stop());
}

}  // namespace
