// Escaping of database query text against libpq's quoting, Abseil's replacing and a plain byte
// loop. The limit is a copy of the string.
#include <absl/strings/str_replace.h>
#include <benchmark/benchmark.h>
#include <libpq-fe.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <string>
#include <utility>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"
#include "support/memory.h"
#include "support/scratch.h"
#include "support/text.h"

namespace {

template <class Call>
void measure(const std::string& operation, const std::string& size, const std::string& who,
             const std::string& piece, std::size_t bytes, Call call) {
  commutil_bench::addSized(
      operation + "/" + size + "/" + who, bytes, [piece, bytes, call](benchmark::State& state) {
        const std::string text = commutil_bench::repeated(piece, bytes);
        for (auto _ : state) benchmark::DoNotOptimize(call(text));
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
      });
}

std::string libpqQuoted(const std::string& text) {
  std::string quoted(2 * text.size() + 1, '\0');
  quoted.resize(PQescapeString(quoted.data(), text.data(), text.size()));
  return quoted;
}

std::string loopBracketed(const std::string& text) {
  std::string result;
  for (const char byte : text) {
    if (byte == '%' || byte == '_' || byte == '[' || byte == ']') {
      result += '[';
      result += byte;
      result += ']';
    } else {
      result += byte;
    }
  }
  return result;
}

/// The least that ours must do: no peer looks up the type, which matters for a short text.
std::string typeAndLoop(const std::string& text) {
  benchmark::DoNotOptimize(VexaCommonUtils::getDBType());
  return loopBracketed(text);
}

std::string abseilBracketed(const std::string& text) {
  return absl::StrReplaceAll(text, {{"%", "[%]"}, {"_", "[_]"}, {"[", "[[]"}, {"]", "[]]"}});
}

void measureTexts(const std::string& kind, const std::string& piece) {
  for (const auto& [size, bytes] :
       std::initializer_list<std::pair<const char*, std::size_t>>{{"20B", 20},
                                                                  {"1KiB", 1024},
                                                                  {"64KiB", 64 << 10},
                                                                  {"1MiB", 1 << 20},
                                                                  {"64MiB", 64 << 20}}) {
    const auto copy = [](const std::string& s) { return s; };
    measure("quote-" + kind, size, "ours", piece, bytes, VexaCommonUtils::transDBUpdateString);
    measure("quote-" + kind, size, "libpq", piece, bytes, libpqQuoted);
    measure("quote-" + kind, size, "abseil", piece, bytes, [](const std::string& s) {
      return absl::StrReplaceAll(s, {{"'", "''"}});
    });
    measure("quote-" + kind, size, "limit:copy", piece, bytes, copy);

    measure("like-" + kind, size, "ours", piece, bytes, VexaCommonUtils::transDBSearchString);
    measure("like-" + kind, size, "libpq", piece, bytes, libpqQuoted);
    measure("like-" + kind, size, "loop", piece, bytes, loopBracketed);
    measure("like-" + kind, size, "abseil", piece, bytes, abseilBracketed);
    if (bytes == 20) {
      measure("like-" + kind, size, "calls:type+loop", piece, bytes, typeAndLoop);
    }
    measure("like-" + kind, size, "limit:copy", piece, bytes, copy);

    measure("operand-" + kind, size, "ours", piece, bytes, [](const std::string& s) {
      return VexaCommonUtils_i::TransferLikeSql(s, Vexacommon::FUZZY_QUERY_BOTH);
    });
    measure("operand-" + kind, size, "libpq+loop", piece, bytes,
            [](const std::string& s) { return "'%" + loopBracketed(libpqQuoted(s)) + "%'"; });
    measure("operand-" + kind, size, "abseil", piece, bytes, [](const std::string& s) {
      return "'%" + abseilBracketed(absl::StrReplaceAll(s, {{"'", "''"}})) + "%'";
    });
    measure("operand-" + kind, size, "limit:copy", piece, bytes, copy);
  }
}

// Caches the database type, as in a real deployment: otherwise every call would search for it.
void configureDatabase() {
  const commutil_bench::Scratch scratch;
  const std::string file = scratch / "app.json";
  std::ofstream(file) << R"({"databases":{"db":[{"type":"sybase"}]}})";
  ::setenv("APP_CONF_FILE", file.c_str(), 1);
  if (VexaCommonUtils::getDBType() != "sybase") std::abort();
}

const bool kRegistered = [] {
  commutil_bench::keepMemory();
  configureDatabase();
  measureTexts("clean", "nothing to escape here, just text ");
  measureTexts("matches", "fourteen byte%'");
  return true;
}();

}  // namespace
