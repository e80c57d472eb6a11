#include "config/fake_store.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string_view>

namespace commutil_test {

FakeStore& fakeStore() {
  static FakeStore& store = *new FakeStore;  // outlives the library that calls it
  return store;
}

InstalledStore::InstalledStore(const std::string& kind) {
  replaceBy(kind);
  if (::chdir(m_dir.path().c_str()) != 0) std::abort();
}

void InstalledStore::replaceBy(const std::string& kind) const {
  const std::string library = m_dir / "libsettingrest.so";
  std::filesystem::copy_file(std::filesystem::path(FAKE_STORES) / kind / "libsettingrest.so",
                             library + ".new");
  std::filesystem::rename(library + ".new", library);
}

void InstalledStore::remove() const { std::filesystem::remove(m_dir / "libsettingrest.so"); }

}  // namespace commutil_test

extern "C" {

// At process exit ACE takes the locks of its libraries in the other order, whoever opened one; the
// thread sanitizer reports that even in a program of five lines.
const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() { return "deadlock:ACE_OS::mutex_lock\n"; }

// The functions that the store calls.

int fakeStoreAnswer(const std::string& key, std::string& value) {
  static std::mutex mutex;
  auto& store = commutil_test::fakeStore();
  {
    const std::lock_guard<std::mutex> lock(mutex);
    store.asked.push_back(key);
  }
  if (store.onCall) store.onCall(key);
  const auto answer = store.answers.find(key);
  if (answer == store.answers.end()) return 1;
  if (answer->second.value) value = *answer->second.value;
  return answer->second.result;
}

void fakeStoreUnloaded() {
  if (commutil_test::fakeStore().onUnload) commutil_test::fakeStore().onUnload();
}
}

/// Restarts the program with a library path, which the dynamic linker reads only at the start: the
/// current directory, to which each test with a store changes, then a file that is not a library,
/// which ends the search before an installed store.
int main(int argc, char** argv) {
  constexpr const char* kLibraryPath = "LD_LIBRARY_PATH";
  constexpr std::string_view kStores = ".:" FAKE_STORES "/none:";
  const char* const path = std::getenv(kLibraryPath);
  if (path == nullptr || std::string_view(path).substr(0, kStores.size()) != kStores) {
    ::setenv(kLibraryPath, std::string(kStores).append(path != nullptr ? path : "").c_str(), 1);
    ::execv("/proc/self/exe", argv);
    std::abort();
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
