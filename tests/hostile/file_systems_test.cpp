// Files on read-only and full file systems, and files that are mount points.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/file_state.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::bindOver;
using commutil_test::enterNamespaces;
using commutil_test::modeOf;
using commutil_test::mountTmpfs;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::stateOf;
using commutil_test::TempDir;
using commutil_test::writeFile;

/// A template with every option, so that the settings store is not read.
const std::string kTemplate = "\"-SSLCAfile a -SSLAuthenticate b -SSLVersion c -SSLNoProtection\"";

void remount(const std::string& path, unsigned long flags) {
  ASSERT_EQ(0, ::mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | flags, nullptr))
      << std::strerror(errno);
}

/// Runs `body` in namespaces of its own with a deployment whose share directory is `small`.
class FileSystems : public ::testing::Test {
 protected:
  void run(const std::string& options, const std::function<void()>& body) {
    runInChild([&] {
      fs::create_directory(small);
      ASSERT_NO_FATAL_FAILURE(enterNamespaces(CLONE_NEWNS));
      ASSERT_NO_FATAL_FAILURE(mountTmpfs(small, options));
      body();
    });
  }
  static std::string generate() { return VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf"); }

  TempDir directory;
  const std::string small = directory / "small";
  const std::string target = small + "/svc_ssl_7.conf";
  const std::string source = directory.write("app/conf/svc_ssl.conf", kTemplate);
  ScopedEnv share{"_APP_SHARE_DIR", small};
  ScopedEnv app{"APP_ROOT", directory / "app"};
  ScopedEnv instance{"PROCESS_INSTANCE_ID", "7"};
};

TEST_F(FileSystems, AReadOnlyOneKeepsTheOldSslOptionFile) {
  run("", [&] {
    writeFile(target, "old");
    const std::string before = stateOf(target);
    remount(small, MS_RDONLY);
    EXPECT_EQ("", generate());
    EXPECT_EQ(before, stateOf(target));
    remount(small, 0);
    EXPECT_EQ(target, generate());
    EXPECT_EQ(kTemplate, readFile(target));
  });
}

TEST_F(FileSystems, ASslOptionFileThatIsAMountPointIsOverwritten) {
  run("", [&] {
    const std::string mounted = directory.write("mounted", "longer than the template" + kTemplate);
    writeFile(target, "");
    bindOver(mounted, target);
    EXPECT_EQ(target, generate());
    EXPECT_EQ(kTemplate, readFile(mounted));
    EXPECT_EQ(mode_t{0640}, modeOf(mounted));
  });
}

TEST_F(FileSystems, AReadOnlyMountPointIsNoTarget) {
  run("", [&] {
    const std::string mounted = directory.write("mounted", "kept");
    const std::string copy = small + "/copy";
    for (const std::string& path : {copy, target}) {
      writeFile(path, "");
      bindOver(mounted, path);
      ASSERT_EQ(0,
                ::mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
    }
    const std::string before = stateOf(copy);
    EXPECT_EQ(-1, VexaCommonUtils_i::copyFile(source, copy, false, true));
    EXPECT_EQ("", generate());
    EXPECT_EQ(before, stateOf(copy));
  });
}

TEST_F(FileSystems, OneWithoutInodesGetsNoDirectory) {
  run("nr_inodes=3", [&] {
    VexaCommonUtils::mkdir_all(small + "/a/b/c/d");
    EXPECT_TRUE(fs::exists(small + "/a/b"));
    EXPECT_FALSE(fs::exists(small + "/a/b/c"));
    EXPECT_EQ(-1, VexaCommonUtils_i::copyFile(source, small + "/copy", false, true));
    EXPECT_EQ("", generate());
    fs::remove(small + "/a/b");
    EXPECT_EQ(target, generate());
  });
}

}  // namespace
