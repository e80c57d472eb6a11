#include <ace/Init_ACE.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/threads.h"

namespace {

using commutil_test::fakeStore;
using commutil_test::InstalledStore;
using commutil_test::inThreads;
using commutil_test::TempDir;
using testing::ElementsAre;
using testing::Pair;

using Params = std::map<std::string, std::string>;

/// Runs `body` in a child with a time limit.
void runInChild(const std::function<void()>& body) {
  commutil_test::runInChild([&] {
    ::alarm(120);
    body();
  });
}

bool isStoreLoaded() { return ::dlsym(RTLD_DEFAULT, "fakeStoreIsLoaded") != nullptr; }

std::string valueOf(const std::string& key) {
  std::string value = "junk";
  EXPECT_EQ(0, VexaCommonUtils_i::getSettingParamValue(key, value));
  return value;
}

TEST(SettingsStore, WithoutALibraryNothingIsFoundOrChanged) {
  runInChild([] {
    const TempDir empty;
    ASSERT_EQ(0, ::chdir(empty.path().c_str()));
    for (int call = 0; call < 2; ++call) {
      std::string value = "junk";
      EXPECT_EQ(-1, VexaCommonUtils_i::getSettingParamValue("/key", value));
      EXPECT_EQ("junk", value);
      Params params{{"junk", "junk"}};
      EXPECT_EQ(-1, VexaCommonUtils_i::getSettingGroupParams("/group", params));
      EXPECT_THAT(params, ElementsAre(Pair("junk", "junk")));
      EXPECT_FALSE(VexaCommonUtils_i::GetSetParamValue("/a", "/b", value));
      EXPECT_EQ("junk", value);
    }
  });
}

TEST(SettingsStore, AnythingElseUnderTheNameIsNotALibrary) {
  const TempDir dir;
  dir.write("libsettingrest.so", "no library");
  runInChild([&] {
    ASSERT_EQ(0, ::chdir(dir.path().c_str()));
    std::string value = "junk";
    EXPECT_EQ(-1, VexaCommonUtils_i::getSettingParamValue("/key", value));
    EXPECT_EQ("junk", value);
  });
}

TEST(SettingsStore, ALibraryInstalledLaterIsFound) {
  runInChild([] {
    std::string value = "junk";
    EXPECT_EQ(-1, VexaCommonUtils_i::getSettingParamValue("/key", value));
    const InstalledStore store("full");
    fakeStore().answers["/key"] = {0, "found"};
    EXPECT_EQ("found", valueOf("/key"));
  });
}

TEST(SettingsStore, PassesArgumentsAndResultsThrough) {
  const InstalledStore store("full");
  runInChild([] {
    const std::string key("/k\0y \xff", 6);
    for (const int result : {0, 1, -1, 7, -2'000'000'000}) {
      SCOPED_TRACE(result);
      fakeStore().answers[key] = {result, "written"};
      std::string value = "junk";
      EXPECT_EQ(result, VexaCommonUtils_i::getSettingParamValue(key, value));
      EXPECT_EQ("written", value);
      fakeStore().answers[key] = {result, std::nullopt};
      EXPECT_EQ(result, VexaCommonUtils_i::getSettingParamValue(key, value));
      EXPECT_EQ("written", value);
    }
    EXPECT_EQ(std::vector<std::string>(10, key), fakeStore().asked);
  });
}

TEST(SettingsStore, PassesGroupsThrough) {
  const InstalledStore store("full");
  runInChild([] {
    fakeStore().answers["/group"] = {5, "written"};
    for (int call = 0; call < 2; ++call) {
      Params params{{"junk", "junk"}};
      EXPECT_EQ(5, VexaCommonUtils_i::getSettingGroupParams("/group", params));
      EXPECT_THAT(params, ElementsAre(Pair("answer", "written"), Pair("junk", "junk")));
    }
    EXPECT_THAT(fakeStore().asked, ElementsAre("/group", "/group"));
  });
}

TEST(SettingsStore, ALibraryWithoutTheEntryPointIsTriedAgain) {
  const InstalledStore store("no_entry_points");
  runInChild([&] {
    for (int call = 0; call < 2; ++call) {
      std::string value = "junk";
      EXPECT_EQ(-1, VexaCommonUtils_i::getSettingParamValue("/key", value));
      EXPECT_EQ("junk", value);
      Params params;
      EXPECT_EQ(-1, VexaCommonUtils_i::getSettingGroupParams("/group", params));
      EXPECT_TRUE(params.empty());
    }
    EXPECT_FALSE(isStoreLoaded()) << "nothing of it is cached";
    store.replaceBy("full");
    fakeStore().answers["/key"] = {0, "found"};
    EXPECT_EQ("found", valueOf("/key"));
  });
}

TEST(SettingsStore, EachEntryPointIsFoundByItself) {
  const InstalledStore store("param_only");
  runInChild([] {
    fakeStore().answers["/key"] = {0, "found"};
    Params params;
    EXPECT_EQ(-1, VexaCommonUtils_i::getSettingGroupParams("/group", params));
    EXPECT_EQ("found", valueOf("/key"));
    EXPECT_EQ(-1, VexaCommonUtils_i::getSettingGroupParams("/group", params));
    EXPECT_EQ("found", valueOf("/key"));
  });
}

TEST(SettingsStore, StaysMappedAndSurvivesTheFilesDeletion) {
  const InstalledStore store("full");
  runInChild([&] {
    fakeStore().onUnload = [] { ADD_FAILURE() << "unmapped under its entry points"; };
    fakeStore().answers["/key"] = {0, "found"};
    EXPECT_EQ("found", valueOf("/key"));
    EXPECT_TRUE(isStoreLoaded());
    store.remove();
    EXPECT_EQ("found", valueOf("/key"));
    Params params;  // this entry point was not looked up before
    EXPECT_EQ(0, VexaCommonUtils_i::getSettingGroupParams("/key", params));
    EXPECT_THAT(params, ElementsAre(Pair("answer", "found")));
    EXPECT_EQ(0, VexaCommonUtils_i::getSettingGroupParams("/key", params));
  });
}

TEST(SettingsStore, ReplacingTheLibraryChangesNothing) {
  const InstalledStore store("full");
  runInChild([&] {
    fakeStore().answers["/key"] = {0, "found"};
    EXPECT_EQ("found", valueOf("/key"));
    store.replaceBy("no_entry_points");
    EXPECT_EQ("found", valueOf("/key"));
    Params params;
    EXPECT_EQ(0, VexaCommonUtils_i::getSettingGroupParams("/key", params));
  });
}

TEST(SettingsStore, ItsSymbolsAreGlobal) {
  const InstalledStore store("full");
  runInChild([] {
    EXPECT_FALSE(isStoreLoaded());
    std::string value;
    VexaCommonUtils_i::getSettingParamValue("/key", value);
    const void* const marker = ::dlsym(RTLD_DEFAULT, "fakeStoreIsLoaded");
    ASSERT_NE(nullptr, marker);
    EXPECT_EQ(1, *static_cast<const int*>(marker));
  });
}

TEST(SettingsStore, ItsFunctionsAreBoundLazily) {
  const InstalledStore store("unresolved");
  runInChild([] {
    fakeStore().answers["/key"] = {0, "found"};
    EXPECT_EQ("found", valueOf("/key"));
  });
}

TEST(SettingsStore, MayCallItselfDuringTheFirstCall) {
  const InstalledStore store("full");
  runInChild([] {
    fakeStore().answers["/inner"] = {0, "inner"};
    fakeStore().answers["/outer"] = {0, "outer"};
    fakeStore().onCall = [](const std::string& key) {
      if (key != "/outer") return;
      EXPECT_EQ("inner", valueOf("/inner"));
    };
    EXPECT_EQ("outer", valueOf("/outer"));
    EXPECT_THAT(fakeStore().asked, ElementsAre("/outer", "/inner"));
  });
  runInChild([] {
    fakeStore().onCall = [](const std::string& group) {
      if (group != "/outer") return;
      Params params;
      EXPECT_EQ(1, VexaCommonUtils_i::getSettingGroupParams("/i", params));
    };
    Params params;
    EXPECT_EQ(1, VexaCommonUtils_i::getSettingGroupParams("/outer", params));
    EXPECT_THAT(fakeStore().asked, ElementsAre("/outer", "/i"));
  });
}

TEST(SettingsStore, AThrowingStoreHoldsNoLock) {
  const InstalledStore store("full");
  runInChild([&] {
    fakeStore().onCall = [](const std::string& key) {
      if (key == "/throws") throw std::runtime_error("store");
    };
    std::string value;
    EXPECT_THROW(VexaCommonUtils_i::getSettingParamValue("/throws", value), std::runtime_error);
    fakeStore().answers["/key"] = {0, "found"};
    EXPECT_EQ("found", valueOf("/key"));
  });
}

/// Looks a value and a group up from eight threads at once.
void lookUpTogether() {
  fakeStore().answers["/key"] = {0, "found"};
  inThreads(8, [](int i) {
    for (int call = 0; call < 10; ++call) {
      if (i % 2 == 0) {
        EXPECT_EQ("found", valueOf("/key"));
      } else {
        Params params;
        EXPECT_EQ(0, VexaCommonUtils_i::getSettingGroupParams("/key", params));
      }
    }
  });
  EXPECT_EQ(80U, fakeStore().asked.size());
}

TEST(SettingsStore, ThreadsMayMakeTheFirstCallTogether) {
  const InstalledStore store("full");
  for (int process = 0; process < 40; ++process) runInChild(lookUpTogether);
}

TEST(SettingsStore, CallsAreNotSerialized) {
  const InstalledStore store("full");
  runInChild([] {
    fakeStore().answers["/key"] = {0, "found"};
    EXPECT_EQ("found", valueOf("/key"));
    std::atomic<int> inside{0};
    fakeStore().onCall = [&](const std::string&) {
      for (++inside; inside < 4;) std::this_thread::yield();
    };
    inThreads(4, [](int) { EXPECT_EQ("found", valueOf("/key")); });
  });
}

TEST(SettingsStoreDeathTest, TheProcessExitsCleanly) {
  const InstalledStore store("full");
  const auto lookUpAndExit = [] {
    fakeStore().onUnload = [] { std::fputs("unloaded\n", stderr); };
    fakeStore().answers["/key"] = {0, "found"};
    if (valueOf("/key") != "found") std::abort();
    Params params;
    VexaCommonUtils_i::getSettingGroupParams("/key", params);
    std::exit(3);
  };
  EXPECT_EXIT(lookUpAndExit(), testing::ExitedWithCode(3), "^unloaded\n$");
}

TEST(SettingsStoreDeathTest, OutlivesAceAndWorksDuringExit) {
  const InstalledStore store("full");
  const auto lookUpAtExit = [] {
    std::atexit([] { std::fputs(valueOf("/key") == "found" ? "found\n" : "lost\n", stderr); });
    ACE::init();
    fakeStore().answers["/key"] = {0, "found"};
    if (valueOf("/key") != "found") std::abort();
    ACE::fini();
    if (valueOf("/key") != "found") std::abort();
    std::exit(3);
  };
  EXPECT_EXIT(lookUpAtExit(), testing::ExitedWithCode(3), "^found\n$");
}

struct TwoKeys {
  const char* name;
  std::optional<commutil_test::StoreAnswer> primary;
  std::optional<commutil_test::StoreAnswer> fallback;
  bool found;
  const char* value;
  std::vector<std::string> asked;
};

const std::vector<std::string> kPrimary{"/p"};
const std::vector<std::string> kBoth{"/p", "/f"};

const TwoKeys kTwoKeys[] = {
    {"first", {{0, "p"}}, {{0, "f"}}, true, "p", kPrimary},
    {"second", {}, {{0, "f"}}, true, "f", kBoth},
    {"first is empty", {{0, ""}}, {{0, "f"}}, true, "f", kBoth},
    {"first fails having written", {{1, "p"}}, {{0, "f"}}, true, "f", kBoth},
    {"neither", {}, {}, false, "", kBoth},
    {"second fails having written", {}, {{1, "f"}}, false, "f", kBoth},
    {"second is empty", {{1, "p"}}, {{0, ""}}, false, "", kBoth},
    // The value is not cleared in between: what the first lookup wrote remains.
    {"second leaves what the first wrote", {{1, "p"}}, {{0, std::nullopt}}, true, "p", kBoth},
    {"both fail, first wrote", {{1, "p"}}, {}, false, "p", kBoth},
    {"second succeeds without writing", {{0, ""}}, {{0, std::nullopt}}, false, "", kBoth},
};

TEST(SettingsStore, ReadsOneKeyThenAnother) {
  const InstalledStore store("full");
  for (const TwoKeys& row : kTwoKeys) {
    SCOPED_TRACE(row.name);
    runInChild([&] {
      if (row.primary) fakeStore().answers["/p"] = *row.primary;
      if (row.fallback) fakeStore().answers["/f"] = *row.fallback;
      std::string value;
      EXPECT_EQ(row.found, VexaCommonUtils_i::GetSetParamValue("/p", "/f", value));
      EXPECT_EQ(row.value, value);
      EXPECT_EQ(row.asked, fakeStore().asked);
    });
  }
}

TEST(SettingsStore, TheCallersValueCountsIfTheStoreSucceedsWithoutWriting) {
  const InstalledStore store("full");
  runInChild([] {
    fakeStore().answers["/p"] = {0, std::nullopt};
    std::string value = "caller's";
    EXPECT_TRUE(VexaCommonUtils_i::GetSetParamValue("/p", "/f", value));
    EXPECT_EQ("caller's", value);
    EXPECT_THAT(fakeStore().asked, ElementsAre("/p"));
  });
}

}  // namespace
