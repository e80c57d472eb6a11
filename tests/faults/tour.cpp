#include "faults/tour.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <utility>

namespace commutil_faults {

const std::vector<TourPart>& tourParts() {
  static const std::vector<TourPart> parts{
      {"Environment", environmentTour},
      {"Settings", settingsTour},
      {"Strings", stringsTour},
      {"Charset", charsetTour},
      {"Database", databaseTour},
      {"Addresses", addressesTour},
      {"Hosts", hostsTour},
      {"Interfaces", interfacesTour},
      {"Commands", commandsTour},
      {"Users", usersTour},
      {"Files", filesTour},
      {"Sync", syncTour},
      {"WideReader", wideReaderTour},
      {"WideWriter", wideWriterTour},
      {"WideFile", wideFileTour},
      {"WidePrint", widePrintTour},
  };
  return parts;
}

namespace {

constexpr std::size_t kLongestShown = 200;

template <class Text>
std::string digestOf(const Text& text) {
  const auto sum = std::accumulate(text.begin(), text.end(), 0UL, [](unsigned long value, auto c) {
    return value * 31 + static_cast<unsigned long>(c);
  });
  return std::to_string(text.size()) + " characters, sum " + std::to_string(sum);
}

}  // namespace

std::string shown(const std::string& text) {
  return text.size() > kLongestShown ? digestOf(text) : "'" + text + "'";
}

std::string shown(const std::wstring& text) {
  if (text.size() > kLongestShown) return digestOf(text);
  std::ostringstream out;
  out << "L'";
  for (const wchar_t c : text) {
    if (c >= L' ' && c <= L'~') {
      out << static_cast<char>(c);
    } else {
      out << "\\" << static_cast<unsigned>(c);
    }
  }
  return out.str() + "'";
}

std::string takePrinted() {
  std::fflush(stdout);
  std::string text(
      static_cast<std::size_t>(std::max<off_t>(0, ::lseek(STDOUT_FILENO, 0, SEEK_END))), '\0');
  const ssize_t count = ::pread(STDOUT_FILENO, text.data(), text.size(), 0);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
  [[maybe_unused]] const int emptied = ::ftruncate(STDOUT_FILENO, 0);
  return text;
}

}  // namespace commutil_faults
