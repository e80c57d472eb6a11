// Children that are forked while two threads look settings up and the store is replaced: each can
// look settings up itself.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "providers/loaded_store.h"
#include "settings_snapshot/snapshot.h"
#include "support/fixtures.h"

namespace {

using commutil_test::Params;
using commutil_test::paramValue;
using commutil_test::replaceByRename;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

constexpr int kChildren = 1000;
constexpr unsigned kHangSeconds = 20;  // after which a child is taken for hung
const std::string kKey = "/g/k";

/// Looks a setting up while it lives, without allocating.
class Reader {
 public:
  Reader() : m_thread([this] { run(); }) {}
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() {
    m_done = true;
    m_thread.join();
  }

 private:
  void run() {
    std::string value;
    while (!m_done) {
      if (paramValue(kKey, value) != 0) ADD_FAILURE() << "a lookup failed";
    }
  }

  std::atomic<bool> m_done{false};
  std::thread m_thread;
};

/// Returns what `body` returns in a forked child; false if the child hangs, which is then killed.
bool inChild(const std::function<bool()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(kHangSeconds);
    ::_exit(body() ? 0 : 1);
  }
  int status = 0;
  return ::waitpid(child, &status, 0) == child && status == 0;
}

/// Forks the children; `store` writes what the store holds, anew before every eighth one.
void forkChildren(const std::function<void(const std::string& value)>& store) {
  store("0");
  std::string value;
  ASSERT_EQ(0, paramValue(kKey, value));
  const Reader first;
  const Reader second;
  for (int i = 0; i < kChildren; ++i) {
    if (i % 8 == 0) store(std::to_string(i % 10));
    const bool found = inChild([&] { return paramValue(kKey, value) == 0 && value.size() == 1; });
    ASSERT_TRUE(found) << "child " << i;
  }
}

// The address sanitizer's allocator is not made for forks: a child that reads the document while
// other threads of its parent did so waits for its locks forever.
#if !defined(__SANITIZE_ADDRESS__)
TEST(SettingRestForks, ChildrenLookUpInTheDocument) {
  const TempDir dir;
  const std::string path = dir / "store.json";
  const ScopedEnv url("SETTINGREST_URL", "file://" + path);
  runInChild([&] {
    forkChildren([&](const std::string& value) {
      replaceByRename(path, R"({"g": {"k": ")" + value + R"("}})");
    });
  });
}
#endif

TEST(SettingRestForks, ChildrenLookUpInTheSnapshot) {
  const TempDir dir;
  const std::string path = dir / "settings.snap";
  const ScopedEnv url("SETTINGREST_URL", "snapshot://" + path);
  runInChild([&] {
    forkChildren([&](const std::string& value) {
      replaceByRename(path, settings::encodeSnapshot({{1, 1, 1}, {{kKey, value, 1}}}));
    });
  });
}

TEST(SettingRestForks, ChildrenSeeChangesOfTheSnapshot) {
  constexpr int kSeeing = 50;
  const TempDir dir;
  const std::string path = dir / "settings.snap";
  const ScopedEnv url("SETTINGREST_URL", "snapshot://" + path);
  const auto store = [&](const std::string& value) {
    replaceByRename(path, settings::encodeSnapshot({{1, 1, 1}, {{kKey, value, 1}}}));
  };
  runInChild([&] {
    store("0");
    std::string value;
    ASSERT_EQ(0, paramValue(kKey, value));
    const Reader first;
    const Reader second;
    for (int i = 0; i < kSeeing; ++i) {
      const std::string expected = std::to_string(i);
      const bool saw = inChild([&] {
        store(expected);
        while (paramValue(kKey, value) == 0 && value != expected) {
        }
        return value == expected;
      });
      ASSERT_TRUE(saw) << "child " << i;
    }
  });
}

}  // namespace
