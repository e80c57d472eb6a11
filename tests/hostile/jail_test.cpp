// Operations in a root directory that holds only their own files: no shell, no "/proc", no devices,
// no password file.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>

#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "hostile/operations.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::Deployment;
using commutil_test::Lack;
using commutil_test::Operation;
using commutil_test::runInChild;
using commutil_test::withEachOperation;

void enterJail(Deployment& deployment) {
  ASSERT_NO_FATAL_FAILURE(commutil_test::enterNamespaces(CLONE_NEWNS));
  ASSERT_NO_FATAL_FAILURE(deployment.becomeRoot());
}

TEST(Jail, OnlyWhatNeedsTheHostFails) {
  withEachOperation(
      [](const Operation& operation, const Deployment& /*deployment*/) {
        for (int call = 0; call < 2; ++call)
          EXPECT_EQ(operation.resultWithout(Lack::host), operation.call());
      },
      enterJail);
}

TEST(Jail, HasNoServiceUserToBecome) {
  runInChild([] {
    Deployment deployment;
    enterJail(deployment);
    const mode_t mask = ::umask(0123);
    EXPECT_EQ(-1, VexaCommonUtils::switchOmcUser());
    EXPECT_EQ(mode_t{0123}, ::umask(mask));
  });
}

TEST(Jail, HasNoSession) {
  runInChild([] {
    Deployment deployment;
    enterJail(deployment);
    std::string user = "before";
    std::string address = "before";
    EXPECT_EQ(-1, VexaCommonUtils::getSessionDetails(user, address));
    EXPECT_EQ("before", user);
    EXPECT_EQ("before", address);
    EXPECT_FALSE(VexaCommonUtils_i::isZirel());
  });
}

}  // namespace
