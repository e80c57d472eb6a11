#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "os/file_io.h"
#include "os/handles.h"
#include "settings_snapshot/snapshot.h"

namespace settings {
namespace {

namespace fs = std::filesystem;

std::string_view remedyFor(int error) {
  if (error == ENOSPC || error == EDQUOT) return "free space on its file system";
  if (error == EACCES || error == EPERM || error == EROFS)
    return "let the writer's user write to the directory";
  if (error == ENOENT || error == ENOTDIR) return "create the directory";
  if (error == EWOULDBLOCK) return "try again when the other writer has finished";
  return "check the file system";
}

[[noreturn]] void fail(const fs::path& file) {
  const int error = errno;
  const std::string cause =
      error == EWOULDBLOCK ? "another writer has it" : std::generic_category().message(error);
  throw SnapshotError(file.string() + ": " + cause + "; the last snapshot stays in use; " +
                      std::string(remedyFor(error)));
}

/// Whether `path` still names the open `file`.
bool isAt(const fs::path& path, int file) {
  struct stat byPath {};
  struct stat byFile {};
  if (::lstat(path.c_str(), &byPath) != 0 || ::fstat(file, &byFile) != 0) return false;
  return byPath.st_dev == byFile.st_dev && byPath.st_ino == byFile.st_ino;
}

/// The new file beside the old one; removed unless it was renamed. A writer keeps it locked from
/// its creation to its renaming, so that nobody renames what another one has not finished.
class NewFile {
 public:
  explicit NewFile(const fs::path& target) : m_path(target.string() + ".new") {
    removeAbandoned();
    m_file.reset(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                        S_IRUSR | S_IWUSR));
    if (!m_file) fail(m_path);
    lock(m_file.get());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    if (!m_renamed) ::unlink(m_path.c_str());
  }

  void write(std::string_view bytes) {
    if (!commutil::writeAll(m_file.get(), bytes)) fail(m_path);
  }

  /// The mode comes last: a change of group can clear bits of it.
  void setOwnership(const SnapshotOwnership& ownership) {
    if (ownership.group && ::fchown(m_file.get(), static_cast<uid_t>(-1), *ownership.group) != 0)
      fail(m_path);
    if (::fchmod(m_file.get(), ownership.mode) != 0) fail(m_path);
  }

  void renameTo(const fs::path& target) {
    if (::fsync(m_file.get()) != 0) fail(m_path);
    if (::rename(m_path.c_str(), target.c_str()) != 0) fail(target);
    m_renamed = true;
  }

 private:
  /// Takes the lock of a file that `m_path` names; another one has it or took the name otherwise.
  void lock(int file) const {
    if (::flock(file, LOCK_EX | LOCK_NB) != 0) fail(m_path);
    if (isAt(m_path, file)) return;
    errno = EWOULDBLOCK;
    fail(m_path);
  }

  /// Removes what a writer that was killed left behind.
  void removeAbandoned() const {
    const commutil::Descriptor old(
        ::open(m_path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (!old && errno == ENOENT) return;
    if (!old) fail(m_path);
    lock(old.get());
    if (::unlink(m_path.c_str()) != 0) fail(m_path);
  }

  fs::path m_path;
  commutil::Descriptor m_file;
  bool m_renamed = false;
};

void syncDirectoryOf(const fs::path& file) {
  const fs::path parent = file.has_parent_path() ? file.parent_path() : fs::path(".");
  const commutil::Descriptor directory(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory || ::fsync(directory.get()) != 0) fail(parent);
}

}  // namespace

void writeSnapshot(const fs::path& file, const Snapshot& snapshot,
                   const SnapshotOwnership& ownership) {
  const std::string bytes = encodeSnapshot(snapshot);
  NewFile replacement(file);
  replacement.write(bytes);
  replacement.setOwnership(ownership);
  replacement.renameTo(file);
  syncDirectoryOf(file);
}

}  // namespace settings
