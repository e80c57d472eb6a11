#pragma once

#include <ostream>

// The standard streams without <iostream>, whose hidden object makes them in every source that
// includes it: one source of the library does so for all.

namespace commutil {

std::ostream& standardOutput();
std::ostream& standardError();

}  // namespace commutil
