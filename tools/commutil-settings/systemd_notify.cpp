#include "commutil-settings/systemd_notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "os/handles.h"

namespace agent {
namespace {

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::optional<long> numberIn(const char* name) {
  const std::string text = variable(name);
  long number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && number > 0 ? std::optional(number) : std::nullopt;
}

}  // namespace

bool notifyManager(std::string_view message) {
  const std::string path = variable("NOTIFY_SOCKET");
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof address.sun_path) return true;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  if (path.front() == '@') address.sun_path[0] = '\0';  // an abstract name
  const commutil::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) return true;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  // A manager that does not listen is not a reason to stop or to wait.
  const ssize_t sent =
      ::sendto(socket.get(), message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
               reinterpret_cast<const sockaddr*>(&address), length);
  return sent >= 0 || errno != EAGAIN;
}

std::optional<std::chrono::milliseconds> watchdogPeriod() {
  const std::optional<long> limit = numberIn("WATCHDOG_USEC");
  const std::optional<long> process = numberIn("WATCHDOG_PID");
  if (!limit || (process && *process != ::getpid())) return std::nullopt;
  return std::chrono::milliseconds(*limit / 2000);
}

}  // namespace agent
