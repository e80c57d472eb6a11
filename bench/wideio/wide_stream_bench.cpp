// Wide text written and read by lines, against the wide streams of C and C++. The limit of reading
// is read(2) of the same bytes, converted block by block.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <fstream>
#include <locale>
#include <string>
#include <vector>

#include "VexaWideIO.h"
#include "support/cells.h"
#include "support/scratch.h"

namespace {

constexpr std::size_t kLine = 4096;

/// A file of 60-character lines in its own directory, removed by the destructor.
class SampleFile {
 public:
  SampleFile(const std::string& character, std::size_t size) {
    std::string line;
    for (int i = 0; i < 60; ++i) line += character;
    line += '\n';
    std::ofstream file(path(), std::ios::binary);
    for (std::size_t written = 0; written < size; written += line.size()) file << line;
  }

  std::string path() const { return m_dir / "text"; }

 private:
  commutil_bench::Scratch m_dir;
};

using Reading = void (*)(const std::string& path);

void readOurs(const std::string& path) {
  std::array<wchar_t, kLine + 1> line{};
  Vexawifstream stream;
  stream.open(path.c_str(), 8);
  while (stream.eof() == 0) stream.get(line.data(), kLine);
  benchmark::DoNotOptimize(line);
}

void readKeepingOurs(const std::string& path) {
  std::array<wchar_t, kLine + 1> line{};
  Vexawifstream stream;
  stream.open(path.c_str(), 8);
  while (stream.eof() == 0) stream.getline(line.data(), kLine);
  benchmark::DoNotOptimize(line);
}

void readFgetws(const std::string& path) {
  std::array<wchar_t, kLine + 1> line{};
  std::FILE* const file = std::fopen(path.c_str(), "r");
  while (::fgetws_unlocked(line.data(), static_cast<int>(kLine), file) != nullptr) {
  }
  benchmark::DoNotOptimize(line);
  std::fclose(file);
}

void readWifstream(const std::string& path) {
  std::array<wchar_t, kLine + 1> line{};
  std::wifstream stream;
  stream.imbue(std::locale("C.UTF-8"));
  stream.open(path);
  while (stream.getline(line.data(), static_cast<std::streamsize>(kLine))) {
  }
  benchmark::DoNotOptimize(line);
}

/// The limit: read(2), converted block by block.
void readDecoding(const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "r");
  std::vector<char> bytes(65536);
  std::vector<wchar_t> wide(65536);
  std::mbstate_t state{};
  ssize_t count = 0;
  while ((count = ::read(::fileno(file), bytes.data(), bytes.size())) > 0) {
    const char* next = bytes.data();
    mbsnrtowcs(wide.data(), &next, static_cast<std::size_t>(count), wide.size(), &state);
    benchmark::DoNotOptimize(wide.data());
  }
  std::fclose(file);
}

void registerReading(const std::string& name, Reading read, const SampleFile& file) {
  commutil_bench::add(name, [read, &file](benchmark::State& state) {
    for (auto _ : state) read(file.path());
  }).Unit(benchmark::kMillisecond);
}

using Writing = void (*)(const std::string& path, const std::wstring& line, int lines);

void writeOurs(const std::string& path, const std::wstring& line, int lines) {
  Vexawofstream stream;
  stream.open(path.c_str(), 16);
  for (int i = 0; i < lines; ++i) stream << line.c_str();
}

void writeFputws(const std::string& path, const std::wstring& line, int lines) {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  for (int i = 0; i < lines; ++i) std::fputws(line.c_str(), file);
  std::fclose(file);
}

void writeWofstream(const std::string& path, const std::wstring& line, int lines) {
  std::wofstream stream;
  stream.imbue(std::locale("C.UTF-8"));
  stream.open(path);
  for (int i = 0; i < lines; ++i) stream << line;
}

void writeConverted(const std::string& path, const std::wstring& line, int lines) {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  std::array<char, 1024> bytes{};
  for (int i = 0; i < lines; ++i) {
    const std::size_t count = std::wcstombs(bytes.data(), line.c_str(), bytes.size());
    std::fwrite(bytes.data(), 1, count, file);
  }
  std::fclose(file);
}

void registerWriting(const std::string& name, Writing write, const std::wstring& line, int lines,
                     const SampleFile& file) {
  commutil_bench::add(name, [=, &file](benchmark::State& state) {
    for (auto _ : state) write(file.path() + ".out", line, lines);
  }).Unit(benchmark::kMillisecond);
}

const bool kRegistered = [] {
  std::setlocale(LC_ALL, "C.UTF-8");
  constexpr std::size_t kMiB = std::size_t{1} << 20;
  static const SampleFile ascii("a", 64 * kMiB);
  static const SampleFile chinese("\xE4\xB8\xAD", 64 * kMiB);
  struct Row {
    const char* size;
    const SampleFile& file;
  };
  for (const Row& row : {Row{"64MiB-ascii", ascii}, Row{"64MiB-cjk", chinese}}) {
    for (const std::string operation : {"wide-get", "wide-getline"}) {
      const std::string name = operation + "/" + row.size + "/";
      registerReading(name + "ours", operation == "wide-get" ? readOurs : readKeepingOurs,
                      row.file);
      registerReading(name + "fgetws_unlocked", readFgetws, row.file);
      registerReading(name + "wifstream", readWifstream, row.file);
      registerReading(name + "limit:read+mbsnrtowcs", readDecoding, row.file);
    }
  }
  constexpr int kLines = 26000;
  for (const wchar_t character : {L'a', L'\x4E2D'}) {
    std::wstring line(60, character);
    line.push_back(L'\n');
    const std::string name =
        std::string("wide-put/") + (character == L'a' ? "26k-lines-ascii/" : "26k-lines-cjk/");
    registerWriting(name + "ours", writeOurs, line, kLines, ascii);
    registerWriting(name + "fputws", writeFputws, line, kLines, ascii);
    registerWriting(name + "wofstream", writeWofstream, line, kLines, ascii);
    registerWriting(name + "wcstombs+fwrite", writeConverted, line, kLines, ascii);
  }
  return true;
}();

}  // namespace
