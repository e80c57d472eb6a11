#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <filesystem>
#include <fstream>
#include <list>
#include <string>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using testing::ElementsAre;

TEST(ClusterNodesOnTheSystem, AnEmptyRootMeansTheFileSystemsRoot) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs("/etc");
    std::filesystem::create_directory("/etc/sysconf");
    std::ofstream("/etc/sysconf/nodelists.json")
        << R"({"nodeList":{"n":{"extAttr":{"RemoteClient":"true"},"IPAddresses":[{"IP":"1.2.3.4"}]}}})";
    std::list<std::string> addresses;
    {
      const ScopedEnv env("QORV_ROOT", "");
      EXPECT_EQ(0, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
      EXPECT_THAT(addresses, ElementsAre("1.2.3.4"));
    }
    const ScopedEnv env("QORV_ROOT", std::nullopt);
    EXPECT_EQ(-1, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
    EXPECT_THAT(addresses, ElementsAre("1.2.3.4"));
  });
}

}  // namespace
