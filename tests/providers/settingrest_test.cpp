// The reference settings store, loaded as the library loads it.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "providers/loaded_store.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::groupParams;
using commutil_test::kNoGroup;
using commutil_test::Params;
using commutil_test::paramsOf;
using commutil_test::paramValue;
using commutil_test::replaceByRename;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::shellOutput;
using commutil_test::TempDir;
using commutil_test::ValueFunction;
using commutil_test::valueOf;
using commutil_test::writeFile;

class SettingRest : public testing::Test {
 protected:
  void store(const std::string& content) { replaceByRename(m_path, content); }

  TempDir m_dir;
  const std::string m_path = m_dir / "store.json";
  ScopedEnv m_url{"SETTINGREST_URL", "file://" + m_path};
};

TEST_F(SettingRest, ExportsOnlyItsTwoEntryPoints) {
  EXPECT_EQ("getSettingGroupParams\ngetSettingParamValue\n",
            shellOutput("nm -D --defined-only " SETTINGREST_LIBRARY " | awk '{print $3}'"));
}

TEST_F(SettingRest, HasNoVersionInItsName) {
  const std::string dynamic = shellOutput("readelf -d " SETTINGREST_LIBRARY);
  EXPECT_NE(std::string::npos, dynamic.find("NEEDED"));
  EXPECT_EQ(std::string::npos, dynamic.find("SONAME"));
  EXPECT_FALSE(std::filesystem::is_symlink(SETTINGREST_LIBRARY));
}

constexpr const char* kValues = R"({
    "vexa": {"common": {"setting_cfg": {"global": {"ListenAllIp": "enable"}}}},
    "/vexa/common/svc_ssl_conf/global": {"SSLVersion": "TLSv1.3"},
    "flat/key": "flat",
    "/trailing/": {"/x": "joined"},
    "top": "level",
    "empty": "",
    "a": "both",
    "a/b": "value and group",
    "number": 7, "real": 5.0, "long": 12345678901234567890123, "exponent": 1e3, "minus": -0,
    "yes": true, "no": false,
    "nothing": null, "list": ["x"], "objects": [{"x": "y"}], "object": {},
    "twice": "first", "twice": "last",
    "unicode": "\u00e9\ud83d\ude00", "raw": "é", "nul": "a\u0000b", "slash": "a\/b",
    "na\u0000me": "nul in the name"})";

struct ValueCase {
  std::string key;
  std::string value;
};

const ValueCase kValueCases[] = {
    {"/vexa/common/setting_cfg/global/ListenAllIp", "enable"},
    {"vexa/common/setting_cfg/global/ListenAllIp", "enable"},
    {"/vexa/common/svc_ssl_conf/global/SSLVersion", "TLSv1.3"},
    {"/flat/key", "flat"},
    {"flat/key", "flat"},
    {"/trailing/x", "joined"},
    {"/top", "level"},
    {"/empty", ""},
    {"/a", "both"},
    {"/a/b", "value and group"},
    {"/number", "7"},
    {"/real", "5.0"},
    {"/long", "12345678901234567890123"},
    {"/exponent", "1e3"},
    {"/minus", "-0"},
    {"/yes", "true"},
    {"/no", "false"},
    {"/nothing", "(none)"},
    {"/list", "(none)"},
    {"/list/0", "(none)"},
    {"/objects/x", "(none)"},
    {"/object", "(none)"},
    {"/vexa/common", "(none)"},
    {"/vexa/common/", "(none)"},
    {"/vexa/common/setting_cfg/global/listenallip", "(none)"},
    {"/vexa/common/setting_cfg/global/ListenAllI", "(none)"},
    {"/vexa/common/setting_cfg/global/ListenAllIpX", "(none)"},
    {"/vexa/common/setting_cfg/global/ListenAllIp/", "(none)"},
    {"//top", "(none)"},
    {"", "(none)"},
    {"/", "(none)"},
    {"/twice", "last"},
    {"/unicode", "\u00e9\U0001F600"},
    {"/raw", "\u00e9"},
    {"/nul", std::string("a\0b", 3)},
    {"/slash", "a/b"},
    {std::string("/na\0me", 6), "nul in the name"},
    {std::string(1 << 20, 'k'), "(none)"},
};

TEST_F(SettingRest, FindsValues) {
  store(kValues);
  for (const ValueCase& row : kValueCases) {
    SCOPED_TRACE(row.key.substr(0, 60));
    EXPECT_EQ(row.value, valueOf(row.key));
  }
}

TEST_F(SettingRest, FindsGroups) {
  store(R"({"app": {"one": "1", "two": "2", "list": [], "sub": {"deep": "3"}},
            "app/three": true, "app2": {"x": "y"}, "upper": {"lower": {"z": "w"}},
            "hollow": {}, "top": "t"})");
  commutil_test::expectGroups();
  EXPECT_EQ(kNoGroup, paramsOf("/hollow"));
}

TEST_F(SettingRest, ReadsTheFileThatTheUrlNames) {
  const std::string odd = m_dir.write("a b%c/\xC3\xA9?#.json", R"({"k": "v"})");
  const std::string dir = m_dir.path().string();
  const struct {
    std::string url;
    std::string value;
  } rows[] = {
      {"file://" + dir + "/a%20b%25c/%C3%a9%3f%23.json", "v"},
      {"file://" + dir + "/a b%25c/\xC3\xA9?#.json", "v"},
      {"FILE://localhost" + dir + "/a%20b%25c/%c3%A9%3F%23.json", "v"},
      {"file://" + dir + "/missing.json", "(none)"},
      {"file://" + dir, "(none)"},
      {"file://elsewhere" + dir + "/a%20b%25c/%C3%A9%3f%23.json", "(none)"},
      {"file://" + dir + "/a%20b%25c/%C3%A9%3f%2", "(none)"},
      {"file://" + dir + "/a%20b%25c/%C3%A9%3f%23.json%00", "(none)"},
      {"file://" + dir + "/a%20b%c/%C3%A9%3f%23.json", "(none)"},
      {"file://", "(none)"},
      {"file", "(none)"},
      {"http://localhost/store", "(none)"},
      {odd, "(none)"},
  };
  const CapturedOutput errors(2);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    const ScopedEnv url("SETTINGREST_URL", row.url);
    EXPECT_EQ(row.value, valueOf("/k"));
  }
}

TEST_F(SettingRest, SaysOnceThatNoStoreHasTheUrl) {
  runInChild([] {
    const ScopedEnv url("SETTINGREST_URL", "gopher://host/store");
    CapturedOutput errors(2);
    EXPECT_EQ("(none)", valueOf("/k"));
    EXPECT_EQ("(none)", valueOf("/k"));
    EXPECT_EQ(kNoGroup, paramsOf("/"));
    EXPECT_EQ("settingrest: SETTINGREST_URL: no store has the URL gopher://host/store\n",
              errors.stop());
  });
}

TEST_F(SettingRest, SearchesTheConfDirectoriesWithoutAUrl) {
  const ScopedEnv share("_APP_SHARE_DIR", m_dir / "share");
  const ScopedEnv app("APP_ROOT", m_dir / "app");
  const ScopedEnv common("COMMON_LIB_PATH", m_dir / "common");
  for (const auto& url : {std::optional<std::string>(), std::optional<std::string>("")}) {
    const ScopedEnv unset("SETTINGREST_URL", url);
    EXPECT_EQ("(none)", valueOf("/from"));
    for (const std::string place : {"common", "app", "share"}) {
      m_dir.write(place + "/conf/settings.json", R"({"from": ")" + place + R"("})");
      EXPECT_EQ(place, valueOf("/from"));
    }
    std::filesystem::remove(m_dir / "share/conf/settings.json");
    EXPECT_EQ("app", valueOf("/from"));
    const ScopedEnv without("APP_ROOT", std::nullopt);
    EXPECT_EQ("common", valueOf("/from"));
    std::filesystem::remove_all(m_dir / "app");
    std::filesystem::remove_all(m_dir / "common");
    EXPECT_EQ("(none)", valueOf("/from"));
  }
}

TEST_F(SettingRest, UrlOutranksTheConfDirectories) {
  const ScopedEnv share("_APP_SHARE_DIR", m_dir / "share");
  m_dir.write("share/conf/settings.json", R"({"from": "share"})");
  EXPECT_EQ("(none)", valueOf("/from"));
  store(R"({"from": "url"})");
  EXPECT_EQ("url", valueOf("/from"));
}

TEST_F(SettingRest, SeesAReplacedFile) {
  for (const std::string value : {"1", "2", "33", "4"}) {
    store(R"({"k": ")" + value + R"("})");
    EXPECT_EQ(value, valueOf("/k"));
  }
}

TEST_F(SettingRest, SeesEachEditInPlaceHoweverQuickly) {
  for (int i = 0; i < 200; ++i) {
    const std::string value = std::to_string(1000 + i);
    writeFile(m_path, R"({"k": ")" + value + R"("})");
    ASSERT_EQ(value, valueOf("/k"));
  }
}

void setModified(const std::string& path, std::time_t seconds, long nanoseconds) {
  const std::timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
}

TEST_F(SettingRest, ComparesSizeInodeAndTime) {
  store(R"({"k": "1"})");
  setModified(m_path, 1000, 5);
  EXPECT_EQ("1", valueOf("/k"));
  writeFile(m_path, R"({"k": "2"})");
  setModified(m_path, 1000, 5);
  EXPECT_EQ("1", valueOf("/k")) << "nothing that the store compares has changed";
  setModified(m_path, 1000, 6);
  EXPECT_EQ("2", valueOf("/k")) << "nanoseconds";
  writeFile(m_path, R"({"k": "33"})");
  setModified(m_path, 1000, 6);
  EXPECT_EQ("33", valueOf("/k")) << "size";
  writeFile(m_path + ".new", R"({"k": "44"})");
  setModified(m_path + ".new", 1000, 6);
  std::filesystem::rename(m_path + ".new", m_path);
  EXPECT_EQ("44", valueOf("/k")) << "inode";
}

// Until the clock has passed a file's time, a second edit may not change that time.
TEST_F(SettingRest, ReadsAFileOfThisVeryMomentAgain) {
  const std::time_t soon = std::time(nullptr) + 3600;
  for (const std::string value : {"1", "2", "3"}) {
    writeFile(m_path, R"({"k": ")" + value + R"("})");
    setModified(m_path, soon, 0);
    EXPECT_EQ(value, valueOf("/k"));
  }
}

TEST_F(SettingRest, KeepsTheLastGoodContentsAndSaysSoOnce) {
  const struct {
    std::string content;
    std::string reason;
  } rows[] = {
      {"", "Line 1, Column 1"},
      {R"({"k": "ne)", "Line 1, Column 7"},
      {"{\"k\":\n  \"v\"", "Line 2, Column 6"},
      {R"(["k"])", "not an object"},
      {R"("text")", "Line 1, Column 1"},
      {R"({"k": "new"} x)", "Line 1, Column 14"},
      {R"({"k": "new"}})", "Line 1, Column 13"},
      {R"({"k": "new",})", "Line 1, Column 13"},
      {R"({'k': 'new'})", "Line 1, Column 2"},
      {std::string("{\"k\": \"new\"}\0", 13), "text after the document"},
      {std::string("\x00\xff\xfe\x7f", 4), "Line 1, Column 1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.content);
    store(R"({"k": "good", "g": {"p": "q"}})");
    CapturedOutput errors(2);
    EXPECT_EQ("good", valueOf("/k"));
    store(row.content);
    EXPECT_EQ("good", valueOf("/k"));
    EXPECT_EQ((Params{{"p", "q"}}), paramsOf("/g"));
    store(row.content);
    EXPECT_EQ("good", valueOf("/k")) << "the same content in a new file";
    EXPECT_EQ("settingrest: " + m_path + " is malformed (" + row.reason +
                  "); what was read before stays in use\n",
              errors.stop());
  }
}

TEST_F(SettingRest, ComplainsAgainOfNewContents) {
  store(R"({"k": "good"})");
  CapturedOutput errors(2);
  EXPECT_EQ("good", valueOf("/k"));
  for (const std::string content : {"{", "{{", "{"}) {
    store(content);
    EXPECT_EQ("good", valueOf("/k"));
    EXPECT_EQ("good", valueOf("/k"));
  }
  store(R"({"k": "better"})");
  EXPECT_EQ("better", valueOf("/k"));
  store("{");
  EXPECT_EQ("better", valueOf("/k"));
  const std::string said = errors.stop();
  EXPECT_EQ(4, std::count(said.begin(), said.end(), '\n')) << said;
}

TEST_F(SettingRest, FailsWhileNothingGoodWasRead) {
  CapturedOutput errors(2);
  store("{");
  EXPECT_EQ("(none)", valueOf("/k"));
  EXPECT_EQ(kNoGroup, paramsOf("/"));
  EXPECT_EQ("settingrest: " + m_path + " is malformed (Line 1, Column 2); there are no settings\n",
            errors.stop());
  store(R"({"k": "good"})");
  EXPECT_EQ("good", valueOf("/k"));
}

TEST_F(SettingRest, DoesNotReadAnotherFile) {
  store(R"({"k": "good"})");
  EXPECT_EQ("good", valueOf("/k"));
  const ScopedEnv other("SETTINGREST_URL", "file://" + m_dir.write("other.json", "{"));
  const CapturedOutput errors(2);
  EXPECT_EQ("(none)", valueOf("/k"));
}

TEST_F(SettingRest, FailsWhenTheFileIsGone) {
  store(R"({"k": "good"})");
  EXPECT_EQ("good", valueOf("/k"));
  std::filesystem::remove(m_path);
  EXPECT_EQ("(none)", valueOf("/k"));
  EXPECT_EQ(kNoGroup, paramsOf("/"));
}

TEST_F(SettingRest, ReadsNothingButFiles) {
  CapturedOutput errors(2);
  ASSERT_EQ(0, ::mkfifo(m_path.c_str(), 0600));
  EXPECT_EQ("(none)", valueOf("/k"));
  std::filesystem::remove(m_path);
  std::filesystem::create_directory(m_path);
  EXPECT_EQ("(none)", valueOf("/k"));
  const ScopedEnv device("SETTINGREST_URL", "file:///dev/null");
  EXPECT_EQ("(none)", valueOf("/k"));
  EXPECT_EQ("", errors.stop()) << "other kinds of files are not reported as malformed";
}

TEST_F(SettingRest, IgnoresAByteOrderMark) {
  store("\xEF\xBB\xBF{\"k\": 12.50}\r\n");
  EXPECT_EQ("12.50", valueOf("/k"));
}

std::string nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += R"({"d":)";
  return text + "1" + std::string(static_cast<std::size_t>(depth), '}');
}

TEST_F(SettingRest, RefusesADocumentNestedTooDeep) {
  const CapturedOutput errors(2);
  store(nested(500));
  std::string key;
  for (int i = 0; i < 500; ++i) key += "/d";
  EXPECT_EQ("1", valueOf(key));
  store(nested(10000));
  EXPECT_EQ("1", valueOf(key)) << "the last good settings stay in use";
}

TEST_F(SettingRest, ReadsAHugeDocument) {
  std::string text = "{";
  for (int i = 0; i < 200000; ++i)
    text += "\"g" + std::to_string(i % 100) + "/k" + std::to_string(i) + "\": \"v\",";
  store(text + R"("last": ")" + std::string(10 << 20, 'x') + R"("})");
  EXPECT_EQ("v", valueOf("/g99/k199999"));
  EXPECT_EQ(2000U, paramsOf("/g7").size());
  EXPECT_EQ(std::string(10 << 20, 'x'), valueOf("/last"));
}

// All values of a document are equal, so that a result of two documents would show.
std::string uniform(int version) {
  const std::string value = std::string(100, static_cast<char>('a' + version % 26));
  std::string text = "{\"g\": {";
  for (int i = 0; i < 50; ++i) text += "\"p" + std::to_string(i) + "\": \"" + value + "\", ";
  return text + "\"last\": \"" + value + "\"}}";
}

bool isUniform(const Params& params) {
  for (const auto& [name, value] : params)
    if (value != params.begin()->second) return false;
  return params.size() == 51;
}

TEST_F(SettingRest, ServesEachOfManyThreadsFromOneDocument) {
  store(uniform(0));
  std::atomic<bool> done{false};
  std::atomic<int> failures{0};
  const auto read = [&] {
    while (!done) {
      Params params;
      std::string value;
      if (groupParams("/g", params) != 0 || !isUniform(params)) ++failures;
      if (paramValue("/g/last", value) != 0 || value.size() != 100) ++failures;
    }
  };
  std::vector<std::thread> readers(8);
  for (std::thread& reader : readers) reader = std::thread(read);
  for (int version = 0; version < 200; ++version) store(uniform(version));
  done = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(0, failures);
}

TEST_F(SettingRest, StaysMappedAndLetsTheProcessExit) {
  store(R"({"k": "v"})");
  const auto body = [] {
    void* const handle = ::dlopen(SETTINGREST_LIBRARY, RTLD_LAZY | RTLD_GLOBAL);
    const auto function = reinterpret_cast<ValueFunction>(::dlsym(handle, "getSettingParamValue"));
    ::dlclose(handle);
    static std::atomic<int> answers{0};
    std::thread([function] {
      for (std::string value;; ++answers) function("/k", value);
    }).detach();
    while (answers == 0) std::this_thread::yield();
    std::string value;
    std::exit(function("/k", value) == 0 && value == "v" ? 0 : 1);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}

}  // namespace
