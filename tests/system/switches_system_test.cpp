#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::runInChild;

TEST(SwitchesSystem, TheTsModesFileHasADefaultPath) {
  const commutil_test::TempDir root;
  root.write("export/home/omc/etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
  root.write("etc/conf/TSSetting.cfg", "[TS]\nts_mode=false\n");
  for (const std::optional<std::string>& share :
       {std::optional<std::string>(), std::optional<std::string>("")}) {
    runInChild([&] {
      const commutil_test::ScopedEnv variable("COMMON_SHARE_PATH", share);
      enterNamespaces(CLONE_NEWNS);
      ASSERT_EQ(0, ::chroot(root.path().c_str()));
      EXPECT_TRUE(VexaCommonUtils_i::isTsMode());
    });
  }
}

}  // namespace
