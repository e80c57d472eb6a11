#include "os/handle_lock.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <future>
#include <thread>

#include "os/handles.h"
#include "support/fixtures.h"

using commutil::FileHandle;
using commutil::HandleLock;

namespace {

/// Returns whether another thread could lock the handle now.
bool isFree(std::FILE* file) {
  bool locked = false;
  std::thread([&] {
    locked = ::ftrylockfile(file) == 0;
    if (locked) ::funlockfile(file);
  }).join();
  return locked;
}

/// A second thread, which makes handles lock; ends with the scope.
class SecondThread {
 public:
  SecondThread() : m_thread([end = m_end.get_future()] { end.wait(); }) {}
  ~SecondThread() {
    m_end.set_value();
    m_thread.join();
  }
  SecondThread(const SecondThread&) = delete;
  SecondThread& operator=(const SecondThread&) = delete;

 private:
  std::promise<void> m_end;
  std::thread m_thread;
};

TEST(HandleLock, ExcludesOtherThreadsUntilTheEndOfItsScope) {
  const SecondThread second;
  const FileHandle file(std::tmpfile());
  {
    const HandleLock lock(file.get());
    EXPECT_FALSE(isFree(file.get()));
  }
  EXPECT_TRUE(isFree(file.get()));
}

TEST(HandleLock, MayBeNested) {
  const SecondThread second;
  const FileHandle file(std::tmpfile());
  {
    const HandleLock outer(file.get());
    { const HandleLock inner(file.get()); }
    EXPECT_FALSE(isFree(file.get()));
  }
  EXPECT_TRUE(isFree(file.get()));
}

TEST(HandleLock, LocksNothingWhileTheProcessHasASingleThread) {
  commutil_test::runInChild([] {
    const FileHandle file(std::tmpfile());
    const bool isAlone = __libc_single_threaded != 0;  // not with a sanitizer's own thread
    const HandleLock lock(file.get());
    EXPECT_EQ(isAlone, isFree(file.get()));
  });
}

}  // namespace
