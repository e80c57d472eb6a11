#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <string>
#include <string_view>
#include <utility>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/raw_text.h"
#include "files/separators.h"
#include "os/file_io.h"
#include "os/handles.h"

namespace {

using commutil::Descriptor;
using commutil::DirectoryHandle;
using commutil::isSeparator;
using commutil::uninterrupted;

constexpr mode_t kDirectoryMode = 0755;
constexpr std::size_t kLongestDirectory = 4096;
// From this size on every allocation is a separate mapping, so the advice ends with the string.
constexpr std::size_t kHugePagesFrom = std::size_t{32} << 20;

/// Returns the size of the file and moves to its start; -1 if it has none. A directory has none:
/// the offset of its end is not a size.
off_t sizeOf(int fd) {
  struct stat status = {};
  if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) return -1;
  if (S_ISREG(status.st_mode) && status.st_size > 0) return status.st_size;
  const off_t size = S_ISREG(status.st_mode) ? 0 : ::lseek(fd, 0, SEEK_END);
  return ::lseek(fd, 0, SEEK_SET) < 0 ? -1 : size;
}

/// Requests large pages for a large string: page faults of small ones cost more than the reading.
void adviseHugePages(char* data, std::size_t size) {
  if (size < kHugePagesFrom) return;
  const std::size_t pageSize = static_cast<std::size_t>(::getpagesize());
  const std::size_t skip = (0 - reinterpret_cast<std::uintptr_t>(data)) % pageSize;
  const commutil::ErrnoKeeper keep;
  ::madvise(data + skip, (size - skip) / pageSize * pageSize, MADV_HUGEPAGE);
}

/// Reads until `size` bytes, the end or an error. Returns the number of bytes read.
std::size_t readUpTo(int fd, char* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = uninterrupted([&] { return ::read(fd, data + done, size - done); });
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

/// One walk of `getFilesByDir`. Each level reports through `errno`, which the levels below it set
/// too: an error shows at the end only if no directory was opened after it.
class TreeWalk {
 public:
  TreeWalk(std::string directory, std::string_view pattern, std::list<std::string>& files)
      : m_path(std::move(directory)), m_pattern(pattern), m_files(files) {}

  /// Walks the directory at `m_path`, which is longer afterwards.
  int walk() {
    DirectoryHandle directory(::opendir(m_path.c_str()));
    if (!directory) return -1;
    errno = 0;
    m_path += '/';
    const std::size_t length = m_path.size();
    while (const dirent* const entry = ::readdir(directory.get())) {
      visit(entry->d_name, entry->d_type);
      m_path.resize(length);
    }
    ::closedir(directory.release());  // its error shows too
    return errno == 0 ? 0 : -1;
  }

 private:
  void visit(std::string_view name, unsigned char type) {
    if (name == "." || name == "..") return;
    if (type == DT_DIR) {
      m_path += name;
      // After a NUL byte the path would open this same directory again, forever.
      if (m_path.find('\0') == std::string::npos) walk();
    } else if (name.find(m_pattern) != std::string_view::npos) {
      m_path += name;
      m_files.push_back(m_path);
    }
  }

  std::string m_path;
  std::string_view m_pattern;
  std::list<std::string>& m_files;
};

}  // namespace

void VexaCommonUtils::mkdir_all(const std::string& path) {
  std::string text = path;
  // Beyond its limit the system refuses every component, or reads the same path up to a NUL byte.
  const std::size_t end = std::min<std::size_t>(text.size(), PATH_MAX);
  for (std::size_t i = 1; i < end; ++i) {
    if (!isSeparator(text[i])) continue;
    const char separator = std::exchange(text[i], '\0');
    ::mkdir(text.c_str(), kDirectoryMode);
    text[i] = separator;
  }
  if (text.empty()) return;
  if (text.size() > end || !isSeparator(text.back())) ::mkdir(text.c_str(), kDirectoryMode);
}

int VexaCommonUtils::readFile(const std::string& path, std::string& content) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return 1;
  const off_t size = sizeOf(file.get());
  if (size < 0 || size > INT_MAX) return 1;
  std::string text =
      commutil::writtenText(static_cast<std::size_t>(size), [&file](char* data, std::size_t room) {
        adviseHugePages(data, room);
        return readUpTo(file.get(), data, room);
      });
  if (text.size() != static_cast<std::size_t>(size)) return 1;
  content = std::move(text);
  return 0;
}

int VexaCommonUtils::getFilesByDir(
    std::string directory,
    std::string pattern,  // NOLINT(performance-unnecessary-value-param): the signature is fixed
    std::list<std::string>& files) {
  return TreeWalk(std::move(directory), pattern, files).walk();
}

std::string VexaCommonUtils_i::getParentDirectory(const std::string& path, std::string& fileName) {
  fileName.clear();
  const std::size_t first = std::min(path.find_first_not_of(' '), path.size());
  std::string directory = path.substr(first);
  static_cast<void>(directory.at(0));  // throws std::out_of_range if nothing is left
  directory.resize(directory.find_last_not_of(' ') + 1);
  const std::size_t slash = directory.rfind('/');
  if (slash == directory.size() - 1) return {};
  fileName = directory.substr(slash + 1);  // all of it if there is no slash
  directory = slash == std::string::npos ? "." : directory.substr(0, slash + 1);
  if (directory.size() > kLongestDirectory) return {};
  std::array<char, kLongestDirectory + 1> resolved = {};
  return ::realpath(directory.c_str(), resolved.data()) != nullptr ? resolved.data() : "";
}
