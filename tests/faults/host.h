#pragma once

#include <string>

#include "support/fixtures.h"

namespace commutil_faults {

/// The host on which the operations are called: names, users, tools, interfaces, a clock zone and a
/// platform with its files and its environment. For the rest of the process's life, which must have
/// a child's.
class Host {
 public:
  Host();
  /// The path of a file or directory of the platform.
  static std::string path(const std::string& name);

 private:
  commutil_test::TempDir m_directory;
};

}  // namespace commutil_faults
