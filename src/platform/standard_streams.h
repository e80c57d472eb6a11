#pragma once

#include <ios>
#include <ostream>

// std::cout and std::cerr without <iostream>, whose hidden object makes every library that includes
// it work on the streams when it is loaded and unloaded.

namespace commutil {
namespace streams {

extern std::ostream output __asm__("_ZSt4cout");
extern std::ostream errors __asm__("_ZSt4cerr");

}  // namespace streams

/// std::cout, made first in a program that has no streams of C++.
inline std::ostream& standardOutput() {
  const std::ios_base::Init made;
  return streams::output;
}

/// std::cerr, made first in a program that has no streams of C++.
inline std::ostream& standardError() {
  const std::ios_base::Init made;
  return streams::errors;
}

}  // namespace commutil
