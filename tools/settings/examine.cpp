// Examines a file. Opens regular files only, because opening another kind could block.
#include <fcntl.h>
#include <linux/openat2.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <map>
#include <vector>

#include "os/handles.h"
#include "settings/facts.h"

namespace settings {
namespace {

using commutil::Descriptor;

/// Opens `path` as a process whose root directory is `root` would.
int openBelow(int root, const std::string& path, int flags) {
  if (root < 0) return ::open(path.c_str(), flags | O_CLOEXEC);
  open_how how{};
  how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_IN_ROOT;
  return static_cast<int>(::syscall(SYS_openat2, root, path.c_str(), &how, sizeof how));
}

std::string linkTarget(const std::string& link) {
  std::array<char, PATH_MAX> target{};
  const ssize_t size = ::readlink(link.c_str(), target.data(), target.size());
  return size < 0 ? std::string() : std::string(target.data(), static_cast<std::size_t>(size));
}

std::string ofDescriptor(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

FileType typeOf(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return FileType::regular;
  if (S_ISDIR(status.st_mode)) return FileType::directory;
  if (S_ISFIFO(status.st_mode)) return FileType::fifo;
  if (S_ISSOCK(status.st_mode)) return FileType::socket;
  const bool null = S_ISCHR(status.st_mode) && status.st_rdev == ::makedev(1, 3);
  return null ? FileType::nullDevice : FileType::device;
}

std::string lookUpUser(uid_t uid) {
  std::vector<char> buffer(std::size_t{16} * 1024);
  passwd entry{};
  passwd* found = nullptr;
  ::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr ? found->pw_name : std::to_string(uid);
}

/// Looks up each user once, because many files belong to few users. Not thread-safe.
const std::string& userName(uid_t uid) {
  static std::map<uid_t, std::string> known;
  const auto at = known.find(uid);
  return at != known.end() ? at->second : known.emplace(uid, lookUpUser(uid)).first->second;
}

/// Returns whether this process may access the file of `fd`, which was opened with O_PATH.
bool isAllowed(int fd, int kind) {
  return ::faccessat(AT_FDCWD, ofDescriptor(fd).c_str(), kind, AT_EACCESS) == 0;
}

/// Reads all of a file, which may grow or shrink meanwhile. Returns 0 or an error number.
int readText(int fd, std::string& text) {
  std::array<char, std::size_t{64} * 1024> piece;  // NOLINT(*-member-init): filled by read
  while (text.size() <= kLargestText) {
    const ssize_t count = ::read(fd, piece.data(), piece.size());
    if (count == 0) return 0;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return EFBIG;
}

/// Opens the file of the O_PATH descriptor `fd` for reading.
void readRegular(int fd, FileFacts& facts) {
  const Descriptor file(
      ::open(ofDescriptor(fd).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  facts.readable = static_cast<bool>(file);
  if (!file) {
    facts.error = errno;
    return;
  }
  if (facts.isLarge()) return;
  facts.error = readText(file.get(), facts.text);
  if (facts.error != 0) facts.readable = false;
}

}  // namespace

FileFacts examine(const std::string& path, int root) {
  FileFacts facts;
  facts.path = path;
  const Descriptor handle(openBelow(root, path, O_PATH));
  struct stat status {};
  if (!handle || ::fstat(handle.get(), &status) != 0) {
    facts.error = errno;
    const Descriptor link(openBelow(root, path, O_PATH | O_NOFOLLOW));
    facts.dangling = static_cast<bool>(link) && facts.error == ENOENT;
    return facts;
  }
  facts.type = typeOf(status);
  facts.mode = status.st_mode & 07777U;
  facts.owner = userName(status.st_uid);
  facts.size = static_cast<std::uintmax_t>(status.st_size);
  facts.modified = status.st_mtime;
  facts.realPath = linkTarget(ofDescriptor(handle.get()));
  facts.writable = isAllowed(handle.get(), W_OK);
  facts.executable = isAllowed(handle.get(), X_OK);
  if (facts.type == FileType::regular) readRegular(handle.get(), facts);
  if (facts.type != FileType::regular) facts.readable = isAllowed(handle.get(), R_OK);
  return facts;
}

}  // namespace settings
