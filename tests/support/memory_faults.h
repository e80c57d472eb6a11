#pragma once

#include "support/fault.h"

namespace commutil_test {

/// Fails an allocation of the calling thread with operator new, in any form without alignment, in a
/// program that links memory_faults.cpp. The copies of names that ACE uses without checking whether
/// there was memory for them are not counted: they never fail.
Fault& memoryFault();

}  // namespace commutil_test
