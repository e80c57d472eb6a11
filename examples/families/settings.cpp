// Reads the deployment's switches: settings file, settings store, TS mode, database type. Without
// an installed settings store, as here, the switches have their defaults.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <iostream>

#include "scratch.h"

int main() {
  const Scratch scratch;
  scratch.name("_APP_SHARE_DIR", "share");
  scratch.name("APP_ROOT", "app");
  scratch.name("COMMON_LIB_PATH", "common");
  scratch.name("COMMON_SHARE_PATH", "omc");
  ::setenv("APP_NAME", "inventory", 1);

  std::cout << std::boolalpha;
  std::cout << "all addresses, no file: " << VexaCommonUtils::isListenAllIp() << '\n';
  scratch.write("app/conf/setting.cfg", "[IP]\nListenAllIp = enable\nListenLoopbackIP = Enable\n");
  std::cout << "all addresses:          " << VexaCommonUtils::isListenAllIp() << '\n'
            << "loopback, wrong case:   " << VexaCommonUtils_i::isListenLoopback() << '\n';

  // Nothing is cached before the file can be read; then the result is.
  std::cout << "TS mode, no file:       " << VexaCommonUtils_i::isTsMode() << '\n';
  scratch.write("omc/etc/conf/TSSetting.cfg", "[TS]\nts_mode = true\n");
  std::cout << "TS mode:                " << VexaCommonUtils_i::isTsMode() << '\n';

  std::cout << "database by default:    " << VexaCommonUtils::getDBType() << '\n';
  const std::string file =
      scratch.write("app/conf/inventory.json", R"({"databases": {"main": [{"type": "oracle"}]}})");
  ::setenv("APP_CONF_FILE", file.c_str(), 1);
  std::cout << "database:               " << VexaCommonUtils::getDBType() << '\n';

  // One lookup: the application's key, then the global one.
  std::string timeout;
  if (!VexaCommonUtils_i::GetSetParamValue("/vexa/common/setting_cfg/inventory/Timeout",
                                           "/vexa/common/setting_cfg/global/Timeout", timeout)) {
    timeout = "30";  // a failing store may have written to it
  }
  std::cout << "time-out:               " << timeout << '\n';
}
