#pragma once

#include <string>

#include "os/handles.h"
#include "settings_store/target.h"

namespace settings {

/// Excludes other writers during its lifetime. The lock file stays: removing it would let two
/// writers lock two files of one name.
class WriteLock {
 public:
  /// @throws TargetBusy, std::runtime_error
  WriteLock(const std::string& path, const WriteOptions& options);

 private:
  commutil::Descriptor m_file;
};

}  // namespace settings
