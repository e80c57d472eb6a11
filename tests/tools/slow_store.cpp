// A settings store that takes its time for every lookup.
#include <chrono>
#include <map>
#include <string>
#include <thread>

extern "C" {

int getSettingParamValue(const std::string& key, std::string& value);
int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params);

int getSettingParamValue(const std::string& /*key*/, std::string& /*value*/) {
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  return 1;
}

int getSettingGroupParams(const std::string& /*group*/,
                          std::map<std::string, std::string>& /*params*/) {
  return 1;
}
}
