// The generated SSL option file as a service reads it: the quoted argument string of its directive,
// split by ACE, with the settings of a real store.
#include <VexaCommonUtils_i.h>

#include <ace/ARGV.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fixtures.h"

namespace {

using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using Words = std::vector<std::string>;

constexpr const char* kBefore =
    "# SSL\n"
    "dynamic SSLIOP_Factory Service_Object * "
    "TAO_SSLIOP:_make_TAO_SSLIOP_Protocol_Factory() \"";
constexpr const char* kAfter =
    "\"\nstatic Resource_Factory \"-ORBProtocolFactory SSLIOP_Factory\"\n";

/// Returns the argument string of the directive: what is between the first two double quotes.
std::string argumentString(const std::string& file) {
  const std::size_t begin = file.find('"') + 1;
  return file.substr(begin, file.find('"', begin) - begin);
}

Words split(const std::string& arguments) {
  ACE_ARGV argv(arguments.c_str(), false);
  return {argv.argv(), argv.argv() + argv.argc()};
}

Words operator+(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

struct Row {
  const char* name;
  const char* store;
  std::string arguments;
  Words words;
};

/// Generates the file from a template with `row.arguments` and a store with `row.store`.
void expectWords(const Row& row) {
  SCOPED_TRACE(row.name);
  const TempDir dir;
  dir.write("common/conf/svc_ssl.conf", kBefore + row.arguments + kAfter);
  dir.write("share/conf/settings.json", row.store);
  runInChild([&] {
    const ScopedEnv share("_APP_SHARE_DIR", dir / "share");
    const ScopedEnv root("APP_ROOT", std::nullopt);
    const ScopedEnv common("COMMON_LIB_PATH", dir / "common");
    const ScopedEnv url("SETTINGREST_URL", std::nullopt);
    const ScopedEnv application("APP_NAME", "app");
    const std::string path = VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf");
    const std::string file = readFile(path);
    const std::string arguments = argumentString(file);
    EXPECT_EQ(row.words, split(arguments));
    EXPECT_EQ(kBefore + arguments + kAfter, file) << "the rest of the template is unchanged";
    EXPECT_EQ(0U, arguments.find(row.arguments)) << "options are added after the template's own";
  });
}

const std::string kArguments =
    "-SSLPrivateKey PEM:/ssl/key.pem -SSLCertificate 'PEM:/ssl/my cert.pem' "
    "-SSLCAfile PEM:/ssl/ca.pem";
const Words kWords{"-SSLPrivateKey",       "PEM:/ssl/key.pem", "-SSLCertificate",
                   "PEM:/ssl/my cert.pem", "-SSLCAfile",       "PEM:/ssl/ca.pem"};
const Words kDefaults{"-SSLAuthenticate", "NONE", "-SSLVersion", "TLSv1.2"};

constexpr const char* kApplicationStore = R"({"vexa": {"common": {"svc_ssl_conf": {
    "app": {"SSLAuthenticate": "SERVER", "SSLVersion": "TLSv1.3", "SSLNoProtection": "enable"}}}}})";
constexpr const char* kGlobalStore = R"({"vexa": {"common": {"svc_ssl_conf": {
    "global": {"SSLAuthenticate": "CLIENT", "SSLVersion": "TLSv1.1", "SSLNoProtection": "enable"},
    "other": {"SSLAuthenticate": "SERVER", "SSLVersion": "TLSv1.3"}}}}})";
constexpr const char* kBothStore = R"({"vexa": {"common": {"svc_ssl_conf": {
    "app": {"SSLAuthenticate": "SERVER", "SSLVersion": "", "SSLNoProtection": "disable"},
    "global": {"SSLAuthenticate": "CLIENT", "SSLVersion": "TLSv1.1",
               "SSLNoProtection": "enable"}}}}})";
const Words kSaidByApplication{"-SSLAuthenticate", "SERVER", "-SSLVersion", "TLSv1.3",
                               "-SSLNoProtection"};

TEST(SslConfWords, TakesTheStoresValues) {
  const Row rows[] = {
      {"an empty store", "{}", kArguments, kWords + kDefaults},
      {"no readable store", "", kArguments, kWords + kDefaults},
      {"the application's branch", kApplicationStore, kArguments, kWords + kSaidByApplication},
      {"the global branch", kGlobalStore, kArguments,
       kWords + Words{"-SSLAuthenticate", "CLIENT", "-SSLVersion", "TLSv1.1", "-SSLNoProtection"}},
      {"both branches, one value empty", kBothStore, kArguments,
       kWords + Words{"-SSLAuthenticate", "SERVER", "-SSLVersion", "TLSv1.1"}},
      {"another spelling of enable",
       R"({"/vexa/common/svc_ssl_conf/app": {"SSLNoProtection": "Enable"}})", kArguments,
       kWords + kDefaults},
      {"one setting alone", R"({"/vexa/common/svc_ssl_conf/app": {"SSLVersion": "TLSv1.3"}})",
       kArguments, kWords + Words{"-SSLAuthenticate", "NONE", "-SSLVersion", "TLSv1.3"}},
  };
  for (const Row& row : rows) expectWords(row);
}

TEST(SslConfWords, KeepsTheTemplatesOwnOptions) {
  const Words authenticate{"-SSLAuthenticate", "SERVER_AND_CLIENT"};
  const Words version{"-SSLVersion", "TLSv1"};
  const Words noProtection{"-SSLNoProtection"};
  const Words saidAuthenticate{"-SSLAuthenticate", "SERVER"};
  const Words saidVersion{"-SSLVersion", "TLSv1.3"};
  const Row rows[] = {
      {"the template has -SSLAuthenticate", kApplicationStore,
       kArguments + " -SSLAuthenticate SERVER_AND_CLIENT",
       kWords + authenticate + saidVersion + noProtection},
      {"the template has -SSLVersion", kApplicationStore, kArguments + " -SSLVersion TLSv1",
       kWords + version + saidAuthenticate + noProtection},
      {"the template has -SSLNoProtection", kApplicationStore, kArguments + " -SSLNoProtection",
       kWords + noProtection + saidAuthenticate + saidVersion},
      {"the template has -SSLNoProtection and the store disables it", kBothStore,
       kArguments + " -SSLNoProtection",
       kWords + noProtection + saidAuthenticate + Words{"-SSLVersion", "TLSv1.1"}},
      {"the template has two", kApplicationStore,
       kArguments + " -SSLVersion TLSv1\t-SSLNoProtection",
       kWords + version + noProtection + saidAuthenticate},
      {"the template has all, in another order and on lines", kApplicationStore,
       kArguments + "\n-SSLNoProtection\n-SSLVersion TLSv1\n-SSLAuthenticate SERVER_AND_CLIENT",
       kWords + noProtection + version + authenticate},
  };
  for (const Row& row : rows) expectWords(row);
}

TEST(SslConfWords, AddsAfterOptionsThatFollowTheCaFile) {
  const Row rows[] = {
      {"-SSLCAfile is first", "{}", "-SSLCAfile PEM:/ssl/ca.pem -SSLPrivateKey PEM:/ssl/key.pem",
       Words{"-SSLCAfile", "PEM:/ssl/ca.pem", "-SSLPrivateKey", "PEM:/ssl/key.pem"} + kDefaults},
      {"a space before the quote", "{}", kArguments + " ", kWords + kDefaults},
      {"a line end before the quote", "{}", kArguments + "\n", kWords + kDefaults},
  };
  for (const Row& row : rows) expectWords(row);
}

}  // namespace
