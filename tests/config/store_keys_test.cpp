#include "config/store_keys.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/fixtures.h"

namespace {

TEST(StoreKeys, NameTheApplicationsBranchAndTheGlobalOne) {
  for (const std::optional<std::string>& application :
       {std::optional<std::string>("gateway"), std::optional<std::string>("a/b"),
        std::optional<std::string>(""), std::optional<std::string>()}) {
    SCOPED_TRACE(application.value_or("(unset)"));
    const commutil_test::ScopedEnv environment("APP_NAME", application);
    const commutil::StoreKeys keys = commutil::storeKeys("/tree/", "Parameter");
    EXPECT_EQ("/tree/" + application.value_or("") + "/Parameter", keys.application);
    EXPECT_EQ("/tree/global/Parameter", keys.global);
  }
}

}  // namespace
