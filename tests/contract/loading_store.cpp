// The settings store that the library loads while it is itself loaded and unloaded.
#include <map>
#include <string>

extern "C" {

int getSettingParamValue(const std::string& /*key*/, std::string& value) {
  value = "disable";
  return 0;
}

int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params) {
  params[group] = "stored";
  return 0;
}
}
