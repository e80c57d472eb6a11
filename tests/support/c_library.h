#pragma once

#include <dlfcn.h>

// For programs that stand in for functions of the C library, which the library under test then
// calls too.

namespace commutil_test {

/// The function `name` that stands behind this program's own.
template <class Function>
Function* cLibrary(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace commutil_test
