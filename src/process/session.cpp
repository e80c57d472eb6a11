// Sessions: dropping from root to the platform's service user, which a server process does once at
// its start, and finding out who sits at the controlling terminal. Any thread may call; the drop
// changes the identity of all of them, and calls of it exclude each other.
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

// Serialises switchOmcUser.
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

/// Opens a PAM session for the service user, which stays open for the rest of the process's life.
/// Returns 0; the PAM error code when the transaction cannot start; -1 on any other failure.
int openServiceSession() {
  const FileModeMask mask(kSessionMask);
  const pam_conv conversation{};
  pam_handle_t* handle = nullptr;
  int error = ::pam_start(kPamService, kServiceUser, &conversation, &handle);
  if (error != PAM_SUCCESS) return error;
  error = ::pam_setcred(handle, PAM_ESTABLISH_CRED);
  if (error == PAM_SUCCESS) error = ::pam_open_session(handle, 0);
  if (error == PAM_SUCCESS) return 0;  // the handle is kept: ending it would end the session
  ::pam_end(handle, error);
  return -1;
}

/// Gives the process the user's identity, groups first: they cannot be changed without root.
bool takeIdentity(uid_t user, gid_t group) {
  return ::setgid(group) == 0 && ::initgroups(kServiceUser, group) == 0 && ::setuid(user) == 0;
}

/// Runs `command` and returns its output without surrounding blanks in `output`.
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
  // Brackets the wrong way round give the rest of the output.
  address = close < open ? output.substr(open) : output.substr(open, close - open + 1);
  return 0;
}
