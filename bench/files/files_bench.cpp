// Reading, copying and listing files against GLib, the C and C++ libraries, cp and find.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"
#include "support/scratch.h"

namespace {

namespace fs = std::filesystem;

/// Files that the benchmarks use, removed by the destructor.
class Files {
 public:
  std::string file(std::size_t size) const {
    const fs::path path = m_scratch.path() / std::to_string(size);
    if (!fs::exists(path)) std::ofstream(path, std::ios::binary) << std::string(size, 'x');
    return path.string();
  }
  std::string target() const { return m_scratch / "target"; }

  /// A tree of 100 directories with 1000 files each, of which one in ten is a ".xml".
  std::string tree() const {
    const fs::path root = m_scratch.path() / "tree";
    for (int d = 0; d < 100 && !fs::exists(root / "99"); ++d) {
      const fs::path directory = root / std::to_string(d);
      fs::create_directories(directory);
      for (int f = 0; f < 1000; ++f) {
        const char* const ending = f % 10 == 0 ? ".xml" : ".log";
        std::ofstream(directory / ("file" + std::to_string(f) + ending));
      }
    }
    return root.string();
  }

 private:
  commutil_bench::Scratch m_scratch;
};

const Files& files() {
  static const Files all;
  return all;
}

// Reading

void readOurs(const char* path) {
  std::string content;
  benchmark::DoNotOptimize(VexaCommonUtils::readFile(path, content));
  benchmark::DoNotOptimize(content.data());
}

void readGlib(const char* path) {
  gchar* content = nullptr;
  gsize size = 0;
  benchmark::DoNotOptimize(g_file_get_contents(path, &content, &size, nullptr));
  g_free(content);
}

void readStream(const char* path) {
  std::ifstream file(path, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(file), {}};
  benchmark::DoNotOptimize(content.data());
}

void readSystem(const char* path) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  ::fstat(fd, &status);
  std::string content(static_cast<std::size_t>(status.st_size), '\0');
  benchmark::DoNotOptimize(::read(fd, content.data(), content.size()));
  ::close(fd);
}

// Copying

void copyOurs(const std::string& from, const std::string& to) {
  benchmark::DoNotOptimize(VexaCommonUtils_i::copyFile(from, to, false, false));
}

void copyCp(const std::string& from, const std::string& to) {
  if (std::system(("cp " + from + " " + to).c_str()) != 0) std::abort();
}

void copyStandard(const std::string& from, const std::string& to) {
  fs::copy_file(from, to, fs::copy_options::overwrite_existing);
}

void copyStdio(const std::string& from, const std::string& to) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  std::FILE* const source = std::fopen(from.c_str(), "rb");
  std::FILE* const target = std::fopen(to.c_str(), "wb");
  std::size_t count = 0;
  while ((count = std::fread(piece.get(), 1, kPiece, source)) > 0) {
    std::fwrite(piece.get(), 1, count, target);
  }
  std::fclose(source);
  std::fclose(target);
}

/// Only the writing, of bytes in memory.
void writeOnly(const std::string& from, const std::string& to) {
  static const std::string piece(std::size_t{256} << 10, 'x');
  const int fd = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  for (auto left = static_cast<std::size_t>(fs::file_size(from)); left > 0;) {
    const std::size_t count = std::min(left, piece.size());
    benchmark::DoNotOptimize(::write(fd, piece.data(), count));
    left -= count;
  }
  ::close(fd);
}

/// The calls that a copy must make, with the fastest one for its content.
void copyByCalls(const std::string& from, const std::string& to) {
  std::array<char, PATH_MAX> resolved{};
  struct stat status = {};
  benchmark::DoNotOptimize(::realpath(fs::path(from).parent_path().c_str(), resolved.data()));
  benchmark::DoNotOptimize(::realpath(fs::path(to).parent_path().c_str(), resolved.data()));
  ::stat(to.c_str(), &status);
  const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
  ::fstat(source, &status);
  const int target = ::open(to.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  ::fstat(target, &status);
  benchmark::DoNotOptimize(::ftruncate(target, 0));
  while (::sendfile(target, source, nullptr, std::size_t{1} << 30) > 0) {
  }
  ::close(source);
  ::close(target);
}

// Listing

std::size_t listOurs(const std::string& root, const std::string& pattern) {
  std::list<std::string> files;
  VexaCommonUtils::getFilesByDir(root, pattern, files);
  return files.size();
}

void readdirInto(const std::string& directory, const char* pattern, std::list<std::string>& files) {
  DIR* const stream = ::opendir(directory.c_str());
  while (const dirent* const entry = ::readdir(stream)) {
    if (entry->d_name[0] == '.') continue;
    if (entry->d_type == DT_DIR) {
      readdirInto(directory + "/" + entry->d_name, pattern, files);
    } else if (std::strstr(entry->d_name, pattern) != nullptr) {
      files.push_back(directory + "/" + entry->d_name);
    }
  }
  ::closedir(stream);
}

std::size_t listReaddir(const std::string& root, const std::string& pattern) {
  std::list<std::string> files;
  readdirInto(root, pattern.c_str(), files);
  return files.size();
}

std::size_t listStandard(const std::string& root, const std::string& pattern) {
  std::list<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (entry.is_directory()) continue;
    if (entry.path().filename().native().find(pattern) == std::string::npos) continue;
    files.push_back(entry.path().native());
  }
  return files.size();
}

std::size_t listFind(const std::string& root, const std::string& pattern) {
  const std::string command = "find " + root + " ! -type d -name '*" + pattern + "*'";
  std::FILE* const stream = ::popen(command.c_str(), "r");
  std::size_t count = 0;
  for (int c = 0; (c = std::getc(stream)) != EOF;) count += c == '\n' ? 1 : 0;
  ::pclose(stream);
  return count;
}

/// Only the reading: ignores the types of the entries.
void readOnly(const std::string& directory) {
  DIR* const stream = ::opendir(directory.c_str());
  while (const dirent* const entry = ::readdir(stream)) {
    if (entry->d_type == DT_DIR && entry->d_name[0] != '.') {
      readOnly(directory + "/" + entry->d_name);
    }
  }
  ::closedir(stream);
}

std::size_t listNothing(const std::string& root, const std::string& /*pattern*/) {
  readOnly(root);
  return 0;
}

// Registration

using Reader = void (*)(const char*);
using Copier = void (*)(const std::string&, const std::string&);
using Lister = std::size_t (*)(const std::string&, const std::string&);

void registerRead(std::size_t size, const char* who, Reader reader) {
  const std::string name = "readFile/" + std::to_string(size) + "/" + who;
  commutil_bench::add(name, [size, reader](benchmark::State& state) {
    const std::string path = files().file(size);
    for (auto _ : state) reader(path.c_str());
  });
}

void registerCopy(std::size_t size, const char* who, Copier copier) {
  const std::string name = "copyFile/" + std::to_string(size) + "/" + who;
  commutil_bench::add(name, [size, copier](benchmark::State& state) {
    const std::string from = files().file(size);
    const std::string to = files().target();
    for (auto _ : state) {
      copier(from, to);
      state.PauseTiming();
      ::unlink(to.c_str());
      state.ResumeTiming();
    }
  }).UseRealTime();
}

void registerList(const char* label, const char* pattern, const char* who, Lister lister) {
  const std::string name = std::string("getFilesByDir/") + label + "/" + who;
  commutil_bench::add(name,
                      [pattern, lister](benchmark::State& state) {
                        const std::string root = files().tree();
                        for (auto _ : state) benchmark::DoNotOptimize(lister(root, pattern));
                      })
      .UseRealTime()
      .Unit(benchmark::kMillisecond);
}

const bool kRegistered = [] {
  for (const std::size_t size : {64U, 4096U, 65536U, 1U << 20U, 8U << 20U, 256U << 20U}) {
    registerRead(size, "ours", readOurs);
    registerRead(size, "glib", readGlib);
    if (size <= 1U << 20U) registerRead(size, "ifstream", readStream);
    registerRead(size, "limit:read", readSystem);
  }
  for (const std::size_t size : {4096U, 1U << 20U, 256U << 20U}) {
    registerCopy(size, "ours", copyOurs);
    registerCopy(size, "cp", copyCp);
    registerCopy(size, "std", copyStandard);
    registerCopy(size, "stdio", copyStdio);
    registerCopy(size, "calls:parents+stats+sendfile", copyByCalls);
    registerCopy(size, "limit:write", writeOnly);
  }
  for (const auto& [label, pattern] :
       {std::pair{"all of 100k", ""}, std::pair{"10k of 100k", ".xml"},
        std::pair{"none of 100k", ".none"}}) {
    registerList(label, pattern, "ours", listOurs);
    registerList(label, pattern, "readdir", listReaddir);
    registerList(label, pattern, "std", listStandard);
    registerList(label, pattern, "find", listFind);
    registerList(label, pattern, "limit:readdir only", listNothing);
  }
  return true;
}();

}  // namespace
