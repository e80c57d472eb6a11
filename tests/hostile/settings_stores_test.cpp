// Settings stores that throw, call the library back, fork or unload themselves, in the first lookup
// of a process and in every operation that makes lookups.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/fixtures.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::fakeStore;
using commutil_test::InstalledStore;
using commutil_test::openDescriptors;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::TempDir;

/// A deployment whose settings are all in the store.
class Deployment {
 public:
  Deployment() {
    m_dir.write("conf/setting.cfg", "[IP]\n");
    m_dir.write("conf/svc_ssl.conf", "\"-SSLCAfile a -SSLAuthenticate b -SSLVersion c\"");
    ::setenv("_APP_SHARE_DIR", m_dir.path().c_str(), 1);
    ::setenv("APP_NAME", "app", 1);
    ::setenv("PROCESS_INSTANCE_ID", "7", 1);
    fakeStore().answers = {
        {"/key", {0, "found"}},
        {"/vexa/common/setting_cfg/app/ListenAllIp", {0, "enable"}},
        {"/vexa/common/setting_cfg/app/ListenLoopbackIP", {0, "enable"}},
        {"/vexa/common/svc_ssl_conf/app/SSLNoProtection", {0, "enable"}},
    };
  }
  static std::string sslFile() {
    return VexaCommonUtils::Vexagetenv("_APP_SHARE_DIR") + "/svc_ssl_7.conf";
  }

 private:
  TempDir m_dir;
};

struct Lookup {
  const char* name;
  std::function<std::string()> call;
  std::string right;
};

std::string wordOf(bool on) { return on ? "on" : "off"; }

std::string lookUpGroup() {
  std::map<std::string, std::string> params;
  return VexaCommonUtils_i::getSettingGroupParams("/key", params) == 0 ? params["answer"] : "none";
}

std::string lookUpValue() {
  std::string value;
  return VexaCommonUtils_i::getSettingParamValue("/key", value) == 0 ? value : "none";
}

std::string lookUpTwoKeys() {
  std::string value;
  return VexaCommonUtils_i::GetSetParamValue("/missing", "/key", value) ? value : "none";
}

/// Returns the last line of the SSL option file.
std::string generateSslFile() {
  const std::string path = VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf");
  if (path != Deployment::sslFile()) return "none";
  const std::string text = readFile(path);
  return text.substr(text.rfind('\n') + 1);
}

const Lookup kLookups[] = {
    {"getSettingParamValue", lookUpValue, "found"},
    {"getSettingGroupParams", lookUpGroup, "found"},
    {"GetSetParamValue", lookUpTwoKeys, "found"},
    {"isListenAllIp", [] { return wordOf(VexaCommonUtils::isListenAllIp()); }, "on"},
    {"isListenLoopback", [] { return wordOf(VexaCommonUtils_i::isListenLoopback()); }, "on"},
    {"isCorbaSSLOnly", [] { return wordOf(VexaCommonUtils_i::isCorbaSSLOnly()); }, "off"},
    {"get_svc_ssl_conf", generateSslFile, "-SSLNoProtection\""},
};
constexpr const Lookup& kSslFile = kLookups[6];

/// Calls `check` with each lookup, in a child with a store that no lookup has loaded.
void withEachLookup(const std::function<void(const Lookup&)>& check) {
  const InstalledStore store("full");
  for (const Lookup& lookup : kLookups) {
    SCOPED_TRACE(lookup.name);
    runInChild([&] {
      ::alarm(60);
      const Deployment deployment;
      check(lookup);
    });
  }
}

/// Makes the store do something in the next of its calls only.
void onNextCall(std::function<void()> action) {
  fakeStore().onCall = [action = std::move(action)](const std::string& /*key*/) {
    const auto once = std::exchange(fakeStore().onCall, nullptr);
    action();
  };
}

const std::pair<const char*, void (*)()> kThrows[] = {
    {"an exception", [] { throw std::runtime_error("store"); }},
    {"no memory", [] { throw std::bad_alloc(); }},
    {"a number", [] { throw 7; }},
};

TEST(SettingsStores, ThatThrowLeaveNothingBehind) {
  for (const auto& [name, raise] : kThrows) {
    SCOPED_TRACE(name);
    withEachLookup([raise = raise](const Lookup& lookup) {
      lookUpValue();  // loads the store
      const std::size_t before = openDescriptors();
      for (int round = 0; round < 2; ++round) {
        onNextCall(raise);
        EXPECT_ANY_THROW(lookup.call());
        EXPECT_EQ(before, openDescriptors());
        EXPECT_FALSE(fs::exists(Deployment::sslFile()));
      }
      EXPECT_EQ(lookup.right, lookup.call());
    });
  }
}

TEST(SettingsStores, ThatThrowInTheFirstLookupHoldNoLock) {
  withEachLookup([](const Lookup& lookup) {
    onNextCall([] { throw std::runtime_error("store"); });
    EXPECT_THROW(lookup.call(), std::runtime_error);
    for (const Lookup& next : kLookups) EXPECT_EQ(next.right, next.call()) << next.name;
  });
}

TEST(SettingsStores, MayCallTheLibraryBack) {
  for (const Lookup& inner : kLookups) {
    SCOPED_TRACE(std::string("calls back ") + inner.name);
    withEachLookup([&inner](const Lookup& lookup) {
      // The file's mutex is held while its settings are read.
      if (&lookup == &kSslFile && &inner == &kSslFile) return;
      int calls = 0;
      onNextCall([&] {
        ++calls;
        EXPECT_EQ(inner.right, inner.call());
      });
      EXPECT_EQ(lookup.right, lookup.call());
      EXPECT_EQ(1, calls);
    });
  }
}

TEST(SettingsStores, MayFork) {
  withEachLookup([](const Lookup& lookup) {
    pid_t child = -1;
    onNextCall([&child] {
      child = ::fork();
      int status = -1;
      if (child > 0) {
        EXPECT_EQ(child, ::waitpid(child, &status, 0));
      }
      if (child > 0) {
        EXPECT_EQ(0, status) << "what the child finds";
      }
    });
    EXPECT_EQ(lookup.right, lookup.call());
    for (const Lookup& next : kLookups) EXPECT_EQ(next.right, next.call()) << next.name;
    if (child == 0) ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  });
}

/// Closes the store's library more often than it was opened.
void closeStore() {
  constexpr int kCloses = 8;
  void* const library = ::dlopen("libsettingrest.so", RTLD_LAZY | RTLD_NOLOAD);
  ASSERT_NE(nullptr, library);
  for (int close = 0; close < kCloses; ++close) ::dlclose(library);
}

TEST(SettingsStores, CannotUnloadThemselves) {
  withEachLookup([](const Lookup& lookup) {
    onNextCall(closeStore);
    EXPECT_EQ(lookup.right, lookup.call());
    for (const Lookup& next : kLookups) EXPECT_EQ(next.right, next.call()) << next.name;
  });
}

}  // namespace
