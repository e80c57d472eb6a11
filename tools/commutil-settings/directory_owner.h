#pragma once

#include <string>

namespace agent {

/// Lets the owner of a file's directory own the file too: what root writes by hand, the agent of
/// another user writes again. Does nothing if another user than root runs.
void passToDirectoryOwner(const std::string& file);

}  // namespace agent
