#include "report.h"

#include <unistd.h>

#include "os/file_io.h"

namespace settingrest {

void report(const std::string& message) {
  commutil::writeAll(STDERR_FILENO, "settingrest: " + message + "\n");
}

}  // namespace settingrest
