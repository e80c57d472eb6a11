// The two plain entry points of the settings store, looked up by name at run time. Callable from
// any number of threads at once, and in a child forked at any moment; nothing is thrown across
// them.
#include <exception>
#include <map>
#include <string>

#include "backend.h"

namespace {

using settingrest::Answer;

/// Runs `find` on the current backend. Only standard exceptions are caught: the forced unwinding of
/// a cancelled thread must go on.
template <class Find>
int ask(Find find) {
  Answer answer = Answer::absent;
  try {
    const auto choice = settingrest::currentChoice();
    if (choice && choice->backend) answer = find(*choice->backend);
  } catch (const std::exception&) {
  }
  return static_cast<int>(answer);
}

}  // namespace

extern "C" {

/// Finds the value of `key`. Returns 0; else `value` is untouched: 1 if there is none, -1 if
/// there is no snapshot.
__attribute__((visibility("default"))) int getSettingParamValue(const std::string& key,
                                                                std::string& value) {
  return ask([&](settingrest::Backend& backend) { return backend.findValue(key, value); });
}

/// Makes `params` the parameters directly below `group`. Returns 0; else `params` is untouched: 1
/// if there is none, -1 if there is no snapshot.
__attribute__((visibility("default"))) int getSettingGroupParams(
    const std::string& group, std::map<std::string, std::string>& params) {
  return ask([&](settingrest::Backend& backend) { return backend.findGroup(group, params); });
}
}
