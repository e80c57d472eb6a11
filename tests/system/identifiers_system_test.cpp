#include <gtest/gtest.h>

#include <sched.h>

#include <string>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::runInChild;
using commutil_test::shell;

std::string macPart() { return VexaCommonUtils_i::generateUUID().substr(20); }

TEST(IdentifierOfAHost, EndsWithZerosWithoutInterfaces) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNET);
    EXPECT_EQ("000000000000", macPart());
  });
}

TEST(IdentifierOfAHost, FollowsTheInterfacesAddress) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNET);
    shell("ip link add one type veth peer name two");
    // The order of the system's list decides which end is read, so both get the address.
    shell("ip link set one address 02:0a:fb:00:9c:ff && ip link set two address 02:0a:fb:00:9c:ff");
    shell("ip link set one up && ip link set two up && ip address add 192.0.2.1/24 dev one");
    EXPECT_EQ("020AFB009CFF", macPart());
    EXPECT_EQ("020AFB009CFF", macPart());
    shell("ip link set one address 06:00:00:00:00:0b && ip link set two address 06:00:00:00:00:0b");
    EXPECT_EQ("06000000000B", macPart());
    shell("ip link delete one");
    EXPECT_EQ("000000000000", macPart());
  });
}

}  // namespace
