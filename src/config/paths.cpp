#include <unistd.h>

#include <cstdlib>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "config/uncached.h"
#include "os/lazy_value.h"
#include "platform/ini_reader.h"

namespace {

std::string configDirectory(const char* rootVariable) {
  return VexaCommonUtils::Vexagetenv(rootVariable).append("/conf");
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

}  // namespace

commutil::Answer<std::string> commutil::findTraceDirectory() {
  std::string directory = VexaCommonUtils::Vexagetenv("_APP_LOG_DIR").append("/log/");
  VexaIniReader settings(VexaCommonUtils_i::getConfFile("setting.cfg"));
  if (settings.initialize(false) != 0) return {std::move(directory), false};
  std::string configured =
      VexaCommonUtils_i::VexareplaceEnvVar(settings.getParamValue("[TraceDir]", "tracedir"));
  if (!configured.empty()) directory = std::move(configured);
  if (directory.back() != '/') directory += '/';
  return {std::move(directory), true};
}

std::string VexaCommonUtils::getCommonConfigPath() { return configDirectory("COMMON_LIB_PATH"); }

std::string VexaCommonUtils::getConfigPath() { return getCommonConfigPath(); }

std::string VexaCommonUtils::getAppConfigPath() { return configDirectory("APP_ROOT"); }

std::string VexaCommonUtils::getAPPShareConfigPath() { return configDirectory("_APP_SHARE_DIR"); }

std::string VexaCommonUtils::getTracePath() {
  return commutil::lazyUntilExit<commutil::findTraceDirectory>();
}

std::string VexaCommonUtils::getDumpAllLocksFile() {
  // Only here does a variable that is set to the empty string count as set.
  const char* const file = std::getenv("VEXA_DUMP_ALL_LOCKS_FILE");
  return file != nullptr ? file : "/tmp/lockInfo.dump";
}

std::string VexaCommonUtils_i::getConfFile(const std::string& fileName) {
  for (const char* const rootVariable : {"_APP_SHARE_DIR", "APP_ROOT"}) {
    std::string candidate = configDirectory(rootVariable).append("/").append(fileName);
    if (exists(candidate)) return candidate;
  }
  return configDirectory("COMMON_LIB_PATH").append("/").append(fileName);
}
