#include "soak/process.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "os/handles.h"

namespace commutil_soak {
namespace {

constexpr int kEnd = -1;

}  // namespace

Process::Process(std::string name, const std::function<Round()>& make) : m_name(std::move(name)) {
  int sockets[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) throw std::bad_alloc();
  std::fflush(nullptr);
  m_child = ::fork();
  if (m_child == 0) {
    ::close(sockets[0]);
    serve(sockets[1], make);
  }
  ::close(sockets[1]);
  m_socket = sockets[0];
}

void Process::serve(int socket, const std::function<Round()>& make) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  {
    const Round round = make();
    int index = kEnd;
    while (::read(socket, &index, sizeof index) == ssize_t{sizeof index} && index != kEnd) {
      round(index);
      if (::write(socket, "", 1) != 1) break;
    }
  }
  std::exit(0);
}

void Process::start(int index) const {
  // A child that has ended shows when it is awaited.
  ::send(m_socket, &index, sizeof index, MSG_NOSIGNAL);
}

bool Process::await(std::chrono::seconds patience) const {
  pollfd ready{m_socket, POLLIN, 0};
  const auto milliseconds = std::chrono::milliseconds(patience).count();
  char done = 0;
  return ::poll(&ready, 1, static_cast<int>(milliseconds)) == 1 && ::read(m_socket, &done, 1) == 1;
}

std::optional<std::string> Process::end(std::chrono::seconds patience) {
  start(kEnd);
  const commutil::Descriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, m_child, 0)));
  pollfd closed{handle.get(), POLLIN, 0};
  const auto milliseconds = std::chrono::milliseconds(patience).count();
  const bool hangs = ::poll(&closed, 1, static_cast<int>(milliseconds)) != 1;
  if (hangs) ::kill(m_child, SIGKILL);
  int status = -1;
  ::waitpid(m_child, &status, 0);
  m_child = -1;
  if (hangs) return m_name + " hung";
  if (WIFSIGNALED(status)) return m_name + " died of signal " + std::to_string(WTERMSIG(status));
  if (WEXITSTATUS(status) != 0)
    return m_name + " ended with exit code " + std::to_string(WEXITSTATUS(status));
  return std::nullopt;
}

Process::~Process() {
  ::close(m_socket);
  if (m_child < 0) return;
  ::kill(m_child, SIGKILL);
  ::waitpid(m_child, nullptr, 0);
}

}  // namespace commutil_soak
