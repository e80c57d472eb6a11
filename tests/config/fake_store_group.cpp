// The fake settings store's lookup of a group.
#include <map>
#include <string>

extern "C" {

int fakeStoreAnswer(const std::string& key, std::string& value);

int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params) {
  std::string value = "untouched";
  const int result = fakeStoreAnswer(group, value);
  if (value != "untouched") params["answer"] = value;
  return result;
}
}
