// Calls at process exit, after the library has released its caches: they compute the results again.
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>

#include "VexaCommonUtils.h"
#include "support/fixtures.h"

namespace {

using commutil_test::ScopedEnv;
using commutil_test::TempDir;

/// Writes the results of two calls: the first might leave something for the next.
void report(const char* when) {
  for (int call = 0; call < 2; ++call) {
    const std::string trace = VexaCommonUtils::getTracePath();
    const std::string type = VexaCommonUtils::getDBType();
    ::dprintf(STDERR_FILENO, "%s: %s %s\n", when, trace.c_str(), type.c_str());
  }
}

/// Reports when it is destroyed, if enabled.
struct Reporter {
  ~Reporter() { report("static"); }
};

bool reportsLast = false;

[[gnu::destructor]] void reportLast() {
  if (reportsLast) report("last");
}

class Released : public testing::Test {
 protected:
  Released() { configure("a long enough directory for traces", "a database type of some length"); }

  /// Sets what both caches read from now on.
  void configure(const std::string& directory, const std::string& type) const {
    m_dir.write("conf/setting.cfg", "[TraceDir]\ntracedir=/" + directory + "\n");
    m_dir.write("app.json", R"({"databases": {"m": [{"type": ")" + type + R"("}]}})");
  }

  /// Fills the caches, changes their sources and ends the process.
  [[noreturn]] void fillAndExit() const {
    report("filled");
    configure("another directory for the traces", "another type of some length");
    report("cached");
    std::exit(3);
  }

  static std::string linesOf(const std::string& when, const std::string& directory,
                             const std::string& type) {
    const std::string line = when + ": /" + directory + "/ " + type + "\n";
    return line + line;
  }

  /// Expects in a child that after `prepare` the results at exit are computed again.
  void expectFoundAnew(const std::string& when, const std::function<void()>& prepare) const {
    const std::string directory = "a long enough directory for traces";
    const std::string type = "a database type of some length";
    const auto run = [&] {
      prepare();
      fillAndExit();
    };
    EXPECT_EXIT(
        run(), testing::ExitedWithCode(3),
        "^" + linesOf("filled", directory, type) + linesOf("cached", directory, type) +
            linesOf(when, "another directory for the traces", "another type of some length") + "$");
  }

 private:
  const TempDir m_dir;
  const ScopedEnv m_share{"_APP_SHARE_DIR", m_dir.path()};
  const ScopedEnv m_conf{"APP_CONF_FILE", m_dir / "app.json"};
};

TEST_F(Released, ExitHandlersGetAResult) {
  expectFoundAnew("handler", [] { std::atexit([] { report("handler"); }); });
}

TEST_F(Released, DestructorsOfStaticsGetAResult) {
  expectFoundAnew("static", [] { static const Reporter reporter; });
}

TEST_F(Released, DestructorsOfTheProgramGetAResult) {
  expectFoundAnew("last", [] { reportsLast = true; });
}

TEST_F(Released, AFirstCallAtTheEndGetsAResult) {
  const auto run = [] {
    std::atexit([] { report("handler"); });
    reportsLast = true;
    std::exit(3);
  };
  const std::string directory = "a long enough directory for traces";
  const std::string type = "a database type of some length";
  EXPECT_EXIT(run(), testing::ExitedWithCode(3),
              "^" + linesOf("handler", directory, type) + linesOf("last", directory, type) + "$");
}

}  // namespace
