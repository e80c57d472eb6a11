// Every subcommand's --json output conforms to the schema and to commutil-json(5).
#include <gtest/gtest.h>
#include <json/value.h>
#include <json/writer.h>

#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::readFile;
using commutil_test::runProcess;
using Words = std::vector<std::string>;

struct Row {
  std::string definition;
  Words words;
};

ProcessResult validate(const Json::Value& pairs) {
  return runProcess({COMMUTIL_VALIDATE_JSON, COMMUTIL_SCHEMA}, {},
                    Json::writeString(Json::StreamWriterBuilder(), pairs));
}

Json::Value pairOf(const std::string& definition, const Json::Value& document) {
  Json::Value pair(Json::arrayValue);
  pair.append(definition);
  pair.append(document);
  return pair;
}

const std::string kBad = R"({"/vexa/common/setting_cfg/global/ListenAllIp": ["on"], "/x": "y"})";

std::vector<Row> rowsFor(const Deployment& deployment) {
  deployment.write("saved.json", deployment.run({"report", "--json"}).out);
  deployment.write("bad.json", kBad);
  deployment.write("good.json", "{}");
  return {
      {"report", {"report"}},
      {"explain", {"explain"}},
      {"check", {"check"}},
      {"settings show", {"settings", "show"}},
      {"settings check", {"settings", "check", deployment / "bad.json"}},
      {"settings put", {"settings", "put", "ListenAllIp", "enable"}},
      {"settings put", {"settings", "put", "ListenAllIp", "enable"}},
      {"report --diff", {"report", "--diff", deployment / "saved.json"}},
      {"settings delete", {"settings", "delete", "ListenAllIp"}},
      {"settings import", {"settings", "import", deployment / "good.json", "--dry-run"}},
      {"ssl-conf", {"ssl-conf"}},
      {"ssl-conf", {"ssl-conf", "--write"}},
      {"expand", {"expand", "--syntax", "paren", "$(APP_NAME)"}},
      {"escape", {"escape", "--update", "it's"}},
      {"net", {"net"}},
      {"ip normalise", {"ip", "normalise", "::1"}},
      {"ip check", {"ip", "check", "1.2.3.4"}},
      {"ip resolve", {"ip", "resolve", "localhost"}},
      {"run", {"run"}},  // its command is added below
      {"check-path", {"check-path", "--base", "/a", "/a/b"}},
      {"filename encode", {"filename", "encode", "a/b"}},
      {"filename decode", {"filename", "decode", "a^bb"}},
      {"unsafe-word", {"unsafe-word", "rm -rf"}},
      {"unsafe-word", {"unsafe-word", "harmless"}},
      {"uuid", {"uuid"}},
      {"timestamp", {"timestamp"}},
      {"failure", {"settings", "put", "ListenAllIp", "on"}},
      {"failure", {"settings", "show", "/nosuch"}},
      {"failure", {"ip", "normalise", "nothing"}},
      {"failure", {"mac", "nothing"}},
      {"failure", {"reprot"}},
      {"failure", {"report", "--unknown"}},
      {"failure", {"escape"}},
  };
}

TEST(JsonOutput, IsWhatTheSchemaDefines) {
  const Deployment deployment;
  Json::Value pairs(Json::arrayValue);
  for (const Row& row : rowsFor(deployment)) {
    Words words = row.words;
    words.emplace_back("--json");
    if (words.front() == "run") words.insert(words.end(), {"--", "true"});
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ("", result.err) << row.definition;
    EXPECT_TRUE(row.definition != "failure" || result.code != 0);
    pairs.append(pairOf(row.definition, result.json()));
  }
  deployment.write("cluster/etc/sysconf/nodelists.json", "malformed");
  pairs.append(pairOf("net", deployment.run({"net", "--json"}).json()));
  Json::Value mac;  // a host may have no interface with one
  mac["schema"] = 1;
  mac["mac"] = "02:00:00:00:00:07";
  pairs.append(pairOf("mac", mac));
  EXPECT_EQ("", validate(pairs).out);
}

TEST(JsonOutput, IsCheckedForFieldsThatAreMissingUnknownOrOfAnotherKind) {
  Json::Value document;
  document["schema"] = 1;
  document["uuid"] = "text";
  const auto problems = [&] {
    Json::Value pairs(Json::arrayValue);
    pairs.append(pairOf("uuid", document));
    const std::string out = validate(pairs).out;
    return out.substr(0, out.find("check: no document"));
  };
  EXPECT_EQ("", problems());
  document["more"] = 1;
  EXPECT_NE("", problems());
  document.removeMember("more");
  document["schema"] = 2;
  EXPECT_NE("", problems());
  document["schema"] = 1;
  document["uuid"] = 7;
  EXPECT_NE("", problems());
  document.removeMember("uuid");
  EXPECT_NE("", problems());
}

TEST(JsonOutput, IsDescribedByAPageOfTheSchema) {
  const ProcessResult page = runProcess({COMMUTIL_JSON_PAGE}, {});
  EXPECT_EQ(0, page.code) << page.err;
  EXPECT_EQ(readFile(COMMUTIL_JSON_MAN_PAGE), page.out);
}

}  // namespace
