#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

// Functions that can be made to fail. `arm` chooses one call of one function; what replaces that
// function asks `mustFail` each time it is called. One fault at a time, in one thread.

namespace commutil_faults {

/// A function that can be made to fail. One more mechanism adds its functions here, their names to
/// `kFunctions`, and replacements that ask `mustFail`.
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

/// The `occurrence`th call of a function, counted from 1; 0 is no call at all.
struct Fault {
  Function function = Function::malloc;
  unsigned occurrence = 0;
};

/// Prepares the record of faults, which the calling process shares with its children.
void prepareFaults();

/// From here on calls are counted and that of `fault` fails, until `disarm`.
void arm(const Fault& fault);
void disarm();

/// For replacements: counts a call, and returns whether it has to fail.
bool mustFail(Function function);

/// What was counted since `arm` last ran, in this process or a child.
CallCounts counts();
bool struck();

/// The functions between the operation and the call that failed, innermost first:
/// "library!function". Local functions go by their library alone.
std::vector<std::string> stackOfFault();

}  // namespace commutil_faults
