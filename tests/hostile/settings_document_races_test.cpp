// A lookup in the reference settings store while another process swaps its document, before and
// after each file call. The value is that of the opened document, and the next lookup reads the
// document that is there then.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hostile/attacked_path.h"
#include "support/fixtures.h"
#include "support/watched_calls.h"

namespace {

using commutil_test::AttackedPath;
using commutil_test::Plant;
using commutil_test::positionOf;
using commutil_test::readableAfter;
using commutil_test::ScopedEnv;
using commutil_test::Stop;
using commutil_test::watchCalls;
using commutil_test::withEachSwap;

using Names = std::vector<std::string>;

const Names kCalls = {"stat store.json", "open store.json", "fstat store.json",
                      "read store.json", "read store.json", "close store.json"};
constexpr std::size_t kBeforeOpen = 2;  // position

/// Returns the value of "key"; "refused" if the lookup fails and leaves the value unchanged.
std::string lookUp() {
  using ValueFunction = int (*)(const std::string&, std::string&);
  static void* const library = ::dlopen(SETTINGREST_LIBRARY, RTLD_LAZY | RTLD_GLOBAL);
  static const auto function =
      reinterpret_cast<ValueFunction>(::dlsym(library, "getSettingParamValue"));
  std::string value = "before";
  if (function("key", value) == 0) return value;
  EXPECT_EQ("before", value);
  return "refused";
}

std::string documentOf(const char* who) { return std::string(R"({"key": ")") + who + "\"}"; }

TEST(SettingsDocumentRaces, FindTheValueOfTheOpenedDocument) {
  withEachSwap(kCalls.size(), [](Plant plant, std::size_t position) {
    AttackedPath document("store.json", documentOf);
    const ScopedEnv url("SETTINGREST_URL", "file://" + document.path());
    const bool found = position <= kBeforeOpen;
    std::string value;
    const Names calls = watchCalls([&] { value = lookUp(); },
                                   [&](const Stop& stop) {
                                     if (positionOf(stop) == position) document.swap(plant);
                                   });
    EXPECT_EQ(found ? readableAfter(plant) : "original", value);
    if (!found) {
      EXPECT_EQ(kCalls, calls);
    }
    EXPECT_EQ(readableAfter(plant), lookUp()) << "the next lookup";
    document.expectUnchanged();
  });
}

}  // namespace
