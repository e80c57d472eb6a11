#include "settings_store/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "os/file_io.h"
#include "os/handles.h"

namespace settings {
namespace {

constexpr mode_t kNewMode = 0644;
constexpr mode_t kPermissions = 07777;
constexpr int kMostLinks = 40;  // as the kernel follows

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// Returns the target of the link at `path`; nothing if there is no link.
std::optional<std::string> readLink(const std::string& path) {
  std::array<char, PATH_MAX> text{};
  const ssize_t length = ::readlink(path.c_str(), text.data(), text.size());
  if (length < 0) return std::nullopt;
  return std::string(text.data(), static_cast<std::size_t>(length));
}

/// The replacement next to the file; removed unless it was renamed.
class Replacement {
 public:
  /// Removes what a writer that died left behind: the caller's lock excludes others that are alive.
  explicit Replacement(const std::string& path) : m_path(path + ".new") {
    if (::unlink(m_path.c_str()) != 0 && errno != ENOENT) fail(m_path);
    m_file.reset(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                        S_IRUSR | S_IWUSR));
    if (!m_file) fail(m_path);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (!m_path.empty()) ::unlink(m_path.c_str());
  }

  void write(std::string_view text) {
    if (!commutil::writeAll(m_file.get(), text)) fail(m_path);
  }

  /// Copies owner and mode. The mode comes last: a change of owner can clear bits of it.
  void imitate(const struct stat& old) {
    struct stat own {};
    if (::fstat(m_file.get(), &own) != 0) fail(m_path);
    const bool isOwn = own.st_uid == old.st_uid && own.st_gid == old.st_gid;
    if (!isOwn && ::fchown(m_file.get(), old.st_uid, old.st_gid) != 0) {
      fail("owner " + std::to_string(old.st_uid) + " and group " + std::to_string(old.st_gid) +
           " of the file cannot be kept");
    }
    setMode(old.st_mode & kPermissions);
  }

  void setMode(mode_t mode) {
    if (::fchmod(m_file.get(), mode) != 0) fail(m_path);
  }

  void renameTo(const std::string& path) {
    if (::fsync(m_file.get()) != 0 || !commutil::closeWritten(m_file)) fail(m_path);
    if (::rename(m_path.c_str(), path.c_str()) != 0) fail(path);
    m_path.clear();
  }

 private:
  std::string m_path;
  commutil::Descriptor m_file;
};

void syncDirectory(const std::string& path) {
  const commutil::Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory || ::fsync(directory.get()) != 0) fail(path);
}

}  // namespace

std::string resolveLinks(std::string path) {
  for (int links = 0; links < kMostLinks; ++links) {
    const std::optional<std::string> next = readLink(path);
    if (!next) return path;
    path = next->front() == '/' ? *next : directoryOf(path) + "/" + *next;
  }
  errno = ELOOP;
  fail(path);
}

void replaceFile(const std::string& path, std::string_view text) {
  struct stat old {};
  const bool isNew = ::lstat(path.c_str(), &old) != 0;
  Replacement replacement(path);
  replacement.write(text);
  isNew ? replacement.setMode(kNewMode) : replacement.imitate(old);
  replacement.renameTo(path);
  syncDirectory(directoryOf(path));
}

}  // namespace settings
