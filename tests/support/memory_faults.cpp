// Replaces operator new by one that fails on demand.
#include "support/memory_faults.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <new>
#include <string_view>
#include <vector>

#include "support/c_library.h"

namespace {

using commutil_test::cLibrary;
using commutil_test::memoryFault;

using Plain = void*(std::size_t);
using OrNull = void*(std::size_t, const std::nothrow_t&);

std::vector<std::string_view>& sparedNames() {
  static std::vector<std::string_view> names;
  return names;
}

bool isSpared(const void* caller) {
  const auto& names = sparedNames();
  Dl_info info{};
  if (names.empty() || ::dladdr(caller, &info) == 0 || info.dli_sname == nullptr) return false;
  const std::string_view symbol = info.dli_sname;
  return std::any_of(names.begin(), names.end(),
                     [symbol](std::string_view name) { return symbol.find(name) != symbol.npos; });
}

bool fails(const void* caller) {
  if (!memoryFault().isArmed() || isSpared(caller) || !memoryFault().isDue()) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

commutil_test::Fault& commutil_test::memoryFault() {
  thread_local Fault fault;
  return fault;
}

void commutil_test::spareAllocationsIn(const char* name) { sparedNames().emplace_back(name); }

// The replacements allocate memory that matches a sanitizer's operator delete; some call the plain
// form.

void* operator new(std::size_t size) {
  static auto* const real = cLibrary<Plain>("_Znwm");
  if (fails(__builtin_return_address(0))) throw std::bad_alloc();
  return real(size);
}

void* operator new[](std::size_t size) {
  static auto* const real = cLibrary<Plain>("_Znam");
  if (fails(__builtin_return_address(0))) throw std::bad_alloc();
  return memoryFault().paused([&] { return real(size); });
}

void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  static auto* const real = cLibrary<OrNull>("_ZnwmRKSt9nothrow_t");
  if (fails(__builtin_return_address(0))) return nullptr;
  return memoryFault().paused([&] { return real(size, tag); });
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  static auto* const real = cLibrary<OrNull>("_ZnamRKSt9nothrow_t");
  if (fails(__builtin_return_address(0))) return nullptr;
  return memoryFault().paused([&] { return real(size, tag); });
}
