// Sessions: switching from root to the service user, and the session at the controlling terminal.
#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>
#include <grp.h>
#include <pwd.h>
#include <security/pam_appl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/ascii.h"

namespace {

constexpr const char* kServiceUser = "ossuser";
constexpr const char* kPamService = "su";
constexpr std::size_t kUserBufferSize = 1024;
constexpr mode_t kSessionMask = 027;

// Serializes switchOmcUser.
ACE_Thread_Mutex switchMutex;

/// A file-creation mask for a scope.
class FileModeMask {
 public:
  explicit FileModeMask(mode_t mask) : m_before(::umask(mask)) {}
  ~FileModeMask() { ::umask(m_before); }
  FileModeMask(const FileModeMask&) = delete;
  FileModeMask& operator=(const FileModeMask&) = delete;

 private:
  mode_t m_before;
};

/// Opens a PAM session for the service user, which stays open until the process ends. Returns 0;
/// the PAM error code if the transaction cannot start; -1 on any other failure.
int openServiceSession() {
  const FileModeMask mask(kSessionMask);
  const pam_conv conversation{};
  pam_handle_t* handle = nullptr;
  int error = ::pam_start(kPamService, kServiceUser, &conversation, &handle);
  if (error != PAM_SUCCESS) return error;
  error = ::pam_setcred(handle, PAM_ESTABLISH_CRED);
  if (error == PAM_SUCCESS) error = ::pam_open_session(handle, 0);
  if (error == PAM_SUCCESS) return 0;  // keeps the handle: ending it would end the session
  ::pam_end(handle, error);
  return -1;
}

/// Sets the process's identity to the user's, groups first: without root they cannot be changed.
bool takeIdentity(uid_t user, gid_t group) {
  return ::setgid(group) == 0 && ::initgroups(kServiceUser, group) == 0 && ::setuid(user) == 0;
}

/// Runs `command` and sets `output` to its output without surrounding whitespace.
bool query(const char* command, std::string& output) {
  if (VexaCommonUtils_i::getSystemExecResult(command, output) != 0) return false;
  output = VexaCommonUtils_i::VexatrimAll(output, commutil::kWhitespace);
  return true;
}

}  // namespace

int VexaCommonUtils::switchOmcUser() {
  if (::getuid() != 0) return 0;
  const ACE_Guard<ACE_Thread_Mutex> guard(switchMutex);
  std::array<char, kUserBufferSize> buffer{};
  passwd entry{};
  if (!VexaCommonUtils_i::securityGetpwnam(kServiceUser, entry, buffer.data(), buffer.size())) {
    return -1;
  }
  const int error = openServiceSession();
  if (error != 0) return error;
  return takeIdentity(entry.pw_uid, entry.pw_gid) ? 0 : -1;
}

int VexaCommonUtils::getSessionDetails(std::string& user, std::string& address) {
  std::string output;
  if (!query("/usr/bin/tty", output) || output == "not a tty") return -1;
  if (!query("/usr/bin/whoami", user)) return -1;
  if (!query("/usr/bin/who -m", output)) return -1;
  const std::size_t open = output.rfind('(');
  const std::size_t close = output.rfind(')');
  if (open == std::string::npos || close == std::string::npos) return -1;
  // Parentheses in reverse order give the rest of the output.
  address = close < open ? output.substr(open) : output.substr(open, close - open + 1);
  return 0;
}
