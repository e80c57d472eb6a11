// A settings store other than the reference store: one value for every key.
#include <map>
#include <string>

extern "C" {

int getSettingParamValue(const std::string& key, std::string& value);
int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params);

int getSettingParamValue(const std::string& /*key*/, std::string& value) {
  value = "elsewhere";
  return 0;
}

int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params) {
  params = {{"group", group}, {"other", "elsewhere"}};
  return 0;
}
}
