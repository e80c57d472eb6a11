// The database type when an allocation fails. This program replaces operator new.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

constexpr int kNever = -1;
int passing = kNever;  ///< allocations until one fails

}  // namespace

// Not inlined: g++ would warn that `free` mismatches the callers' `new`.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (passing != kNever && passing-- == 0) throw std::bad_alloc();
  if (void* const block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

const std::string kType = "a type that does not fit into a string object";

enum class Result { thrown, byDefault, found };

/// Reads the type; the allocation after `allocations` others fails.
Result ask(int allocations) {
  passing = allocations;
  try {
    const std::string type = VexaCommonUtils::getDBType();
    passing = kNever;
    EXPECT_TRUE(type == kType || type == "sybase") << type;
    return type == kType ? Result::found : Result::byDefault;
  } catch (const std::bad_alloc&) {
    passing = kNever;
    return Result::thrown;
  }
}

class DatabaseTypeMemory : public ::testing::Test {
 protected:
  const TempDir m_dir;
  const std::string m_file =
      m_dir.write("app.json", R"({"databases": {"main": [{"type": ")" + kType + R"("}]}})");
  const ScopedEnv m_variable{"APP_CONF_FILE", m_file};
};

/// Returns the results of first calls with each allocation failing, up to the first call in which
/// none fails. After each failure a call in the same process finds the type.
std::vector<Result> resultsOfFirstCalls() {
  void* const shared =
      ::mmap(nullptr, sizeof(Result), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto& result = *static_cast<Result*>(shared);
  std::vector<Result> results;
  do {
    const auto allocations = static_cast<int>(results.size());
    const int status = runInChild([&] {
      result = ask(allocations);
      EXPECT_EQ(kType, VexaCommonUtils::getDBType()) << "after failing allocation " << allocations;
    });
    if (status != 0) break;
    results.push_back(result);
  } while (result != Result::found);
  ::munmap(shared, sizeof(Result));
  return results;
}

TEST_F(DatabaseTypeMemory, ReadsAgainAfterAFailedAllocation) {
  const std::vector<Result> results = resultsOfFirstCalls();
  ASSERT_LT(4U, results.size());
  EXPECT_EQ(Result::thrown, results.front()) << "the file's path";
  EXPECT_EQ(Result::found, results.back());
  EXPECT_EQ(Result::thrown, results[results.size() - 2]) << "the returned copy";
  for (std::size_t i = 1; i < results.size() - 2; ++i)
    EXPECT_EQ(Result::byDefault, results[i]) << "reading and parsing, allocation " << i;
}

/// Returns a quoted LIKE operand for a percent sign, whose first read of the type fails.
std::string operandAfterAFailedRead() {
  passing = 1;  // the path's allocation
  std::string operand = VexaCommonUtils_i::TransferLikeSql("%", Vexacommon::FUZZY_QUERY_NONE);
  passing = kNever;
  return operand;
}

TEST_F(DatabaseTypeMemory, AFailedReadWithinAnOperandMixesDialectsUnlessTheTypeIsKnown) {
  m_dir.write("app.json", R"({"databases": {"main": [{"type": "oracle"}]}})");
  runInChild([] { EXPECT_EQ("'[%]' escape '\\' ", operandAfterAFailedRead()); });
  runInChild([] {
    VexaCommonUtils::getDBType();
    EXPECT_EQ("'\\%' escape '\\' ", operandAfterAFailedRead());
  });
}

}  // namespace
