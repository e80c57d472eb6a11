// Finds a service's files: environment variables, a configuration file, the trace directory.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <iostream>

#include "scratch.h"

int main() {
  const Scratch scratch;
  scratch.name("_APP_SHARE_DIR", "share");
  scratch.name("APP_ROOT", "app");
  scratch.name("COMMON_LIB_PATH", "common");
  scratch.name("_APP_LOG_DIR", "logs");
  scratch.write("app/conf/setting.cfg", "[TraceDir]\ntracedir = ${_APP_LOG_DIR}/trace\n");

  // The application has its own setting.cfg; the other file does not exist anywhere.
  for (const char* name : {"setting.cfg", "missing.cfg"}) {
    std::cout << scratch.show(VexaCommonUtils_i::getConfFile(name)) << '\n';
  }
  std::cout << scratch.show(VexaCommonUtils::getTracePath()) << '\n'
            << VexaCommonUtils::getDumpAllLocksFile() << '\n';

  ::setenv("REGION", "north", 1);
  std::cout << VexaCommonUtils::replaceEnvVar("$(REGION)/$(UNSET_HERE)") << '\n'
            << VexaCommonUtils::replEnvVar("%REGION%/100%") << '\n'
            << VexaCommonUtils_i::VexareplaceEnvVar("${REGION}/$REGION") << '\n';

  // Returns "" for unset and for empty variables: use getenv(3) to distinguish them.
  std::cout << '"' << VexaCommonUtils::Vexagetenv("UNSET_HERE") << '"' << '\n';
}
