#include "settings_store/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "os/file_io.h"
#include "os/handles.h"
#include "settings/facts.h"
#include "settings/file_state.h"

namespace settings {
namespace {

[[noreturn]] void fail(const std::string& path) {
  throw std::runtime_error(path + ": " + std::generic_category().message(errno));
}

}  // namespace

std::optional<std::string> readRegularFile(const std::string& path) {
  // O_NONBLOCK: a FIFO instead of the file must not make the caller wait.
  const commutil::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file && errno == ENOENT) return std::nullopt;
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) fail(path);
  if (!S_ISREG(status.st_mode)) throw std::runtime_error(path + ": not a regular file");
  if (static_cast<std::uintmax_t>(status.st_size) > kLargestText) {
    throw std::runtime_error(path + ": " + sizeText(static_cast<std::uintmax_t>(status.st_size)) +
                             ", over 64 MiB: not read; check whether it is the right file");
  }
  std::string text;
  if (!commutil::readAll(file.get(), text)) fail(path);
  return text;
}

}  // namespace settings
