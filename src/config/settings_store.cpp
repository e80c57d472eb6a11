// The platform's settings store, a separately installed library that is loaded on first use.
#include <ace/DLL.h>
#include <ace/DLL_Manager.h>
#include <ace/Guard_T.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>
#include <dlfcn.h>
#include <link.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "VexaCommonUtils_i.h"

namespace {

constexpr const char* kStoreLibrary = "libsettingrest.so";
constexpr int kUnavailable = -1;

/// Accesses a protected member of ACE: the table of loaded libraries.
class LibraryTable : public ACE_DLL_Manager {
 public:
  static bool allocate(ACE_DLL_Manager& manager) {
    return (manager.*&LibraryTable::open)(DEFAULT_SIZE) == 0;
  }
};

/// Creates ACE's manager of libraries; throws std::bad_alloc if memory runs out. ACE itself would
/// leave a manager without its table, which cannot open anything.
bool createManager() {
  static constinit bool lacksTable = false;  // guarded by the caller's static
  errno = 0;
  ACE_DLL_Manager* const manager = ACE_DLL_Manager::instance();
  if (manager == nullptr) throw std::bad_alloc();
  lacksTable = lacksTable || errno == ENOMEM;
  if (lacksTable && !LibraryTable::allocate(*manager)) throw std::bad_alloc();
  lacksTable = false;
  return true;
}

/// Returns the path of the library that `store` has opened, which is empty for the program itself;
/// null if ACE does not tell its handle or dlinfo(3) fails. The dynamic linker writes the entry
/// under a lock that the thread sanitizer does not see.
[[gnu::no_sanitize_thread]] const char* libraryOf(const ACE_DLL& store) {
  link_map* library = nullptr;
  const int result = ::dlinfo(store.get_handle(), RTLD_DI_LINKMAP, &library);
  return result == 0 && library != nullptr ? library->l_name : nullptr;
}

/// Returns whether `store` has opened the program instead of a library.
[[gnu::no_sanitize_thread]] bool isProgram(const ACE_DLL& store) {
  const char* const path = libraryOf(store);
  return path != nullptr && *path == '\0';
}

/// Opens the store. Throws std::bad_alloc if ACE could not copy the name: it then opens the program
/// instead of the store, and would do so for every later call.
bool open(ACE_DLL& store) {
  // Each entry point has its own lock, and ACE would give a name that two threads open together two
  // handles, of which the first to be closed ends the other's use. Recursive, since the store's
  // initializers may look settings up.
  static ACE_Recursive_Thread_Mutex mutex;
  const ACE_Guard<ACE_Recursive_Thread_Mutex> guard(mutex);
  [[maybe_unused]] static const bool hasManager = createManager();
  if (store.open(kStoreLibrary) != 0) return false;
  if (!isProgram(store)) return true;
  ::dlclose(store.get_handle(true));
  throw std::bad_alloc();
}

/// Keeps the library of `store` mapped until the process ends: ACE unloads it with the last of its
/// handle objects, while entry points are still cached. Returns whether it could.
bool pin(const ACE_DLL& store) {
  const char* const path = libraryOf(store);
  return path != nullptr && ::dlopen(path, RTLD_LAZY | RTLD_NOLOAD) != nullptr;
}

/// Loads the store and calls the entry point `name`, which is set in `resolved` before the call:
/// the store may call the same lookup recursively. Caches nothing of a library without the entry
/// point, so that a library installed later is found.
template <class Function, class Output>
int loadAndCall(std::atomic<Function>& resolved, ACE_Guard<ACE_Thread_Mutex>& guard,
                const char* name, const std::string& key, Output& output) {
  ACE_DLL store;
  if (!open(store)) return kUnavailable;
  const auto function = reinterpret_cast<Function>(store.symbol(name));
  if (function == nullptr || pin(store)) {
    resolved.store(function, std::memory_order_release);
  } else {
    guard.release();  // a recursive lookup must load the store again
  }
  return function != nullptr ? function(key, output) : kUnavailable;
}

/// Calls the store's entry point `name`, the only one with a result of type `Output`. Once found,
/// it is cached, with its own lock.
template <class Output>
int callStore(const char* name, const std::string& key, Output& output) {
  using Function = int (*)(const std::string& key, Output& output);
  static constinit std::atomic<Function> resolved{nullptr};
  if (const auto function = resolved.load(std::memory_order_acquire)) return function(key, output);
  static ACE_Thread_Mutex mutex;
  // The entry point is not tested again: callers that waited here load the store once more.
  ACE_Guard<ACE_Thread_Mutex> guard(mutex);
  return loadAndCall(resolved, guard, name, key, output);
}

}  // namespace

int VexaCommonUtils_i::getSettingParamValue(const std::string& key, std::string& value) {
  return callStore("getSettingParamValue", key, value);
}

int VexaCommonUtils_i::getSettingGroupParams(const std::string& group,
                                             std::map<std::string, std::string>& params) {
  return callStore("getSettingGroupParams", group, params);
}

bool VexaCommonUtils_i::GetSetParamValue(const std::string& primaryKey,
                                         const std::string& fallbackKey, std::string& value) {
  if (getSettingParamValue(primaryKey, value) == 0 && !value.empty()) return true;
  return getSettingParamValue(fallbackKey, value) == 0 && !value.empty();
}
