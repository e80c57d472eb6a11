// Operations under 3000 handled signals a second. Each is repeated, or kept waiting, until a number
// of signals has arrived.
#include <ace/Message_Block.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <functional>
#include <ios>
#include <string>
#include <thread>

#include "VexaCommonUtils_i.h"
#include "VexaLocks.h"
#include "VexaWideIO.h"
#include "hostile/operations.h"
#include "support/fixtures.h"
#include "support/locales.h"

namespace {

using commutil_test::Deployment;
using commutil_test::Operation;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::TempDir;
using commutil_test::withEachOperation;

constexpr long kInterval = 333'333;  // nanoseconds
constexpr int kSignals = 60;         // during each operation
constexpr int kFewSignals = 10;      // before each step that another thread waits for
constexpr int kSteps = 20;

std::atomic<int> handled{0};

/// Sends the calling thread signals, handled with `flags`, for a scope.
class Storm {
 public:
  explicit Storm(int flags) {
    struct sigaction action {};
    action.sa_handler = [](int) { ++handled; };
    action.sa_flags = flags;
    EXPECT_EQ(0, ::sigaction(SIGUSR1, &action, nullptr));
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGUSR1;
    event._sigev_un._tid = ::gettid();
    EXPECT_EQ(0, ::timer_create(CLOCK_MONOTONIC, &event, &m_timer));
    const itimerspec often{{0, kInterval}, {0, kInterval}};
    EXPECT_EQ(0, ::timer_settime(m_timer, 0, &often, nullptr));
  }
  ~Storm() { ::timer_delete(m_timer); }
  Storm(const Storm&) = delete;
  Storm& operator=(const Storm&) = delete;

 private:
  timer_t m_timer{};
};

/// Waits, in another thread than the storm's, until `count` more signals have been handled.
void awaitSignals(int count = kFewSignals) {
  for (const int end = handled + count; handled < end;) std::this_thread::yield();
}

/// Repeats `call` until signals enough have been handled.
void repeat(const std::function<void()>& call) {
  const int end = handled + kSignals;
  do call();
  while (handled < end);
}

bool startsWith(const Operation& operation, const std::string& text) {
  return std::string(operation.name).rfind(text, 0) == 0;
}

TEST(SignalStorm, ChangesNoResult) {
  withEachOperation([](const Operation& operation, const Deployment& /*deployment*/) {
    const Storm storm(SA_RESTART);
    repeat([&] { EXPECT_EQ(operation.right, operation.call()); });
  });
}

// By contract an interrupted wait of runCommand counts as exit code 0, and the caller reads the
// stream of pipeline_s.
TEST(SignalStorm, ThatInterruptsCallsChangesNoOtherResult) {
  withEachOperation([](const Operation& operation, const Deployment& /*deployment*/) {
    if (startsWith(operation, "pipeline_s")) return;
    const bool isRun = startsWith(operation, "runCommand");
    {
      const Storm storm(0);
      repeat([&] {
        const std::string result = operation.call();
        if (!isRun || result != "0") {
          EXPECT_EQ(operation.right, result);
        }
      });
    }
    while (isRun && ::waitpid(-1, nullptr, 0) > 0) continue;
  });
}

/// Runs `other` in a second thread during a storm that interrupts calls of `body`.
void withStorm(int flags, const std::function<void()>& other, const std::function<void()>& body) {
  runInChild([&] {
    ::alarm(20);
    std::thread thread(other);
    {
      const Storm storm(flags);
      body();
    }
    thread.join();
  });
}

TEST(SignalStorm, ATokenComesToTheWaiter) {
  VexaToken token;
  std::atomic<int> held{0};
  std::atomic<int> waited{0};
  const auto hold = [&] {
    for (int step = 1; step <= kSteps; ++step) {
      token.grab();
      token.letgo();
      EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
      held = step;
      awaitSignals();
      token.release();
      while (waited < step) std::this_thread::yield();
    }
  };
  withStorm(0, hold, [&] {
    for (int step = 1; step <= kSteps; ++step) {
      while (held < step) std::this_thread::yield();
      token.grab();
      token.letgo();
      EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
      token.release();
      waited = step;
    }
  });
}

TEST(SignalStorm, AQueueDeliversEveryMessageOnce) {
  VexaToken token;
  VexaToken_Message_Queue queue;
  queue.setToken(&token);
  const auto produce = [&queue] {
    for (int step = 0; step < kSteps; ++step) {
      awaitSignals();
      auto* const message = new ACE_Message_Block(8);
      message->msg_priority(static_cast<unsigned long>(step));
      EXPECT_EQ(1, queue.enqueue_tail(message));
    }
  };
  withStorm(0, produce, [&] {
    for (int step = 0; step < kSteps; ++step) {
      ACE_Message_Block* message = nullptr;
      ASSERT_EQ(0, queue.dequeue_head(message, nullptr));
      EXPECT_EQ(static_cast<unsigned long>(step), message->msg_priority());
      message->release();
      EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
      token.release();
    }
  });
}

/// A FIFO that another thread opens late and fills slowly.
class SlowFifo {
 public:
  SlowFifo() { EXPECT_EQ(0, ::mkfifo(path().c_str(), 0600)); }

  std::string path() const { return m_directory / "fifo"; }
  std::string content() const {
    std::string text;
    for (int step = 0; step < kSteps; ++step) text.append(kPiece);
    return text;
  }
  void fill() const {
    awaitSignals();
    const int fd = ::open(path().c_str(), O_WRONLY | O_CLOEXEC);
    for (int step = 0; step < kSteps; ++step) {
      awaitSignals();
      EXPECT_EQ(static_cast<ssize_t>(kPiece.size()), ::write(fd, kPiece.data(), kPiece.size()));
    }
    ::close(fd);
  }

  static inline const std::string kPiece = "a line\n";

 private:
  TempDir m_directory;
};

TEST(SignalStorm, ACopyOfAPipeIsWhole) {
  const SlowFifo fifo;
  const TempDir directory;
  withStorm(
      0, [&fifo] { fifo.fill(); },
      [&] {
        EXPECT_EQ(0, VexaCommonUtils_i::copyFile(fifo.path(), directory / "copy", false, false));
        EXPECT_EQ(fifo.content(), readFile(directory / "copy"));
      });
}

// The thread sanitizer keeps the signals of a thread that waits inside the C library until it
// returns, and the FIFO would wait for them.
#if !defined(__SANITIZE_THREAD__)

TEST(SignalStorm, WideLinesOfAPipeAreWhole) {
  const SlowFifo fifo;
  withStorm(
      SA_RESTART, [&fifo] { fifo.fill(); },
      [&fifo] {
        commutil_test::setLocale("C.UTF-8");
        Vexawifstream stream;
        stream.open(fifo.path().c_str(), std::ios::in);
        ASSERT_TRUE(stream.isValid());
        for (int step = 0; step < kSteps; ++step) {
          std::array<wchar_t, 100> line{};
          stream.get(line.data(), line.size());
          EXPECT_STREQ(L"a line", line.data());
        }
        EXPECT_EQ(WEOF, stream.get());
        EXPECT_EQ(0, stream.fail());
      });
}

#endif

}  // namespace
