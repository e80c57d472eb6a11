// The cost of filled caches: the database type against two copies of the same string, a lookup
// against the store's own cost and three calls through a pointer.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"
#include "support/scratch.h"

namespace {

using Lookup = int (*)(const std::string& key, std::string& value);

const std::string kKey = "/vexa/common/setting_cfg/gateway/ListenAllIp";

int callThrough(const std::string& key, std::string& value);

volatile Lookup pointer = callThrough;

__attribute__((noinline)) int callThrough(const std::string& /*key*/, std::string& /*value*/) {
  benchmark::ClobberMemory();
  return 0;
}

__attribute__((noinline)) std::string copyOf(const std::string& text) { return text; }

void typeOurs(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(VexaCommonUtils::getDBType());
}

void typeLimit(benchmark::State& state) {
  const std::string type = VexaCommonUtils::getDBType();
  for (auto _ : state) {
    benchmark::DoNotOptimize(copyOf(type));
    benchmark::DoNotOptimize(copyOf(type));
  }
}

void lookupOurs(benchmark::State& state) {
  std::string value;
  for (auto _ : state)
    benchmark::DoNotOptimize(VexaCommonUtils_i::getSettingParamValue(kKey, value));
}

void lookupLimit(benchmark::State& state) {
  const volatile Lookup provider =
      reinterpret_cast<Lookup>(::dlsym(RTLD_DEFAULT, "getSettingParamValue"));
  std::string value;
  for (auto _ : state) {
    benchmark::DoNotOptimize(provider(kKey, value));
    for (int call = 0; call < 3; ++call) benchmark::DoNotOptimize(pointer(kKey, value));
  }
}

/// Fills both caches; the store is already loaded, so it is found by its name.
void fillCaches(const char* type) {
  ::dlopen(BENCH_STORE, RTLD_LAZY | RTLD_GLOBAL);
  std::string value;
  if (VexaCommonUtils_i::getSettingParamValue(kKey, value) != 0) std::abort();
  const commutil_bench::Scratch scratch;
  const std::string file = scratch / "app.json";
  std::ofstream(file) << R"({"databases": {"main": [{"type": ")" << type << R"("}]}})";
  ::setenv("APP_CONF_FILE", file.c_str(), 1);
  if (VexaCommonUtils::getDBType() != type) std::abort();
}

const bool kRegistered = [] {
  fillCaches("tessarn");
  commutil_bench::add("getDBType/7/ours", typeOurs);
  commutil_bench::add("getDBType/7/calls:two_copies", typeLimit);
  commutil_bench::add("getSettingParamValue/resolved/ours", lookupOurs);
  commutil_bench::add("getSettingParamValue/resolved/calls:provider_and_three_calls", lookupLimit);
  return true;
}();

}  // namespace
