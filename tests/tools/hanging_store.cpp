// A settings store that never returns.
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>

extern "C" {

int getSettingParamValue(const std::string& key, std::string& value);
int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params);

int getSettingParamValue(const std::string& /*key*/, std::string& /*value*/) {
  const volatile bool neverSleeps = std::getenv("STORE_NEVER_SLEEPS") != nullptr;
  while (true)
    if (!neverSleeps) ::pause();
}

int getSettingGroupParams(const std::string& /*group*/,
                          std::map<std::string, std::string>& /*params*/) {
  while (true) ::pause();
}
}
