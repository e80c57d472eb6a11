// Conversions between multibyte and wide strings against the C library's. The limit is a new string
// of the result's length.
#include <benchmark/benchmark.h>

#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>

#include "VexaCommonUtils.h"
#include "support/cells.h"
#include "support/text.h"

namespace {

void widenOurs(benchmark::State& state, const std::string& text) {
  for (auto _ : state) benchmark::DoNotOptimize(VexaCommonUtils::STR2WSTR(text));
}

void widenMbstowcs(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    std::wstring wide(text.size(), L'\0');
    wide.resize(std::mbstowcs(wide.data(), text.c_str(), wide.size()));
    benchmark::DoNotOptimize(wide);
  }
}

/// The limit: the first byte of every character becomes the character of a new string.
template <std::size_t kWidth>
void widenCopying(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    std::wstring wide(text.size() / kWidth, L'\0');
    for (std::size_t i = 0; i < wide.size(); ++i) wide[i] = static_cast<wchar_t>(text[i * kWidth]);
    benchmark::DoNotOptimize(wide);
  }
}

void narrowOurs(benchmark::State& state, const std::wstring& wide) {
  for (auto _ : state) benchmark::DoNotOptimize(VexaCommonUtils::WSTR2STR(wide.c_str()));
}

void narrowWcstombs(benchmark::State& state, const std::wstring& wide) {
  for (auto _ : state) {
    std::string text(wide.size() * 4, '\0');
    text.resize(std::wcstombs(text.data(), wide.c_str(), text.size()));
    benchmark::DoNotOptimize(text);
  }
}

void narrowMeasuring(benchmark::State& state, const std::wstring& wide) {
  for (auto _ : state) {
    std::string text(std::wcstombs(nullptr, wide.c_str(), 0), '\0');
    std::wcstombs(text.data(), wide.c_str(), text.size());
    benchmark::DoNotOptimize(text);
  }
}

/// The limit: every character becomes so many bytes of a new string.
template <std::size_t kWidth>
void narrowCopying(benchmark::State& state, const std::wstring& wide) {
  for (auto _ : state) {
    std::string text(wide.size() * kWidth, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(wide[i / kWidth]);
    benchmark::DoNotOptimize(text);
  }
}

template <class Text>
void add(const std::string& name, void (*run)(benchmark::State&, const Text&),
         const std::shared_ptr<const Text>& text) {
  commutil_bench::addSized(name, text->size(), [=](benchmark::State& state) { run(state, *text); });
}

const bool kRegistered = [] {
  ::setenv("LC_ALL", "C.UTF-8", 1);
  std::setlocale(LC_ALL, "");
  struct Row {
    const char* size;
    std::size_t bytes;
  };
  for (const Row& row : {Row{"16B", 16}, Row{"48B", 48}, Row{"1KiB", 1 << 10},
                         Row{"64KiB", 1 << 16}, Row{"1MiB", 1 << 20}, Row{"64MiB", 1 << 26}}) {
    for (const bool ascii : {true, false}) {
      const std::string character = ascii ? "a" : "\xE4\xB8\xAD";
      const std::size_t whole = row.bytes / character.size() * character.size();
      const auto text =
          std::make_shared<const std::string>(commutil_bench::repeated(character, whole));
      const auto wide = std::make_shared<const std::wstring>(VexaCommonUtils::STR2WSTR(*text));
      const std::string size = std::string(row.size) + (ascii ? "-ascii/" : "-cjk/");
      add("to-wide/" + size + "ours", widenOurs, text);
      add("to-multibyte/" + size + "ours", narrowOurs, wide);
      add("to-wide/" + size + "mbstowcs", widenMbstowcs, text);
      add("to-wide/" + size + "limit:copy", ascii ? widenCopying<1> : widenCopying<3>, text);
      add("to-multibyte/" + size + "wcstombs", narrowWcstombs, wide);
      add("to-multibyte/" + size + "wcstombs-twice", narrowMeasuring, wide);
      add("to-multibyte/" + size + "limit:copy", ascii ? narrowCopying<1> : narrowCopying<3>, wide);
    }
  }
  return true;
}();

}  // namespace
