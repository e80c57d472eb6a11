#include "settings_store/write_lock.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <thread>

namespace settings {
namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kMode = 0644;  // any writer may lock it
constexpr std::chrono::milliseconds kRetry{20};

commutil::Descriptor openLock(const std::string& path) {
  commutil::Descriptor file(
      ::open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kMode));
  if (!file) throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  ::fchmod(file.get(), kMode);  // not narrowed by the umask; its owner has set another user's file
  return file;
}

}  // namespace

WriteLock::WriteLock(const std::string& path, const WriteOptions& options)
    : m_file(openLock(path)) {
  const Clock::time_point deadline = Clock::now() + options.wait;
  while (::flock(m_file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR)
      throw std::runtime_error(path + ": " + std::generic_category().message(errno));
    if (Clock::now() >= deadline) throw TargetBusy(path + " is locked by another writer");
    options.onWait("waiting for the writer that has locked " + path);
    std::this_thread::sleep_for(kRetry);
  }
}

}  // namespace settings
