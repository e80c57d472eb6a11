// The library of the fake settings store; the test program that loads it gives its answers.
#include <map>
#include <string>

extern "C" {

int fakeStoreAnswer(const std::string& key, std::string& value);
void fakeStoreUnloaded();
void definedNowhere();

extern const int fakeStoreIsLoaded;
const int fakeStoreIsLoaded = 1;

#ifdef FAKE_STORE_HAS_PARAM
int getSettingParamValue(const std::string& key, std::string& value) {
#ifdef FAKE_STORE_IS_UNRESOLVED
  if (key == "unresolved") definedNowhere();
#endif
  return fakeStoreAnswer(key, value);
}
#endif

#ifdef FAKE_STORE_HAS_GROUP
int getSettingGroupParams(const std::string& group, std::map<std::string, std::string>& params) {
  std::string value = "untouched";
  const int result = fakeStoreAnswer(group, value);
  if (value != "untouched") params["answer"] = value;
  return result;
}
#endif
}

namespace {

struct Unloading {
  ~Unloading() { fakeStoreUnloaded(); }
};
const Unloading kUnloading;

}  // namespace
