#include "support/namespaces.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "support/fixtures.h"

namespace commutil_test {
namespace {

void becomeRootInUserNamespace() {
  const auto uid = ::geteuid();
  const auto gid = ::getegid();
  ASSERT_EQ(0, ::unshare(CLONE_NEWUSER)) << std::strerror(errno);
  writeFile("/proc/self/setgroups", "deny");
  writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
  writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

/// If `target` is missing, creates a file to mount over, on a copy of its directory in memory, so
/// that nothing is left outside the namespace.
void provideTarget(const std::string& target) {
  if (std::filesystem::exists(target)) return;
  const std::string folder = std::filesystem::path(target).parent_path().string();
  const TempDir copy;
  mountTmpfs(copy.path().string());
  shell("cp -a " + folder + "/. " + copy.path().string());
  bindOver(copy.path().string(), folder);
  ASSERT_EQ(0, ::umount2(copy.path().c_str(), MNT_DETACH)) << std::strerror(errno);
  writeFile(target, "");
}

}  // namespace

void enterNamespaces(int flags) {
  if (::geteuid() != 0) becomeRootInUserNamespace();
  ASSERT_EQ(0, ::unshare(flags)) << "unshare: " << std::strerror(errno)
                                 << "; these tests need root or user namespaces";
  if ((flags & CLONE_NEWNS) != 0) {
    ASSERT_EQ(0, ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr))
        << std::strerror(errno);
  }
}

void bindOver(const std::string& source, const std::string& target) {
  ASSERT_EQ(0, ::mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr))
      << source << " over " << target << ": " << std::strerror(errno);
}

void replaceFile(const std::string& target, std::string_view content, unsigned mode) {
  std::string name = (std::filesystem::temp_directory_path() / "commutil-XXXXXX").string();
  const int fd = ::mkstemp(name.data());
  ASSERT_GE(fd, 0) << std::strerror(errno);
  ::close(fd);
  writeFile(name, content);
  ASSERT_EQ(0, ::chmod(name.c_str(), mode)) << std::strerror(errno);
  provideTarget(target);
  bindOver(name, target);
  ::unlink(name.c_str());
}

void mountTmpfs(const std::string& target, const std::string& options) {
  ASSERT_EQ(0, ::mount("tmpfs", target.c_str(), "tmpfs", 0, options.c_str()))
      << target << ": " << std::strerror(errno);
}

void shell(const std::string& command) { ASSERT_EQ(0, std::system(command.c_str())) << command; }

std::string shellOutput(const std::string& command) {
  std::string text;
  std::FILE* const stream = ::popen(command.c_str(), "re");
  if (stream == nullptr) return text;
  std::array<char, 4096> piece{};
  std::size_t count = 0;
  while ((count = std::fread(piece.data(), 1, piece.size(), stream)) > 0) {
    text.append(piece.data(), count);
  }
  EXPECT_EQ(0, ::pclose(stream)) << command;
  return text;
}

}  // namespace commutil_test
