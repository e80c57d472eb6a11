// The process's command line and thread ID, and stubs for stack traces and load figures.
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "os/handles.h"
#include "os/standard_streams.h"
#include "platform/bounded.h"

using commutil::FileHandle;

namespace {

constexpr std::size_t kLineSize = 1024;

/// Reads at most 1024 bytes of the process's command line; "" if it cannot be read.
std::string readCommandLine() {
  std::array<char, kLineSize> path{};
  snprintf_s(path.data(), path.size(), path.size() - 1, "/proc/%d/cmdline", ::getpid());
  const FileHandle file(std::fopen(path.data(), "re"));
  if (!file) return "";
  std::array<char, kLineSize> line{};
  return {line.data(), std::fread(line.data(), 1, line.size(), file.get())};
}

/// Appends the words of `text` between NULs and spaces to `words`, without empty ones.
void appendWords(std::string_view text, std::vector<std::string>& words) {
  constexpr std::string_view separators(" \0", 2);
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    if (text.empty()) return;
    const std::string_view word = text.substr(0, text.find_first_of(separators));
    words.emplace_back(word);
    text.remove_prefix(word.size());
  }
}

}  // namespace

long VexaCommonUtils::getKernelThreadIDForFS() { return ::syscall(SYS_gettid); }

int VexaCommonUtils::getProcessCPUAndMem(const std::string& /*process*/, unsigned int& /*cpu*/,
                                         unsigned int& /*memory*/) {
  return 0;
}

void VexaCommonUtils::printStackTrace() {
  commutil::printLine("Stack Trace:");
  commutil::printLine("Stack trace printing not supported on this platform");
  commutil::printLine("");
}

void VexaCommonUtils_i::getCommandLine(std::vector<std::string>& words) {
  std::string line = readCommandLine();
  if (!line.empty()) line.pop_back();  // the last byte is dropped, whatever it is
  appendWords(line, words);
}
