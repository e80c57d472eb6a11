#pragma once

#include "support/fault.h"

namespace commutil_test {

/// Fails an allocation of the calling thread with operator new, in any form without alignment, in a
/// program that links memory_faults.cpp.
Fault& memoryFault();

/// Neither fails nor counts what functions allocate whose symbol contains `name`: another
/// library's, which use the memory without checking whether they got it.
void spareAllocationsIn(const char* name);

}  // namespace commutil_test
