#include "style.h"

#include <unistd.h>

#include <cstdlib>

namespace {

bool isColored() {
  const char* const no = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  if (no != nullptr && *no != '\0') return false;
  if (terminal != nullptr && std::string_view(terminal) == "dumb") return false;
  return ::isatty(STDOUT_FILENO) == 1;
}

std::string_view colorOf(settings::Severity severity) {
  switch (severity) {
    case settings::Severity::ok:
      return "\033[32m";
    case settings::Severity::warning:
      return "\033[33m";
    case settings::Severity::error:
      return "\033[31m";
  }
  return {};
}

}  // namespace

std::string colored(settings::Severity severity, std::string_view text) {
  static const bool on = isColored();
  if (!on) return std::string(text);
  return std::string(colorOf(severity)).append(text).append("\033[0m");
}

std::string_view wordFor(settings::Severity severity) {
  switch (severity) {
    case settings::Severity::ok:
      return "ok";
    case settings::Severity::warning:
      return "warning";
    case settings::Severity::error:
      return "error";
  }
  return {};
}
