#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

// Functions that can fail. `arm` chooses one call of one function; the function's replacement calls
// `mustFail` each time. One fault at a time, in one thread.

namespace commutil_faults {

/// A function that can fail. To add some, add them here, their names to `kFunctions`, and
/// replacements that call `mustFail`.
enum class Function : unsigned char {
  throwingNew,
  nothrowNew,
  malloc,
  calloc,
  realloc,
  alignedAlloc,
};

struct FunctionName {
  Function function;
  const char* name;
};

inline constexpr std::array<FunctionName, 6> kFunctions{{
    {Function::throwingNew, "new"},
    {Function::nothrowNew, "new(nothrow)"},
    {Function::malloc, "malloc"},
    {Function::calloc, "calloc"},
    {Function::realloc, "realloc"},
    {Function::alignedAlloc, "aligned_alloc"},
}};

using CallCounts = std::array<unsigned, kFunctions.size()>;

/// The `occurrence`th call of a function, counted from 1; 0 for none.
struct Fault {
  Function function = Function::malloc;
  unsigned occurrence = 0;
};

/// Prepares the record of faults, which the calling process shares with its children.
void prepareFaults();

/// Counts calls from here on and fails that of `fault`, until `disarm`.
void arm(const Fault& fault);
void disarm();

/// For replacements: counts a call, and returns whether it must fail.
bool mustFail(Function function);

/// Returns what was counted since `arm` last ran, in this process or a child.
CallCounts counts();
bool struck();

/// The functions between the operation and the failed call, innermost first: "library!function".
/// Local functions appear by their library only.
std::vector<std::string> stackOfFault();

}  // namespace commutil_faults
