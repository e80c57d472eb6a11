#pragma once

#include <string>
#include <vector>

namespace commutil_faults {

/// An outcome that is allowed only if the fault is below a certain function. The file explains the
/// fields.
struct Exception {
  std::string operation;
  std::string mechanism;
  std::string function;
  std::string outcome;
  std::string reason;
};

/// Reads the file of exceptions; fails the running test on a malformed line.
std::vector<Exception> readExceptions(const std::string& path);

}  // namespace commutil_faults
