// A settings store with a value for every key.
#include <map>
#include <string>

extern "C" {

int getSettingParamValue(const std::string& /*key*/, std::string& value) {
  value = "enable";
  return 0;
}

int getSettingGroupParams(const std::string& /*group*/,
                          std::map<std::string, std::string>& params) {
  params["parameter"] = "enable";
  return 0;
}
}
