#pragma once

#include <string>
#include <vector>

#include "settings_store/target.h"

namespace settings {

/// The JSON document of the reference store. Replaces it by rename, so that a service reads the old
/// or the new one. "<document>.lock" beside it excludes other writers.
class FileTarget : public Target {
 public:
  /// @param path  of the document, which need not exist; links are followed
  explicit FileTarget(const std::string& path);

  std::string name() const override { return m_path; }
  Values read() override;
  std::vector<Effect> write(const Plan& plan, const WriteOptions& options) override;

 private:
  std::string m_path;  // without links in its last component
};

}  // namespace settings
