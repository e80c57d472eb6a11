// The one source that includes <iostream>. For operations that print. No state of its own.
#include "platform/standard_streams.h"

#include <iostream>

namespace commutil {

std::ostream& standardOutput() { return std::cout; }

std::ostream& standardError() { return std::cerr; }

}  // namespace commutil
