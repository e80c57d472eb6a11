#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <list>
#include <string>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kFile = "etc/sysconf/nodelists.json";

/// The result for a node list with `content`, and the output list, which held "before".
struct Answer {
  int result;
  std::list<std::string> addresses;
};

Answer ask(const std::string& content) {
  const TempDir root;
  root.write(kFile, content);
  const ScopedEnv env("QORV_ROOT", root.path().string());
  Answer answer{99, {"before"}};
  answer.result = VexaCommonUtils_i::GetAllWebswingNodeIPs(answer.addresses);
  return answer;
}

std::string node(const std::string& name, const std::string& remoteClient,
                 const std::string& addresses) {
  return "\"" + name + "\":{\"extAttr\":{\"RemoteClient\":" + remoteClient +
         "},\"IPAddresses\":" + addresses + "}";
}

TEST(ClusterNodes, AppendsTheAddressesOfRemoteClientNodesInNameOrder) {
  const Answer answer =
      ask("{\"other\":1,\"nodeList\":{" + node("b", "\"true\"", "[{\"IP\":\"10.0.0.3\"}]") + "," +
          node("a", "\"true\"", "[{\"IP\":\"10.0.0.2\"},{\"IP\":\"fe80::1\",\"x\":{}}]") + "," +
          node("B", "\"true\"", "[{\"IP\":\"not checked\"},{\"IP\":\"10.0.0.2\"}]") + "}}");
  EXPECT_EQ(0, answer.result);
  EXPECT_THAT(answer.addresses,
              ElementsAre("before", "not checked", "10.0.0.2", "10.0.0.2", "fe80::1", "10.0.0.3"));
}

TEST(ClusterNodes, SkipsAByteOrderMark) {
  const Answer answer =
      ask("\xef\xbb\xbf{\"nodeList\":{" + node("a", "\"true\"", "[{\"IP\":\"10.0.0.1\"}]") + "}}");
  EXPECT_EQ(0, answer.result);
  EXPECT_THAT(answer.addresses, ElementsAre("before", "10.0.0.1"));
}

TEST(ClusterNodes, TakesOnlyNodesMarkedExactlyTrue) {
  const struct {
    std::string mark;
    bool taken;
  } rows[] = {{"\"true\"", true},    {"true", true},
              {"\"TRUE\"", false},   {"\"true \"", false},
              {"\"false\"", false},  {"false", false},
              {"\"\"", false},       {"null", false},
              {"1", false},          {"1.5", false},
              {"{}", false},         {"[]", false},
              {"[\"true\"]", false}, {"{\"true\":true}", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.mark);
    const Answer answer =
        ask("{\"nodeList\":{" + node("n", row.mark, "[{\"IP\":\"1.1.1.1\"}]") + "}}");
    EXPECT_EQ(0, answer.result);
    EXPECT_EQ(row.taken ? 2U : 1U, answer.addresses.size());
  }
}

TEST(ClusterNodes, SkipsNodesAndMembersThatAreMissing) {
  const char* const documents[] = {
      "{}",
      "null",
      R"({"nodeList":{}})",
      R"({"nodeList":null})",
      R"({"nodeList":{"n":{}}})",
      R"({"nodeList":{"n":null}})",
      R"({"nodeList":{"n":{"extAttr":{}, "IPAddresses":[{"IP":"1.1.1.1"}]}}})",
      R"({"nodeList":{"n":{"extAttr":null, "IPAddresses":[{"IP":"1.1.1.1"}]}}})",
      R"({"nodeList":{"n":{"IPAddresses":[{"IP":"1.1.1.1"}]}}})",
      R"({"nodeList":{"n":{"extAttr":{"RemoteClient":"true"}}}})",
      R"({"nodeList":{"n":{"extAttr":{"RemoteClient":"true"},"IPAddresses":[]}}})",
      R"({"nodeList":{"n":{"extAttr":{"RemoteClient":"true"},"IPAddresses":null}}})",
  };
  for (const char* const document : documents) {
    SCOPED_TRACE(document);
    const Answer answer = ask(document);
    EXPECT_EQ(0, answer.result);
    EXPECT_THAT(answer.addresses, ElementsAre("before"));
  }
}

TEST(ClusterNodes, ReturnsAnEmptyStringForAnElementWithoutAnAddress) {
  const Answer answer = ask(
      "{\"nodeList\":{" + node("n", "\"true\"", R"([{"x":1},{"IP":null},null,{"IP":"1"}])") + "}}");
  EXPECT_EQ(0, answer.result);
  EXPECT_THAT(answer.addresses, ElementsAre("before", "", "", "", "1"));
}

TEST(ClusterNodes, AppendsAgainOnEveryCall) {
  const TempDir root;
  root.write(kFile, "{\"nodeList\":{" + node("n", "\"true\"", "[{\"IP\":\"1.1.1.1\"}]") + "}}");
  const ScopedEnv env("QORV_ROOT", root.path().string() + "/");
  std::list<std::string> addresses;
  EXPECT_EQ(0, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
  EXPECT_EQ(0, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
  EXPECT_THAT(addresses, ElementsAre("1.1.1.1", "1.1.1.1"));
  root.write(kFile, "{}");
  EXPECT_EQ(0, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
  EXPECT_EQ(2U, addresses.size()) << "the file is read on every call";
}

TEST(ClusterNodes, FailsForWhatIsNotADocument) {
  const std::string documents[] = {"",
                                   " \n",
                                   "{",
                                   "{\"nodeList\":",
                                   "nodeList",
                                   "{\"nodeList\":{}} trailing",
                                   "{\"nodeList\":{},}",
                                   std::string(10000, '['),
                                   std::string(10000, '[') + std::string(10000, ']'),
                                   std::string("\0\x01\xff", 3)};
  for (const std::string& document : documents) {
    SCOPED_TRACE(document.substr(0, 30));
    const Answer answer = ask(document);
    EXPECT_EQ(-1, answer.result);
    EXPECT_THAT(answer.addresses, ElementsAre("before"));
  }
}

TEST(ClusterNodes, FailsWithoutAReadableFile) {
  const TempDir root;
  std::list<std::string> addresses;
  {
    const ScopedEnv env("QORV_ROOT", std::nullopt);
    EXPECT_EQ(-1, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
  }
  const ScopedEnv env("QORV_ROOT", root.path().string());
  EXPECT_EQ(-1, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses));
  std::filesystem::create_directories(root.path() / kFile);
  EXPECT_EQ(-1, VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses)) << "a directory instead";
  EXPECT_THAT(addresses, IsEmpty());
}

TEST(ClusterNodes, PassesOnTheJsonLibrarysExceptionWithoutAPartialNode) {
  const std::string before = node("a", "\"true\"", "[{\"IP\":\"1.1.1.1\"}]") + ",";
  const std::string documents[] = {
      "[]",
      "{\"nodeList\":[1]}",
      "{\"nodeList\":{" + before + "\"b\":\"text\"}}",
      "{\"nodeList\":{" + before + "\"b\":{\"extAttr\":[1]}}}",
      "{\"nodeList\":{" + before + node("b", "\"true\"", R"([{"IP":"2.2.2.2"},{"IP":{}}])") + "}}",
      "{\"nodeList\":{" + before + node("b", "\"true\"", R"([{"IP":"2.2.2.2"},"text"])") + "}}",
      "{\"nodeList\":{" + before + node("b", "\"true\"", R"({"x":{"IP":"2.2.2.2"}})") + "}}",
  };
  for (const std::string& document : documents) {
    SCOPED_TRACE(document);
    const TempDir root;
    root.write(kFile, document);
    const ScopedEnv env("QORV_ROOT", root.path().string());
    std::list<std::string> addresses{"before"};
    EXPECT_THROW(VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses), std::exception);
    const bool passedA = document.find("1.1.1.1") != std::string::npos;
    EXPECT_EQ(passedA ? 2U : 1U, addresses.size());
  }
}

TEST(ClusterNodes, TakesAnyStringUnchanged) {
  const struct {
    std::string json;
    std::string ip;
  } rows[] = {
      {R"("$(reboot);`id`|\n\"")", "$(reboot);`id`|\n\""},
      {R"("a\u0000b")", std::string("a\0b", 3)},
      {"\"" + std::string(1 << 20, '9') + "\"", std::string(1 << 20, '9')},
      {R"(" 10.0.0.1 ")", " 10.0.0.1 "},
      {"12", "12"},
      {"true", "true"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json.substr(0, 30));
    const Answer answer =
        ask("{\"nodeList\":{" + node("n", "\"true\"", "[{\"IP\":" + row.json + "}]") + "}}");
    EXPECT_EQ(0, answer.result);
    EXPECT_THAT(answer.addresses, ElementsAre("before", row.ip));
  }
}

TEST(ClusterNodes, ReadsManyNodes) {
  std::string nodes;
  for (int i = 0; i < 20000; ++i) {
    if (i > 0) nodes += ',';
    nodes += node(std::to_string(100000 + i), i % 2 == 0 ? "true" : "false",
                  "[{\"IP\":\"" + std::to_string(i) + "\"}]");
  }
  const Answer answer = ask("{\"nodeList\":{" + nodes + "}}");
  EXPECT_EQ(0, answer.result);
  EXPECT_EQ(10001U, answer.addresses.size());
  EXPECT_EQ("19998", answer.addresses.back());
}

}  // namespace
