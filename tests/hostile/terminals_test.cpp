// A path that leads to a terminal, used by a process that has no controlling terminal: the terminal
// must not become one, or its hang-up would end the process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#ifdef SETTINGREST_LIBRARY
#include <dlfcn.h>
#endif

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocks.h"
#include "support/fixtures.h"

namespace {

using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

/// A directory in which a link leads to a new terminal with a line and an end of input in it.
class Terminal {
 public:
  Terminal() {
    EXPECT_EQ(0, ::grantpt(m_master));
    EXPECT_EQ(0, ::unlockpt(m_master));
    const char* const path = ::ptsname(m_master);
    if (path == nullptr) std::abort();
    m_slave = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_LE(0, m_slave);
    std::filesystem::create_symlink(path, link());
    EXPECT_EQ(6, ::write(m_master, "line\n\x04", 6));
  }
  ~Terminal() {
    ::close(m_slave);
    ::close(m_master);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  const TempDir& directory() const { return m_directory; }
  std::string link() const { return m_directory / "terminal_PROCESSMUTEX"; }

 private:
  TempDir m_directory;
  int m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  int m_slave = -1;
};

struct Use {
  const char* name;
  std::function<void(const Terminal&)> call;
};

#ifdef SETTINGREST_LIBRARY
/// A lookup in a reference settings store whose location is the terminal.
std::function<void(const Terminal&)> findNoValueIn(const char* scheme) {
  return [scheme](const Terminal& terminal) {
    using ValueFunction = int (*)(const std::string&, std::string&);
    const ScopedEnv url("SETTINGREST_URL", scheme + terminal.link());
    void* const library = ::dlopen(SETTINGREST_LIBRARY, RTLD_LAZY);
    const auto function = reinterpret_cast<ValueFunction>(::dlsym(library, "getSettingParamValue"));
    std::string value;
    EXPECT_NE(0, function("key", value));
  };
}
#endif

const Use kUses[] = {
    {"readFile",
     [](const Terminal& terminal) {
       std::string content;
       EXPECT_EQ(1, VexaCommonUtils::readFile(terminal.link(), content));
     }},
    {"copyFile from it",
     [](const Terminal& terminal) {
       const std::string copy = terminal.directory() / "copy";
       EXPECT_EQ(0, VexaCommonUtils_i::copyFile(terminal.link(), copy, false, false));
       EXPECT_EQ("line\n", readFile(copy));
     }},
    {"copyFile to it",
     [](const Terminal& terminal) {
       const std::string source = terminal.directory().write("source", "text");
       EXPECT_EQ(0, VexaCommonUtils_i::copyFile(source, terminal.link(), false, false));
     }},
    {"EnterProcessMutex",
     [](const Terminal& terminal) {
       const ScopedEnv share("_APP_SHARE_DIR", terminal.directory().path().string());
       VexaProcessLock lock("terminal", "/");
       EXPECT_EQ(0, lock.EnterProcessMutex());
       EXPECT_EQ(0, lock.ExitProcessMutex());
     }},
    {"a configuration file",
     [](const Terminal& terminal) {
       const ScopedEnv file("APP_CONF_FILE", terminal.link());
       EXPECT_EQ("sybase", VexaCommonUtils::getDBType());
     }},
#ifdef SETTINGREST_LIBRARY
    {"the settings store's document", findNoValueIn("file://")},
    {"the settings store's snapshot", findNoValueIn("snapshot://")},
#endif
};

TEST(Terminals, NeverBecomeTheControllingTerminal) {
  for (const Use& use : kUses) {
    SCOPED_TRACE(use.name);
    runInChild([&use] {
      ::alarm(20);
      ASSERT_LT(0, ::setsid());
      const Terminal terminal;
      use.call(terminal);
      EXPECT_EQ(-1, ::open("/dev/tty", O_RDWR | O_CLOEXEC));
      EXPECT_EQ(ENXIO, errno);
    });
  }
}

}  // namespace
