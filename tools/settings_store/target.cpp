#include "settings_store/target.h"

#include <cstdlib>

#include "settingrest/location.h"
#include "settings/catalog.h"
#include "settings_store/file_target.h"
#include "settings_store/snapshot_target.h"

namespace settings {
namespace {

/// Returns the path of the document to create if there is none: in the first configured directory
/// tree.
std::string newDocument() {
  for (const std::string_view name : searchVariables()) {
    const char* const root = std::getenv(std::string(name).c_str());
    if (root != nullptr && *root != '\0') return std::string(root) + "/conf/settings.json";
  }
  throw std::runtime_error(
      "there is no settings document: neither SETTINGREST_URL nor _APP_SHARE_DIR, APP_ROOT or "
      "COMMON_LIB_PATH is set");
}

}  // namespace

std::unique_ptr<Target> openTarget() {
  const std::optional<settingrest::Location> location = settingrest::findLocation();
  if (!location) return std::make_unique<FileTarget>(newDocument());
  if (!location->isUrl) return std::make_unique<FileTarget>(location->text);
  const settingrest::UrlFile file = settingrest::fileOfUrl(location->text);
  if (file.fault == settingrest::UrlFile::Fault::none) {
    if (file.isSnapshot) return std::make_unique<SnapshotTarget>(file.path);
    return std::make_unique<FileTarget>(file.path);
  }
  throw std::runtime_error("SETTINGREST_URL: no settings can be written to " + location->text);
}

}  // namespace settings
