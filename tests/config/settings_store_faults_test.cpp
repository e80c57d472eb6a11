// The next lookup finds the settings store, whatever failed during the first one. This program
// replaces what loading the store needs: memory without exceptions, dlopen(3) and dlinfo(3).
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/c_library.h"
#include "support/memory_faults.h"
#include "support/threads.h"

namespace {

using commutil_test::cLibrary;
using commutil_test::Fault;

Fault openFault;
Fault infoFault;
std::atomic<int> opened{0};      // calls of dlopen that may load the store
std::function<void()> onPinned;  // runs after the first call of dlopen that may not load it
bool refusesPin = false;         // such calls fail

}  // namespace

extern "C" {

void* dlopen(const char* path, int mode) noexcept {
  static auto* const real = cLibrary<void*(const char*, int)>("dlopen");
  const bool mayLoad = (mode & RTLD_NOLOAD) == 0;
  if (mayLoad) ++opened;
  if (openFault.isDue() || (refusesPin && !mayLoad)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const handle = real(path, mode);
  if (!mayLoad && onPinned) std::exchange(onPinned, nullptr)();
  return handle;
}

int dlinfo(void* handle, int request, void* answer) noexcept {
  static auto* const real = cLibrary<int(void*, int, void*)>("dlinfo");
  return infoFault.isDue() ? -1 : real(handle, request, answer);
}
}

namespace {

using commutil_test::fakeStore;
using commutil_test::InstalledStore;
using commutil_test::memoryFault;

using Params = std::map<std::string, std::string>;

constexpr int kNoMemory = -100;

struct Lookup {
  const char* name;
  std::function<int(std::string& value)> call;
};

const Lookup kLookups[] = {
    {"of a value",
     [](std::string& value) { return VexaCommonUtils_i::getSettingParamValue("/key", value); }},
    {"of a group",
     [](std::string& value) {
       Params params{{"answer", value}};
       const int result = VexaCommonUtils_i::getSettingGroupParams("/key", params);
       value = params["answer"];
       return result;
     }},
};

void expectStaysMapped() {
  fakeStore().onUnload = [] { ADD_FAILURE() << "unmapped under its entry points"; };
}

/// Runs the body with a store, in a child with a time limit.
void runWithStore(const std::function<void()>& body) {
  commutil_test::runInChild([&body] {
    ::alarm(120);
    fakeStore().answers["/key"] = {0, "found"};
    body();
  });
}

int resultOf(const Lookup& lookup, std::string& value) {
  try {
    return lookup.call(value);
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

/// Expects the right result of `lookup`.
void expectFound(const Lookup& lookup) {
  std::string value;
  EXPECT_EQ(0, lookup.call(value));
  EXPECT_EQ("found", value);
}

/// Returns how often the first call of `lookup` makes the call that `fault` counts.
int callsIn(const Lookup& lookup, Fault& fault) {
  constexpr int kShared = MAP_SHARED | MAP_ANONYMOUS;
  void* const place = ::mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, kShared, -1, 0);
  if (place == MAP_FAILED) std::abort();
  int* const count = new (place) int(0);
  runWithStore([&] {
    fault.arm(Fault::kNever);
    expectFound(lookup);
    *count = fault.disarm();
  });
  const int calls = *count;
  ::munmap(place, sizeof(int));
  return calls;
}

/// Fails each call that `fault` counts during the first lookup, each in its own process, and
/// expects a legitimate result of that lookup and the right results of the next ones.
void failEachCall(Fault& fault, int fewestCalls) {
  const InstalledStore store("full");
  for (const Lookup& lookup : kLookups) {
    const int calls = callsIn(lookup, fault);
    EXPECT_LE(fewestCalls, calls);
    for (int call = 0; call < calls; ++call) {
      SCOPED_TRACE(testing::Message() << "lookup " << lookup.name << ", call " << call);
      runWithStore([&] {
        std::string value = "untouched";
        fault.arm(call);
        const int result = resultOf(lookup, value);
        fault.disarm();
        EXPECT_THAT(result, testing::AnyOf(0, -1, kNoMemory));
        EXPECT_EQ(result == 0 ? "found" : "untouched", value);
        expectStaysMapped();
        for (int again = 0; again < 2; ++again) {
          for (const Lookup& next : kLookups) expectFound(next);
        }
      });
    }
  }
}

TEST(SettingsStoreFaults, RunningOutOfMemoryOnceLeavesTheStoreUsable) {
  commutil_test::spareAllocationsIn("strnew");
  commutil_test::spareAllocationsIn("ldname");
  failEachCall(memoryFault(), 10);
}

TEST(SettingsStoreFaults, AnOpenThatFailsOnceLeavesTheStoreUsable) { failEachCall(openFault, 2); }

TEST(SettingsStoreFaults, AQueryThatFailsOnceLeavesTheStoreUsable) { failEachCall(infoFault, 1); }

TEST(SettingsStoreFaults, WithoutAManagerTheLookupIsOutOfMemory) {
  const InstalledStore store("full");
  for (const Lookup& lookup : kLookups) {
    SCOPED_TRACE(lookup.name);
    runWithStore([&lookup] {
      std::string value;
      memoryFault().arm(0);
      EXPECT_EQ(kNoMemory, resultOf(lookup, value));
      EXPECT_EQ(0, opened);
    });
  }
}

TEST(SettingsStoreFaults, AStoreThatCannotBePinnedWorksAndIsLoadedAgain) {
  const InstalledStore store("full");
  for (const Lookup& lookup : kLookups) {
    SCOPED_TRACE(lookup.name);
    runWithStore([&lookup] {
      int unloaded = 0;
      fakeStore().onUnload = [&unloaded] { ++unloaded; };
      refusesPin = true;
      expectFound(lookup);
      EXPECT_EQ(1, unloaded);
      refusesPin = false;
      expectFound(lookup);
      expectFound(lookup);
      EXPECT_EQ(1, unloaded);
      EXPECT_EQ(2, opened);
      fakeStore().onUnload = nullptr;
    });
  }
}

TEST(SettingsStoreFaults, AStoreThatCannotBePinnedMayCallItself) {
  const InstalledStore store("full");
  for (const Lookup& lookup : kLookups) {
    SCOPED_TRACE(lookup.name);
    runWithStore([&lookup] {
      refusesPin = true;
      fakeStore().onCall = [&lookup](const std::string&) {
        fakeStore().onCall = nullptr;
        expectFound(lookup);
      };
      std::string value;
      EXPECT_EQ(0, lookup.call(value));
    });
  }
}

TEST(SettingsStoreFaults, ACallerThatWaitedForTheFirstLookupLoadsTheStoreAgain) {
  const InstalledStore store("full");
  for (const Lookup& lookup : kLookups) {
    SCOPED_TRACE(lookup.name);
    runWithStore([&lookup] {
      expectStaysMapped();
      std::thread second;
      onPinned = [&] {
        std::atomic<pid_t> id{0};
        second = std::thread([&id, &lookup] {
          id = static_cast<pid_t>(::syscall(SYS_gettid));
          expectFound(lookup);
        });
        while (id == 0) std::this_thread::yield();
        commutil_test::awaitLockWait(id);
      };
      expectFound(lookup);
      ASSERT_TRUE(second.joinable());
      second.join();
      EXPECT_EQ(2, opened);
      expectFound(lookup);
      EXPECT_EQ(2, opened);
    });
  }
}

}  // namespace
