#include "store_library.h"

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>

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

}  // namespace

settings::StoreLibrary examineStoreLibrary() {
  settings::StoreLibrary library;
  void* const handle = ::dlopen(kStoreLibrary, RTLD_LAZY | RTLD_GLOBAL);
  if (handle == nullptr) {
    library.error = ::dlerror();
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
