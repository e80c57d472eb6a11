// Operations at the limits of a process. What is refused fails as the contract says, and the same
// call works once the limit is gone: no failure is cached, nothing is left open or half written.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "hostile/operations.h"
#include "support/fixtures.h"

namespace {

using commutil_test::Deployment;
using commutil_test::Lack;
using commutil_test::openDescriptors;
using commutil_test::Operation;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using commutil_test::withEachOperation;

/// A soft limit for a scope.
class ScopedLimit {
 public:
  ScopedLimit(__rlimit_resource resource, rlim_t value) : m_resource(resource) {
    EXPECT_EQ(0, ::getrlimit(resource, &m_before));
    const rlimit limit{std::min(value, m_before.rlim_max), m_before.rlim_max};
    EXPECT_EQ(0, ::setrlimit(resource, &limit)) << std::strerror(errno);
  }
  ~ScopedLimit() { ::setrlimit(m_resource, &m_before); }
  ScopedLimit(const ScopedLimit&) = delete;
  ScopedLimit& operator=(const ScopedLimit&) = delete;

 private:
  __rlimit_resource m_resource;
  rlimit m_before{};
};

std::string callWithin(__rlimit_resource resource, rlim_t value, const Operation& operation) {
  const ScopedLimit limit(resource, value);
  return operation.call();
}

// The undefined-behavior sanitizer, which the address sanitizer's build has too, checks types
// through a pipe of its own.
#if !defined(__SANITIZE_ADDRESS__)

constexpr rlim_t kStandard = 3;  // descriptors that are open before

/// By contract runCommand leaves the null device open if the child's handles cannot be set.
void closeWhatStaysOpen(const Operation& operation, const std::string& result) {
  if (operation.name == std::string("runCommand, a line") && result == "-1") ::closefrom(kStandard);
}

TEST(DescriptorLimit, FailsOrWorksAndIsForgotten) {
  constexpr rlim_t kEnough = 16;
  withEachOperation([](const Operation& operation, const Deployment& deployment) {
    ::closefrom(kStandard);
    const std::string failure = operation.resultWithout(Lack::descriptors);
    bool works = false;
    for (rlim_t left = 0; left <= kEnough; ++left) {
      SCOPED_TRACE(left);
      const std::string result = callWithin(RLIMIT_NOFILE, kStandard + left, operation);
      closeWhatStaysOpen(operation, result);
      if (!works && result != operation.right) {
        // A program that is started may lack descriptors for its libraries.
        const bool startsProgram = operation.without.count(Lack::processes) != 0;
        if (left == 0 || !startsProgram) {
          EXPECT_EQ(failure, result);
        }
        deployment.expectWholeFiles();
        continue;
      }
      works = left > 0 || failure == operation.right;
      EXPECT_EQ(operation.right, result);
    }
    EXPECT_TRUE(works);
  });
}

TEST(DescriptorLimit, LeavesNothingOpen) {
  withEachOperation([](const Operation& operation, const Deployment& /*deployment*/) {
    ::closefrom(kStandard);
    const std::size_t before = openDescriptors();
    for (rlim_t left = 0; left < 4; ++left) {
      SCOPED_TRACE(left);
      const std::string result = callWithin(RLIMIT_NOFILE, kStandard + left, operation);
      closeWhatStaysOpen(operation, result);
      EXPECT_EQ(before, openDescriptors());
    }
  });
}

#endif

TEST(ProcessLimit, FailsAndIsForgotten) {
  runInChild([] {
    commutil_test::dropRoot();  // root is above the limit
    withEachOperation([](const Operation& operation, const Deployment& /*deployment*/) {
      EXPECT_EQ(operation.resultWithout(Lack::processes), callWithin(RLIMIT_NPROC, 0, operation));
      EXPECT_EQ(operation.right, operation.call());
    });
  });
}

TEST(FileSizeLimit, FailsLeavesNothingAndIsForgotten) {
  withEachOperation([](const Operation& operation, const Deployment& deployment) {
    ASSERT_NE(SIG_ERR, std::signal(SIGXFSZ, SIG_IGN));  // otherwise it ends the process
    EXPECT_EQ(operation.resultWithout(Lack::fileSize), callWithin(RLIMIT_FSIZE, 0, operation));
    deployment.expectWholeFiles();
    EXPECT_EQ(operation.right, operation.call());
  });
}

// The sanitizers need address space of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

constexpr std::size_t kBig = std::size_t{32} << 20;

rlim_t addressSpaceInUse() {
  const std::string pages = commutil_test::readFile("/proc/self/statm");
  return std::stoul(pages) * static_cast<rlim_t>(::getpagesize());
}

/// An operation that needs more than 32 MiB of memory.
struct BigCall {
  const char* name;
  std::function<std::size_t()> call;
  std::size_t right;
  bool throws;  ///< else it returns `failure`
  std::size_t failure;
};

void expectWithinAddressSpace(const BigCall& row) {
  {
    const ScopedLimit limit(RLIMIT_AS, addressSpaceInUse() + kBig / 2);
    if (row.throws) {
      EXPECT_THROW(row.call(), std::bad_alloc);
    } else {
      EXPECT_EQ(row.failure, row.call());
    }
  }
  EXPECT_EQ(row.right, row.call());
}

TEST(AddressSpaceLimit, IsReportedAndForgotten) {
  const TempDir directory;
  const std::string bytes(kBig, ' ');
  const std::string file = directory.write("file", bytes);
  const std::string json =
      directory.write("app.json", R"({"databases":{"d":[{"type":"oracle"}]}})" + bytes);
  directory.write("conf/setting.cfg", "[IP]\nListenAllIp=enable\n" + bytes);
  const ScopedEnv share("_APP_SHARE_DIR", directory.path().string());
  const ScopedEnv configuration("APP_CONF_FILE", json);
  const BigCall rows[] = {
      {"readFile",
       [&] {
         std::string content;
         const int result = VexaCommonUtils::readFile(file, content);
         return result == 0 ? content.size() : 0;
       },
       kBig, true, 0},
      {"encodeData", [&] { return VexaCommonUtils_i::encodeData(bytes.data(), kBig).size(); },
       (kBig + 2) / 3 * 4, true, 0},
      {"transDBUpdateString", [&] { return VexaCommonUtils::transDBUpdateString(bytes).size(); },
       kBig, true, 0},
      {"getDBType", [] { return VexaCommonUtils::getDBType() == "oracle" ? 1 : 0; }, 1, false, 0},
      {"isListenAllIp", [] { return VexaCommonUtils::isListenAllIp() ? 1 : 0; }, 1, true, 0},
  };
  for (const BigCall& row : rows) {
    SCOPED_TRACE(row.name);
    runInChild([&] { expectWithinAddressSpace(row); });
  }
}

#endif

}  // namespace
