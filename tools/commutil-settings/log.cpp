#include "commutil-settings/log.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "os/file_io.h"

namespace agent {

void say(Level level, std::string_view text) {
  static const bool isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
  constexpr std::string_view kPriorities[] = {"<3>", "<4>", "<6>"};
  constexpr std::string_view kWords[] = {"error: ", "warning: ", ""};
  const auto index = static_cast<std::size_t>(level);
  std::string line(isJournal ? kPriorities[index] : "");
  line.append("commutil-settings: ").append(kWords[index]);
  for (const char c : text) line += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
  line += '\n';
  commutil::writeAll(STDERR_FILENO, line);
}

}  // namespace agent
