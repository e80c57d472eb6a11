// What members of a cluster reply, byte for byte as they do, and streams cut anywhere.
#include "commutil-settings/gateway_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <string>
#include <vector>

#include "commutil-settings/line_splitter.h"
#include "commutil-settings/watch_stream.h"

namespace {

using agent::Failure;
using agent::LineSplitter;
using agent::MalformedReply;
using agent::Page;
using agent::WatchMessage;
using agent::WatchStream;
using Kind = Failure::Kind;

constexpr const char* kHeader =
    R"("header":{"cluster_id":"18446744073709551615","member_id":"1","revision":"9007199254740993"})";

std::string reply(const std::string& rest) { return std::string("{") + kHeader + rest + "}"; }

TEST(Requests, EncodeKeysAndLeaveOutNothingThatMembersNeed) {
  EXPECT_EQ(R"({"create_request":{"fragment":true,"key":"L3ZleGEv","progress_notify":true,)"
            R"("range_end":"L3ZleGEw","start_revision":12}})",
            agent::watchRequest("/vexa/", 12));
  EXPECT_EQ(R"({"key":"L3ZleGEvYQA=","limit":1000,"range_end":"L3ZleGEw","revision":5})",
            agent::listRequest(std::string("/vexa/a\0", 8), "/vexa/", 5));
  EXPECT_EQ(R"({"key":"L3ZleGEv","limit":1000,"range_end":"L3ZleGEw"})",
            agent::listRequest("/vexa/", "/vexa/", 0));
  EXPECT_EQ(R"({"key":"L3ZleGEv","keys_only":true,"limit":1,"range_end":"L3ZleGEw",)"
            R"("sort_order":"DESCEND","sort_target":"MOD"})",
            agent::compareRequest("/vexa/", 0));
  EXPECT_EQ(R"({"name":"reader","password":"a\"b"})", agent::authenticateRequest("reader", "a\"b"));
}

TEST(Requests, GuardEachWriteByTheRevisionThatWasRead) {
  EXPECT_EQ(R"({"compare":[{"key":"YQ==","mod_revision":0,"result":"EQUAL","target":"MOD"},)"
            R"({"key":"Yg==","mod_revision":7,"result":"EQUAL","target":"MOD"}],)"
            R"("success":[{"request_put":{"key":"YQ==","value":""}},)"
            R"({"request_delete_range":{"key":"Yg=="}}]})",
            agent::transactionRequest({{"a", "", 0}, {"b", std::nullopt, 7}}));
}

TEST(Replies, OmitZeroValues) {
  const Page page =
      agent::parsePage(reply(R"(,"kvs":[{"key":"L3ZleGEvYQ==","mod_revision":"2"}],"count":"1")"));
  EXPECT_EQ(18446744073709551615U, page.header.clusterId);
  EXPECT_EQ(9007199254740993, page.header.revision) << "beyond what a double holds";
  ASSERT_EQ(1U, page.settings.size());
  EXPECT_EQ("/vexa/a", page.settings[0].key);
  EXPECT_EQ("", page.settings[0].value);
  EXPECT_EQ(2, page.settings[0].revision);
  EXPECT_FALSE(page.hasMore);
  EXPECT_EQ(1, page.count);
  EXPECT_EQ(0, agent::parsePage(reply("")).count);
}

TEST(Replies, KeepEveryByteOfAValue) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (std::size_t length = 0; length <= all.size(); ++length) {
    const std::string bytes = all.substr(all.size() - length);
    const std::string request = agent::transactionRequest({{"k", bytes, 0}});
    const std::string mark = "\"value\":\"";
    const std::size_t begin = request.find(mark) + mark.size();
    const std::string encoded = request.substr(begin, request.find('"', begin) - begin);
    const Page page =
        agent::parsePage(reply(R"(,"kvs":[{"key":"YQ==","value":")" + encoded + "\"}]"));
    EXPECT_EQ(bytes, page.settings.at(0).value);
  }
}

TEST(Replies, AreRefusedIfMalformed) {
  for (const char* const body :
       {"", "[]", "{", "null", "{\"header\":7}", R"({"header":{"revision":"x"}})",
        R"({"header":{"revision":"1x"}})", R"({"header":{"revision":"1"},"kvs":{}})",
        R"({"header":{"revision":"1"},"kvs":[{"key":"a"}]})",
        R"({"header":{"revision":"1"},"kvs":[{"key":"===="}]})",
        R"({"header":{"revision":"1"},"kvs":[{"key":"a=b="}]})",
        R"({"header":{"revision":"1"},"kvs":[{"key":7}]})"})
    EXPECT_THROW(agent::parsePage(body), MalformedReply) << body;
  EXPECT_THROW(agent::parseToken("{}"), MalformedReply);
  EXPECT_THROW(agent::parsePage(std::string(100'000, '[')), MalformedReply);
}

TEST(Failures, AreToldApartByTheirWords) {
  const struct {
    long status;
    std::string body;
    Kind kind;
    std::string text;
  } rows[] = {
      {401, R"({"error":"e","message":"etcdserver: invalid auth token","code":16})",
       Kind::authentication, "etcdserver: invalid auth token"},
      {400, R"({"error":"e","message":"etcdserver: user name is empty","code":3})",
       Kind::authentication, "etcdserver: user name is empty"},
      {400, "CommonName of client sending a request against gateway will be ignored\r\nmore",
       Kind::authentication,
       "CommonName of client sending a request against gateway will be ignored"},
      {403, R"({"error":"etcdserver: permission denied","code":7})", Kind::permission,
       "etcdserver: permission denied"},
      {400, R"({"message":"etcdserver: mvcc: required revision is a future revision","code":11})",
       Kind::futureRevision, "etcdserver: mvcc: required revision is a future revision"},
      {400, R"({"message":"etcdserver: mvcc: required revision has been compacted","code":11})",
       Kind::compacted, "etcdserver: mvcc: required revision has been compacted"},
      {503, R"({"error":{"grpc_code":14,"http_code":503,"message":"etcdserver: no leader"}})",
       Kind::noLeader, "etcdserver: no leader"},
      {503, R"({"message":"etcdserver: request timed out","code":14})", Kind::other,
       "etcdserver: request timed out"},
      {400, R"({"message":"etcdserver: authentication is not enabled"})",
       Kind::authenticationDisabled, "etcdserver: authentication is not enabled"},
      {502, "", Kind::other, "HTTP status 502"},
      {404, "<html>\r\n<head>", Kind::other, "HTTP status 404"},
  };
  for (const auto& row : rows) {
    const Failure failure = agent::parseFailure(row.status, row.body);
    EXPECT_EQ(row.kind, failure.kind) << row.body;
    EXPECT_EQ(row.text, failure.text);
  }
}

TEST(Failures, OfACanceledWatchNameTheCauseOnly) {
  const Failure failure = agent::cancelFailure(
      "rpc error: code = PermissionDenied desc = etcdserver: permission denied");
  EXPECT_EQ(Kind::permission, failure.kind);
  EXPECT_EQ("etcdserver: permission denied", failure.text);
}

const std::string kStream =
    R"({"result":{"header":{"cluster_id":"5","revision":"7"},"created":true}})"
    "\n"
    R"({"result":{"header":{"cluster_id":"5","revision":"9"},"fragment":true,"events":[)"
    R"({"kv":{"key":"L3ZleGEvYQ==","mod_revision":"8","value":"MQ=="}},)"
    R"({"type":"DELETE","kv":{"key":"L3ZleGEvYg==","mod_revision":"8"}}]}})"
    "\n"
    R"({"result":{"header":{"cluster_id":"5"},"canceled":true,"compact_revision":"9"}})"
    "\n"
    R"({"error":{"grpc_code":14,"message":"etcdserver: no leader"}})";

void expectStream(const std::vector<WatchMessage>& messages) {
  ASSERT_EQ(3U, messages.size());
  EXPECT_TRUE(messages[0].isCreated);
  EXPECT_FALSE(messages[0].isCanceled);
  EXPECT_EQ(7, messages[0].header.revision);
  EXPECT_TRUE(messages[1].isFragment);
  ASSERT_EQ(2U, messages[1].events.size());
  EXPECT_FALSE(messages[1].events[0].isDeletion);
  EXPECT_EQ("1", messages[1].events[0].setting.value);
  EXPECT_TRUE(messages[1].events[1].isDeletion);
  EXPECT_EQ(8, messages[1].events[1].setting.revision);
  EXPECT_TRUE(messages[2].isCanceled);
  EXPECT_EQ(0, messages[2].header.revision);
  EXPECT_EQ(9, messages[2].compactRevision);
}

TEST(WatchStreams, AreTheSameWhereverTheyAreCut) {
  for (std::size_t cut = 0; cut <= kStream.size(); ++cut) {
    WatchStream stream;
    std::vector<WatchMessage> messages = stream.feed(kStream.substr(0, cut));
    for (WatchMessage& message : stream.feed(kStream.substr(cut)))
      messages.push_back(std::move(message));
    expectStream(messages);
    ASSERT_TRUE(stream.finish());
    EXPECT_EQ(Kind::noLeader, stream.finish()->kind);
  }
}

TEST(WatchStreams, MayArriveByteByByte) {
  WatchStream stream;
  std::vector<WatchMessage> messages;
  for (const char c : kStream)
    for (WatchMessage& message : stream.feed({&c, 1})) messages.push_back(std::move(message));
  expectStream(messages);
}

TEST(WatchStreams, ReportAMalformedLine) {
  for (const char* const line : {"{}\n", "x\n", "{\"result\":7}\n",
                                 R"({"result":{"events":7}})"
                                 "\n"}) {
    const std::vector<WatchMessage> messages = WatchStream().feed(line);
    ASSERT_EQ(1U, messages.size()) << line;
    ASSERT_TRUE(messages[0].error) << line;
    EXPECT_EQ(Kind::malformed, messages[0].error->kind);
  }
  EXPECT_FALSE(WatchStream().finish());
}

TEST(LineSplitters, RefuseALineBeyondTheLimit) {
  for (std::size_t length = 0; length < 10; ++length) {
    for (std::size_t cut = 0; cut <= length; ++cut) {
      LineSplitter splitter(8);
      std::vector<std::string> lines;
      const auto add = [&](std::string_view line) { lines.emplace_back(line); };
      const std::string line(length, 'x');
      const bool fits = splitter.feed(line.substr(0, cut), add) &&
                        splitter.feed(line.substr(cut) + "\nrest", add);
      EXPECT_EQ(length <= 8, fits) << length << " cut at " << cut;
      if (!fits) continue;
      EXPECT_THAT(lines, testing::ElementsAre(line));
      EXPECT_EQ("rest", splitter.rest());
    }
  }
}

}  // namespace
