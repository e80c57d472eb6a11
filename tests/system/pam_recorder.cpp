// A PAM module that records its calls, for tests of switchOmcUser. Arguments: log=FILE, to which
// each call adds a line; setcred=CODE and open=CODE, the results of these calls.

#include <fcntl.h>
#include <security/pam_ext.h>
#include <security/pam_modules.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

namespace {

std::string argument(int count, const char** arguments, std::string_view name) {
  for (int i = 0; i < count; ++i) {
    const std::string_view text(arguments[i]);
    if (text.substr(0, name.size()) == name) return std::string(text.substr(name.size()));
  }
  return "";
}

void append(const std::string& path, const std::string& line) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (::write(fd, line.data(), line.size()) < 0) std::abort();
  ::close(fd);
}

std::string text(pam_handle_t* handle, int item) {
  const void* value = nullptr;
  ::pam_get_item(handle, item, &value);
  return value == nullptr ? "" : static_cast<const char*>(value);
}

/// " service=S user=U flags=F uid=N gid=N umask=M" of the running call.
std::string circumstances(pam_handle_t* handle, int flags) {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return " service=" + text(handle, PAM_SERVICE) + " user=" + text(handle, PAM_USER) +
         " flags=" + std::to_string(flags) + " uid=" + std::to_string(::getuid()) +
         " gid=" + std::to_string(::getgid()) + " umask=" + std::to_string(mask);
}

void recordEnd(pam_handle_t* /*handle*/, void* log, int status) {
  auto* const path = static_cast<std::string*>(log);
  const mode_t mask = ::umask(0);
  ::umask(mask);
  append(*path, "end status=" + std::to_string(status) + " umask=" + std::to_string(mask) + "\n");
  delete path;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int pam_sm_authenticate(pam_handle_t* /*handle*/,
                                                               int /*flags*/, int /*count*/,
                                                               const char** /*arguments*/) {
  return PAM_AUTH_ERR;
}

__attribute__((visibility("default"))) int pam_sm_setcred(pam_handle_t* handle, int flags,
                                                          int count, const char** arguments) {
  const std::string log = argument(count, arguments, "log=");
  ::pam_set_data(handle, "recorder", new std::string(log), recordEnd);
  append(log, "setcred" + circumstances(handle, flags) + "\n");
  return std::atoi(argument(count, arguments, "setcred=").c_str());
}

__attribute__((visibility("default"))) int pam_sm_open_session(pam_handle_t* handle, int flags,
                                                               int count, const char** arguments) {
  const std::string log = argument(count, arguments, "log=");
  append(log, "open" + circumstances(handle, flags) + "\n");
  // Time for a second thread to enter, if that were possible.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  append(log, "opened\n");
  return std::atoi(argument(count, arguments, "open=").c_str());
}

__attribute__((visibility("default"))) int pam_sm_close_session(pam_handle_t* /*handle*/,
                                                                int /*flags*/, int count,
                                                                const char** arguments) {
  append(argument(count, arguments, "log="), "close\n");
  return PAM_SUCCESS;
}
}
