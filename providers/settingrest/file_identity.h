#pragma once

#include <sys/stat.h>

#include <ctime>

namespace settingrest {

/// What tells one state of a file from another.
struct FileIdentity {
  dev_t device;
  ino_t inode;
  off_t size;
  std::timespec modified;

  explicit FileIdentity(const struct stat& status)
      : device(status.st_dev),
        inode(status.st_ino),
        size(status.st_size),
        modified(status.st_mtim) {}

  bool operator==(const FileIdentity& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

}  // namespace settingrest
