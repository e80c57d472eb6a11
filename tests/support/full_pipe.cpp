#include "support/full_pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

namespace commutil_test {
namespace {

constexpr int kPage = 4096;

}  // namespace

FullPipe::FullPipe(std::size_t room) : m_filled(kPage - room) {
  EXPECT_EQ(0, ::mkfifo(path().c_str(), 0600));
  m_reader = ::open(path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  m_filler = ::open(path().c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_EQ(kPage, ::fcntl(m_reader, F_SETPIPE_SZ, kPage));
  const std::string page(m_filled, '#');
  EXPECT_EQ(static_cast<ssize_t>(m_filled), ::write(m_filler, page.data(), page.size()));
}

FullPipe::~FullPipe() {
  ::close(m_reader);
  if (m_filler >= 0) ::close(m_filler);
}

void FullPipe::makeRoom() {
  std::array<char, kPage> page{};
  const ssize_t count = ::read(m_reader, page.data(), page.size());
  EXPECT_LT(0, count);
  m_received.append(page.data(), static_cast<std::size_t>(count));
  pollfd refilled{m_reader, POLLIN, 0};
  EXPECT_EQ(1, ::poll(&refilled, 1, -1));
}

std::string FullPipe::drain() {
  ::close(m_filler);
  m_filler = -1;
  ::fcntl(m_reader, F_SETFL, 0);
  std::array<char, kPage> page{};
  for (ssize_t count = 0; (count = ::read(m_reader, page.data(), page.size())) > 0;) {
    m_received.append(page.data(), static_cast<std::size_t>(count));
  }
  return m_received.substr(m_filled);
}

}  // namespace commutil_test
