// The engine itself: it finds what a failing call leaves wrong, and its faults are real.
#include "faults/engine.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "faults/tour.h"
#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_faults {
namespace {

constexpr Mechanism kMechanisms[] = {
    {"Functions", Level::function, kAllocations, kCalls.size()},
    {"SystemCalls", Level::system, 0, kCalls.size()},
};

int openNull() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

/// Runs one operation with each of its calls failing; returns the messages of the failures.
std::string complaintsAbout(const Operation& operation, const Mechanism& mechanism) {
  testing::TestPartResultArray results;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
    EXPECT_LT(0U, runTour({operation}, mechanism, {}).sites);
  }
  std::string all;
  for (int i = 0; i < results.size(); ++i)
    all.append(results.GetTestPartResult(i).message()).append("\n");
  return all;
}

void expectComplaint(const Operation& operation, const std::string& complaint) {
  for (const Mechanism& mechanism : kMechanisms) {
    commutil_test::runInChild([&] {
      const commutil_test::Host host;
      EXPECT_NE(std::string::npos, complaintsAbout(operation, mechanism).find(complaint))
          << mechanism.name << " does not find: " << complaint;
    });
  }
}

void expectNoComplaint(const Operation& operation) {
  for (const Mechanism& mechanism : kMechanisms) {
    commutil_test::runInChild([&] {
      const commutil_test::Host host;
      EXPECT_EQ("", complaintsAbout(operation, mechanism)) << mechanism.name;
    });
  }
}

TEST(FaultEngine, FindsAWrongAnswer) {
  expectComplaint(
      {"access",
       [](Attempt& attempt) { return show(attempt([] { return ::access("/dev/null", F_OK); })); }},
      "wrong answer: -1");
}

TEST(FaultEngine, FindsADescriptorThatIsLeft) {
  expectComplaint({"fcntl",
                   [](Attempt& attempt) {
                     attempt([] {
                       const int fd = openNull();
                       if (fd >= 0 && ::fcntl(fd, F_GETFD) >= 0) ::close(fd);
                     });
                     return show("done");
                   }},
                  "leak: descriptor");
}

TEST(FaultEngine, FindsAChildThatIsLeft) {
  expectComplaint({"waitpid",
                   [](Attempt& attempt) {
                     attempt([] {
                       const pid_t child = ::fork();
                       if (child == 0) ::_exit(0);
                       if (child > 0) ::waitpid(child, nullptr, 0);
                     });
                     return show("done");
                   }},
                  "leak: a child");
}

TEST(FaultEngine, FindsAFileThatIsLeft) {
  expectComplaint({"unlink",
                   [](Attempt& attempt) {
                     const std::string path = commutil_test::Host::path("a-file");
                     attempt([&] {
                       ::close(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
                       ::unlink(path.c_str());
                     });
                     return show("done");
                   }},
                  "leak: file");
}

TEST(FaultEngine, FindsMemoryThatIsLeft) {
  expectComplaint({"memory",
                   [](Attempt& attempt) {
                     attempt([] {
                       static char* block = nullptr;
                       block = static_cast<char*>(std::malloc(100));
                       if (::access("/dev/null", F_OK) == 0) std::free(block);
                     });
                     return show("done");
                   }},
                  "memory kept");
}

TEST(FaultEngine, FindsACrash) {
  expectComplaint({"crash",
                   [](Attempt& attempt) {
                     attempt([] {
                       if (::access("/dev/null", F_OK) != 0) ::_exit(1);
                     });
                     return show("done");
                   }},
                  "crash");
}

TEST(FaultEngine, FindsAWrongAnswerAfterwards) {
  expectComplaint({"remembers",
                   [](Attempt& attempt) {
                     static bool failed = false;
                     const bool before = failed;
                     attempt([] { failed = ::access("/dev/null", F_OK) != 0; });
                     return show(before);
                   }},
                  "wrong answer afterwards");
}

// A descriptor is closed even by a close(2) that fails.
TEST(FaultEngine, ClosesWhenClosingFails) {
  expectNoComplaint({"close", [](Attempt& attempt) {
                       const int fd = openNull();
                       attempt([&] { return ::close(fd); });
                       return show(::fcntl(fd, F_GETFD));
                     }});
}

TEST(FaultEngine, FailsWithTheErrorsOfTheTable) {
  const Operation operation{"dup",
                            [](Attempt& attempt) {
                              const int copy = attempt([] { return ::dup(STDIN_FILENO); });
                              const int error = errno;
                              if (copy >= 0) ::close(copy);
                              return copy < 0 ? show(error) : show("copied");
                            },
                            {show(EMFILE)}};
  expectNoComplaint(operation);
}

}  // namespace
}  // namespace commutil_faults
