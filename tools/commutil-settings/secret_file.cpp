#include "commutil-settings/secret_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "settings_store/read_file.h"

namespace agent {
namespace {

constexpr mode_t kOthers = 077;

bool isCredential(const std::string& name) { return name.find('/') == std::string::npos; }

}  // namespace

std::string secretPath(const std::string& name) {
  if (!isCredential(name)) return name;
  const char* const directory = std::getenv("CREDENTIALS_DIRECTORY");
  if (directory == nullptr || *directory == '\0') {
    throw std::runtime_error("credential \"" + name +
                             "\": CREDENTIALS_DIRECTORY is not set; name a file by its path, or "
                             "load the credential in the unit");
  }
  return std::string(directory) + "/" + name;
}

void requireSecret(const std::string& name) {
  if (isCredential(name)) return;
  struct stat status {};
  if (::stat(name.c_str(), &status) != 0)
    throw std::runtime_error(name + ": " + std::generic_category().message(errno));
  if ((status.st_mode & kOthers) != 0)
    throw std::runtime_error(name + ": others than its owner can read it; run chmod 600 " + name);
}

std::string readSecret(const std::string& name) {
  const std::string path = secretPath(name);
  requireSecret(name);
  const std::string text = settings::readRegularFile(path).value_or("");
  std::string line = text.substr(0, text.find_first_of("\r\n"));
  if (line.empty()) throw std::runtime_error(path + ": the file has no secret");
  return line;
}

}  // namespace agent
