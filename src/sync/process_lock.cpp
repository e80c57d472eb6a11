#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <new>

#include "VexaCommonUtils.h"
#include "VexaLocks.h"
#include "os/file_io.h"
#include "os/handles.h"
#include "os/standard_streams.h"
#include "platform/bounded.h"

namespace {

constexpr int kFailed = -1;
constexpr int kHeldElsewhere = -9;
constexpr std::size_t kTextSize = 1024;
constexpr std::size_t kTextLimit = 1022;
constexpr char kShareVariable[] = "_APP_SHARE_DIR";
// Operators' scripts search for this misspelling.
constexpr char kNoShareDirectory[] = "Getting the envionment variable _APP_SHARE_DIR failed.";

/// Occupies the closed standard descriptors for a scope, so that no file takes their place: what
/// the process prints would be written to it.
class StandardDescriptorFiller {
 public:
  StandardDescriptorFiller() {
    std::array<pollfd, 3> standard{
        {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}}};
    if (::poll(standard.data(), standard.size(), 0) <= 0) return;
    for (std::size_t i = 0; i < standard.size(); ++i) {
      if ((standard[i].revents & POLLNVAL) != 0)
        m_fillers[i].reset(::open("/", O_PATH | O_CLOEXEC));
    }
  }

 private:
  std::array<commutil::Descriptor, 3> m_fillers;
};

/// Opens the lock file, creating the last component of its directory if it is missing. Checks
/// neither result: locking reports a file that is not open.
commutil::Descriptor openLockFile(std::string path, const std::string& fileName) {
  if (::access(path.c_str(), F_OK) != 0) ::mkdir(path.c_str(), 0750);
  path += fileName;
  const StandardDescriptorFiller filler;
  // Closing the file in exec would release the lock, which otherwise survives it.
  return commutil::openInheritable(path, O_RDWR | O_CREAT, 0666);
}

/// Locks (F_WRLCK) or unlocks (F_UNLCK) the whole file without waiting.
int setRecordLock(int fd, short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return ::fcntl(fd, F_SETLK, &lock);
}

bool hasShareDirectory() {
  try {
    return !VexaCommonUtils::Vexagetenv(kShareVariable).empty();
  } catch (const std::bad_alloc&) {
    return true;  // an empty value needs no memory
  }
}

bool isHeldElsewhere(int error) { return error == EAGAIN || error == EACCES; }

/// Sleeps a full second, regardless of signals. Goes by the clock: what nanosleep(2) reports as
/// left is rounded up at each signal, and under many signals it would never end.
void sleepOneSecond() {
  using std::chrono::nanoseconds;
  using std::chrono::steady_clock;
  constexpr nanoseconds::rep kSecond = 1'000'000'000;
  const auto end = steady_clock::now() + nanoseconds(kSecond);
  timespec left{1, 0};
  while (::nanosleep(&left, nullptr) != 0 && errno == EINTR) {
    const nanoseconds::rep rest = nanoseconds(end - steady_clock::now()).count();
    if (rest <= 0) return;
    left = {rest / kSecond, rest % kSecond};
  }
}

}  // namespace

VexaProcessLock::VexaProcessLock(const std::string& name, const std::string& directory)
    : m_fileName(name + "_PROCESSMUTEX"),
      m_directory(directory),
      m_descriptor(0),
      m_outputType(OUTPUT_TYPE_SCREEN) {}

VexaProcessLock::~VexaProcessLock() { LeaveProcessMutex(); }

int VexaProcessLock::EnterProcessMutex() {
  std::string path = VexaCommonUtils::Vexagetenv(kShareVariable);
  if (path.empty()) {
    OutputScreen(kNoShareDirectory);
    return kFailed;
  }
  path.reserve(path.size() + m_directory.size() + m_fileName.size());
  path += m_directory;
  commutil::Descriptor file = openLockFile(std::move(path), m_fileName);
  if (setRecordLock(file.get(), F_WRLCK) == 0) {
    m_descriptor = file.release();
    return 0;
  }
  const int error = errno;
  file.reset();
  // A mistaken exit must get EBADF, not close an unrelated file that has this number by then.
  m_descriptor = -1;
  if (isHeldElsewhere(error)) return kHeldElsewhere;
  char text[kTextSize];
  if (snprintf_s(text, kTextSize, kTextLimit, "Failed to lock %s. The error is %d.",
                 m_fileName.c_str(), error) >= 0) {
    OutputScreen(text);
  }
  return kFailed;
}

int VexaProcessLock::ExitProcessMutex() {
  if (!hasShareDirectory()) {
    OutputScreen(kNoShareDirectory);
    return kFailed;
  }
  char text[kTextSize];
  if (setRecordLock(m_descriptor, F_UNLCK) != 0) {
    const int error = errno;
    if (isHeldElsewhere(error)) return kHeldElsewhere;
    if (snprintf_s(text, kTextSize, kTextLimit, "Failed to unlock %s. The error is %d.",
                   m_fileName.c_str(), error) >= 0) {
      OutputScreen(text);
    }
    return kFailed;
  }
  if (::close(m_descriptor) != 0) {
    snprintf_s(text, kTextSize, kTextLimit, "close file fd %d failed, errno=%d.", m_descriptor,
               errno);
    OutputScreen(text);
    return kFailed;
  }
  m_descriptor = 0;
  return 0;
}

// The contract passes the message by value.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
int VexaProcessLock::WaitMaxTime(int maxTimes, std::string message) {
  if (maxTimes < 0) return 0;
  for (int round = 0;; ++round) {
    const int result = EnterProcessMutex();
    if (result != kHeldElsewhere) return result == 0 ? 0 : kFailed;
    char text[kTextSize];
    if (snprintf_s(text, kTextSize, kTextLimit, "%s", message.c_str()) < 0) return kFailed;
    OutputScreen(text);
    sleepOneSecond();
    if (round >= maxTimes) return kFailed;
  }
}

void VexaProcessLock::LeaveProcessMutex() {}

void VexaProcessLock::SetOutputType(OUTPUT_TYPE type) { m_outputType = type; }

void VexaProcessLock::OutputScreen(const char* message) const {
  if (message == nullptr) return;
  if (m_outputType != OUTPUT_TYPE_SCREEN && m_outputType != OUTPUT_TYPE_BOTH) return;
  commutil::printLine(message);
}
