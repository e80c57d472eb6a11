#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/store_keys.h"
#include "config/uncached.h"
#include "os/file_io.h"
#include "os/handles.h"

namespace {

using commutil::Descriptor;

constexpr const char* kTemplateName = "svc_ssl.conf";
constexpr const char* kSettingsTree = "/vexa/common/svc_ssl_conf/";
constexpr mode_t kMode = 0640;
constexpr int kMostTries = 100;

std::string generatedPath() {
  return VexaCommonUtils::Vexagetenv("_APP_SHARE_DIR") + "/svc_ssl_" +
         VexaCommonUtils::Vexagetenv("PROCESS_INSTANCE_ID") + ".conf";
}

std::string siteSetting(const std::string& parameter, const char* byDefault) {
  const commutil::StoreKeys keys = commutil::storeKeys(kSettingsTree, parameter);
  std::string value;
  const bool found = VexaCommonUtils_i::GetSetParamValue(keys.application, keys.global, value);
  return found ? value : byDefault;
}

/// Inserts the options that `text` lacks before the first double quote after "-SSLCAfile". Each
/// check and each search includes earlier insertions. Without such a quote the insertion throws
/// std::out_of_range, which must reach the caller.
void addMissingOptions(std::string& text) {
  const std::size_t caFile = text.find("-SSLCAfile");
  const auto lacks = [&](const char* option) { return text.find(option) == std::string::npos; };
  const auto add = [&](const std::string& line) { text.insert(text.find('"', caFile), line); };
  if (lacks("-SSLAuthenticate"))
    add("\n-SSLAuthenticate " + siteSetting("SSLAuthenticate", "NONE"));
  if (lacks("-SSLVersion")) add("\n-SSLVersion " + siteSetting("SSLVersion", "TLSv1.2"));
  if (lacks("-SSLNoProtection") && siteSetting("SSLNoProtection", "disable") == "enable")
    add("\n-SSLNoProtection");
}

/// Returns whether the file may be overwritten: owned by this user or root, with no other name.
bool isReplaceable(int fd) {
  struct stat status = {};
  if (::fstat(fd, &status) != 0) return false;
  const bool isTrusted = status.st_uid == ::geteuid() || status.st_uid == 0;
  return isTrusted && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

/// Opens and empties the file at `path`, in a directory that forbids its removal. Empty if the file
/// may not be overwritten, or its mode cannot be set before it is written.
Descriptor openExisting(const std::string& path) {
  Descriptor file = commutil::openFile(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!file || !isReplaceable(file.get())) return {};
  if (::fchmod(file.get(), kMode) != 0 || ::ftruncate(file.get(), 0) != 0) return {};
  return file;
}

/// Creates a file at `path`; fails if something exists there, without opening or following it. Sets
/// the mode separately because the umask must not narrow it.
Descriptor createNew(const std::string& path) {
  Descriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
  if (file) ::fchmod(file.get(), kMode);
  return file;
}

/// Returns whether an unlink(2) failed for lack of permission, or because the file is a mount
/// point.
bool isRemovalDenied(int error) {
  return error == EACCES || error == EPERM || error == EROFS || error == EBUSY;
}

/// Opens an empty file at `path` and removes what was there. Another process may create something
/// between the steps, so it retries, a limited number of times.
Descriptor openTarget(const std::string& path) {
  for (int tries = 0; tries < kMostTries; ++tries) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT)
      return isRemovalDenied(errno) ? openExisting(path) : Descriptor();
    Descriptor file = createNew(path);
    if (file || errno != EEXIST) return file;
  }
  return {};
}

/// Writes the file at `path`, or leaves none there.
bool writeGenerated(const std::string& path, std::string_view text) {
  Descriptor file = openTarget(path);
  if (!file) return false;
  const bool written = commutil::writeAll(file.get(), text);
  if (commutil::closeWritten(file) && written) return true;
  ::unlink(path.c_str());
  return false;
}

}  // namespace

bool commutil::generateSslConf(const std::string& source, const std::string& target) {
  // Remove whatever is at `target`, so that nothing is left if the template cannot be used.
  ::unlink(target.c_str());
  std::string text;
  if (VexaCommonUtils::readFile(source, text) != 0) return false;
  addMissingOptions(text);
  return writeGenerated(target, text);
}

std::string VexaCommonUtils_i::get_svc_ssl_conf(const std::string& fileName) {
  std::string source = getConfFile(fileName);
  if (fileName != kTemplateName) return source;
  std::string target = generatedPath();
  static constinit std::atomic<bool> generated{false};
  if (generated.load(std::memory_order_acquire)) return target;
  static ACE_Thread_Mutex mutex;
  // The flag is not tested again: callers that waited here write the same file once more.
  const ACE_Guard<ACE_Thread_Mutex> guard(mutex);
  if (!commutil::generateSslConf(source, target)) return {};
  generated.store(true, std::memory_order_release);
  return target;
}

int VexaCommonUtils_i::VexaGetSSLMode() { return 2; }
