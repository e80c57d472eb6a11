// Operations on a thread whose stack is 64 KiB.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

constexpr std::size_t kStack = std::size_t{64} * 1024;

/// Runs `body` on a thread with a small stack.
void onSmallStack(std::function<void()> body) {
  pthread_attr_t attributes;
  ASSERT_EQ(0, ::pthread_attr_init(&attributes));
  ASSERT_EQ(0, ::pthread_attr_setstacksize(&attributes, kStack));
  pthread_t thread{};
  const auto run = [](void* context) -> void* {
    (*static_cast<std::function<void()>*>(context))();
    return nullptr;
  };
  ASSERT_EQ(0, ::pthread_create(&thread, &attributes, run, &body));
  ASSERT_EQ(0, ::pthread_join(thread, nullptr));
  ::pthread_attr_destroy(&attributes);
}

class SmallStack : public ::testing::Test {
 protected:
  SmallStack() {
    m_dir.write("conf/setting.cfg",
                "[IP]\nListenAllIp=enable\nListenLoopbackIP=enable\n"
                "[TraceDir]\ntracedir=/srv/traces\n");
    m_dir.write("conf/secure.cfg", "[UnsafeWord]\nword1=rm -rf\n");
    m_dir.write("conf/app.json", R"({"databases": {"main": [{"type": "oracle"}]}})");
    m_dir.write("etc/conf/TSSetting.cfg", "[TS]\nts_mode=true\n");
    m_dir.write("etc/sysconf/nodelists.json",
                R"({"nodeList":{"a":{"extAttr":{"RemoteClient":"true"},)"
                R"("IPAddresses":[{"IP":"10.0.0.1"}]}}})");
  }

  TempDir m_dir;

 private:
  ScopedEnv m_share{"_APP_SHARE_DIR", m_dir.path().string()};
  ScopedEnv m_common{"COMMON_SHARE_PATH", m_dir.path().string()};
  ScopedEnv m_root{"QORV_ROOT", m_dir.path().string()};
  ScopedEnv m_application{"APP_CONF_FILE", m_dir / "conf/app.json"};
};

TEST_F(SmallStack, HoldsWhatReadsTheDatabaseType) {
  runInChild([] {
    std::string type;
    onSmallStack([&type] { type = VexaCommonUtils::getDBType(); });
    EXPECT_EQ("oracle", type);
  });
}

TEST_F(SmallStack, HoldsTheSwitchesAndPaths) {
  runInChild([] {
    std::vector<bool> on;
    std::string directory;
    onSmallStack([&] {
      on = {VexaCommonUtils::isListenAllIp(), VexaCommonUtils_i::isListenLoopback(),
            VexaCommonUtils_i::isTsMode()};
      directory = VexaCommonUtils::getTracePath();
    });
    EXPECT_EQ(std::vector<bool>(3, true), on);
    EXPECT_EQ("/srv/traces/", directory);
  });
}

TEST_F(SmallStack, HoldsTheNodeListAndTheUnsafeWords) {
  runInChild([] {
    std::list<std::string> addresses;
    bool safe = true;
    onSmallStack([&] {
      VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses);
      safe = VexaCommonUtils_i::checkUnSafeStr("do rm -rf /");
    });
    EXPECT_EQ(std::list<std::string>{"10.0.0.1"}, addresses);
    EXPECT_FALSE(safe);
  });
}

TEST_F(SmallStack, HoldsACopy) {
  runInChild([this] {
    std::string content;
    int result = -1;
    const std::string copy = m_dir / "copy";
    onSmallStack([&] {
      result = VexaCommonUtils_i::copyFile(m_dir / "conf/setting.cfg", copy, false, false);
      VexaCommonUtils::readFile(copy, content);
    });
    EXPECT_EQ(0, result);
    EXPECT_EQ(readFile(m_dir / "conf/setting.cfg"), content);
  });
}

/// A tree of directories below each other, which a recursive removal could not hold open.
class DeepTree {
 public:
  explicit DeepTree(int levels) : m_levels(levels) {
    std::filesystem::current_path(m_dir.path());
    for (int level = 0; level < m_levels; ++level) {
      EXPECT_EQ(0, ::mkdir("d", 0755));
      EXPECT_EQ(0, ::chdir("d"));
    }
    commutil_test::writeFile("file", "");
  }
  ~DeepTree() {
    EXPECT_EQ(0, ::unlink("file"));
    for (int level = 0; level < m_levels; ++level) {
      EXPECT_EQ(0, ::chdir(".."));
      EXPECT_EQ(0, ::rmdir("d"));
    }
    std::filesystem::current_path(m_previous);
  }
  DeepTree(const DeepTree&) = delete;
  DeepTree& operator=(const DeepTree&) = delete;

  std::string path() const { return m_dir.path().string(); }

 private:
  const std::filesystem::path m_previous = std::filesystem::current_path();
  TempDir m_dir;
  int m_levels;
};

TEST_F(SmallStack, HoldsTheWalkThroughADeepTree) {
  constexpr int kLevels = 900;
  const DeepTree tree(kLevels);
  runInChild([&tree] {
    std::list<std::string> files;
    int result = -1;
    onSmallStack([&] { result = VexaCommonUtils::getFilesByDir(tree.path(), "file", files); });
    EXPECT_EQ(0, result);
    ASSERT_EQ(1U, files.size());
    EXPECT_EQ(tree.path().size() + 2 * kLevels + 5, files.front().size());
  });
}

TEST_F(SmallStack, HoldsTheSplittingOfTheLongestString) {
  std::string words;
  while (words.size() < 1024) words += "a ";
  std::vector<std::string> list;
  std::set<std::string> set;
  onSmallStack([&] {
    VexaCommonUtils::splitAll(words, " ", list);
    VexaCommonUtils_i::splitAll(words, " ", set);
  });
  EXPECT_EQ(512U, list.size());
  EXPECT_EQ(1U, set.size());
}

}  // namespace
