// A settings store that never returns.
#include <unistd.h>

#include <map>
#include <string>

extern "C" {

int getSettingParamValue(const std::string& key, std::string& value);
int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params);

int getSettingParamValue(const std::string& /*key*/, std::string& /*value*/) {
  while (true) ::pause();
}

int getSettingGroupParams(const std::string& /*group*/,
                          std::map<std::string, std::string>& /*params*/) {
  while (true) ::pause();
}
}
