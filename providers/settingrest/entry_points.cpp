// The two plain entry points of the settings store, looked up by name at run time. Callable from
// any number of threads at once; nothing is thrown across them.
#include <exception>
#include <map>
#include <string>

#include "backend.h"

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;

/// Runs `find` on the current backend. Only standard exceptions are caught: the forced unwinding of
/// a cancelled thread must go on.
template <class Find>
int ask(Find find) {
  try {
    const std::shared_ptr<settingrest::Backend> backend = settingrest::currentBackend();
    return backend && find(*backend) ? kSuccess : kFailure;
  } catch (const std::exception&) {
    return kFailure;
  }
}

}  // namespace

extern "C" {

/// Finds the value of `key`. Returns 0; non-zero, `value` untouched, when there is none.
__attribute__((visibility("default"))) int getSettingParamValue(const std::string& key,
                                                                std::string& value) {
  return ask([&](settingrest::Backend& backend) { return backend.findValue(key, value); });
}

/// Makes `params` the parameters directly below `group`. Returns 0; non-zero, `params` untouched,
/// when there is none.
__attribute__((visibility("default"))) int getSettingGroupParams(
    const std::string& group, std::map<std::string, std::string>& params) {
  return ask([&](settingrest::Backend& backend) { return backend.findGroup(group, params); });
}
}
