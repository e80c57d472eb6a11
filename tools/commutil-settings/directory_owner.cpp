#include "commutil-settings/directory_owner.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace agent {

void passToDirectoryOwner(const std::string& file) {
  if (::geteuid() != 0) return;
  struct stat directory {};
  const std::string parent = std::filesystem::path(file).parent_path();
  if (::stat(parent.c_str(), &directory) != 0 || directory.st_uid == 0) return;
  // A file system without owners leaves it as it is.
  static_cast<void>(::lchown(file.c_str(), directory.st_uid, directory.st_gid) == 0);
}

}  // namespace agent
