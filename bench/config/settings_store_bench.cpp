// A lookup in the reference settings store with 10,000 settings, by one thread and by two: in a
// snapshot, beside a std::unordered_map of the same settings in the process, beside GSettings with
// a database of dconf, and beside the document. What two threads gain is compared with what they
// gain in an empty loop, which needs wall time.
#include <benchmark/benchmark.h>
#include <gio/gio.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "settings_snapshot/snapshot.h"
#include "support/scratch.h"

namespace {

constexpr std::size_t kSettings = 10'000;
constexpr std::size_t kGroupSize = 10;
constexpr std::size_t kAsked = 1'024;  // keys, in no order

using Values = std::unordered_map<std::string, std::string>;

const commutil_bench::Scratch& scratch() {
  static const commutil_bench::Scratch directory;
  return directory;
}

std::string keyOf(std::size_t i) {
  return "/vexa/common/setting_cfg/service" + std::to_string(i / kGroupSize) + "/Parameter" +
         std::to_string(i % kGroupSize);
}

std::string valueOf(std::size_t i) { return "value " + std::to_string(i); }

std::size_t askedNumber(std::size_t i) { return i * 7'919 % kSettings; }

const std::vector<std::string>& askedKeys() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < kAsked; ++i) result.push_back(keyOf(askedNumber(i)));
    return result;
  }();
  return keys;
}

const Values& values() {
  static const Values map = [] {
    Values result;
    for (std::size_t i = 0; i < kSettings; ++i) result[keyOf(i)] = valueOf(i);
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

void run(const std::string& command) {
  if (std::system(command.c_str()) == 0) return;
  std::fprintf(stderr, "failed: %s\n", command.c_str());
  std::exit(1);
}

/// The same settings in a database of dconf that no service serves, and their schema.
void writeDatabase() {
  std::filesystem::create_directories(scratch() / "schemas");
  std::filesystem::create_directories(scratch() / "dconf.d");
  std::ofstream schema(scratch() / "schemas/commutil.gschema.xml");
  schema << "<schemalist><schema id='commutil.bench'>\n";
  for (std::size_t i = 0; i < kGroupSize; ++i)
    schema << "<key name='parameter" << i << "' type='s'><default>''</default></key>\n";
  schema << "</schema></schemalist>\n";
  schema.close();
  std::ofstream settings(scratch() / "dconf.d/settings");
  for (std::size_t i = 0; i < kSettings; ++i) {
    if (i % kGroupSize == 0) settings << "[vexa/service" << i / kGroupSize << "]\n";
    settings << "parameter" << i % kGroupSize << "='" << valueOf(i) << "'\n";
  }
  settings.close();
  std::ofstream(scratch() / "profile") << "file-db:" << scratch() / "settings.db" << '\n';
  run("glib-compile-schemas '" + (scratch() / "schemas") + "'");
  run("dconf compile '" + (scratch() / "settings.db") + "' '" + (scratch() / "dconf.d") + "'");
  ::setenv("GSETTINGS_SCHEMA_DIR", (scratch() / "schemas").c_str(), 1);
  ::setenv("GSETTINGS_BACKEND", "dconf", 1);
  ::setenv("DCONF_PROFILE", (scratch() / "profile").c_str(), 1);
}

struct GFree {
  void operator()(char* text) const { g_free(text); }
};
using GText = std::unique_ptr<char, GFree>;

/// The settings of every group, as a process holds them that asks for them again and again.
const std::vector<GSettings*>& groups() {
  static const std::vector<GSettings*> all = [] {
    writeDatabase();
    std::vector<GSettings*> result;
    for (std::size_t i = 0; i < kSettings / kGroupSize; ++i) {
      const std::string path = "/vexa/service" + std::to_string(i) + "/";
      result.push_back(g_settings_new_with_path("commutil.bench", path.c_str()));
    }
    return result;
  }();
  return all;
}

void askGSettings(benchmark::State& state) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < kGroupSize; ++i) names.push_back("parameter" + std::to_string(i));
  const std::vector<GSettings*>& all = groups();
  std::string value;
  std::size_t next = 0;
  for (auto _ : state) {
    const std::size_t number = askedNumber(next++ % kAsked);
    const char* const name = names[number % kGroupSize].c_str();
    value = GText(g_settings_get_string(all[number / kGroupSize], name)).get();
    benchmark::DoNotOptimize(value.data());
  }
  if (value != valueOf(askedNumber((next - 1) % kAsked))) state.SkipWithError("another value");
}

void loop(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(i);
  }
}

const bool kRegistered = [] {
  writeStores();
  for (const int threads : {1, 2}) {
    const std::string suffix = "/" + std::to_string(threads) + "_threads";
    const std::string lookup = "settings_store_lookup" + suffix;
    const std::string backends = "settings_store_backends" + suffix;
    const std::string scaling = "settings_store_scaling" + suffix;
    const auto add = [&](const std::string& name, void (*body)(benchmark::State&)) {
      return benchmark::RegisterBenchmark(name.c_str(), body)->Threads(threads);
    };
    add(lookup + "/ours", askStore)->Setup(useSnapshot);
    add(lookup + "/unordered_map", askMap);
    if (threads == 1) add(lookup + "/gsettings", askGSettings);
    add(backends + "/ours", askStore)->Setup(useSnapshot);
    add(backends + "/document", askStore)->Setup(useDocument);
    add(scaling + "/ours", askStore)->Setup(useSnapshot)->UseRealTime();
    add(scaling + "/limit:empty_loop", loop)->UseRealTime();
  }
  return true;
}();

}  // namespace
