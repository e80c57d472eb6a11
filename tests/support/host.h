#pragma once

#include <string>

#include "support/fixtures.h"

namespace commutil_test {

/// The host of the operations: names, users, tools, interfaces, a time zone, and a platform with
/// its files and environment. Lasts until the process, which must be a child, ends.
class Host {
 public:
  Host();
  /// Returns the path of a file or directory of the platform.
  static std::string path(const std::string& name);

 private:
  TempDir m_directory;
};

}  // namespace commutil_test
