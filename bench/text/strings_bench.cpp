// The string utilities against Boost.StringAlgorithms, Poco and Abseil. A limit is the cost of the
// result only: a copy of the string, a list of the same tokens, a C library search.
#include <Poco/String.h>
#include <Poco/StringTokenizer.h>
#include <absl/strings/ascii.h>
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#include <absl/strings/strip.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <functional>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "support/cells.h"
#include "support/memory.h"
#include "support/text.h"

namespace {

using commutil_bench::repeated;

const std::vector<std::size_t> kSizes = {20, 1024, 64 << 10, 1 << 20};
const std::vector<std::size_t> kLargeSizes = {1024, 64 << 10, 1 << 20, 64 << 20};

std::string sizeName(std::size_t size) {
  if (size >= (1 << 20)) return std::to_string(size >> 20) + "MiB";
  return size >= 1024 ? std::to_string(size >> 10) + "KiB" : std::to_string(size) + "B";
}

// Creates the string when its benchmark runs: all large ones together would not fit into memory.
using MakeText = std::function<std::string()>;

MakeText repeating(const std::string& piece, std::size_t size) {
  return [piece, size] { return repeated(piece, size); };
}

// Registers OPERATION/SIZE/WHO: `call` returns its result for the string.
template <class Call>
void measure(const std::string& operation, std::size_t size, const std::string& who,
             const MakeText& makeText, Call call) {
  commutil_bench::addSized(
      operation + "/" + sizeName(size) + "/" + who, size,
      [makeText, call](benchmark::State& state) mutable {
        std::string text = makeText();
        for (auto _ : state) benchmark::DoNotOptimize(call(text));
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
      });
}

void measureTrims() {
  for (const std::size_t size : kSizes) {
    const MakeText text = [size] { return "  " + repeated("some-words-", size - 4) + "  "; };
    const auto copy = [](std::string& s) { return std::string(s.data() + 2, s.size() - 4); };
    measure("trim", size, "ours", text,
            [](std::string& s) { return VexaCommonUtils::Vexatrim(s); });
    measure("trim", size, "boost", text, [](std::string& s) {
      return boost::algorithm::trim_copy_if(s, [](char c) { return c == ' '; });
    });
    measure("trim", size, "poco", text, [](std::string& s) { return Poco::trim(s); });
    measure("trim", size, "limit:copy", text, copy);
    measure("trimAll", size, "ours", text,
            [](std::string& s) { return VexaCommonUtils_i::VexatrimAll(s, " \t\r\n"); });
    measure("trimAll", size, "boost", text, [](std::string& s) {
      return boost::algorithm::trim_copy_if(s, boost::algorithm::is_any_of(" \t\r\n"));
    });
    measure("trimAll", size, "poco", text, [](std::string& s) { return Poco::trim(s); });
    measure("trimAll", size, "abseil", text,
            [](std::string& s) { return std::string(absl::StripAsciiWhitespace(s)); });
    measure("trimAll", size, "limit:copy", text, copy);
  }
}

void measureSplits() {
  for (const std::size_t size : kLargeSizes) {
    const MakeText text = repeating("some-token-of-it,", size);
    measure("split", size, "ours", text, [](std::string& s) {
      std::list<std::string> out;
      VexaCommonUtils::split(s, ",", out);
      return out;
    });
    measure("split", size, "boost", text, [](std::string& s) {
      std::list<std::string> out;
      boost::algorithm::split(
          out, s, [](char c) { return c == ','; }, boost::algorithm::token_compress_on);
      return out;
    });
    measure("split", size, "abseil", text, [](std::string& s) {
      return std::list<std::string>(absl::StrSplit(s, ',', absl::SkipEmpty()));
    });
    measure("split", size, "limit:list", text, [](std::string& s) {
      std::list<std::string> out;
      for (std::size_t at = 0; at < s.size(); at += 17) {
        out.emplace_back(s.data() + at, std::min<std::size_t>(16, s.size() - at));
      }
      return out;
    });
  }
}

constexpr std::size_t kSplitAllSize = 1024;

// Calls `take` with each token of a string of six-letter words separated by spaces.
template <class Take>
void takeTokens(const std::string& s, const Take& take) {
  for (std::size_t at = 0; at < s.size(); at += 7) {
    take(s.data() + at, std::min<std::size_t>(6, s.size() - at));
  }
}

void measureSplitAllToVector() {
  const MakeText text = repeating("token1 ", kSplitAllSize);
  measure("splitAll-vector", kSplitAllSize, "ours", text, [](std::string& s) {
    std::vector<std::string> out;
    VexaCommonUtils::splitAll(s, " ", out);
    return out;
  });
  measure("splitAll-vector", kSplitAllSize, "boost", text, [](std::string& s) {
    std::vector<std::string> out;
    boost::algorithm::split(out, s, boost::algorithm::is_any_of(" "),
                            boost::algorithm::token_compress_on);
    return out;
  });
  measure("splitAll-vector", kSplitAllSize, "poco", text, [](std::string& s) {
    return Poco::StringTokenizer(s, " ", Poco::StringTokenizer::TOK_IGNORE_EMPTY).count();
  });
  measure("splitAll-vector", kSplitAllSize, "abseil", text, [](std::string& s) {
    return std::vector<std::string>(absl::StrSplit(s, absl::ByAnyChar(" "), absl::SkipEmpty()));
  });
  measure("splitAll-vector", kSplitAllSize, "limit:vector", text, [](std::string& s) {
    std::vector<std::string> out;
    out.reserve(s.size() / 7 + 1);
    takeTokens(s, [&out](const char* at, std::size_t length) { out.emplace_back(at, length); });
    return out;
  });
}

void measureSplitAllToSet() {
  const MakeText distinct = [] {
    std::string numbered;
    for (int i = 100; i < 246; ++i) numbered += "tok" + std::to_string(i) + " ";
    return numbered;
  };
  measure("splitAll-set", kSplitAllSize, "ours", distinct, [](std::string& s) {
    std::set<std::string> out;
    VexaCommonUtils_i::splitAll(s, " ", out);
    return out;
  });
  measure("splitAll-set", kSplitAllSize, "boost", distinct, [](std::string& s) {
    std::vector<std::string> all;
    boost::algorithm::split(all, s, boost::algorithm::is_any_of(" "),
                            boost::algorithm::token_compress_on);
    return std::set<std::string>(all.begin(), all.end());
  });
  measure("splitAll-set", kSplitAllSize, "abseil", distinct, [](std::string& s) {
    return std::set<std::string>(absl::StrSplit(s, absl::ByAnyChar(" "), absl::SkipEmpty()));
  });
  measure("splitAll-set", kSplitAllSize, "limit:set", distinct, [](std::string& s) {
    std::set<std::string> out;
    takeTokens(
        s, [&out](const char* at, std::size_t length) { out.emplace_hint(out.end(), at, length); });
    return out;
  });
}

void measureReplacing(const std::string& operation, const std::string& from, const std::string& to,
                      const std::string& piece) {
  for (const std::size_t size : {std::size_t{20}, std::size_t{1024}, std::size_t{64} << 10,
                                 std::size_t{1} << 20, std::size_t{64} << 20}) {
    const MakeText text = repeating(piece, size);
    const auto in = [from, to](auto replace) {
      return [from, to, replace](std::string& s) mutable {
        std::string changed = s;
        replace(changed, from, to);
        return changed;
      };
    };
    measure(operation, size, "ours", text, in([](std::string& s, auto& old, auto& fresh) {
              VexaCommonUtils::stringReplace(old, fresh, s);
            }));
    measure(operation, size, "boost", text, in([](std::string& s, auto& old, auto& fresh) {
              boost::algorithm::replace_all(s, old, fresh);
            }));
    measure(operation, size, "poco", text, in([](std::string& s, auto& old, auto& fresh) {
              Poco::replaceInPlace(s, old, fresh);
            }));
    measure(operation, size, "abseil", text, in([](std::string& s, auto& old, auto& fresh) {
              absl::StrReplaceAll({{old, fresh}}, &s);
            }));
    measure(operation, size, "limit:copy", text, [](std::string& s) { return s; });
  }
}

void measureReplaceChar() {
  for (const std::size_t size : {std::size_t{20}, std::size_t{1024}, std::size_t{64} << 10,
                                 std::size_t{1} << 20, std::size_t{64} << 20}) {
    const MakeText text = repeating("fifteen letters%", size);
    const std::string from = "%";
    const std::string to = "\\%";
    measure("replaceChar", size, "ours", text,
            [to](std::string& s) { return ReplaceChar(s, '%', to); });
    measure("replaceChar", size, "boost", text,
            [from, to](std::string& s) { return boost::algorithm::replace_all_copy(s, from, to); });
    measure("replaceChar", size, "abseil", text, [from, to](std::string& s) {
      return absl::StrReplaceAll(s, {{from, to}});
    });
    measure("replaceChar", size, "limit:copy", text, [](std::string& s) { return s; });
  }
}

void measureCase() {
  for (const std::size_t size : kSizes) {
    const MakeText text = repeating("some Words of mixed Case, ", size);
    measure("toUpper", size, "ours", text, [](std::string& s) { return ToUpper(s); });
    measure("toUpper", size, "boost", text, [](std::string& s) {
      return boost::algorithm::to_upper_copy(s, std::locale::classic());
    });
    measure("toUpper", size, "poco", text, [](std::string& s) { return Poco::toUpper(s); });
    measure("toUpper", size, "abseil", text,
            [](std::string& s) { return absl::AsciiStrToUpper(s); });
    measure("toUpper", size, "limit:copy", text, [](std::string& s) { return s; });
  }
}

void measureChecks() {
  for (const std::size_t size : kSizes) {
    const MakeText digits = repeating("0123456789", size);
    measure("isDigits", size, "ours", digits,
            [](std::string& s) { return VexaCommonUtils_i::Isdigitstr(s); });
    measure("isDigits", size, "boost", digits, [](std::string& s) {
      return boost::algorithm::all(s, [](char c) { return c >= '0' && c <= '9'; });
    });
    measure("isDigits", size, "abseil", digits, [](std::string& s) {
      return std::all_of(s.begin(), s.end(),
                         [](char c) { return absl::ascii_isdigit(static_cast<unsigned char>(c)); });
    });
    measure("isDigits", size, "limit:memchr", digits,
            [](std::string& s) { return s.find('#') == std::string::npos; });
    const auto beyond = [](char c) { return (c >= 'G' && c <= 'Z') || (c >= 'g' && c <= 'z'); };
    measure("stringIsRight", size, "ours", digits, [](std::string& s) { return StringIsRight(s); });
    measure("stringIsRight", size, "std", digits,
            [beyond](std::string& s) { return std::none_of(s.begin(), s.end(), beyond); });
    measure("stringIsRight", size, "limit:memchr", digits,
            [](std::string& s) { return s.find('#') == std::string::npos; });
  }
}

const bool kRegistered = [] {
  commutil_bench::keepMemory();
  measureTrims();
  measureSplits();
  measureSplitAllToVector();
  measureSplitAllToSet();
  measureReplacing("replace-longer", "#", "<hash>", "fifteen letters#");
  measureReplacing("replace-word-longer", "word", "<a word>", "twelve bytesword");
  measureReplacing("replace-same", "word", "WORD", "twelve bytesword");
  measureReplacing("replace-shorter", "word", "w", "twelve bytesword");
  measureReplacing("replace-none", "word", "w", "nothing to find.");
  measureReplaceChar();
  measureCase();
  measureChecks();
  return true;
}();

}  // namespace
