// The platform's settings store, served by a separately installed library that is loaded on first
// use. Used by the deployment switches and the SSL option file. Safe between threads; calls into a
// loaded store are not serialised.
#include <ace/DLL.h>
#include <ace/DLL_Manager.h>
#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>
#include <dlfcn.h>
#include <link.h>

#include <atomic>

#include "VexaCommonUtils_i.h"

namespace {

constexpr const char* kStoreLibrary = "libsettingrest.so";
constexpr int kUnavailable = -1;

/// Opens the store. ACE makes its manager of libraries on first use without a barrier between
/// threads, and each entry point has a lock of its own: the static's guard stands in for one.
bool open(ACE_DLL& store) {
  static const ACE_DLL_Manager* const manager = ACE_DLL_Manager::instance();
  return manager != nullptr && store.open(kStoreLibrary) == 0;
}

/// Keeps the library of `store` mapped for the life of the process: ACE unloads it with the last of
/// its handle objects, under the entry points that are kept.
void pin(const ACE_DLL& store) {
  link_map* library = nullptr;
  if (::dlinfo(store.get_handle(), RTLD_DI_LINKMAP, &library) != 0) return;
  void* const again = ::dlopen(library->l_name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  if (again != nullptr) ::dlclose(again);
}

/// Loads the store and calls the entry point `name`, which is left in `resolved` before the call:
/// the store may come back to the same look-up from inside it. Nothing is kept of a library that
/// lacks the entry point, so that a better one is found later.
template <class Function, class Output>
int loadAndCall(std::atomic<Function>& resolved, const char* name, const std::string& key,
                Output& output) {
  ACE_DLL store;
  if (!open(store)) return kUnavailable;
  const auto function = reinterpret_cast<Function>(store.symbol(name));
  if (function != nullptr) pin(store);
  resolved.store(function, std::memory_order_release);
  return function != nullptr ? function(key, output) : kUnavailable;
}

/// Asks the store's entry point `name`, the only one whose answers are of type `Output`. It is kept
/// once it is found, with a lock of its own.
template <class Output>
int ask(const char* name, const std::string& key, Output& output) {
  using Function = int (*)(const std::string& key, Output& output);
  static constinit std::atomic<Function> resolved{nullptr};
  if (const auto function = resolved.load(std::memory_order_acquire)) return function(key, output);
  static ACE_Thread_Mutex mutex;
  // The entry point is not tested again: callers that waited here load the store once more.
  const ACE_Guard<ACE_Thread_Mutex> guard(mutex);
  return loadAndCall(resolved, name, key, output);
}

}  // namespace

int VexaCommonUtils_i::getSettingParamValue(const std::string& key, std::string& value) {
  return ask("getSettingParamValue", key, value);
}

int VexaCommonUtils_i::getSettingGroupParams(const std::string& group,
                                             std::map<std::string, std::string>& params) {
  return ask("getSettingGroupParams", group, params);
}

bool VexaCommonUtils_i::GetSetParamValue(const std::string& primaryKey,
                                         const std::string& fallbackKey, std::string& value) {
  if (getSettingParamValue(primaryKey, value) == 0 && !value.empty()) return true;
  return getSettingParamValue(fallbackKey, value) == 0 && !value.empty();
}
