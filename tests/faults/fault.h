#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "faults/calls.h"

// Calls that fail. `arm` chooses one call; the replacement of a function, and the tracer of system
// calls, ask at each call whether it is the one. One fault at a time, in one thread.

namespace commutil_faults {

/// Where a call is made to fail.
enum class Level : unsigned char {
  function,  ///< in this program's replacement of the function
  system,    ///< in the kernel: a tracer changes the result of the system call
};

/// The `occurrence`th call, counted from 1, fails with `error`; 0 for none.
struct Fault {
  Level level = Level::function;
  std::size_t call = 0;
  unsigned occurrence = 0;
  int error = 0;
};

using CallCounts = std::array<unsigned, kCalls.size()>;

/// Prepares the record of faults, which the calling process shares with its children.
void prepareFaults();

/// Counts calls from here on and fails that of `fault`, until `disarm`. With a system call, the
/// process must be a child whose parent traces it.
void arm(const Fault& fault);
void disarm();

/// Does nothing more in this process: for the children of an operation.
void disarmChild();

/// Counts a call. Returns the error with which it must fail, 0 if it must not.
int errorDue(std::size_t call);

/// For the tracer: the same for a system call of the traced process.
int errorDueInKernel(std::size_t call, const Fault& fault);
bool isArmedInChild();

/// For the tracer: keeps the names of the functions that have made the failing call. Runs in the
/// traced process, which stops afterwards instead of returning.
void keepStackAndStop();

/// Returns what was counted since `arm` last ran, in this process or a child.
CallCounts counts();
bool struck();

/// The functions between the operation and the failed call, innermost first: "library!function".
/// Local functions appear by their library only.
std::vector<std::string> stackOfFault();

/// Memory blocks that this process has allocated and not freed.
long blocksHeld();

}  // namespace commutil_faults
