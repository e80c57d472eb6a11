// The fake settings store's lookup of one value, which calls an undefined function for the key
// "unresolved".
#include <string>

extern "C" {

int fakeStoreAnswer(const std::string& key, std::string& value);
void definedNowhere();

int getSettingParamValue(const std::string& key, std::string& value) {
  if (key == "unresolved") definedNowhere();
  return fakeStoreAnswer(key, value);
}
}
