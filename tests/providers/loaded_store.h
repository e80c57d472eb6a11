#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "support/fixtures.h"

// The reference settings store, loaded as the library loads it.

namespace commutil_test {

using Params = std::map<std::string, std::string>;
using ValueFunction = int (*)(const std::string&, std::string&);
using GroupFunction = int (*)(const std::string&, Params&);

inline void* storeLibrary() {
  static void* const handle = ::dlopen(SETTINGREST_LIBRARY, RTLD_LAZY | RTLD_GLOBAL);
  return handle;
}

inline int paramValue(const std::string& key, std::string& value) {
  static const auto function =
      reinterpret_cast<ValueFunction>(::dlsym(storeLibrary(), "getSettingParamValue"));
  return function(key, value);
}

inline int groupParams(const std::string& group, Params& params) {
  static const auto function =
      reinterpret_cast<GroupFunction>(::dlsym(storeLibrary(), "getSettingGroupParams"));
  return function(group, params);
}

inline constexpr const char* kJunk = "junk";

/// The value of `key`, "(none)" where the lookup fails and leaves the value alone.
inline std::string valueOf(const std::string& key) {
  std::string value = kJunk;
  const int result = paramValue(key, value);
  if (result == 0) return value;
  EXPECT_EQ(kJunk, value) << key;
  return "(none)";
}

/// The parameters of `group`; {"(none)"} where the lookup fails and leaves the map alone.
inline Params paramsOf(const std::string& group) {
  const Params junk{{kJunk, kJunk}};
  Params params = junk;
  if (groupParams(group, params) == 0) return params;
  EXPECT_EQ(junk, params) << group;
  return {{"(none)", ""}};
}

inline const Params kNoGroup{{"(none)", ""}};

struct Group {
  std::string name;
  Params params;
};

/// What lookups find in any store of the settings /app/one "1", /app/two "2", /app/three "true",
/// /app/sub/deep "3", /app2/x "y", /upper/lower/z "w" and /top "t".
inline const Group kGroups[] = {
    {"/app", {{"one", "1"}, {"two", "2"}, {"three", "true"}}},
    {"/app/", {{"one", "1"}, {"two", "2"}, {"three", "true"}}},
    {"app", {{"one", "1"}, {"two", "2"}, {"three", "true"}}},
    {"app/", {{"one", "1"}, {"two", "2"}, {"three", "true"}}},
    {"/app/sub", {{"deep", "3"}}},
    {"/app2", {{"x", "y"}}},
    {"/upper", kNoGroup},
    {"/upper/lower", {{"z", "w"}}},
    {"/ap", kNoGroup},
    {"/app/one", kNoGroup},
    {"/nowhere", kNoGroup},
    {"/zz", kNoGroup},
    {"", {{"top", "t"}}},
    {"/", {{"top", "t"}}},
};

inline void expectGroups() {
  for (const Group& group : kGroups) {
    SCOPED_TRACE(group.name);
    EXPECT_EQ(group.params, paramsOf(group.name));
  }
}

/// Replaces a file as its writers are told to.
inline void replaceByRename(const std::string& path, const std::string& content) {
  writeFile(path + ".test", content);
  std::filesystem::rename(path + ".test", path);
}

}  // namespace commutil_test
