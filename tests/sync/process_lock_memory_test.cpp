// The process lock without memory: a held lock is released, a lock that was not taken stays free.
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "VexaLocks.h"
#include "support/fixtures.h"
#include "support/lock_holder.h"
#include "support/memory_faults.h"

namespace {

using commutil_test::enterElsewhere;
using commutil_test::Fault;
using commutil_test::memoryFault;
using commutil_test::openDescriptors;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

/// A share directory whose path needs memory to copy.
class ProcessLockMemory : public testing::Test {
 protected:
  const TempDir m_share;
  const ScopedEnv m_variable{"_APP_SHARE_DIR", m_share.path().string() + std::string(100, '/')};
};

TEST_F(ProcessLockMemory, ExitReleasesTheLockWhicheverAllocationFails) {
  int allocations = 1;
  for (int failing = 0; failing < allocations; ++failing) {
    SCOPED_TRACE(failing);
    VexaProcessLock lock("backup", "/");
    ASSERT_EQ(0, lock.EnterProcessMutex());
    const std::size_t before = openDescriptors();
    memoryFault().arm(failing);
    EXPECT_NO_THROW(EXPECT_EQ(0, lock.ExitProcessMutex()));
    allocations = memoryFault().disarm();
    EXPECT_EQ(before - 1, openDescriptors());
    EXPECT_EQ(0, enterElsewhere("backup", "/"));
  }
}

TEST_F(ProcessLockMemory, EnterThatThrowsTakesNothing) {
  VexaProcessLock lock("backup", "/");
  memoryFault().arm(Fault::kNever);
  ASSERT_EQ(0, lock.EnterProcessMutex());
  const int allocations = memoryFault().disarm();
  ASSERT_EQ(0, lock.ExitProcessMutex());
  ASSERT_LT(0, allocations);
  const std::size_t before = openDescriptors();
  for (int failing = 0; failing < allocations; ++failing) {
    SCOPED_TRACE(failing);
    memoryFault().arm(failing);
    EXPECT_THROW(lock.EnterProcessMutex(), std::bad_alloc);
    memoryFault().disarm();
    EXPECT_EQ(before, openDescriptors());
    EXPECT_EQ(0, enterElsewhere("backup", "/"));
  }
}

}  // namespace
