// The reference settings store on a snapshot, with time that passes when a test lets it.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "providers/coarse_clock.h"
#include "providers/loaded_store.h"
#include "settings_snapshot/snapshot.h"
#include "support/fixtures.h"
#include "support/namespaces.h"
#include "support/system_calls.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::kNoGroup;
using commutil_test::Params;
using commutil_test::paramsOf;
using commutil_test::paramValue;
using commutil_test::passTime;
using commutil_test::replaceByRename;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::shellOutput;
using commutil_test::TempDir;
using commutil_test::valueOf;
using settings::encodeSnapshot;
using settings::SnapshotEntry;

constexpr int kNoStore = -1;
constexpr int kCheckInterval = 10;

std::string snapshotOf(const std::vector<SnapshotEntry>& entries) {
  return encodeSnapshot({{1, 2, 3}, entries});
}

class SnapshotStore : public testing::Test {
 protected:
  void store(const std::vector<SnapshotEntry>& entries) {
    replaceByRename(m_path, snapshotOf(entries));
  }
  void storeValue(const std::string& value) { store({{"/k", value, 1}}); }

  /// The store's message about a fault.
  std::string message(const std::string& fault, bool hasSnapshot) const {
    return "settingrest: " + m_path + ": " + fault + "; " +
           (hasSnapshot ? "the last good snapshot stays in use" : "there are no settings") +
           "; let the settings agent or an import write it again\n";
  }

  TempDir m_dir;
  const std::string m_path = m_dir / "settings.snap";
  ScopedEnv m_url{"SETTINGREST_URL", "snapshot://" + m_path};
};

TEST_F(SnapshotStore, FindsValues) {
  const std::string bytes = commutil_test::allBytes();
  const std::string large(1 << 20, 'v');
  const std::string longKey = "/" + std::string(4095, 'k');
  store({{"/vexa/common/setting_cfg/global/ListenAllIp", "enable", 7},
         {"/vexa/common/setting_cfg//ListenAllIp", "no application", 7},
         {"/a", "both", 1},
         {"/a/b", "value and group", 2},
         {"/a0", "after the group", 3},
         {"/empty", "", 4},
         {"/bytes", bytes, 5},
         {"/large", large, 6},
         {longKey, "long key", 6},
         {std::string("/na\0me", 6), "NUL in the name", 8},
         {"relative", "no slash", 9}});
  const struct {
    std::string key;
    std::string value;
  } rows[] = {
      {"/vexa/common/setting_cfg/global/ListenAllIp", "enable"},
      {"vexa/common/setting_cfg/global/ListenAllIp", "enable"},
      {"/vexa/common/setting_cfg//ListenAllIp", "no application"},
      {"/a", "both"},
      {"a", "both"},
      {"/a/b", "value and group"},
      {"/a/", "(none)"},
      {"/a0", "after the group"},
      {"/empty", ""},
      {"/bytes", bytes},
      {"/large", large},
      {longKey, "long key"},
      {longKey + "k", "(none)"},
      {std::string("/na\0me", 6), "NUL in the name"},
      {"/na", "(none)"},
      {"relative", "(none)"},
      {"/relative", "(none)"},
      {"/vexa/common/setting_cfg/global/listenallip", "(none)"},
      {"/vexa/common/setting_cfg/global/ListenAllI", "(none)"},
      {"/vexa/common/setting_cfg/global/ListenAllIpX", "(none)"},
      {"/vexa/common", "(none)"},
      {"", "(none)"},
      {"/", "(none)"},
      {"//a", "(none)"},
      {"\xff", "(none)"},
      {std::string(1 << 20, 'k'), "(none)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.key.substr(0, 60));
    EXPECT_EQ(row.value, valueOf(row.key));
  }
}

TEST_F(SnapshotStore, FindsGroups) {
  store({{"/app/one", "1", 1},
         {"/app/two", "2", 1},
         {"/app/sub/deep", "3", 1},
         {"/app/three", "true", 1},
         {"/app2/x", "y", 1},
         {"/upper/lower/z", "w", 1},
         {"/top", "t", 1},
         {"/vexa//p", "no application", 1}});
  commutil_test::expectGroups();
  EXPECT_EQ((Params{{"p", "no application"}}), paramsOf("/vexa//"));
}

TEST_F(SnapshotStore, FindsAGroupThatHasAValueOfItsOwn) {
  store({{"/app/one", "1", 1}, {"/app", "a value too", 1}});
  EXPECT_EQ((Params{{"one", "1"}}), paramsOf("/app"));
  EXPECT_EQ((Params{{"app", "a value too"}}), paramsOf("/"));
  EXPECT_EQ("a value too", valueOf("/app"));
}

TEST_F(SnapshotStore, ReadsTheFileThatTheUrlNames) {
  const std::string odd = m_dir.write("a b%c/\xC3\xA9.snap", snapshotOf({{"/k", "v", 1}}));
  const std::string dir = m_dir.path().string();
  std::filesystem::create_symlink(odd, m_dir / "link");
  const struct {
    std::string url;
    std::string value;
  } rows[] = {
      {"snapshot://" + dir + "/a%20b%25c/%C3%a9.snap", "v"},
      {"SnapShot://localhost" + dir + "/a b%25c/\xC3\xA9.snap", "v"},
      {"snapshot://" + dir + "/link", "v"},
      {"snapshot://" + dir + "/missing", "(none)"},
      {"snapshot://elsewhere" + dir + "/link", "(none)"},
      {"snapshot://" + dir + "/link%00", "(none)"},
      {"snapshot://", "(none)"},
      {"snapshot:" + dir + "/link", "(none)"},
      {"file://" + dir + "/link", "(none)"},
  };
  const CapturedOutput errors(2);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    const ScopedEnv url("SETTINGREST_URL", row.url);
    EXPECT_EQ(row.value, valueOf("/k"));
  }
}

TEST_F(SnapshotStore, ChecksTheFileEveryTenMilliseconds) {
  storeValue("1");
  EXPECT_EQ("1", valueOf("/k"));
  storeValue("2");
  passTime(kCheckInterval - 1);
  EXPECT_EQ("1", valueOf("/k"));
  passTime(1);
  EXPECT_EQ("2", valueOf("/k"));
  storeValue("3");
  EXPECT_EQ("2", valueOf("/k"));
}

TEST_F(SnapshotStore, SystemCallsAreForChecksOnly) {
  storeValue("1");
  EXPECT_EQ("1", valueOf("/k"));
  runInChild([] {
    for (const long call : {SYS_newfstatat, SYS_stat, SYS_openat, SYS_mmap, SYS_munmap, SYS_futex})
      commutil_test::forbidSystemCall(call);
    std::string value;
    for (int i = 0; i < 1000; ++i) paramValue("/k", value);
    ::_exit(value == "1" ? 0 : 1);
  });
}

TEST_F(SnapshotStore, StartsNoThreadAndOpensNoSocket) {
  storeValue("1");
  runInChild([this] {
    ASSERT_NE(nullptr, commutil_test::storeLibrary());
    for (const long call : {SYS_socket, SYS_socketpair, SYS_connect, SYS_clone, SYS_clone3,
                            SYS_fork, SYS_vfork, SYS_flock, SYS_kill})
      commutil_test::forbidSystemCall(call);
    EXPECT_EQ("1", valueOf("/k"));
    storeValue("2");
    passTime(kCheckInterval);
    EXPECT_EQ("2", valueOf("/k"));
    EXPECT_EQ((Params{{"k", "2"}}), paramsOf("/"));
  });
}

TEST_F(SnapshotStore, LinksNoLibraryOfTheNetwork) {
  const std::string needed =
      shellOutput("readelf -d " SETTINGREST_LIBRARY " | grep NEEDED; ldd " SETTINGREST_LIBRARY);
  EXPECT_NE(std::string::npos, needed.find("libc.so"));
  for (const std::string name : {"curl", "ssl", "crypto", "nss", "resolv"})
    EXPECT_EQ(std::string::npos, needed.find(name)) << needed;
}

TEST_F(SnapshotStore, KeepsTheLastGoodSnapshotAndReportsOnce) {
  std::string flipped = snapshotOf({{"/k", "new", 1}});
  flipped.back() ^= 1;
  const std::string whole = snapshotOf({{"/k", "new", 1}});
  const struct {
    std::string content;
    std::string fault;
  } rows[] = {
      {"", "shorter than a snapshot's header"},
      {whole.substr(0, 55), "shorter than a snapshot's header"},
      {whole.substr(0, whole.size() - 1), "wrong number of bytes"},
      {whole + "x", "wrong number of bytes"},
      {flipped, "wrong checksum"},
      {std::string(100, 'x'), "not a settings snapshot"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    CapturedOutput errors(2);
    store({{"/k", "good", 1}, {"/g/p", "q", 1}});
    passTime(kCheckInterval);
    EXPECT_EQ("good", valueOf("/k"));
    for (int i = 0; i < 3; ++i) {
      replaceByRename(m_path, row.content);
      for (int j = 0; j < 3; ++j) {
        passTime(kCheckInterval);
        EXPECT_EQ("good", valueOf("/k"));
        EXPECT_EQ((Params{{"p", "q"}}), paramsOf("/g"));
      }
    }
    EXPECT_EQ(message(row.fault, true), errors.stop());
  }
}

TEST_F(SnapshotStore, KeepsTheLastGoodSnapshotWhateverTakesItsPlace) {
  const struct {
    void (*make)(const std::string& path);
    std::string fault;
  } rows[] = {
      {[](const std::string&) {}, "No such file or directory"},
      {[](const std::string& path) { std::filesystem::create_directory(path); },
       "not a regular file"},
      {[](const std::string& path) { ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600)); },
       "not a regular file"},
      {[](const std::string& path) { std::filesystem::create_symlink(path, path); },
       "Too many levels of symbolic links"},
      {[](const std::string& path) {
         std::ofstream(path).close();
         std::filesystem::resize_file(path, std::uintmax_t{1} << 40);
       },
       "larger than 64 MiB"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    CapturedOutput errors(2);
    storeValue("good");
    passTime(kCheckInterval);
    EXPECT_EQ("good", valueOf("/k"));
    std::filesystem::remove(m_path);
    row.make(m_path);
    for (int i = 0; i < 3; ++i) {
      passTime(kCheckInterval);
      EXPECT_EQ("good", valueOf("/k"));
    }
    std::filesystem::remove(m_path);
    EXPECT_EQ(message(row.fault, true), errors.stop());
  }
}

TEST_F(SnapshotStore, KeepsTheLastGoodSnapshotUntilTheNextCanBeOpened) {
  storeValue("1");
  ASSERT_EQ(0, ::chmod(m_dir.path().c_str(), 0777));
  runInChild([this] {
    commutil_test::dropRoot();
    CapturedOutput errors(2);
    EXPECT_EQ("1", valueOf("/k"));
    storeValue("2");
    ASSERT_EQ(0, ::chmod(m_path.c_str(), 0));
    for (int i = 0; i < 3; ++i) {
      passTime(kCheckInterval);
      EXPECT_EQ("1", valueOf("/k"));
    }
    ASSERT_EQ(0, ::chmod(m_path.c_str(), 0600));
    passTime(kCheckInterval);
    EXPECT_EQ("2", valueOf("/k"));
    EXPECT_EQ(message("Permission denied", true), errors.stop());
  });
}

TEST_F(SnapshotStore, ReturnsMinusOneWithoutASnapshot) {
  CapturedOutput errors(2);
  std::string value = "untouched";
  Params params{{"un", "touched"}};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(kNoStore, paramValue("/k", value));
    EXPECT_EQ(kNoStore, commutil_test::groupParams("/", params));
    passTime(kCheckInterval);
  }
  EXPECT_EQ("untouched", value);
  EXPECT_EQ((Params{{"un", "touched"}}), params);
  replaceByRename(m_path, "corrupt");
  passTime(kCheckInterval);
  EXPECT_EQ(kNoStore, paramValue("/k", value));
  storeValue("good");
  passTime(kCheckInterval);
  EXPECT_EQ("good", valueOf("/k"));
  EXPECT_EQ(1, paramValue("/absent", value));
  EXPECT_EQ(message("No such file or directory", false) +
                message("shorter than a snapshot's header", false),
            errors.stop());
}

TEST_F(SnapshotStore, HasNoSettingsInAnEmptySnapshot) {
  store({});
  std::string value;
  Params params;
  EXPECT_EQ(1, paramValue("/k", value));
  EXPECT_EQ(1, commutil_test::groupParams("/", params));
}

TEST_F(SnapshotStore, ReportsAFaultAgainAfterAGoodSnapshot) {
  storeValue("good");
  EXPECT_EQ("good", valueOf("/k"));
  CapturedOutput errors(2);
  for (int i = 0; i < 2; ++i) {
    replaceByRename(m_path, "corrupt");
    passTime(kCheckInterval);
    valueOf("/k");
    storeValue("better");
    passTime(kCheckInterval);
    EXPECT_EQ("better", valueOf("/k"));
  }
  const std::string said = errors.stop();
  EXPECT_EQ(2, std::count(said.begin(), said.end(), '\n')) << said;
}

/// How many mappings of the file and of its replaced predecessors the process has.
std::size_t mappingsOf(const std::string& path) {
  std::ifstream maps("/proc/self/maps");
  std::size_t count = 0;
  for (std::string line; std::getline(maps, line);)
    if (line.find(path) != std::string::npos) ++count;
  return count;
}

TEST_F(SnapshotStore, UnmapsReplacedSnapshots) {
  for (int i = 0; i < 100; ++i) {
    storeValue(std::to_string(i));
    passTime(kCheckInterval);
    EXPECT_EQ(std::to_string(i), valueOf("/k"));
    EXPECT_EQ(1U, mappingsOf(m_path));
  }
}

TEST_F(SnapshotStore, UnmapsTheSnapshotOfAnotherUrl) {
  const std::string other = m_dir.write("other.snap", snapshotOf({{"/k", "other", 1}}));
  storeValue("first");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ("first", valueOf("/k"));
    const ScopedEnv url("SETTINGREST_URL", "snapshot://" + other);
    EXPECT_EQ("other", valueOf("/k"));
    EXPECT_EQ("other", valueOf("/k"));
    EXPECT_EQ(0U, mappingsOf(m_path));
    EXPECT_EQ(1U, mappingsOf(other));
  }
}

}  // namespace
