// A settings store that is installed on the system must not affect the tests of the settings.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::runInChild;
using commutil_test::shell;
using commutil_test::TempDir;

/// The directory of the C library, which the dynamic linker searches for any program.
std::string standardDirectory() {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<const void*>(&::getenv), &info) == 0) return {};
  return std::filesystem::canonical(info.dli_fname).parent_path().string();
}

/// Installs the library `store` into a standard directory of this namespace.
void install(const std::string& store, const std::string& scratch) {
  mountTmpfs(scratch);
  for (const char* const layer : {"/upper", "/work"}) {
    std::filesystem::create_directory(scratch + layer);
  }
  const std::string directory = standardDirectory();
  shell("mount -t overlay overlay -o lowerdir=" + directory + ",upperdir=" + scratch +
        "/upper,workdir=" + scratch + "/work " + directory);
  std::filesystem::copy(store, directory + "/libsettingrest.so",
                        std::filesystem::copy_options::overwrite_existing);
}

TEST(InstalledStore, DoesNotReachTheTestsOfTheSettings) {
  const TempDir scratch;
  runInChild([&scratch] {
    enterNamespaces(CLONE_NEWNS);
    install(STORE, scratch.path().string());
    ASSERT_NE(nullptr, ::dlopen("libsettingrest.so", RTLD_LAZY)) << ::dlerror();
    shell(SETTINGS_STORE_TEST " --gtest_brief=1");
    shell(SSL_CONF_TEST " --gtest_brief=1");
    shell(SWITCHES_TEST " --gtest_brief=1 --gtest_filter=*Store*");
  });
}

}  // namespace
