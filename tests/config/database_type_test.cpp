#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/threads.h"

namespace {

using commutil_test::inThreads;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

class DatabaseType : public testing::Test {
 protected:
  TempDir m_dir;

 private:
  ScopedEnv m_appConf{"APP_CONF_FILE", m_dir / "app.json"};
};

// Database type

struct Database {
  const char* name;
  std::string document;
  const char* type;  ///< "sybase" is the default
};

std::string nested(std::size_t depth) {
  return std::string(depth, '[').append(std::string(depth, ']'));
}

const Database kDatabases[] = {
    {"one", R"({"databases": {"main": [{"type": "oracle"}]}})", "oracle"},
    {"unchanged case", R"({"databases": {"main": [{"type": " OrAcle "}]}})", " OrAcle "},
    {"the first element", R"({"databases": {"a": [{"type": "x"}, {"type": "y"}]}})", "x"},
    {"the first name", R"({"databases": {"b": [{"type": "x"}], "a": [{"type": "y"}]}})", "y"},
    {"capitals come first", R"({"databases": {"a": [{"type": "x"}], "B": [{"type": "y"}]}})", "y"},
    {"digits ordered by byte", R"({"databases": {"9": [{"type": "x"}], "10": [{"type": "y"}]}})",
     "y"},
    {"the shorter name", R"({"databases": {"ab": [{"type": "x"}], "a": [{"type": "y"}]}})", "y"},
    {"the empty name", R"({"databases": {"a": [{"type": "x"}], "": [{"type": "y"}]}})", "y"},
    {"high bytes last",
     "{\"databases\": {\"\xc3\xa4\": [{\"type\": \"x\"}], \"z\": [{\"type\": \"y\"}]}}", "y"},
    {"repeated names", R"({"databases": {"a": [{"type": "x"}], "a": [{"type": "y"}]}})", "y"},
    {"other members", R"({"a": 1, "databases": {"m": [{"x": 1, "type": "oracle"}]}})", "oracle"},
    {"comments", "// c\n{\"databases\": /* c */ {\"m\": [{\"type\": \"oracle\"}]}}", "oracle"},
    {"CRLF", "{\r\n\"databases\": {\"m\": [{\"type\": \"oracle\"}]}}\r\n", "oracle"},
    {"byte-order mark", "\xef\xbb\xbf{\"databases\": {\"m\": [{\"type\": \"oracle\"}]}}", "oracle"},
    {"empty file", "", "sybase"},
    {"no JSON", "databases = oracle", "sybase"},
    {"cut short", R"({"databases": {"main": [{"type": "oracle"}]})", "sybase"},
    {"text after the document", R"({"databases": {"main": [{"type": "oracle"}]}} x)", "sybase"},
    {"binary bytes", std::string("\x00\xff\x01{", 4), "sybase"},
    {"nested 10,000 deep", nested(10'000), "sybase"},
    {"nested deep inside", R"({"databases": {"m": [{"type": "x"}]}, "a": )" + nested(10'000) + "}",
     "sybase"},
    {"root is null", "null", "sybase"},
    {"root is an array", "[]", "sybase"},
    {"root is a number", "5", "sybase"},
    {"root is a string", "\"databases\"", "sybase"},
    {"no databases", "{}", "sybase"},
    {"databases in another case", R"({"Databases": {"main": [{"type": "oracle"}]}})", "sybase"},
    {"databases is null", R"({"databases": null})", "sybase"},
    {"databases is empty", R"({"databases": {}})", "sybase"},
    {"databases is an array", R"({"databases": [{"type": "oracle"}]})", "sybase"},
    {"databases is a string", R"({"databases": "oracle"})", "sybase"},
    {"databases is a number", R"({"databases": 5})", "sybase"},
    {"a database is null", R"({"databases": {"main": null}})", "sybase"},
    {"a database is empty", R"({"databases": {"main": []}})", "sybase"},
    {"a database is an object", R"({"databases": {"main": {"type": "oracle"}}})", "sybase"},
    {"a database is a string", R"({"databases": {"main": "oracle"}})", "sybase"},
    {"an element is null", R"({"databases": {"main": [null]}})", "sybase"},
    {"an element is a string", R"({"databases": {"main": ["oracle"]}})", "sybase"},
    {"an element is an array", R"({"databases": {"main": [[{"type": "oracle"}]]}})", "sybase"},
    {"type is missing", R"({"databases": {"main": [{}, {"type": "oracle"}]}})", "sybase"},
    {"type is empty", R"({"databases": {"main": [{"type": ""}]}})", "sybase"},
    {"type is null", R"({"databases": {"main": [{"type": null}]}})", "sybase"},
    {"type is an object", R"({"databases": {"main": [{"type": {}}]}})", "sybase"},
    {"type is an array", R"({"databases": {"main": [{"type": ["oracle"]}]}})", "sybase"},
    {"type is a number", R"({"databases": {"main": [{"type": 5}]}})", "sybase"},
    {"type is a boolean", R"({"databases": {"main": [{"type": true}]}})", "sybase"},
    {"the first name counts, not the first type",
     R"({"databases": {"a": [], "b": [{"type": "oracle"}]}})", "sybase"},
};

TEST_F(DatabaseType, FindsTheDatabaseType) {
  for (const Database& row : kDatabases) {
    SCOPED_TRACE(row.name);
    m_dir.write("app.json", row.document);
    runInChild([&] {
      EXPECT_EQ(row.type, VexaCommonUtils::getDBType());
      // The default is not cached, a type that was read is.
      m_dir.write("app.json", R"({"databases": {"main": [{"type": "late"}]}})");
      const std::string later = std::string(row.type) == "sybase" ? "late" : row.type;
      EXPECT_EQ(later, VexaCommonUtils::getDBType());
      std::filesystem::remove(m_dir / "app.json");
      const ScopedEnv unset("APP_CONF_FILE", std::nullopt);
      EXPECT_EQ(later, VexaCommonUtils::getDBType());
    });
  }
}

TEST_F(DatabaseType, CachesTheTypeSybaseToo) {
  m_dir.write("app.json", R"({"databases": {"main": [{"type": "sybase"}]}})");
  runInChild([&] {
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
    m_dir.write("app.json", R"({"databases": {"main": [{"type": "late"}]}})");
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
  });
}

TEST_F(DatabaseType, TheDatabaseTypeIsTheDefaultUntilAFileCanBeRead) {
  runInChild([&] {
    const ScopedEnv unset("APP_CONF_FILE", std::nullopt);
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
    const ScopedEnv empty("APP_CONF_FILE", "");
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
    const ScopedEnv missing("APP_CONF_FILE", m_dir / "missing.json");
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
    const ScopedEnv directory("APP_CONF_FILE", m_dir.path().string());
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
    m_dir.write("late.json", R"({"databases": {"main": [{"type": "tessarn"}]}})");
    const ScopedEnv late("APP_CONF_FILE", m_dir / "late.json");
    EXPECT_EQ("tessarn", VexaCommonUtils::getDBType());
  });
}

TEST_F(DatabaseType, TheDatabaseTypeOfAnUnreadableFileIsTheDefault) {
  const std::string file = m_dir.write("app.json", R"({"databases": {"m": [{"type": "oracle"}]}})");
  ASSERT_EQ(0, ::chmod(file.c_str(), 0));
  ASSERT_EQ(0, ::chmod(m_dir.path().c_str(), 0755));
  runInChild([] {
    ASSERT_TRUE(::geteuid() != 0 || ::setuid(65'534) == 0);
    EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
  });
}

TEST_F(DatabaseType, ThreadsMayReadTheDatabaseTypeTogether) {
  m_dir.write("app.json", R"({"databases": {"main": [{"type": "oracle"}]}})");
  runInChild([] {
    inThreads(10, [](int) {
      for (int call = 0; call < 100; ++call) EXPECT_EQ("oracle", VexaCommonUtils::getDBType());
    });
  });
}

TEST_F(DatabaseType, ThreadsMayFailToFindTheDatabaseTypeTogether) {
  m_dir.write("app.json", nested(10'000));
  runInChild([] { inThreads(10, [](int) { EXPECT_EQ("sybase", VexaCommonUtils::getDBType()); }); });
}

}  // namespace
