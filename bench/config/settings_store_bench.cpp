// A lookup in the reference settings store with 10,000 settings, by one thread and by two: in a
// snapshot, beside a std::unordered_map of the same settings in the process, and beside the
// document. Of two threads the limit is what two threads of an empty loop reach.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "settings_snapshot/snapshot.h"
#include "support/scratch.h"

namespace {

constexpr std::size_t kSettings = 10'000;
constexpr std::size_t kAsked = 1'024;  // keys, in no order

using Values = std::unordered_map<std::string, std::string>;

const commutil_bench::Scratch& scratch() {
  static const commutil_bench::Scratch directory;
  return directory;
}

std::string keyOf(std::size_t i) {
  return "/vexa/common/setting_cfg/service" + std::to_string(i / 10) + "/Parameter" +
         std::to_string(i % 10);
}

const std::vector<std::string>& askedKeys() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < kAsked; ++i) result.push_back(keyOf(i * 7'919 % kSettings));
    return result;
  }();
  return keys;
}

const Values& values() {
  static const Values map = [] {
    Values result;
    for (std::size_t i = 0; i < kSettings; ++i) result[keyOf(i)] = "value " + std::to_string(i);
    return result;
  }();
  return map;
}

void writeStores() {
  settings::Snapshot snapshot{};
  std::ofstream document(scratch() / "settings.json");
  const char* separator = "{\n";
  for (const auto& [key, value] : values()) {
    snapshot.entries.push_back({key, value, 1});
    document << separator << '"' << key << "\": \"" << value << '"';
    separator = ",\n";
  }
  document << "}\n";
  settings::writeSnapshot(scratch() / "settings.snap", snapshot);
}

/// Looks up one key after the other in the store of the environment.
void askStore(benchmark::State& state) {
  const std::vector<std::string>& keys = askedKeys();
  std::string value;
  std::size_t next = static_cast<std::size_t>(state.thread_index()) * kAsked / 2;
  for (auto _ : state) {
    if (VexaCommonUtils_i::getSettingParamValue(keys[next++ % kAsked], value) != 0) std::abort();
    benchmark::DoNotOptimize(value.data());
  }
}

void useStore(const std::string& url) { ::setenv("SETTINGREST_URL", url.c_str(), 1); }

void useSnapshot(const benchmark::State& /*state*/) {
  useStore("snapshot://" + (scratch() / "settings.snap"));
}

void useDocument(const benchmark::State& /*state*/) {
  useStore("file://" + (scratch() / "settings.json"));
}

void askMap(benchmark::State& state) {
  const std::vector<std::string>& keys = askedKeys();
  const Values& map = values();
  std::string value;
  std::size_t next = static_cast<std::size_t>(state.thread_index()) * kAsked / 2;
  for (auto _ : state) {
    const auto found = map.find(keys[next++ % kAsked]);
    if (found == map.end()) std::abort();
    value = found->second;
    benchmark::DoNotOptimize(value.data());
  }
}

void loop(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(i);
  }
}

const bool kRegistered = [] {
  writeStores();
  for (const int threads : {1, 2}) {
    const std::string name = "settings_store_lookup/" + std::to_string(threads) + "_threads";
    const auto add = [&](const std::string& who, void (*body)(benchmark::State&)) {
      return benchmark::RegisterBenchmark((name + "/" + who).c_str(), body)->Threads(threads);
    };
    add("ours", askStore)->Setup(useSnapshot);
    add("document", askStore)->Setup(useDocument);
    add("unordered_map", askMap);
    add("limit:empty_loop", loop);
  }
  return true;
}();

}  // namespace
