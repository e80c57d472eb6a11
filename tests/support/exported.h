#pragma once

#include <set>
#include <string>

namespace commutil_test {

/// Returns the name of a demangled operation in short: standard types, and parameters only if
/// `overloaded`.
std::string shortName(std::string demangled, bool overloaded);

/// Returns the short names of the functions in a list of exported symbols (abi/symbols.txt), with
/// parameters where a name has several. Of several entry points of one (constructors, destructors)
/// one counts.
std::set<std::string> exportedOperations(const std::string& list);

}  // namespace commutil_test
