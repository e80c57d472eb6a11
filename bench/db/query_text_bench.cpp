// Escaping of database query text beside libpq's quoting, Abseil's replacing and the plain byte
// loop. The limit is a copy of the text.
#include <absl/strings/str_replace.h>
#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"

namespace {

std::string repeated(const std::string& piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text.append(piece);
  text.resize(size);
  return text;
}

template <class Call>
void measure(const std::string& operation, const std::string& size, const std::string& who,
             const std::string& piece, std::size_t bytes, Call call) {
  benchmark::RegisterBenchmark(
      (operation + "/" + size + "/" + who).c_str(), [piece, bytes, call](benchmark::State& state) {
        const std::string text = repeated(piece, bytes);
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

std::string abseilBracketed(const std::string& text) {
  return absl::StrReplaceAll(text, {{"%", "[%]"}, {"_", "[_]"}, {"[", "[[]"}, {"]", "[]]"}});
}

void measureTexts(const std::string& kind, const std::string& piece) {
  for (const auto& [size, bytes] : std::initializer_list<std::pair<const char*, std::size_t>>{
           {"20B", 20}, {"1KiB", 1024}, {"1MiB", 1 << 20}, {"64MiB", 64 << 20}}) {
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

// A type that is read once, as in a real deployment: without one every call would look for it.
void configureDatabase() {
  std::string name = "/tmp/commutil-bench-XXXXXX";
  const int fd = ::mkstemp(name.data());
  const std::string_view document = R"({"databases":{"db":[{"type":"sybase"}]}})";
  const bool written = ::write(fd, document.data(), document.size()) > 0;
  ::close(fd);
  ::setenv("APP_CONF_FILE", name.c_str(), 1);
  if (!written || VexaCommonUtils::getDBType() != "sybase") std::abort();
  ::unlink(name.c_str());
}

// Keeps results of up to 32 MiB on the heap: whether the kernel maps and clears fresh pages for one
// would otherwise hang on what ran before.
void keepMemory() {
  ::mallopt(M_MMAP_THRESHOLD, 32 << 20);
  ::mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

const bool registered = [] {
  keepMemory();
  configureDatabase();
  measureTexts("clean", "nothing to escape here, just text ");
  measureTexts("matches", "fourteen byte%'");
  return true;
}();

}  // namespace
