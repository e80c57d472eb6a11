// Without root there is nothing to switch; the system tests cover the rest.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "VexaCommonUtils.h"
#include "support/fixtures.h"

using commutil_test::runInChild;
using commutil_test::ScopedUmask;

TEST(SwitchUser, DoesNothingWithoutRoot) {
  runInChild([] {
    if (::getuid() == 0) {
      ASSERT_EQ(0, ::setresgid(4711, 4712, 4713));
      ASSERT_EQ(0, ::setresuid(4711, 0, 0));
    }
    const ScopedUmask mask(031);
    EXPECT_EQ(0, VexaCommonUtils::switchOmcUser());
    EXPECT_EQ(031U, ::umask(031));
    if (::getuid() == 4711) {
      EXPECT_EQ(0U, ::geteuid());
      EXPECT_EQ(4712U, ::getegid());
    }
  });
}
