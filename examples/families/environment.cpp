// Where a service finds its files: the variables of its deployment, a configuration file, the trace
// directory.
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

  // The application has a file of its own; of the other one not even the common tree has a copy.
  for (const char* name : {"setting.cfg", "missing.cfg"}) {
    std::cout << scratch.show(VexaCommonUtils_i::getConfFile(name)) << '\n';
  }
  std::cout << scratch.show(VexaCommonUtils::getTracePath()) << '\n'
            << VexaCommonUtils::getDumpAllLocksFile() << '\n';

  ::setenv("REGION", "north", 1);
  std::cout << VexaCommonUtils::replaceEnvVar("$(REGION)/$(UNSET_HERE)") << '\n'
            << VexaCommonUtils::replEnvVar("%REGION%/100%") << '\n'
            << VexaCommonUtils_i::VexareplaceEnvVar("${REGION}/$REGION") << '\n';

  // Unset and empty read alike: ask getenv(3) where that matters.
  std::cout << '"' << VexaCommonUtils::Vexagetenv("UNSET_HERE") << '"' << '\n';
}
