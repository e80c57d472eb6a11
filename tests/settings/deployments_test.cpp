// The catalog's predictions equal the library's results, in random deployments read by a user
// without root's rights.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "settings/explanation.h"
#include "settings/paths.h"
#include "settings/random_deployment.h"
#include "support/fixtures.h"

namespace {

using commutil_test::RandomDeployment;
using commutil_test::TempDir;
using settings::Explainer;
using settings::Facts;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned kInShard = 250;  // a forked child costs ten times as much
#else
constexpr unsigned kInShard = 2500;
#endif

Facts observe() {
  Facts facts;
  facts.environment = settings::currentEnvironment();
  for (const std::string& path : settings::pathsToExamine(facts.environment))
    facts.files[path] = settings::examine(path);
  return facts;
}

/// The library's result in the catalog's form; null for none.
Json::Value answerOf(const settings::Answer& answer) {
  static const std::map<std::string_view, std::function<Json::Value()>> operations{
      {"isListenAllIp", [] { return Json::Value(VexaCommonUtils::isListenAllIp()); }},
      {"isListenLoopback", [] { return Json::Value(VexaCommonUtils_i::isListenLoopback()); }},
      {"isCorbaSSLOnly", [] { return Json::Value(VexaCommonUtils::isCorbaSSLOnly()); }},
      {"isTsMode", [] { return Json::Value(VexaCommonUtils_i::isTsMode()); }},
      {"isZirel", [] { return Json::Value(VexaCommonUtils_i::isZirel()); }},
      {"IsGlobalVersion", [] { return Json::Value(VexaCommonUtils::IsGlobalVersion()); }},
      {"getDBType", [] { return Json::Value(VexaCommonUtils::getDBType()); }},
      {"getCommonConfigPath", [] { return Json::Value(VexaCommonUtils::getCommonConfigPath()); }},
      {"getConfigPath", [] { return Json::Value(VexaCommonUtils::getConfigPath()); }},
      {"getAppConfigPath", [] { return Json::Value(VexaCommonUtils::getAppConfigPath()); }},
      {"getAPPShareConfigPath",
       [] { return Json::Value(VexaCommonUtils::getAPPShareConfigPath()); }},
      {"getTracePath", [] { return Json::Value(VexaCommonUtils::getTracePath()); }},
      {"getDumpAllLocksFile", [] { return Json::Value(VexaCommonUtils::getDumpAllLocksFile()); }},
  };
  const auto operation = operations.find(answer.name);
  if (operation != operations.end()) return operation->second();
  return VexaCommonUtils_i::getConfFile(std::string(answer.parameter));
}

Json::Value clusterNodes() {
  std::list<std::string> nodes;
  try {
    if (VexaCommonUtils_i::GetAllWebswingNodeIPs(nodes) != 0) return {};
  } catch (const std::exception&) {
    return {};
  }
  Json::Value result(Json::arrayValue);
  for (const std::string& node : nodes) result.append(node);
  return result;
}

void compareAnswers(const Explainer& explainer, const Facts& facts) {
  for (const settings::Answer& answer : settings::answers()) {
    SCOPED_TRACE(std::string(answer.name));
    const Json::Value expected = explainer.explain(answer).value;
    if (answer.name == "GetAllWebswingNodeIPs") {
      EXPECT_EQ(clusterNodes().toStyledString(), expected.toStyledString());
    } else if (answer.name == "checkUnSafeStr") {
      // A file holds each of its words, and others that are not unsafe words.
      const std::string path = settings::chosenPath("secure.cfg", facts);
      EXPECT_EQ(expected.empty(), VexaCommonUtils_i::checkUnSafeStr(facts.file(path).text));
      for (const Json::Value& word : expected)
        EXPECT_FALSE(VexaCommonUtils_i::checkUnSafeStr("x" + word.asString()));
    } else if (answer.kind != settings::AnswerKind::option) {
      EXPECT_EQ(answerOf(answer).toStyledString(), expected.toStyledString());
    }
  }
}

void compareSettings(const Explainer& explainer, const Facts& facts) {
  for (const std::string& key : settings::keysToAsk(facts.environment)) {
    std::string value;
    const bool found = VexaCommonUtils_i::getSettingParamValue(key, value) == 0;
    const std::optional<std::string> expected = explainer.document().find(key);
    EXPECT_EQ(expected.has_value(), found) << key;
    EXPECT_EQ(expected.value_or(""), value) << key;
  }
}

/// Returns the generated file's contents, or "none" on failure.
std::string generated() {
  try {
    const std::string path = VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf");
    return path.empty() ? "none" : commutil_test::readFile(path);
  } catch (const std::out_of_range&) {
    return "none";
  }
}

void compareSslFile(const Explainer& explainer, const Facts& facts) {
  const Explainer::SslFile expected = explainer.sslFile();
  const settings::FileFacts& share = facts.file(facts.variable("_APP_SHARE_DIR"));
  const bool writable = settings::writableState(share, "").severity == settings::Severity::ok;
  const bool possible = expected.fault.empty() && writable;
  EXPECT_EQ(possible ? expected.text : "none", generated()) << expected.fault;
}

void compareInDeployment(const std::string& directory, unsigned seed) {
  commutil_test::dropRoot();
  ASSERT_NE(nullptr, std::freopen("/dev/null", "w", stderr));  // messages about missing files
  RandomDeployment deployment(directory, seed);
  deployment.install();
  SCOPED_TRACE("seed " + std::to_string(seed) + deployment.description());
  const Facts facts = observe();
  const Explainer explainer(facts);
  compareAnswers(explainer, facts);
  compareSettings(explainer, facts);
  compareSslFile(explainer, facts);
}

class Deployments : public testing::TestWithParam<unsigned> {};

TEST_P(Deployments, AnswerAsTheCatalogPredicts) {
  // In memory, where files take a third of the time.
  const commutil_test::ScopedEnv inMemory("TMPDIR", "/dev/shm");
  const TempDir scratch;
  ASSERT_EQ(0, ::chmod(scratch.path().c_str(), 0777));
  std::string ignored;  // loads the store while its directory is searchable
  ASSERT_NE(-1, VexaCommonUtils_i::getSettingParamValue("/", ignored));
  const unsigned first = GetParam() * kInShard;
  for (unsigned seed = first; seed < first + kInShard; ++seed) {
    const std::string directory = scratch / std::to_string(seed);
    commutil_test::runInChild([&] { compareInDeployment(directory, seed); });
    std::filesystem::remove_all(directory);
    if (HasFailure()) break;
  }
}

INSTANTIATE_TEST_SUITE_P(Shard, Deployments, testing::Range(0U, 4U));

}  // namespace
