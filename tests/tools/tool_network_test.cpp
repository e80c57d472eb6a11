// commutil net, ip and mac, with the test's own network and tools.
#include <gtest/gtest.h>
#include <sched.h>

#include <filesystem>
#include <functional>
#include <string>

#include "support/namespaces.h"
#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::enterNamespaces;
using commutil_test::ProcessResult;
using commutil_test::replaceFile;
using commutil_test::runInChild;
using commutil_test::shell;

/// Runs `body` on a host with one interface beside the loopback and an older `ifconfig`.
void onAHost(const std::function<void()>& body) {
  runInChild([&] {
    enterNamespaces(CLONE_NEWNET | CLONE_NEWNS);
    shell("ip link set lo up && ip link add v0 address 02:00:00:00:00:07 type veth peer name v1");
    shell("ip link set v0 up && ip addr add 10.9.8.7/20 dev v0");
    shell("ip addr add fd00:9::7/64 dev v0 nodad");
    replaceFile("/etc/hosts", "10.1.2.3 some.host\n");
    replaceFile("/sbin/ifconfig",
                "#!/bin/sh\necho 'v0 Link encap:Ethernet HWaddr 02:00:00:00:00:07'\n", 0755);
    body();
  });
}

Json::Value rowOf(const Json::Value& rows, const std::string& address) {
  for (const Json::Value& row : rows)
    if (row["address"] == address) return row;
  return {};
}

TEST(Net, ShowsEveryAddress) {
  onAHost([] {
    const ProcessResult result = Deployment().run({"net", "--json"});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.err);
    const Json::Value net = result.json();
    const Json::Value ipv4 = rowOf(net["addresses"], "10.9.8.7");
    EXPECT_EQ("v0", ipv4["interface"].asString());
    EXPECT_EQ("255.255.240.0", ipv4["netmask"].asString());
    EXPECT_EQ("02:00:00:00:00:07", ipv4["mac"].asString());
    const Json::Value ipv6 = rowOf(net["addresses"], "fd00:9::7");
    EXPECT_EQ("v0", ipv6["interface"].asString());
    EXPECT_EQ("02:00:00:00:00:07", ipv6["mac"].asString());
    const Json::Value loopback = rowOf(net["addresses"], "127.0.0.1");
    EXPECT_EQ("lo", loopback["interface"].asString());
    EXPECT_TRUE(loopback["netmask"].isNull());
    EXPECT_EQ("127.0.0.1", net["addressesAsListed"][0].asString());
    EXPECT_EQ("02:00:00:00:00:07", net["macAddresses"][0].asString());
    ASSERT_EQ(3U, net["clusterNodes"].size());
    EXPECT_EQ("10.20.1.1", net["clusterNodes"][0].asString());
    EXPECT_EQ(0U, net["host"]["system"].asString().find("Linux"));
    EXPECT_NE("", net["host"]["name"].asString());
  });
}

TEST(Net, PrintsTheSameAsText) {
  onAHost([] {
    const std::string text = Deployment().run({"net"}).out;
    EXPECT_NE(std::string::npos, text.find("  -\n"
                                           "    address    10.9.8.7\n"
                                           "    interface  v0\n"
                                           "    mac        02:00:00:00:00:07\n"
                                           "    netmask    255.255.240.0\n"))
        << text;
    EXPECT_NE(std::string::npos, text.find("\nclusterNodes\n  - 10.20.1.1\n")) << text;
  });
}

TEST(Net, ShowsThatThereIsNoNodeList) {
  Deployment deployment;
  deployment.environment["QORV_ROOT"] = std::nullopt;
  EXPECT_TRUE(deployment.run({"net", "--json"}).json()["clusterNodes"].isNull());
}

TEST(Net, SaysWhichListOfNodesCannotBeRead) {
  const Deployment deployment;
  const std::string path = deployment / "cluster/etc/sysconf/nodelists.json";
  const struct {
    std::string text;
    std::string problem;
  } rows[] = {
      {R"({"nodeList": {"a": "text"}})", ": a value is of the wrong kind: "},
      {"{\n  \"nodeList\": nothing}", ":2:15: Syntax error: value, object or array expected"},
      {"", ":1:1: empty"},
      {"{}\n{}", ":2:1: "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    deployment.write("cluster/etc/sysconf/nodelists.json", row.text);
    const ProcessResult text = deployment.run({"net"});
    EXPECT_EQ(1, text.code);
    EXPECT_EQ(0U, text.err.find("commutil: " + path + row.problem)) << text.err;
    EXPECT_NE(std::string::npos, text.out.find("clusterNodes  (not set)\n")) << text.out;
    const ProcessResult result = deployment.run({"net", "--json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.err);
    EXPECT_TRUE(result.json()["clusterNodes"].isNull());
    EXPECT_EQ(0U, result.json()["clusterNodesProblem"].asString().find(path + row.problem));
  }
}

TEST(Net, NamesANodeListThatIsNotAFile) {
  const Deployment deployment;
  const std::string path = deployment / "cluster/etc/sysconf/nodelists.json";
  std::filesystem::remove(path);
  EXPECT_EQ("commutil: " + path + ": No such file or directory\n", deployment.run({"net"}).err);
  std::filesystem::create_directory(path);
  EXPECT_EQ("commutil: " + path + ": not a regular file\n", deployment.run({"net"}).err);
}

TEST(Ip, NormalizesAddresses) {
  const Deployment deployment;
  const struct {
    std::string text;
    int family;
    std::string address;
  } rows[] = {
      {"10.0.0.1", 2, "10.0.0.1"},
      {"FE80::0001", 10, "fe80:0:0:0:0:0:0:1"},
      {"::ffff:1.2.3.4", 10, "::ffff:1.2.3.4"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.address + "\n", deployment.run({"ip", "normalise", row.text}).out);
    const Json::Value json = deployment.run({"ip", "normalise", "--json", row.text}).json();
    EXPECT_EQ(row.family, json["family"].asInt());
    EXPECT_EQ(row.address, json["address"].asString());
  }
  const ProcessResult refused = deployment.run({"ip", "normalise", "host"});
  EXPECT_EQ(1, refused.code);
  EXPECT_EQ("", refused.out);
  EXPECT_EQ("commutil: not an address: host\n", refused.err);
}

TEST(Ip, ShowsWhatEachCheckSays) {
  const Deployment deployment;
  const struct {
    std::string text;
    int code;
    int family;
    bool strict, lax, parsed;
  } rows[] = {
      {"1.2.3.4", 0, 2, true, true, true},     {" 1.2.3.4", 1, 0, false, true, false},
      {"999.1.1.1", 1, 0, false, true, false}, {"4294967297.0.0.1", 0, 2, false, true, true},
      {"fe80::1", 0, 10, false, false, false}, {"", 1, 0, false, false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const ProcessResult result = deployment.run({"ip", "check", "--json", row.text});
    EXPECT_EQ(row.code, result.code);
    const Json::Value json = result.json();
    EXPECT_EQ(row.family, json["family"].asInt());
    EXPECT_EQ(row.strict, json["strict"].asBool());
    EXPECT_EQ(row.lax, json["lax"].asBool());
    EXPECT_EQ(row.parsed, json["parsable"].asBool());
  }
  EXPECT_EQ("family    2\nlax       yes\nparsable  yes\nstrict    yes\n",
            deployment.run({"ip", "check", "1.2.3.4"}).out);
}

TEST(Ip, Resolves) {
  onAHost([] {
    const Deployment deployment;
    Json::Value json = deployment.run({"ip", "resolve", "--json", "some.host"}).json();
    EXPECT_EQ("10.1.2.3", json["ipv4"].asString());
    EXPECT_EQ("some.host", json["hostName"].asString());
    EXPECT_NE(std::string::npos, json["address"].asString().find("10.1.2.3"));
    json = deployment.run({"ip", "resolve", "--json", "fd00:9::7"}).json();
    EXPECT_EQ("fd00:9:0:0:0:0:0:7", json["address"].asString());
    EXPECT_EQ(10, json["family"].asInt());
    EXPECT_TRUE(json["ipv4"].isNull());
    EXPECT_TRUE(json["hostName"].isNull());
    const ProcessResult refused = deployment.run({"ip", "resolve", "other.host"});
    EXPECT_EQ(1, refused.code);
    EXPECT_EQ("commutil: not an address: other.host\n", refused.err);
  });
}

TEST(Mac, FindsTheInterfaceOfAnIpv6Address) {
  onAHost([] {
    const Deployment deployment;
    EXPECT_EQ("02:00:00:00:00:07\n", deployment.run({"mac", "FD00:9::7"}).out);
    EXPECT_EQ("02:00:00:00:00:07",
              deployment.run({"mac", "--json", "fd00:9::7"}).json()["mac"].asString());
    for (const std::string text : {"fd00:9::8", "10.9.8.7", "text"}) {
      const ProcessResult refused = deployment.run({"mac", text});
      EXPECT_EQ(1, refused.code);
      EXPECT_EQ("", refused.out);
      EXPECT_EQ("commutil: no interface with a MAC address has " + text + "\n", refused.err);
    }
  });
}

}  // namespace
