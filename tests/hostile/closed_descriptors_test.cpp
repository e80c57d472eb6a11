// Operations in processes that have closed any of their standard descriptors. No file of the
// library takes a closed one's place for longer than the call.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaLocks.h"
#include "hostile/operations.h"
#include "support/fixtures.h"

namespace {

using commutil_test::Deployment;
using commutil_test::isOpen;
using commutil_test::Operation;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using commutil_test::withEachOperation;

constexpr int kMasks = 8;

/// Calls `body` with the standard descriptors of `mask` closed, and no descriptor above them.
void withClosed(int mask, const std::function<void()>& body) {
  ::closefrom(STDERR_FILENO + 1);
  std::array<int, 3> saved{};
  for (int fd = 0; fd < 3; ++fd) {
    saved[static_cast<std::size_t>(fd)] = ::fcntl(fd, F_DUPFD_CLOEXEC, 100);
    if ((mask >> fd & 1) != 0) ::close(fd);
  }
  body();
  for (int fd = 0; fd < 3; ++fd) {
    ::dup2(saved[static_cast<std::size_t>(fd)], fd);
    ::close(saved[static_cast<std::size_t>(fd)]);
  }
}

std::vector<int> openBelow100() {
  std::vector<int> open;
  for (int fd = 0; fd < 100; ++fd)
    if (isOpen(fd)) open.push_back(fd);
  return open;
}

TEST(ClosedDescriptors, ChangeNoResultAndStayClosed) {
  for (int mask = 0; mask < kMasks; ++mask) {
    SCOPED_TRACE(mask);
    withEachOperation([mask](const Operation& operation, const Deployment& /*deployment*/) {
      std::string result;
      std::vector<int> before;
      std::vector<int> after;
      withClosed(mask, [&] {
        before = openBelow100();
        result = operation.call();
        after = openBelow100();
      });
      EXPECT_EQ(operation.right, result);
      EXPECT_EQ(before, after);
    });
  }
}

TEST(ClosedDescriptors, NothingIsPrintedIntoTheLockFile) {
  for (int mask = 0; mask < kMasks; ++mask) {
    SCOPED_TRACE(mask);
    runInChild([mask] {
      const TempDir share;
      const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
      const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
      ASSERT_EQ(STDOUT_FILENO, ::dup2(null, STDOUT_FILENO));
      int entered = -1;
      int exited = -1;
      withClosed(mask, [&] {
        VexaProcessLock lock("backup", "/");
        entered = lock.EnterProcessMutex();
        lock.OutputScreen("a message");
        VexaCommonUtils::printStackTrace();
        exited = lock.ExitProcessMutex();
      });
      EXPECT_EQ(0, entered);
      EXPECT_EQ(0, exited);
      EXPECT_EQ("", readFile(share / "backup_PROCESSMUTEX"));
    });
  }
}

}  // namespace
