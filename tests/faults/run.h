#pragma once

#include <string>
#include <vector>

#include "faults/engine.h"

namespace commutil_faults {

/// What an operation returned or threw.
struct Answer {
  std::string text;
  bool badAlloc = false;
};

/// What a child did: the operation with a fault, the same without, and the related operations.
struct Run {
  enum class End : unsigned char { exited, crashed, hung };

  End end = End::exited;
  std::string howCrashed;
  bool struck = false;
  Answer answer;
  std::string left;  ///< behind by the first call: a descriptor, a child or a file
  std::string again;
  std::vector<std::string> related;
  long blocks = 0;        ///< of memory that it holds more than before
  long unknownCall = -1;  ///< a system call that the table does not have
};

/// Prepares what the calling process shares with its children. Call it once.
void prepareRuns();

/// Runs the operations in a child, where the call of `fault` fails.
Run runWithFault(const Operation& operation, const std::vector<const Operation*>& related,
                 const Fault& fault);

/// Returns what the last child printed.
std::string printedText();

}  // namespace commutil_faults
