// commutil settings put and delete: what they write, and how.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::dropRoot;
using commutil_test::modeOf;
using commutil_test::ProcessResult;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::TerminalRun;
using Words = std::vector<std::string>;

constexpr const char* kDocument = "share/conf/settings.json";
const std::string kListenAll = "/vexa/common/setting_cfg/global/ListenAllIp";

Words line(Words words) {
  words.insert(words.begin(), {Deployment::tool(), "settings"});
  return words;
}

ProcessResult put(const Deployment& deployment, const std::string& value = "enable") {
  return deployment.run({"settings", "put", "ListenAllIp", value});
}

std::string shown(const Deployment& deployment, const std::string& name) {
  return deployment.run({"settings", "show", name}).out;
}

std::string changed(const Deployment& deployment, const std::string& change,
                    const std::string& document = kDocument) {
  return (deployment / document) + "\n  " + change + "\n";
}

TEST(SettingsPut, ReplacesAValueAndPrintsTheOldOne) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  const ProcessResult result = put(deployment);
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  EXPECT_EQ(changed(deployment, kListenAll + "  \"disable\" -> \"enable\""), result.out);
  std::string expected = before;
  const std::string old = "\"ListenAllIp\": \"disable\"";
  expected.replace(expected.find(old), old.size(), "\"ListenAllIp\": \"enable\"");
  EXPECT_EQ(expected, readFile(deployment / kDocument));
  EXPECT_EQ("enable\n", shown(deployment, "ListenAllIp"));
  EXPECT_FALSE(std::filesystem::exists(deployment / (std::string(kDocument) + ".new")));
}

TEST(SettingsPut, WritesNothingForTheValueThatIsThere) {
  const Deployment deployment;
  struct stat before {};
  ASSERT_EQ(0, ::stat((deployment / kDocument).c_str(), &before));
  const ProcessResult result = put(deployment, "disable");
  EXPECT_EQ(0, result.code);
  EXPECT_EQ((deployment / kDocument) + ": unchanged\n", result.out);
  struct stat after {};
  ASSERT_EQ(0, ::stat((deployment / kDocument).c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST(SettingsPut, NamesItsKeyByParameterBranchOrPath) {
  const Deployment deployment;
  const struct {
    Words words;
    std::string change;
  } rows[] = {
      {{"ListenAllIp", "enable", "--app", "gateway"},
       "/vexa/common/setting_cfg/gateway/ListenAllIp  (not set) -> \"enable\""},
      {{"SSLVersion", "TLSv1.3"},
       "/vexa/common/svc_ssl_conf/global/SSLVersion  \"TLSv1.2,TLSv1.3\" -> \"TLSv1.3\""},
      {{"/vexa/common/svc_ssl_conf/inventory/SSLAuthenticate", "NONE"},
       "/vexa/common/svc_ssl_conf/inventory/SSLAuthenticate  \"SERVER_AND_CLIENT\" -> \"NONE\""},
      {{"vexa/common/setting_cfg/new/ListenAllIp", "disable"},
       "/vexa/common/setting_cfg/new/ListenAllIp  (not set) -> \"disable\""},
  };
  for (const auto& row : rows) {
    Words words{"settings", "put"};
    words.insert(words.end(), row.words.begin(), row.words.end());
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ(0, result.code) << result.err;
    EXPECT_EQ(changed(deployment, row.change), result.out);
  }
}

TEST(SettingsPut, RefusesWhatTheLibraryDoesNotAccept) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  const struct {
    Words words;
    std::string message;
  } rows[] = {
      {{"ListenAllIp", "enabled"},
       kListenAll + ": \"enabled\": takes enable or disable; did you mean enable?"},
      {{"ListenAllIp", ""}, kListenAll + ": \"\": takes enable or disable"},
      {{"SSLVersion", "TLSv1.2,TLSv1.4"},
       "/vexa/common/svc_ssl_conf/global/SSLVersion: \"TLSv1.2,TLSv1.4\": takes a comma-separated "
       "list of TLSv1.2 and TLSv1.3; did you mean TLSv1.2,TLSv1.2?"},
      {{"/vexa/common/setting_cfg/global/ListenAllIP", "enable"},
       "/vexa/common/setting_cfg/global/ListenAllIP: \"enable\": is not a setting of the library; "
       "did you mean " +
           kListenAll + "?"},
  };
  for (const auto& row : rows) {
    Words words{"settings", "put"};
    words.insert(words.end(), row.words.begin(), row.words.end());
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("commutil: " + row.message + " (--force writes it)\n", result.err);
    EXPECT_EQ(before, readFile(deployment / kDocument));
    words.emplace_back("--force");
    EXPECT_EQ(0, deployment.run(words).code);
    deployment.write(kDocument, before);
  }
}

TEST(SettingsPut, RefusesWhatIsNotAKey) {
  const Deployment deployment;
  const struct {
    Words words;
    std::string message;
  } rows[] = {
      {{"ListenAlIp", "enable"},
       "\"ListenAlIp\" is not a setting of the library; did you mean ListenAllIp?"},
      {{"frobnication", "enable"},
       "\"frobnication\" is not a setting of the library; other keys begin with \"/\""},
      {{"ListenAllIp", "enable", "--app", ""}, "--app \"\": takes a name without \"/\""},
      {{"ListenAllIp", "enable", "--app", "a/b"}, "--app \"a/b\": takes a name without \"/\""},
      {{kListenAll, "enable", "--app", "inventory"},
       "--app takes a parameter, such as ListenAllIp, not a key"},
      {{"/vexa/common/", "enable", "--force"}, "/vexa/common/ is a group, not a setting"},
  };
  for (const auto& row : rows) {
    Words words{"settings", "put"};
    words.insert(words.end(), row.words.begin(), row.words.end());
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: " + row.message + "\n", result.err);
  }
}

TEST(SettingsPut, KeepsEveryOtherSettingOfAnyDocument) {
  const std::string key = "/vexa/common/setting_cfg/global/ListenAllIp";
  const struct {
    std::string before;
    std::string after;
  } rows[] = {
      {"{}",
       "{\n  \"vexa\": {\n    \"common\": {\n      \"setting_cfg\": {\n        \"global\": {\n"
       "          \"ListenAllIp\": \"enable\"\n        }\n      }\n    }\n  }\n}\n"},
      {R"({"/vexa/common/a": 5.0, "z": [1, 2], "b": null, "t": true})",
       "{\n  \"/vexa/common/a\": 5.0,\n  \"z\": [1, 2],\n  \"b\": null,\n  \"t\": true,\n"
       "  \"/vexa/common/setting_cfg/global/ListenAllIp\": \"enable\"\n}\n"},
      {R"({"vexa/common": {"setting_cfg/global": {"ListenAllIp": false, "n": 0.10}}})",
       "{\n  \"vexa/common\": {\n    \"setting_cfg/global\": {\n      \"ListenAllIp\": "
       "\"enable\",\n"
       "      \"n\": 0.10\n    }\n  }\n}\n"},
      {R"({"vexa": {"common": {"setting_cfg": {"global": "text"}}}})",
       "{\n  \"vexa\": {\n    \"common\": {\n      \"setting_cfg\": {\n        \"global\": "
       "\"text\",\n"
       "        \"/global\": {\n          \"ListenAllIp\": \"enable\"\n        }\n      }\n    }\n "
       " }\n}\n"},
      {"\xEF\xBB\xBF{\"/vexa/common/setting_cfg\": {\"global/ListenAllIp\": \"\"}}",
       "{\n  \"/vexa/common/setting_cfg\": {\n    \"global/ListenAllIp\": \"enable\"\n  }\n}\n"},
      {"{\"/x\": \"\xe9\\u0000\\\"\\\\\\u00e9\", \"/x//y\": \"\"}",
       "{\n  \"/x\": \"\xe9\\u0000\\\"\\\\\\u00e9\",\n  \"/x//y\": \"\",\n"
       "  \"/vexa/common/setting_cfg/global/ListenAllIp\": \"enable\"\n}\n"},
  };
  const Deployment deployment;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.before);
    deployment.write(kDocument, row.before);
    const ProcessResult result = deployment.run({"settings", "put", key, "enable"});
    EXPECT_EQ(0, result.code) << result.err;
    EXPECT_EQ(row.after, readFile(deployment / kDocument));
    EXPECT_EQ("enable\n", shown(deployment, key));
  }
}

TEST(SettingsPut, WritesAnyBytes) {
  const Deployment deployment;
  for (const std::string value : {"\xe9\xff", "two\nlines\t\x01", "\"quoted\\\"", ""}) {
    const ProcessResult result = deployment.run({"settings", "put", "/vexa//x", value, "--force"});
    EXPECT_EQ(0, result.code) << result.err;
    EXPECT_EQ(value + "\n", shown(deployment, "/vexa//x"));
  }
}

TEST(SettingsPut, RefusesADocumentThatItCannotRead) {
  const Deployment deployment;
  const std::string path = deployment / kDocument;
  const struct {
    std::string text;
    std::string message;
  } rows[] = {
      {"{\n  \"a\": nothing}", ":2:8: Syntax error: value, object or array expected"},
      {"[]", ":1:1: not an object"},
      {"", ":1:1: empty"},
  };
  for (const auto& row : rows) {
    deployment.write(kDocument, row.text);
    const ProcessResult result = put(deployment);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: " + path + row.message + "\n", result.err);
    EXPECT_EQ(row.text, readFile(path));
  }
  std::filesystem::remove(path);
  ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
  EXPECT_EQ("commutil: " + path + ": not a regular file\n", put(deployment).err);
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_EQ("commutil: " + path + ": not a regular file\n", put(deployment).err);
}

TEST(SettingsPut, WritesTheDocumentThatTheStoreReads) {
  Deployment deployment;
  deployment.write("other dir/a.json", "{}");
  deployment.environment["SETTINGREST_URL"] = "file://" + (deployment / "other%20dir/a.json");
  EXPECT_EQ(changed(deployment, kListenAll + "  (not set) -> \"enable\"", "other dir/a.json"),
            put(deployment).out);
  deployment.environment["SETTINGREST_URL"] = "http://host/settings";
  const ProcessResult refused = put(deployment);
  EXPECT_EQ(1, refused.code);
  EXPECT_EQ("commutil: SETTINGREST_URL: no settings can be written to http://host/settings\n",
            refused.err);
  deployment.environment["SETTINGREST_URL"] = std::nullopt;
  std::filesystem::remove(deployment / kDocument);
  deployment.write("common/conf/settings.json", "{}");
  EXPECT_EQ(
      changed(deployment, kListenAll + "  (not set) -> \"enable\"", "common/conf/settings.json"),
      put(deployment).out);
}

TEST(SettingsPut, CreatesADocumentInTheFirstTree) {
  Deployment deployment;
  std::filesystem::remove(deployment / kDocument);
  EXPECT_EQ(changed(deployment, kListenAll + "  (not set) -> \"enable\""), put(deployment).out);
  EXPECT_EQ(0644U, modeOf(deployment / kDocument));
  for (const char* const name : {"_APP_SHARE_DIR", "APP_ROOT", "COMMON_LIB_PATH"})
    deployment.environment[name] = std::nullopt;
  const ProcessResult refused = put(deployment);
  EXPECT_EQ(1, refused.code);
  EXPECT_EQ(
      "commutil: there is no settings document: neither SETTINGREST_URL nor _APP_SHARE_DIR, "
      "APP_ROOT "
      "or COMMON_LIB_PATH is set\n",
      refused.err);
}

TEST(SettingsPut, KeepsModeAndOwner) {
  const Deployment deployment;
  const std::string path = deployment / kDocument;
  ASSERT_EQ(0, ::chown(path.c_str(), 1234, 4321));
  ASSERT_EQ(0, ::chmod(path.c_str(), 0640));
  const commutil_test::ScopedUmask mask(0777);
  EXPECT_EQ(0, put(deployment).code);
  struct stat status {};
  ASSERT_EQ(0, ::stat(path.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777U);
  EXPECT_EQ(1234U, status.st_uid);
  EXPECT_EQ(4321U, status.st_gid);
}

TEST(SettingsPut, FollowsLinksAndKeepsThem) {
  const Deployment deployment;
  const std::string link = deployment / kDocument;
  const std::string text = readFile(link);
  const struct {
    std::string target;    // of the link
    std::string document;  // the link's target
    bool isDangling;
  } rows[] = {
      {deployment / "app/absolute.json", "app/absolute.json", false},
      {"../../app/relative.json", "app/relative.json", false},
      {"next.json", "share/conf/target.json", false},
      {deployment / "share/conf/dangling.json", "share/conf/dangling.json", true},
      {"../../app/dangling.json", "app/dangling.json", true},
  };
  std::filesystem::create_symlink("target.json", deployment / "share/conf/next.json");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.target);
    std::filesystem::remove(link);
    std::filesystem::create_symlink(row.target, link);
    if (!row.isDangling) deployment.write(row.document, text);
    const ProcessResult result = put(deployment);
    EXPECT_EQ(0, result.code) << result.err;
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_TRUE(std::filesystem::equivalent(link, deployment / row.document));
    EXPECT_FALSE(std::filesystem::is_symlink(deployment / row.document));
    EXPECT_EQ("enable\n", shown(deployment, "ListenAllIp"));
    EXPECT_TRUE(std::filesystem::exists(deployment / (row.document + ".lock")));
  }
  EXPECT_TRUE(std::filesystem::is_symlink(deployment / "share/conf/next.json"));
  std::filesystem::remove(link);
  std::filesystem::create_symlink("settings.json", link);
  const ProcessResult loop = put(deployment);
  EXPECT_EQ(1, loop.code);
  EXPECT_NE(std::string::npos, loop.err.find("Too many levels of symbolic links")) << loop.err;
}

TEST(SettingsPut, FailsInADirectoryThatItCannotWrite) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  // Only its owner can use the deployment's own directory.
  std::filesystem::permissions(deployment / ".", std::filesystem::perms(0755));
  runInChild([&] {
    dropRoot();
    const ProcessResult result = put(deployment);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: " + (deployment / kDocument) + ".lock: Permission denied\n", result.err);
    EXPECT_EQ("disable\n", shown(deployment, "ListenAllIp"));
  });
  EXPECT_EQ(before, readFile(deployment / kDocument));
}

TEST(SettingsPut, RefusesToChangeTheOwner) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  std::filesystem::permissions(deployment / ".", std::filesystem::perms(0755));
  std::filesystem::permissions(deployment / "share/conf", std::filesystem::perms(0777));
  runInChild([&] {
    dropRoot();
    const ProcessResult result = put(deployment);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: owner 0 and group 0 of the file cannot be kept: Operation not permitted\n",
              result.err);
  });
  EXPECT_EQ(before, readFile(deployment / kDocument));
  EXPECT_FALSE(std::filesystem::exists(deployment / (std::string(kDocument) + ".new")));
}

TEST(SettingsPut, FailsOnAFullDisk) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  const ProcessResult result = commutil_test::runProcess(
      {"/bin/sh", "-c", "ulimit -f 0; trap '' XFSZ; exec \"$0\" settings put ListenAllIp enable",
       Deployment::tool()},
      deployment.environment);
  EXPECT_EQ(1, result.code);
  EXPECT_EQ(before, readFile(deployment / kDocument));
  EXPECT_FALSE(std::filesystem::exists(deployment / (std::string(kDocument) + ".new")));
}

/// Excludes other writers, as a second command would.
class OtherWriter {
 public:
  explicit OtherWriter(const Deployment& deployment)
      : m_file(::open((deployment / (std::string(kDocument) + ".lock")).c_str(),
                      O_RDONLY | O_CREAT | O_CLOEXEC, 0644)) {
    EXPECT_EQ(0, ::flock(m_file, LOCK_EX | LOCK_NB));
  }
  ~OtherWriter() { finish(); }
  OtherWriter(const OtherWriter&) = delete;
  OtherWriter& operator=(const OtherWriter&) = delete;

  void finish() {
    if (m_file >= 0) ::close(m_file);
    m_file = -1;
  }

 private:
  int m_file;
};

TEST(SettingsPut, WaitsForAnotherWriterAndKeepsItsSettings) {
  const Deployment deployment;
  OtherWriter other(deployment);
  TerminalRun run(line({"put", "ListenAllIp", "enable", "--wait", "60"}), deployment.environment);
  run.waitFor("commutil: waiting for the writer that has locked " + (deployment / kDocument) +
              ".lock (");
  deployment.write("share/conf/replacement", R"({"/vexa/common/other": "written meanwhile"})");
  std::filesystem::rename(deployment / "share/conf/replacement", deployment / kDocument);
  other.finish();
  const ProcessResult result = run.finish();
  EXPECT_EQ(0, result.code);
  EXPECT_NE(std::string::npos, result.out.find("\r\033[K" + (deployment / kDocument)));
  EXPECT_EQ("written meanwhile\n", shown(deployment, "/vexa/common/other"));
  EXPECT_EQ("enable\n", shown(deployment, "ListenAllIp"));
}

TEST(SettingsPut, GivesUpOnAnotherWriter) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  const OtherWriter other(deployment);
  for (const std::string command : {"put", "delete"}) {
    Words words{"settings", command, "ListenAllIp"};
    if (command == "put") words.emplace_back("enable");
    words.insert(words.end(), {"--wait", "0"});
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ(75, result.code);
    EXPECT_EQ("commutil: " + (deployment / kDocument) + ".lock is locked by another writer\n",
              result.err);
  }
  EXPECT_EQ(before, readFile(deployment / kDocument));
}

TEST(SettingsPut, LeavesTheOldOrTheNewDocumentWhereverItDies) {
  const Deployment deployment;
  const std::string path = deployment / kDocument;
  const std::string before = readFile(path);
  ASSERT_EQ(0, put(deployment).code);
  const std::string after = readFile(path);
  const std::set<long> calls{SYS_openat, SYS_unlink, SYS_write,  SYS_fchown, SYS_fchmod,
                             SYS_fsync,  SYS_close,  SYS_rename, SYS_flock};
  bool wasOld = false;
  bool wasNew = false;
  bool isKilled = true;
  for (int count = 1; isKilled; ++count) {
    deployment.write(kDocument, before);
    isKilled = commutil_test::runUntilCall(line({"put", "ListenAllIp", "enable"}),
                                           deployment.environment, calls, count);
    const std::string found = readFile(path);
    EXPECT_TRUE(found == before || found == after) << count << ": " << found;
    (found == before ? wasOld : wasNew) = true;
  }
  EXPECT_TRUE(wasOld);
  EXPECT_TRUE(wasNew);
  // The leftovers of a killed writer do not matter.
  deployment.write(kDocument, before);
  deployment.write(std::string(kDocument) + ".new", "half a docu");
  EXPECT_EQ(0, put(deployment).code);
  EXPECT_EQ(after, readFile(path));
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST(SettingsPut, SaysThatTheStoreDoesNotReadTheDocument) {
  Deployment deployment;
  deployment.environment["LD_LIBRARY_PATH"] = COMMUTIL_OTHER_STORE_DIR;
  const std::string notice = "the settings store does not read " + (deployment / kDocument) +
                             ": it has \"elsewhere\" for " + kListenAll;
  const ProcessResult result = put(deployment);
  EXPECT_EQ(0, result.code);
  EXPECT_EQ(changed(deployment, kListenAll + "  \"disable\" -> \"enable\""), result.out);
  EXPECT_EQ("commutil: " + notice + "\n", result.err);
  const ProcessResult json = deployment.run({"settings", "delete", "ListenAllIp", "--json"});
  EXPECT_EQ("", json.err);
  EXPECT_EQ(notice, json.json()["notice"].asString());
  deployment.environment["LD_LIBRARY_PATH"] = std::nullopt;  // no store at all
  EXPECT_EQ("", put(deployment).err);
}

TEST(SettingsPut, PrintsJson) {
  const Deployment deployment;
  const Json::Value json =
      deployment.run({"settings", "put", "ListenAllIp", "enable", "--json"}).json();
  EXPECT_EQ(deployment / kDocument, json["file"].asString());
  EXPECT_TRUE(json["written"].asBool());
  ASSERT_EQ(1U, json["changes"].size());
  EXPECT_EQ(kListenAll, json["changes"][0]["key"].asString());
  EXPECT_EQ("disable", json["changes"][0]["before"].asString());
  EXPECT_EQ("enable", json["changes"][0]["after"].asString());
  const Json::Value same =
      deployment.run({"settings", "put", "ListenAllIp", "enable", "--json"}).json();
  EXPECT_FALSE(same["written"].asBool());
  EXPECT_EQ(0U, same["changes"].size());
  const ProcessResult refused = deployment.run({"settings", "put", "ListenAllIp", "on", "--json"});
  EXPECT_EQ(1, refused.code);
  EXPECT_EQ("", refused.err);
  EXPECT_EQ(kListenAll + ": \"on\": takes enable or disable (--force writes it)",
            refused.json()["error"].asString());
}

TEST(SettingsDelete, RemovesASettingAndPrintsIt) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"settings", "delete", "ListenAllIp"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ(changed(deployment, kListenAll + "  \"disable\" -> (not set)"), result.out);
  EXPECT_EQ(1, deployment.run({"settings", "show", "ListenAllIp"}).code);
  const ProcessResult again = deployment.run({"settings", "delete", "ListenAllIp"});
  EXPECT_EQ(1, again.code);
  EXPECT_EQ("commutil: " + kListenAll + " is not set\n", again.err);
}

TEST(SettingsDelete, RemovesEveryTraceOfASettingAndNoOther) {
  const struct {
    std::string before;
    std::string after;
  } rows[] = {
      {R"({"a": {"b": {"c": "x"}}, "d": "y"})", "{\n  \"d\": \"y\"\n}\n"},
      {R"({"a": {"b": {"c": "x"}, "e": {}}})", "{\n  \"a\": {\n    \"e\": {}\n  }\n}\n"},
      {R"({"a/b/c": "x", "a": {"b/c": "z", "bc": "y"}})",
       "{\n  \"a\": {\n    \"bc\": \"y\"\n  }\n}\n"},
      {R"({"/a/b": {"c": "x", "cc": "y"}})", "{\n  \"/a/b\": {\n    \"cc\": \"y\"\n  }\n}\n"},
      {R"({"a/": {"b": {"c": "x"}}})", "{}\n"},
  };
  const Deployment deployment;
  for (const auto& row : rows) {
    deployment.write(kDocument, row.before);
    EXPECT_EQ(0, deployment.run({"settings", "delete", "/a/b/c"}).code);
    EXPECT_EQ(row.after, readFile(deployment / kDocument));
  }
}

TEST(SettingsDelete, TakesTheApplicationsBranch) {
  const Deployment deployment;
  EXPECT_EQ(0,
            deployment.run({"settings", "delete", "ListenLoopbackIP", "--app", "inventory"}).code);
  EXPECT_EQ("disable\n", shown(deployment, "ListenLoopbackIP"));
}

}  // namespace
