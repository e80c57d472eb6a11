#pragma once

#include <dlfcn.h>

// For programs that replace functions of the C library, for the library under test too.

namespace commutil_test {

/// Returns the function `name` that this program replaces.
template <class Function>
Function* cLibrary(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace commutil_test
