#include "support/file_state.h"

#include <sys/stat.h>

#include <filesystem>
#include <sstream>

#include "support/fixtures.h"

namespace commutil_test {

std::string stateOf(const std::string& path) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) return {};
  std::ostringstream text;
  text << path << ": inode " << status.st_ino << " mode " << std::oct << status.st_mode << std::dec
       << " owner " << status.st_uid << ':' << status.st_gid << " time " << status.st_mtim.tv_sec
       << '.' << status.st_mtim.tv_nsec;
  if (S_ISREG(status.st_mode)) text << " content " << readFile(path);
  if (S_ISLNK(status.st_mode)) text << " leads to " << std::filesystem::read_symlink(path);
  return text.str();
}

}  // namespace commutil_test
