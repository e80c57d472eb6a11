#include "support/fixtures.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>

namespace commutil_test {

TempDir::TempDir() {
  std::string name = (std::filesystem::temp_directory_path() / "commutil-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) std::abort();
  m_path = name;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string TempDir::write(std::string_view name, std::string_view content) const {
  const std::filesystem::path path = m_path / name;
  std::filesystem::create_directories(path.parent_path());
  writeFile(path.string(), content);
  return path.string();
}

ScopedEnv::ScopedEnv(std::string name, std::optional<std::string> value) : m_name(std::move(name)) {
  if (const char* before = std::getenv(m_name.c_str())) m_before = before;
  value ? ::setenv(m_name.c_str(), value->c_str(), 1) : ::unsetenv(m_name.c_str());
}

ScopedEnv::~ScopedEnv() {
  m_before ? ::setenv(m_name.c_str(), m_before->c_str(), 1) : ::unsetenv(m_name.c_str());
}

CapturedOutput::CapturedOutput(int fd) : m_fd(fd) {
  std::cout.flush();
  std::fflush(nullptr);
  m_saved = ::fcntl(fd, F_DUPFD_CLOEXEC, 3);
  std::string name = (std::filesystem::temp_directory_path() / "commutil-XXXXXX").string();
  m_file = ::mkostemp(name.data(), O_CLOEXEC);
  if (m_saved < 0 || m_file < 0) std::abort();
  ::unlink(name.c_str());
  ::dup2(m_file, fd);
}

std::string CapturedOutput::stop() {
  std::cout.flush();
  std::fflush(nullptr);
  ::dup2(m_saved, m_fd);
  ::close(m_saved);
  m_saved = -1;
  std::string text(static_cast<std::size_t>(::lseek(m_file, 0, SEEK_END)), '\0');
  if (::pread(m_file, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
    text.clear();
  return text;
}

CapturedOutput::~CapturedOutput() {
  if (m_saved >= 0) stop();
  ::close(m_file);
}

ScopedUmask::ScopedUmask(mode_t mask) : m_before(::umask(mask)) {}

ScopedUmask::~ScopedUmask() { ::umask(m_before); }

void writeFile(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  ASSERT_TRUE(file) << "cannot write " << path;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << "cannot read " << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t modeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(0, ::stat(path.c_str(), &status)) << path;
  return status.st_mode & 07777;
}

std::string outputOf(const std::function<void()>& body) {
  CapturedOutput output(STDOUT_FILENO);
  body();
  return output.stop();
}

std::string allBytes() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes;
}

bool isOpen(int fd) { return ::fcntl(fd, F_GETFD) != -1; }

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

namespace {

/// Runs `body` and ends the process with its verdict, so that no exception makes the child run the
/// tests after it.
[[noreturn]] void endAfter(const std::function<void()>& body) {
  try {
    body();
  } catch (const std::exception& e) {
    ADD_FAILURE() << "the child threw: " << e.what();
  }
  std::cout.flush();
  std::fflush(nullptr);
  ::_exit(::testing::Test::HasFailure() ? 1 : 0);
}

}  // namespace

int runInChild(const std::function<void()>& body) {
  std::cout.flush();
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) endAfter(body);
  int status = -1;
  EXPECT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_EQ(0, status) << "the child failed";
  return status;
}

void dropRoot() {
  if (::geteuid() != 0) return;
  ASSERT_EQ(0, ::setgroups(0, nullptr));
  ASSERT_EQ(0, ::setgid(65534));
  ASSERT_EQ(0, ::setuid(65534));
}

}  // namespace commutil_test
