// The expanders and the lookup of a variable against Poco's, and against a plain copy with the same
// number of getenv(3) calls.
#include <Poco/Environment.h>
#include <Poco/Path.h>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"

namespace {

constexpr std::size_t kSizes[] = {40, 1U << 10U, 64U << 10U, 1U << 20U, 64U << 20U};

constexpr std::size_t kLargestForPoco = 64U << 10U;  // it copies the rest at each reference

/// A string with a reference every 40 bytes.
std::string textOf(std::size_t size) {
  std::string text;
  while (text.size() + 40 <= size) text += "/opt/platform/share/${BENCH_ROOT}/conf/";
  return text;
}

void expandOurs(benchmark::State& state, const std::string& text) {
  for (auto _ : state) benchmark::DoNotOptimize(VexaCommonUtils_i::VexareplaceEnvVar(text));
}

void expandPoco(benchmark::State& state, const std::string& text) {
  for (auto _ : state) benchmark::DoNotOptimize(Poco::Path::expand(text));
}

void expandLimit(benchmark::State& state, const std::string& text) {
  const std::size_t references = text.size() / 40 + 1;
  for (auto _ : state) {
    for (std::size_t i = 0; i < references; ++i)
      benchmark::DoNotOptimize(std::getenv("BENCH_ROOT"));
    benchmark::DoNotOptimize(std::string(text));
  }
}

void getOurs(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(VexaCommonUtils::Vexagetenv("BENCH_ROOT"));
}

void getPoco(benchmark::State& state) {
  const std::string name = "BENCH_ROOT";
  for (auto _ : state) benchmark::DoNotOptimize(Poco::Environment::get(name, ""));
}

void getLimit(benchmark::State& state) {
  for (auto _ : state) {
    const char* const value = std::getenv("BENCH_ROOT");
    benchmark::DoNotOptimize(std::string(value != nullptr ? value : ""));
  }
}

const bool kRegistered = [] {
  ::setenv("BENCH_ROOT", "/var/lib/platform", 1);
  for (const std::size_t size : kSizes) {
    const std::string name = "expand/" + std::to_string(size) + "/";
    const std::string text = textOf(size);
    commutil_bench::add(name + "ours", expandOurs, text);
    if (size <= kLargestForPoco) commutil_bench::add(name + "poco", expandPoco, text);
    commutil_bench::add(name + "limit:copy_and_getenv", expandLimit, text);
  }
  commutil_bench::add("getenv/17/ours", getOurs);
  commutil_bench::add("getenv/17/poco", getPoco);
  commutil_bench::add("getenv/17/limit:getenv", getLimit);
  return true;
}();

}  // namespace
