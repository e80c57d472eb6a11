// The fake settings store's lookup of one value.
#include <string>

extern "C" {

int fakeStoreAnswer(const std::string& key, std::string& value);

int getSettingParamValue(const std::string& key, std::string& value) {
  return fakeStoreAnswer(key, value);
}
}
