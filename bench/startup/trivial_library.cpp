#include "startup/trivial_library.h"

std::string trivial() { return "trivial"; }
