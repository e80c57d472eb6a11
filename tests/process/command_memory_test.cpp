// Commands without memory throw std::bad_alloc, run nothing and leave nothing open. This program
// replaces operator new.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <filesystem>
#include <new>
#include <string>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/memory_faults.h"

namespace {

using commutil_test::Fault;
using commutil_test::memoryFault;
using commutil_test::openDescriptors;
using commutil_test::runInChild;
using commutil_test::TempDir;

TEST(CommandMemory, RunCommandWithoutMemoryRunsNothing) {
  const TempDir dir;
  const std::string file = dir / "a file whose name takes memory";
  const std::string command = "/usr/bin/touch '" + file + "'";
  const auto run = [&command] {
    return VexaCommonUtils_i::runCommand(command.c_str(), true, false);
  };
  memoryFault().arm(Fault::kNever);
  ASSERT_EQ(0, run());
  const int allocations = memoryFault().disarm();
  ASSERT_TRUE(std::filesystem::remove(file));
  ASSERT_LE(4, allocations) << "the buffers of the options";
  for (int failing = 0; failing < allocations; ++failing) {
    SCOPED_TRACE(failing);
    runInChild([&] {
      const std::size_t before = openDescriptors();
      memoryFault().arm(failing);
      EXPECT_THROW(run(), std::bad_alloc);
      memoryFault().disarm();
      EXPECT_FALSE(std::filesystem::exists(file));
      EXPECT_EQ(before, openDescriptors());
      EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
      EXPECT_EQ(ECHILD, errno);
      EXPECT_EQ(0, run());
      EXPECT_TRUE(std::filesystem::remove(file));
    });
  }
}

}  // namespace
