#include "support/lock_holder.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "VexaLocks.h"

namespace commutil_test {
namespace {

constexpr char kExit = 'x';
constexpr char kLeave = 'l';

void send(int socket, int number) {
  if (::write(socket, &number, sizeof number) != sizeof number) ::_exit(2);
}

int receive(int socket) {
  int number = -1000;
  EXPECT_EQ(ssize_t{sizeof number}, ::read(socket, &number, sizeof number));
  return number;
}

}  // namespace

LockHolder::LockHolder(const std::string& name, const std::string& directory) {
  int sockets[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
    ADD_FAILURE() << "socketpair";
    return;
  }
  std::fflush(nullptr);
  m_child = ::fork();
  m_socket = sockets[m_child == 0 ? 1 : 0];
  ::close(sockets[m_child == 0 ? 0 : 1]);
  if (m_child == 0) serve(name, directory);
  m_entered = receive(m_socket);
}

void LockHolder::serve(const std::string& name, const std::string& directory) {
  VexaProcessLock lock(name, directory);
  lock.SetOutputType(OUTPUT_TYPE_SILENT);
  send(m_socket, lock.EnterProcessMutex());
  char order = kLeave;
  while (::read(m_socket, &order, 1) == 1 && order == kExit) {
    send(m_socket, lock.ExitProcessMutex());
  }
  ::_exit(0);
}

int LockHolder::exitMutex() {
  EXPECT_EQ(1, ::write(m_socket, &kExit, 1));
  return receive(m_socket);
}

void LockHolder::leave() {
  EXPECT_EQ(1, ::write(m_socket, &kLeave, 1));
  reap();
}

void LockHolder::kill() {
  EXPECT_EQ(0, ::kill(m_child, SIGKILL));
  reap();
}

void LockHolder::reap() {
  ::waitpid(m_child, nullptr, 0);
  m_child = -1;
}

LockHolder::~LockHolder() {
  if (m_child > 0) kill();
  if (m_socket >= 0) ::close(m_socket);
}

int enterElsewhere(const std::string& name, const std::string& directory) {
  return LockHolder(name, directory).entered();
}

}  // namespace commutil_test
