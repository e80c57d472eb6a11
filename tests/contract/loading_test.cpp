// Loads and unloads the library, with which this program is not linked: closing its last handle
// unloads it, repeated loading leaves nothing behind, and two copies keep separate state.
//
// By contract two things stay: the settings store, which is never unmapped because its entry points
// may be called any time; and the locale instance, unless `VexaLocale::Destory` was called.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>

#include "support/fixtures.h"

namespace {

using commutil_test::ScopedEnv;
using commutil_test::TempDir;

constexpr int kRounds = 1000;
constexpr int kWindow = 300;
constexpr const char* kStoreName = "libsettingrest";

struct Unloader {
  void operator()(void* library) const { ::dlclose(library); }
};
using Library = std::unique_ptr<void, Unloader>;

Library load(const std::string& path) {
  Library library(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (!library) ADD_FAILURE() << ::dlerror();
  return library;
}

template <class Function>
Function* symbolOf(const Library& library, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(library.get(), name));
}

long mappingsOf(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  long count = 0;
  for (std::string line; std::getline(maps, line);) count += line.find(name) != line.npos ? 1 : 0;
  return count;
}

long entriesOf(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

std::size_t allocatedBytes() {
  const auto heap = ::mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

/// The most that the process held over some rounds.
struct Holdings {
  long descriptors = 0;
  long threads = 0;
  long mappings = 0;  ///< of files; sanitizers add others
  std::size_t bytes = 0;

  void note() {
    descriptors = std::max(descriptors, entriesOf("/proc/self/fd"));
    threads = std::max(threads, entriesOf("/proc/self/task"));
    mappings = std::max(mappings, mappingsOf("/"));
    bytes = std::max(bytes, allocatedBytes());
  }
};

/// Runs `round` a thousand times, after each of which the library is unloaded, and expects that the
/// process holds no more in the last 300 rounds than in the 300 before.
void expectNoGrowth(const std::function<void(int)>& round) {
  Holdings before;
  Holdings after;
  for (int i = 0; i < kRounds; ++i) {
    SCOPED_TRACE(i);
    round(i);
    ASSERT_FALSE(testing::Test::HasFailure());
    ASSERT_EQ(0, mappingsOf("libcommutil")) << "the library stays mapped";
    if (i >= kRounds - 2 * kWindow) (i < kRounds - kWindow ? before : after).note();
  }
  EXPECT_LE(after.descriptors, before.descriptors);
  EXPECT_LE(after.threads, before.threads);
  EXPECT_LE(after.mappings, before.mappings);
  EXPECT_LE(after.bytes, before.bytes);
}

/// A deployment in which every cached result can be read; the variable TRACES names the trace
/// directory.
class Loading : public testing::Test {
 protected:
  Loading() {
    m_dir.write("share/conf/setting.cfg", "[TraceDir]\ntracedir=${TRACES}\n");
    m_dir.write("share/conf/secure.cfg", "[UnsafeWord]\na=rm -rf\n");
    m_dir.write("share/conf/svc_ssl.conf", "\"-SSLCAfile ca.pem\"\n");
    m_dir.write("share/etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
    m_dir.write("oracle.json", R"({"databases": {"main": [{"type": "oracle"}]}})");
    m_dir.write("sybase.json", R"({"databases": {"main": [{"type": "tessarn"}]}})");
    m_dir.write("etc/sysconf/nodelists.json",
                R"({"nodeList": {"n": {"extAttr": {"RemoteClient": "true"},
                                       "IPAddresses": [{"IP": "10.0.0.1"}]}}})");
  }

  const TempDir m_dir;
  const std::string m_share = m_dir / "share";

 private:
  ScopedEnv m_shareDirectory{"_APP_SHARE_DIR", m_share};
  ScopedEnv m_commonShare{"COMMON_SHARE_PATH", m_share};
  ScopedEnv m_configuration{"APP_CONF_FILE", m_dir / "oracle.json"};
  ScopedEnv m_cluster{"QORV_ROOT", m_dir.path()};
  ScopedEnv m_traces{"TRACES", "/traces/"};
  ScopedEnv m_locale{"LC_ALL", "C"};
};

TEST_F(Loading, AThousandTimesWithoutUseLeavesNothing) {
  expectNoGrowth([](int) { load(COMMUTIL); });
}

TEST_F(Loading, AThousandTimesWithUseKeepsTheSettingsStore) {
  using Use = const char*(const char* share, const char* traceDirectory);
  long storeMappings = 0;
  expectNoGrowth([&](int round) {
    // Two values alternate, so that a cache which outlived its library shows.
    const char* const traces = round % 2 == 0 ? "/even/" : "/odd/";
    ::setenv("TRACES", traces, 1);
    const Library user = load(LOADING_USER);
    auto* const use = symbolOf<Use>(user, "useLibrary");
    ASSERT_NE(nullptr, use);
    ASSERT_STREQ("", use(m_share.c_str(), traces));
    if (round == 0) storeMappings = mappingsOf(kStoreName);
  });
  EXPECT_GT(storeMappings, 0);
  EXPECT_EQ(storeMappings, mappingsOf(kStoreName)) << "mapped more than once";
}

/// A copy of the library under its own path, and some of its operations.
struct Copy {
  explicit Copy(const std::string& directory) {
    std::filesystem::create_directories(directory);
    const std::string path = directory + "/libcommutil.so";
    std::filesystem::copy_file(COMMUTIL, path);
    library = load(path);
    tracePath = symbolOf<std::string()>(library, "_ZN15VexaCommonUtils12getTracePathB5cxx11Ev");
    dbType = symbolOf<std::string()>(library, "_ZN15VexaCommonUtils9getDBTypeB5cxx11Ev");
    tsMode = symbolOf<bool()>(library, "_ZN17VexaCommonUtils_i8isTsModeEv");
    locale = symbolOf<void*()>(library, "_ZN10VexaLocale8InstanceEv");
    destroyLocale = symbolOf<void()>(library, "_ZN10VexaLocale7DestoryEv");
  }

  Library library;
  std::string (*tracePath)();
  std::string (*dbType)();
  bool (*tsMode)();
  void* (*locale)();
  void (*destroyLocale)();
};

TEST_F(Loading, TwoCopiesKeepSeparateCaches) {
  const Copy first(m_dir / "first");
  const Copy second(m_dir / "second");
  EXPECT_EQ("/traces/", first.tracePath());
  EXPECT_EQ("oracle", first.dbType());
  EXPECT_TRUE(first.tsMode());

  const ScopedEnv traces("TRACES", "/others/");
  const ScopedEnv configuration("APP_CONF_FILE", m_dir / "sybase.json");
  m_dir.write("share/etc/conf/TSSetting.cfg", "[TS]\nts_mode=false\n");
  EXPECT_EQ("/others/", second.tracePath());
  EXPECT_EQ("tessarn", second.dbType());
  EXPECT_FALSE(second.tsMode());
  EXPECT_EQ("/traces/", first.tracePath());
  EXPECT_EQ("oracle", first.dbType());
  EXPECT_TRUE(first.tsMode());

  EXPECT_NE(first.locale(), second.locale());
  first.destroyLocale();
  second.destroyLocale();
}

TEST_F(Loading, OneCopyGoesWhileTheOtherStays) {
  const Copy first(m_dir / "first");
  EXPECT_EQ("oracle", first.dbType());
  { const Copy second(m_dir / "second"); }
  EXPECT_EQ(0, mappingsOf("/second/libcommutil"));
  EXPECT_LT(0, mappingsOf("/first/libcommutil"));
  EXPECT_EQ("oracle", first.dbType());
}

}  // namespace

/// Restarts the program with settings that apply at the start: where the dynamic linker finds the
/// settings store, and that threads cache no freed blocks, so that every block in use has an owner.
int main(int argc, char** argv) {
  if (std::getenv("GLIBC_TUNABLES") == nullptr) {
    ::setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0:glibc.malloc.mxfast=0", 1);
    ::setenv("LD_LIBRARY_PATH", STORE_DIR, 1);
    ::execv("/proc/self/exe", argv);
    std::abort();
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
