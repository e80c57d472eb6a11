// Cached results if the mutex cannot be locked: the results are the same, and a mutex that was not
// locked is not unlocked. This program replaces the thread library's mutexes.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/fake_store.h"
#include "support/c_library.h"

namespace {

using commutil_test::cLibrary;

bool refuseNext = false;
const pthread_mutex_t* refused = nullptr;
bool refusedIsReleased = false;

}  // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static auto* const real = cLibrary<int(pthread_mutex_t*)>("pthread_mutex_lock");
  if (!refuseNext) return real(mutex);
  refuseNext = false;
  refused = mutex;
  return EINVAL;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static auto* const real = cLibrary<int(pthread_mutex_t*)>("pthread_mutex_unlock");
  refusedIsReleased = refusedIsReleased || mutex == refused;
  return real(mutex);
}
}

namespace {

using commutil_test::fakeStore;
using commutil_test::InstalledStore;
using commutil_test::readFile;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

class Unlocked : public testing::Test {
 protected:
  /// Expects `answer` of `ask`, in a child in which locking the first mutex fails.
  static void expect(const std::string& answer, const std::function<std::string()>& ask) {
    commutil_test::runInChild([&] {
      refuseNext = true;
      EXPECT_EQ(answer, ask());
      EXPECT_NE(nullptr, refused) << "no mutex taken";
      EXPECT_FALSE(refusedIsReleased);
    });
  }

  TempDir m_dir;

 private:
  ScopedEnv m_share{"_APP_SHARE_DIR", m_dir / "share"};
  ScopedEnv m_app{"APP_ROOT", m_dir / "app"};
  ScopedEnv m_instance{"PROCESS_INSTANCE_ID", "7"};
};

TEST_F(Unlocked, FindsTheTraceDirectory) {
  m_dir.write("app/conf/setting.cfg", "[TraceDir]\ntracedir=/trace\n");
  expect("/trace/", VexaCommonUtils::getTracePath);
}

TEST_F(Unlocked, FindsTheDatabaseType) {
  const ScopedEnv conf("APP_CONF_FILE",
                       m_dir.write("app.json", R"({"databases": {"m": [{"type": "oracle"}]}})"));
  expect("oracle", VexaCommonUtils::getDBType);
}

TEST_F(Unlocked, ReadsTheSettingsStore) {
  const InstalledStore store("full");
  fakeStore().answers["/key"] = {0, "found"};
  expect("found", [] {
    std::string value;
    EXPECT_EQ(0, VexaCommonUtils_i::getSettingParamValue("/key", value));
    return value;
  });
  expect("found", [] {
    std::map<std::string, std::string> params;
    EXPECT_EQ(0, VexaCommonUtils_i::getSettingGroupParams("/key", params));
    return params["answer"];
  });
}

TEST_F(Unlocked, GeneratesTheSslOptionFile) {
  const InstalledStore store("full");
  m_dir.write("app/conf/svc_ssl.conf", "\"-SSLCAfile a\"");
  m_dir.write("share/svc_ssl_7.conf", "old");
  expect(m_dir / "share/svc_ssl_7.conf",
         [] { return VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf"); });
  EXPECT_EQ("\"-SSLCAfile a\n-SSLAuthenticate NONE\n-SSLVersion TLSv1.2\"",
            readFile(m_dir / "share/svc_ssl_7.conf"));
}

}  // namespace
