#pragma once

#include <string>

#include "VexaCommonUtils.h"

// The settings store's keys for the parameters of a tree.

namespace commutil {

/// The branches of a lookup: the application's, then the global one.
struct StoreKeys {
  std::string application;
  std::string global;
};

/// Returns the keys of `parameter` in `tree`, which ends in "/".
inline StoreKeys storeKeys(const std::string& tree, const std::string& parameter) {
  return {tree + VexaCommonUtils::Vexagetenv("APP_NAME") + "/" + parameter,
          tree + "global/" + parameter};
}

}  // namespace commutil
