#include <gtest/gtest.h>
#include <sched.h>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::runInChild;

TEST(SslConfSystem, AFullDiskLeavesNoHalfWrittenOptionFile) {
  const commutil_test::TempDir dir;
  runInChild([&] {
    enterNamespaces(CLONE_NEWNS);
    const commutil_test::ScopedEnv share("_APP_SHARE_DIR", dir / "share");
    const commutil_test::ScopedEnv app("APP_ROOT", dir / "app");
    const commutil_test::ScopedEnv instance("PROCESS_INSTANCE_ID", "7");
    dir.write("app/conf/svc_ssl.conf", "\"-SSLCAfile a\"" + std::string(200'000, '#'));
    std::filesystem::create_directories(dir / "share");
    mountTmpfs(dir / "share", "size=64k");
    EXPECT_EQ("", VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf"));
    EXPECT_TRUE(std::filesystem::is_empty(dir / "share"));
    dir.write("app/conf/svc_ssl.conf", "\"-SSLCAfile a\"");
    EXPECT_EQ(dir / "share/svc_ssl_7.conf", VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf"));
  });
}

}  // namespace
