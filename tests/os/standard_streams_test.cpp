// Operations that print through a throwing stream buffer of the caller: nothing escapes from them
// except the unwinding of a canceled thread.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <iostream>
#include <new>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocale.h"
#include "VexaLocks.h"
#include "support/fixtures.h"

// Tells the address sanitizer that a cancellation leaves stack frames.
extern "C" [[gnu::weak]] void __asan_handle_no_return();

namespace {

using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

/// Replaces the buffer of a stream for a scope. Keeps its input; one of its calls fails.
class FailingBuffer : public std::streambuf {
 public:
  FailingBuffer(std::ostream& stream, int failing, std::function<void()> fail)
      : m_stream(stream),
        m_before(stream.rdbuf(this)),
        m_failing(failing),
        m_fail(std::move(fail)) {}
  ~FailingBuffer() override { m_stream.rdbuf(m_before); }
  FailingBuffer(const FailingBuffer&) = delete;
  FailingBuffer& operator=(const FailingBuffer&) = delete;

  const std::string& text() const { return m_text; }
  int calls() const { return m_calls; }

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize size) override {
    noteCall();
    m_text.append(bytes, static_cast<std::size_t>(size));
    return size;
  }
  int_type overflow(int_type byte) override {
    noteCall();
    m_text += traits_type::to_char_type(byte);
    return byte;
  }
  int sync() override {
    noteCall();
    return 0;
  }

 private:
  void noteCall() {
    if (m_calls++ == m_failing) m_fail();
  }

  std::ostream& m_stream;
  std::streambuf* m_before;
  int m_failing;
  std::function<void()> m_fail;
  std::string m_text;
  int m_calls = 0;
};

struct Operation {
  const char* name;
  std::ostream& stream;
  void (*call)();  ///< expects its result too
  int calls;       ///< of the buffer: the text of a line, its end, a flush
};

/// A lock whose file cannot be opened.
VexaProcessLock lockNowhere() { return {"name", "/missing/missing/"}; }

void enterWithoutShare() {
  const ScopedEnv unset("_APP_SHARE_DIR", std::nullopt);
  EXPECT_EQ(-1, lockNowhere().EnterProcessMutex());
}

void exitWithoutShare() {
  const ScopedEnv unset("_APP_SHARE_DIR", std::nullopt);
  EXPECT_EQ(-1, lockNowhere().ExitProcessMutex());
}

void exitWithoutFile() {
  const ScopedEnv share("_APP_SHARE_DIR", "/");
  VexaProcessLock lock = lockNowhere();
  EXPECT_EQ(-1, lock.EnterProcessMutex());
  EXPECT_EQ(-1, lock.ExitProcessMutex());
}

void waitWithoutFile() {
  const ScopedEnv share("_APP_SHARE_DIR", "/");
  EXPECT_EQ(-1, lockNowhere().WaitMaxTime(0, "message"));
}

void checkWithoutList() {
  const TempDir empty;
  const ScopedEnv share("_APP_SHARE_DIR", empty.path());
  const ScopedEnv app("APP_ROOT", empty.path());
  const ScopedEnv common("COMMON_LIB_PATH", empty.path());
  EXPECT_TRUE(VexaCommonUtils_i::checkUnSafeStr("text"));
}

void takeMissingLocale() {
  const ScopedEnv locale("LC_ALL", "xx_XX");
  EXPECT_NE(nullptr, VexaLocale::Instance());
  VexaLocale::Destory();
}

const Operation kOperations[] = {
    {"OutputScreen", std::cout, [] { lockNowhere().OutputScreen("text"); }, 3},
    {"EnterProcessMutex without a share directory", std::cout, enterWithoutShare, 3},
    {"ExitProcessMutex without a share directory", std::cout, exitWithoutShare, 3},
    {"EnterProcessMutex and ExitProcessMutex without a file", std::cout, exitWithoutFile, 6},
    {"WaitMaxTime without a file", std::cout, waitWithoutFile, 3},
    {"printStackTrace", std::cout, VexaCommonUtils::printStackTrace, 9},
    {"checkUnSafeStr without its list", std::cerr, checkWithoutList, 3},
    {"Instance of a locale that is missing", std::cout, takeMissingLocale, 3},
};

/// Calls `operation`; one call of its stream's buffer fails.
void callFailing(const Operation& operation, int failing, const std::function<void()>& fail) {
  FailingBuffer buffer(operation.stream, failing, fail);
  operation.call();
  EXPECT_LT(failing, buffer.calls());
}

/// Runs `body` in a child for each operation and each call of the buffer in it.
void forEachCall(const std::function<void(const Operation& operation, int failing)>& body) {
  for (const Operation& operation : kOperations) {
    for (int failing = 0; failing < operation.calls; ++failing) {
      SCOPED_TRACE(testing::Message() << operation.name << ", call " << failing);
      runInChild([&] { body(operation, failing); });
    }
  }
}

const std::function<void()> kExceptions[] = {
    [] { throw std::runtime_error("the caller's"); },
    [] { throw std::bad_alloc(); },
    [] { throw 7; },
};

TEST(ThrowingStreams, NoExceptionEscapes) {
  forEachCall([](const Operation& operation, int failing) {
    for (const auto& fail : kExceptions) {
      EXPECT_NO_THROW(callFailing(operation, failing, fail));
      EXPECT_TRUE(operation.stream.good());
    }
  });
}

TEST(ThrowingStreams, LinesAfterTheOneThatFailedArePrinted) {
  FailingBuffer buffer(std::cout, 0, kExceptions[0]);
  VexaCommonUtils::printStackTrace();
  EXPECT_EQ("Stack trace printing not supported on this platform\n\n", buffer.text());
}

TEST(StandardStreams, ALineIsLostWithoutABuffer) {
  std::streambuf* const before = std::cout.rdbuf(nullptr);
  EXPECT_NO_THROW(VexaCommonUtils::printStackTrace());
  std::cout.rdbuf(before);
  std::cout.clear();
  FailingBuffer buffer(std::cout, -1, kExceptions[0]);
  VexaCommonUtils::printStackTrace();
  EXPECT_EQ(9, buffer.calls());
}

/// The body of a canceled thread: the argument is an operation, and the call of the buffer that
/// cancels it.
void* callCanceled(void* argument) {
  const auto& [operation, failing] = *static_cast<std::pair<Operation, int>*>(argument);
  callFailing(operation, failing, [] {
    ::pthread_cancel(::pthread_self());
    if (__asan_handle_no_return != nullptr) __asan_handle_no_return();
    ::pthread_testcancel();
  });
  return nullptr;
}

TEST(ThrowingStreams, ACanceledThreadEnds) {
  forEachCall([](const Operation& operation, int failing) {
    std::pair<Operation, int> argument{operation, failing};
    pthread_t thread{};
    ASSERT_EQ(0, ::pthread_create(&thread, nullptr, callCanceled, &argument));
    void* result = nullptr;
    ASSERT_EQ(0, ::pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
    VexaLocale::Destory();
    EXPECT_NO_THROW(callFailing(operation, failing, [] {}));
  });
}

}  // namespace
