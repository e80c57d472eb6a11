// commutil uuid and timestamp.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using testing::MatchesRegex;

TEST(Uuid, PrintsAnIdentifier) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"uuid"});
  EXPECT_EQ(0, result.code);
  EXPECT_THAT(result.out, MatchesRegex("[0-9A-F]{32}\n"));
  const std::string json = deployment.run({"uuid", "--json"}).json()["uuid"].asString();
  EXPECT_THAT(json, MatchesRegex("[0-9A-F]{32}"));
  EXPECT_LT(result.out.substr(0, 20), json.substr(0, 20)) << "the time advances";
  EXPECT_EQ(result.out.substr(20, 12), json.substr(20)) << "the address is the same";
}

TEST(Timestamp, MarksDaylightSavingTimeOnDemand) {
  Deployment deployment;
  const struct {
    std::string zone;
    std::string pattern;
  } rows[] = {
      {"UTC0", "[0-9]{14}\n"},
      {"AAA0BBB,0/0,365/25", "[0-9]{14}DST\n"},  // daylight-saving time all the year round
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.zone);
    deployment.environment["TZ"] = row.zone;
    EXPECT_THAT(deployment.run({"timestamp"}).out, MatchesRegex("[0-9]{14}\n"));
    const ProcessResult result = deployment.run({"timestamp", "--dst"});
    EXPECT_EQ(0, result.code);
    EXPECT_THAT(result.out, MatchesRegex(row.pattern));
    EXPECT_THAT(
        deployment.run({"timestamp", "--dst", "--json"}).json()["timestamp"].asString() + "\n",
        MatchesRegex(row.pattern));
  }
}

}  // namespace
