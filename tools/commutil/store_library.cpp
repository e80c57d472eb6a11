#include "store_library.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

constexpr const char* kStoreLibrary = "libsettingrest.so";
/// A string in the reference store's library.
constexpr std::string_view kReferenceMark = "commutil reference settings store";

std::string realPathOf(const std::string& path) {
  std::array<char, PATH_MAX> real{};
  return ::realpath(path.c_str(), real.data()) != nullptr ? real.data() : path;
}

bool holdsReferenceMark(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  return bytes.find(kReferenceMark) != std::string::npos;
}

/// What the loader does not say: where LD_LIBRARY_PATH has a library that it passes over.
std::string passedOver() {
  const char* const path = std::getenv("LD_LIBRARY_PATH");
  std::istringstream directories(path != nullptr ? path : "");
  std::string found;
  for (std::string directory; std::getline(directories, directory, ':');) {
    const std::string file = directory.append("/").append(kStoreLibrary);
    struct stat status {};
    if (::lstat(file.c_str(), &status) != 0 || ::access(file.c_str(), R_OK) == 0) continue;
    const bool dangling = errno == ENOENT;
    found.append("; ").append(file).append(dangling ? " is a link that leads nowhere"
                                                    : " cannot be read by this user");
  }
  return found;
}

}  // namespace

settings::StoreLibrary examineStoreLibrary() {
  settings::StoreLibrary library;
  void* const handle = ::dlopen(kStoreLibrary, RTLD_LAZY | RTLD_GLOBAL);
  if (handle == nullptr) {
    library.error = ::dlerror();
    library.error += passedOver();
    return library;
  }
  link_map* map = nullptr;
  if (::dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0) library.path = map->l_name;
  library.realPath = realPathOf(library.path);
  library.loaded = true;
  for (const char* const symbol : {"getSettingParamValue", "getSettingGroupParams"})
    if (::dlsym(handle, symbol) == nullptr) library.missingSymbols.emplace_back(symbol);
  library.isReference = holdsReferenceMark(library.realPath);
  return library;
}
