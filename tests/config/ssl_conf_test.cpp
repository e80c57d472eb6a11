#include <ace/ARGV.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <stdexcept>
#include <thread>

#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/threads.h"

namespace {

using commutil_test::awaitLockWait;
using commutil_test::fakeStore;
using commutil_test::InstalledStore;
using commutil_test::inThreads;
using commutil_test::readFile;
using commutil_test::ScopedEnv;
using commutil_test::ScopedUmask;
using commutil_test::StoreAnswer;
using commutil_test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kTemplateName = "svc_ssl.conf";
const std::string kApplication = "/vexa/common/svc_ssl_conf/gateway/";
const std::string kGlobal = "/vexa/common/svc_ssl_conf/global/";

/// Runs `body` in a child that dies instead of hanging.
void runInChild(const std::function<void()>& body) {
  commutil_test::runInChild([&] {
    ::alarm(120);
    body();
  });
}

/// A deployment whose application tree may hold a template, and a settings store to fill its gaps.
class SslConf : public testing::Test {
 protected:
  SslConf() { std::filesystem::create_directories(m_dir / "share"); }

  void writeTemplate(std::string_view text) const { m_dir.write("app/conf/svc_ssl.conf", text); }
  static std::string generate() { return VexaCommonUtils_i::get_svc_ssl_conf(kTemplateName); }
  bool targetExists() const { return ::access(m_target.c_str(), F_OK) == 0; }

  const TempDir m_dir;
  const std::string m_target = m_dir / "share/svc_ssl_7.conf";
  const InstalledStore m_store{"full"};

 private:
  ScopedEnv m_share{"_APP_SHARE_DIR", m_dir / "share"};
  ScopedEnv m_app{"APP_ROOT", m_dir / "app"};
  ScopedEnv m_common{"COMMON_LIB_PATH", m_dir / "common"};
  ScopedEnv m_name{"APP_NAME", "gateway"};
  ScopedEnv m_instance{"PROCESS_INSTANCE_ID", "7"};
};

TEST_F(SslConf, OtherFilesAreLocatedOnly) {
  const std::string app = m_dir.write("app/conf/other.conf", "text");
  writeTemplate("\"-SSLCAfile ca.pem\"");
  runInChild([&] {
    EXPECT_EQ(app, VexaCommonUtils_i::get_svc_ssl_conf("other.conf"));
    for (const std::string name : {"", "svc_ssl.conf ", " svc_ssl.conf", "Svc_ssl.conf",
                                   "svc_ssl.con", "./svc_ssl.conf", "svc_ssl.conf.bak"}) {
      SCOPED_TRACE(name);
      EXPECT_EQ(VexaCommonUtils_i::getConfFile(name), VexaCommonUtils_i::get_svc_ssl_conf(name));
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_dir / "share"));
    EXPECT_THAT(fakeStore().asked, IsEmpty());
  });
}

struct Generation {
  const char* name;
  std::map<std::string, StoreAnswer> store;  ///< keys without their tree: "gateway/SSLVersion"
  std::string source;
  std::string generated;
};

const char kOpen[] = "dynamic SSLIOP_Factory Service_Object * SSLIOP:_make() \"-SSLCAfile ca.pem";

const Generation kGenerations[] = {
    {"empty store",
     {},
     std::string(kOpen) + "\"\n",
     std::string(kOpen) + "\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"\n"},
    {"application's values",
     {{"gateway/SSLAuthenticate", {0, "SERVER"}},
      {"gateway/SSLVersion", {0, "TLSv1.3"}},
      {"gateway/SSLNoProtection", {0, "enable"}},
      {"global/SSLAuthenticate", {0, "CLIENT"}},
      {"global/SSLVersion", {0, "SSLv3"}},
      {"global/SSLNoProtection", {0, "disable"}}},
     std::string(kOpen) + "\"\n",
     std::string(kOpen) + "\n-SSLAuthenticate SERVER\n-SSLVersion TLSv1.3\n-SSLNoProtection\"\n"},
    {"global values",
     {{"global/SSLAuthenticate", {0, "CLIENT"}},
      {"global/SSLVersion", {0, "TLSv1.1"}},
      {"global/SSLNoProtection", {0, "enable"}}},
     std::string(kOpen) + "\"\n",
     std::string(kOpen) + "\n-SSLAuthenticate CLIENT\n-SSLVersion TLSv1.1\n-SSLNoProtection\"\n"},
    {"one from each branch",
     {{"gateway/SSLAuthenticate", {0, ""}},
      {"global/SSLAuthenticate", {0, "CLIENT"}},
      {"gateway/SSLVersion", {0, "TLSv1.3"}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate CLIENT\n-SSLVersion TLSv1.3\""},
    // Each value begins empty: what another option's lookup left does not count.
    {"lookups that succeed without writing",
     {{"gateway/SSLAuthenticate", {0, "SERVER"}},
      {"gateway/SSLVersion", {0, std::nullopt}},
      {"global/SSLVersion", {0, std::nullopt}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate SERVER\n-SSLVersion TLSv1.2\""},
    {"lookups that fail after writing",
     {{"gateway/SSLAuthenticate", {1, "SERVER"}},
      {"global/SSLVersion", {1, "TLSv1.3"}},
      {"global/SSLNoProtection", {1, "enable"}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"the value of a failed lookup that the second one does not overwrite",
     {{"gateway/SSLVersion", {1, "TLSv1.3"}}, {"global/SSLVersion", {0, std::nullopt}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.3\""},
    {"unprotected, in upper case",
     {{"gateway/SSLNoProtection", {0, "Enable"}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"unprotected, another word",
     {{"gateway/SSLNoProtection", {0, "true"}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"all options there",
     {{"gateway/SSLAuthenticate", {0, "SERVER"}},
      {"gateway/SSLVersion", {0, "TLSv1.3"}},
      {"gateway/SSLNoProtection", {0, "enable"}}},
     "\"-SSLCAfile a -SSLNoProtection -SSLVersion x -SSLAuthenticate y\"",
     "\"-SSLCAfile a -SSLNoProtection -SSLVersion x -SSLAuthenticate y\""},
    {"Authenticate there",
     {},
     "\"-SSLAuthenticate y -SSLCAfile a\"",
     "\"-SSLAuthenticate y -SSLCAfile a\n-SSLVersion TLSv1.2\""},
    {"Version there",
     {{"gateway/SSLNoProtection", {0, "enable"}}},
     "\"-SSLVersion x -SSLCAfile a\"",
     "\"-SSLVersion x -SSLCAfile a\n-SSLAuthenticate NONE\n-SSLNoProtection\""},
    {"NoProtection there",
     {},
     "\"-SSLNoProtection -SSLCAfile a\"",
     "\"-SSLNoProtection -SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"options in a comment count as present",
     {},
     "# -SSLAuthenticate -SSLVersion -SSLNoProtection\n\"-SSLCAfile a\"",
     "# -SSLAuthenticate -SSLVersion -SSLNoProtection\n\"-SSLCAfile a\""},
    {"options in a longer word count as present",
     {},
     "\"-SSLCAfile a -SSLVersionX -SSLAuthenticated\"",
     "\"-SSLCAfile a -SSLVersionX -SSLAuthenticated\""},
    {"options in another case count as missing",
     {},
     "\"-SSLCAfile a -sslversion -SSLAUTHENTICATE\"",
     "\"-SSLCAfile a -sslversion -SSLAUTHENTICATE\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"an option in a value counts as present",
     {{"gateway/SSLAuthenticate", {0, "x -SSLVersion y"}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate x -SSLVersion y\""},
    {"the next option is inserted before a quote in a value",
     {{"gateway/SSLAuthenticate", {0, "x\"y"}}},
     "\"-SSLCAfile a\"",
     "\"-SSLCAfile a\n-SSLAuthenticate x\n-SSLVersion TLSv1.2\"y\""},
    {"quotes and options before the file",
     {},
     "\"a\" \"b -SSLCAfile a\" \"c\"",
     "\"a\" \"b -SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\" \"c\""},
    {"the first file of several",
     {},
     "\"-SSLCAfile a\" \"-SSLCAfile b\"",
     "\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\" \"-SSLCAfile b\""},
    {"a quote directly after the file option",
     {},
     "\"-SSLCAfile\"",
     "\"-SSLCAfile\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"a quote some lines below",
     {},
     "\"-SSLCAfile a\n b\n\"",
     "\"-SSLCAfile a\n b\n\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"a single quote, after the file",
     {},
     "-SSLCAfile a\"",
     "-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\""},
    {"CRLF and no line end",
     {},
     "x\r\n\"-SSLCAfile a\"\r\ny",
     "x\r\n\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"\r\ny"},
    {"binary bytes",
     {},
     std::string("\x00\xff\"-SSLCAfile \x00\"\x80", 17),
     std::string("\x00\xff\"-SSLCAfile \x00", 15) +
         "\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"\x80"},
    {"no place, but nothing to add",
     {},
     "-SSLAuthenticate -SSLVersion",
     "-SSLAuthenticate -SSLVersion"},
};

TEST_F(SslConf, FillsTheTemplatesGaps) {
  for (const Generation& row : kGenerations) {
    SCOPED_TRACE(row.name);
    writeTemplate(row.source);
    runInChild([&] {
      for (const auto& [key, answer] : row.store)
        fakeStore().answers["/vexa/common/svc_ssl_conf/" + key] = answer;
      EXPECT_EQ(m_target, generate());
      EXPECT_EQ(row.generated, readFile(m_target));
      EXPECT_EQ(row.source, readFile(m_dir / "app/conf/svc_ssl.conf"));
    });
  }
}

TEST_F(SslConf, ReadsTheApplicationsKeyThenTheGlobalOneForEachGap) {
  writeTemplate("\"-SSLCAfile a\"");
  runInChild([&] {
    fakeStore().answers[kApplication + "SSLVersion"] = {0, "TLSv1.3"};
    generate();
    EXPECT_THAT(fakeStore().asked,
                ElementsAre(kApplication + "SSLAuthenticate", kGlobal + "SSLAuthenticate",
                            kApplication + "SSLVersion", kApplication + "SSLNoProtection",
                            kGlobal + "SSLNoProtection"));
  });
  writeTemplate("\"-SSLCAfile a -SSLAuthenticate x -SSLNoProtection\"");
  runInChild([&] {
    generate();
    EXPECT_THAT(fakeStore().asked,
                ElementsAre(kApplication + "SSLVersion", kGlobal + "SSLVersion"));
  });
}

TEST_F(SslConf, TheDefaultsApplyWithoutAStore) {
  writeTemplate("\"-SSLCAfile a\"");
  m_store.remove();
  runInChild([&] {
    EXPECT_EQ(m_target, generate());
    EXPECT_EQ("\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"", readFile(m_target));
  });
}

TEST_F(SslConf, TheDefaultsStayIfTheStoreFailedDuringTheFirstCall) {
  writeTemplate("\"-SSLCAfile a\"");
  const std::string defaults = "\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"";
  runInChild([&] {
    EXPECT_EQ(defaults, readFile(generate()));
    fakeStore().answers[kApplication + "SSLAuthenticate"] = {0, "SERVER"};
    fakeStore().answers[kApplication + "SSLVersion"] = {0, "TLSv1.3"};
    EXPECT_EQ(defaults, readFile(generate()));
  });
}

TEST_F(SslConf, CopiesABigTemplate) {
  const std::string filling(5'000'000, '#');
  writeTemplate(filling + "\"-SSLCAfile a\"" + filling);
  runInChild([&] {
    EXPECT_EQ(m_target, generate());
    EXPECT_TRUE(filling + "\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"" +
                    filling ==
                readFile(m_target));
  });
}

/// The words of the quoted argument string, split as a service's configurator does.
std::vector<std::string> argumentsOf(const std::string& text) {
  const std::size_t begin = text.find('"') + 1;
  const std::string quoted = text.substr(begin, text.find('"', begin) - begin);
  ACE_ARGV argv(quoted.c_str(), false);
  return {argv.argv(), argv.argv() + argv.argc()};
}

TEST_F(SslConf, AServiceReadsTheOptionsAsSeparateWords) {
  writeTemplate(
      "# SSL options\n"
      "dynamic SSLIOP_Factory Service_Object * SSLIOP:_make_SSLIOP_Protocol_Factory() "
      "\"-SSLPrivateKey PEM:key.pem -SSLCertificate PEM:cert.pem -SSLCAfile PEM:ca.pem\"\n"
      "static Resource_Factory \"-ORBProtocolFactory SSLIOP_Factory\"\n");
  const std::vector<std::string> own{"-SSLPrivateKey", "PEM:key.pem", "-SSLCertificate",
                                     "PEM:cert.pem",   "-SSLCAfile",  "PEM:ca.pem"};
  runInChild([&] {
    std::vector<std::string> expected = own;
    expected.insert(expected.end(), {"-SSLAuthenticate", "NONE", "-SSLVersion", "TLSv1.2"});
    EXPECT_EQ(expected, argumentsOf(readFile(generate())));
  });
  runInChild([&] {
    fakeStore().answers[kApplication + "SSLAuthenticate"] = {0, "SERVER_AND_CLIENT"};
    fakeStore().answers[kGlobal + "SSLVersion"] = {0, "TLSv1.3"};
    fakeStore().answers[kGlobal + "SSLNoProtection"] = {0, "enable"};
    std::vector<std::string> expected = own;
    expected.insert(expected.end(), {"-SSLAuthenticate", "SERVER_AND_CLIENT", "-SSLVersion",
                                     "TLSv1.3", "-SSLNoProtection"});
    EXPECT_EQ(expected, argumentsOf(readFile(generate())));
  });
}

TEST_F(SslConf, NamesTheFileAfterTheInstance) {
  writeTemplate("\"-SSLCAfile a\"");
  for (const std::optional<std::string>& instance :
       {std::optional<std::string>(), std::optional<std::string>(""),
        std::optional<std::string>("12"), std::optional<std::string>("a b")}) {
    runInChild([&] {
      const ScopedEnv variable("PROCESS_INSTANCE_ID", instance);
      const std::string target = m_dir / ("share/svc_ssl_" + instance.value_or("") + ".conf");
      EXPECT_EQ(target, generate());
      EXPECT_EQ(0, ::access(target.c_str(), F_OK));
    });
  }
}

TEST_F(SslConf, TakesTheFirstTemplate) {
  m_dir.write("common/conf/svc_ssl.conf", "common \"-SSLCAfile a\"");
  runInChild([] { EXPECT_THAT(readFile(generate()), testing::StartsWith("common")); });
  m_dir.write("share/conf/svc_ssl.conf", "share \"-SSLCAfile a\"");
  writeTemplate("app \"-SSLCAfile a\"");
  runInChild([] { EXPECT_THAT(readFile(generate()), testing::StartsWith("share")); });
}

TEST_F(SslConf, HasItsModeUnderAnyUmask) {
  writeTemplate("\"-SSLCAfile a\"");
  for (const mode_t mask : {0U, 022U, 027U, 077U, 0777U}) {
    SCOPED_TRACE(mask);
    runInChild([&] {
      const ScopedUmask scoped(mask);
      ASSERT_EQ(m_target, generate());
      struct stat status = {};
      ASSERT_EQ(0, ::stat(m_target.c_str(), &status));
      EXPECT_EQ(mode_t{S_IFREG | 0640}, status.st_mode);
      EXPECT_EQ(mask, ::umask(mask)) << "the mask itself";
    });
  }
}

TEST_F(SslConf, IsGeneratedOnce) {
  writeTemplate("\"-SSLCAfile a\"");
  runInChild([&] {
    EXPECT_EQ(m_target, generate());
    ::unlink(m_target.c_str());
    fakeStore().asked.clear();
    EXPECT_EQ(m_target, generate());
    EXPECT_FALSE(targetExists());
    EXPECT_THAT(fakeStore().asked, IsEmpty());
    m_dir.write("share/svc_ssl_7.conf", "someone else's");
    std::filesystem::remove_all(m_dir / "app");
    EXPECT_EQ(m_target, generate());
    EXPECT_EQ("someone else's", readFile(m_target));
    // The path is composed again.
    const ScopedEnv instance("PROCESS_INSTANCE_ID", "8");
    EXPECT_EQ(m_dir / "share/svc_ssl_8.conf", generate());
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(m_dir / "share"), {}));
    EXPECT_EQ(VexaCommonUtils_i::getConfFile("other"),
              VexaCommonUtils_i::get_svc_ssl_conf("other"));
  });
}

TEST_F(SslConf, ReplacesAnOldCopy) {
  writeTemplate("\"-SSLCAfile a\"");
  m_dir.write("share/svc_ssl_7.conf", std::string(10'000, 'x'));
  ASSERT_EQ(0, ::chmod(m_target.c_str(), 0777));
  runInChild([&] {
    EXPECT_EQ(m_target, generate());
    EXPECT_EQ("\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"", readFile(m_target));
    struct stat status = {};
    ASSERT_EQ(0, ::stat(m_target.c_str(), &status));
    EXPECT_EQ(mode_t{S_IFREG | 0640}, status.st_mode);
  });
}

TEST_F(SslConf, NeverWritesThroughALink) {
  writeTemplate("\"-SSLCAfile a\"");
  const std::string precious = m_dir.write("precious", "precious");
  const auto expectAFileOfItsOwn = [&] {
    runInChild([&] {
      EXPECT_EQ(m_target, generate());
      EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(m_target)));
      EXPECT_EQ(1U, std::filesystem::hard_link_count(m_target));
    });
    std::filesystem::remove(m_target);
  };
  ASSERT_EQ(0, ::symlink(precious.c_str(), m_target.c_str()));
  expectAFileOfItsOwn();
  ASSERT_EQ(0, ::link(precious.c_str(), m_target.c_str()));
  expectAFileOfItsOwn();
  ASSERT_EQ(0, ::symlink((m_dir / "missing").c_str(), m_target.c_str()));
  expectAFileOfItsOwn();
  EXPECT_EQ("precious", readFile(precious));
  EXPECT_NE(0, ::access((m_dir / "missing").c_str(), F_OK));
}

TEST_F(SslConf, AnUnreadableTemplateLeavesNothingAndIsTriedAgain) {
  m_dir.write("share/svc_ssl_7.conf", "old");
  runInChild([&] {
    EXPECT_EQ("", generate());
    EXPECT_FALSE(targetExists());
    m_dir.write("app/conf/svc_ssl.conf/file", "a directory");
    m_dir.write("share/svc_ssl_7.conf", "old");
    EXPECT_EQ("", generate());
    EXPECT_FALSE(targetExists());
    EXPECT_THAT(fakeStore().asked, IsEmpty());
    std::filesystem::remove_all(m_dir / "app");
    writeTemplate("\"-SSLCAfile a\"");
    EXPECT_EQ(m_target, generate());
    EXPECT_TRUE(targetExists());
  });
}

TEST_F(SslConf, ATemplateWithoutReadPermissionCannotBeRead) {
  writeTemplate("\"-SSLCAfile a\"");
  ASSERT_EQ(0, ::chmod((m_dir / "app/conf/svc_ssl.conf").c_str(), 0));
  ASSERT_EQ(0, ::chmod(m_dir.path().c_str(), 0755));
  ASSERT_EQ(0, ::chmod((m_dir / "share").c_str(), 0777));
  runInChild([&] {
    ASSERT_TRUE(::geteuid() != 0 || ::setuid(65'534) == 0);
    EXPECT_EQ("", generate());
    EXPECT_FALSE(targetExists());
  });
}

TEST_F(SslConf, ATargetThatCannotBeOpenedIsTriedAgain) {
  writeTemplate("\"-SSLCAfile a\"");
  runInChild([&] {
    std::filesystem::remove(m_dir / "share");
    EXPECT_EQ("", generate());
    std::filesystem::create_directories(m_dir / "share/svc_ssl_7.conf/folder");
    EXPECT_EQ("", generate());
    EXPECT_TRUE(std::filesystem::is_directory(m_dir / "share/svc_ssl_7.conf/folder"));
    std::filesystem::remove_all(m_target);
    EXPECT_EQ(m_target, generate());
    EXPECT_TRUE(targetExists());
  });
}

TEST_F(SslConf, AWriteThatFailsLeavesNothingAndIsTriedAgain) {
  writeTemplate("\"-SSLCAfile a\"" + std::string(100, '#'));
  runInChild([&] {
    ASSERT_NE(SIG_ERR, std::signal(SIGXFSZ, SIG_IGN));
    rlimit before = {};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
    for (const rlim_t room : {0U, 1U, 100U}) {
      SCOPED_TRACE(room);
      const rlimit limit = {room, before.rlim_max};
      ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
      const std::string path = generate();
      ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
      EXPECT_EQ("", path);
      EXPECT_FALSE(targetExists());
    }
    EXPECT_EQ(m_target, generate());
    EXPECT_TRUE(targetExists());
  });
}

const char* const kTemplatesWithoutAPlace[] = {
    "",
    "no options",
    "\"quotes\" but no file",
    "\"before\" -SSLCAfile a",
    "-SSLCAfile",
    "-SSLAuthenticate x -SSLCAfile a",
    "-SSLAuthenticate x \"-SSLCAFILE a\"",
};

TEST_F(SslConf, ATemplateWithoutAPlaceForAnOptionThrows) {
  for (const std::string source : kTemplatesWithoutAPlace) {
    SCOPED_TRACE(source);
    std::string expected;
    try {
      std::string(source).insert(std::string::npos, "");
    } catch (const std::out_of_range& error) {
      expected = error.what();
    }
    ASSERT_THAT(expected, testing::HasSubstr("basic_string::replace"));
    writeTemplate(source);
    m_dir.write("share/svc_ssl_7.conf", "old");
    runInChild([&] {
      for (int call = 0; call < 2; ++call) {  // the second would hang on a mutex still locked
        try {
          generate();
          ADD_FAILURE() << "nothing thrown";
        } catch (const std::out_of_range& error) {
          EXPECT_EQ(expected, error.what());
        }
        EXPECT_FALSE(targetExists()) << "the old copy is removed first";
      }
      writeTemplate("\"-SSLCAfile a\"");
      EXPECT_EQ(m_target, generate());
      EXPECT_TRUE(targetExists());
    });
  }
}

TEST_F(SslConf, OnlyAnOptionToAddNeedsAPlace) {
  writeTemplate("-SSLAuthenticate x -SSLVersion y");
  runInChild([&] {
    fakeStore().answers[kGlobal + "SSLNoProtection"] = {0, "enable"};
    EXPECT_THROW(generate(), std::out_of_range);
    fakeStore().answers[kGlobal + "SSLNoProtection"] = {0, "disable"};
    EXPECT_EQ(m_target, generate());
  });
}

TEST_F(SslConf, ThreadsMayGenerateTogether) {
  writeTemplate("\"-SSLCAfile a\"");
  runInChild([&] {
    inThreads(10, [&](int) {
      EXPECT_EQ(m_target, generate());
      EXPECT_EQ(m_target, generate());
    });
    EXPECT_EQ("\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"", readFile(m_target));
  });
}

TEST_F(SslConf, AThreadThatWaitedGeneratesOnceMore) {
  writeTemplate("\"-SSLCAfile a\"");
  runInChild([&] {
    std::thread other;
    fakeStore().onCall = [&](const std::string&) {
      if (other.joinable()) return;
      std::promise<pid_t> id;
      other = std::thread([&] {
        id.set_value(::gettid());
        EXPECT_EQ(m_target, generate());
      });
      awaitLockWait(id.get_future().get());
    };
    EXPECT_EQ(m_target, generate());
    other.join();
    EXPECT_EQ(12U, fakeStore().asked.size()) << "two keys for each of three options, twice";
  });
}

TEST(SslMode, IsFixed) { EXPECT_EQ(2, VexaCommonUtils_i::VexaGetSSLMode()); }

}  // namespace
