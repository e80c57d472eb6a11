#pragma once

#include <string>
#include <vector>

namespace commutil_faults {

/// An outcome that is not allowed elsewhere, where the fault struck below a certain function. The
/// file explains the fields.
struct Exception {
  std::string operation;
  std::string function;
  std::string outcome;
  std::string reason;
};

/// Reads the file of exceptions; fails the running test for a line that is not one.
std::vector<Exception> readExceptions(const std::string& path);

}  // namespace commutil_faults
