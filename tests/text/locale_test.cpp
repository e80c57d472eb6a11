#include "VexaLocale.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "VexaCommonUtils.h"
#include "support/c_library.h"
#include "support/fixtures.h"
#include "support/locales.h"
#include "support/threads.h"
#include "text/locale_state.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::currentLocale;
using commutil_test::inThreads;
using commutil_test::Latin1Locale;
using commutil_test::localeInstance;
using commutil_test::localeMutex;
using commutil_test::nameLocale;
using commutil_test::runInChild;
using commutil_test::setLocale;

/// What `setlocale` does before its work.
std::function<void()> g_beforeSetlocale;

/// The error of releasing a read/write lock; 0 for success.
int g_unlockError = 0;

TEST(Locale, IsCreatedOnceAndFollowsTheEnvironment) {
  runInChild([] {
    nameLocale("C.UTF-8");
    EXPECT_EQ("C", currentLocale());
    EXPECT_EQ(nullptr, localeInstance());
    VexaLocale* const instance = VexaLocale::Instance();
    ASSERT_NE(nullptr, instance);
    EXPECT_EQ(instance, localeInstance());
    EXPECT_EQ("C.UTF-8", currentLocale());
    // Keeps what the process set itself.
    setLocale("C");
    EXPECT_EQ(instance, VexaLocale::Instance());
    EXPECT_EQ("C", currentLocale());
  });
}

TEST(Locale, SetsEveryCategory) {
  const Latin1Locale latin1;
  runInChild([&] {
    latin1.offer();
    ::unsetenv("LC_ALL");
    ::setenv("LANG", "C.UTF-8", 1);
    ::setenv("LC_NUMERIC", Latin1Locale::kName, 1);
    VexaLocale::Instance();
    EXPECT_STREQ("C.UTF-8", std::setlocale(LC_CTYPE, nullptr));
    EXPECT_STREQ(Latin1Locale::kName, std::setlocale(LC_NUMERIC, nullptr));
  });
}

TEST(Locale, SetLocaleReturnsWhatTheCLibraryDoes) {
  runInChild([] {
    EXPECT_STREQ("C.UTF-8", VexaLocale::SetLocale("C.UTF-8"));
    EXPECT_EQ("C.UTF-8", currentLocale());
    EXPECT_STREQ("C.UTF-8", VexaLocale::SetLocale(nullptr));
    EXPECT_EQ(nullptr, VexaLocale::SetLocale("xx_NOWHERE"));
    EXPECT_EQ("C.UTF-8", currentLocale());
    EXPECT_EQ(nullptr, localeInstance());
  });
}

TEST(Locale, ALocaleThatIsNotInstalledIsReportedOnceAnInstance) {
  runInChild([] {
    nameLocale("xx_NOWHERE");
    CapturedOutput first(1);
    EXPECT_NE(nullptr, VexaLocale::Instance());
    wchar_t wide[4] = L"";
    VexaCommonUtils::STR2WSTR("a", wide);
    VexaCommonUtils::WSTR2STR(L"a");
    VexaLocale::Instance();
    EXPECT_EQ("SetLocale return NULL\n", first.stop());
    EXPECT_EQ("C", currentLocale());
    EXPECT_STREQ(L"a", wide);

    CapturedOutput second(1);
    VexaLocale::Destory();
    VexaLocale::Instance();
    VexaLocale::Instance();
    EXPECT_EQ("SetLocale return NULL\n", second.stop());
  });
}

TEST(Locale, TheReportIsFlushed) {
  runInChild([] {
    nameLocale("xx_NOWHERE");
    const commutil_test::TempDir dir;
    ASSERT_NE(nullptr, std::freopen((dir / "out").c_str(), "w", stdout));
    VexaLocale::Instance();
    EXPECT_EQ("SetLocale return NULL\n", commutil_test::readFile(dir / "out"));
  });
}

TEST(Locale, SuccessPrintsNothing) {
  runInChild([] {
    nameLocale("C.UTF-8");
    CapturedOutput output(1);
    VexaLocale::Instance();
    EXPECT_EQ("", output.stop());
  });
}

TEST(Locale, DestroyingTwiceIsHarmless) {
  runInChild([] {
    nameLocale("C.UTF-8");
    VexaLocale::Destory();
    VexaLocale::Instance();
    VexaLocale::Destory();
    EXPECT_EQ(nullptr, localeInstance());
    VexaLocale::Destory();
    EXPECT_EQ("C.UTF-8", currentLocale());  // the locale itself stays
    setLocale("C");
    VexaLocale::Instance();
    EXPECT_EQ("C.UTF-8", currentLocale());
  });
}

TEST(Locale, ContinuesUnlockedWhenLockingFails) {
  runInChild([] {
    nameLocale("C");  // needs no file, so that errno stays
    ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C.UTF-8"));
    ASSERT_EQ(0, localeMutex().acquire_write());
    errno = 0;
    // The thread already holds the lock, so that taking it again fails.
    VexaLocale* const instance = VexaLocale::Instance();
    EXPECT_EQ(EDEADLK, errno);
    EXPECT_NE(nullptr, instance);
    EXPECT_EQ("C", currentLocale());
    EXPECT_EQ(-1, localeMutex().tryacquire_write());  // not released meanwhile
  });
}

TEST(Locale, AFailedReleaseOfTheLockIsLeftInErrno) {
  runInChild([] {
    nameLocale("C");
    errno = 0;
    g_unlockError = EPERM;
    VexaLocale* const instance = VexaLocale::Instance();
    EXPECT_EQ(EPERM, errno);
    EXPECT_NE(nullptr, instance);
    EXPECT_EQ(instance, localeInstance());
  });
}

TEST(Locale, TheKnownInstanceIsReturnedWithoutTheLock) {
  runInChild([] {
    nameLocale("C.UTF-8");
    VexaLocale* const instance = VexaLocale::Instance();
    ASSERT_EQ(0, localeMutex().acquire_write());
    errno = 0;
    EXPECT_EQ(instance, VexaLocale::Instance());
    EXPECT_EQ(0, errno);
  });
}

TEST(Locale, ReleasesTheLock) {
  runInChild([] {
    nameLocale("C.UTF-8");
    VexaLocale::Instance();
    EXPECT_EQ(0, localeMutex().tryacquire_write());
  });
}

TEST(Locale, IsPublishedUnderTheLockBeforeTheLocaleIsSet) {
  runInChild([] {
    nameLocale("C.UTF-8");
    int calls = 0;
    g_beforeSetlocale = [&calls] {
      ++calls;
      VexaLocale* const instance = localeInstance();
      EXPECT_NE(nullptr, instance);
      std::thread([instance] {
        EXPECT_EQ(instance, VexaLocale::Instance());  // does not wait for the locale to be set
        EXPECT_EQ(-1, localeMutex().tryacquire_write());
      }).join();
    };
    VexaLocale::Instance();
    g_beforeSetlocale = nullptr;
    EXPECT_EQ(1, calls);
  });
}

TEST(Locale, ManyThreadsShareOneInstance) {
  runInChild([] {
    nameLocale("C.UTF-8");
    std::vector<VexaLocale*> found(16, nullptr);
    inThreads(static_cast<int>(found.size()),
              [&found](int i) { found[static_cast<std::size_t>(i)] = VexaLocale::Instance(); });
    for (VexaLocale* const instance : found) EXPECT_EQ(localeInstance(), instance);
    EXPECT_EQ("C.UTF-8", currentLocale());
  });
}

}  // namespace

/// Replaces the C library's, for the library under test too.
extern "C" char* setlocale(int category, const char* name) noexcept {
  if (g_beforeSetlocale) g_beforeSetlocale();
  static auto* const real = commutil_test::cLibrary<char*(int, const char*)>("setlocale");
  return real(category, name);
}

extern "C" int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
  static auto* const real =
      commutil_test::cLibrary<int(pthread_rwlock_t*)>("pthread_rwlock_unlock");
  const int result = real(lock);
  return g_unlockError != 0 ? g_unlockError : result;
}
