#pragma once

#include <string>

namespace agent {

/// Returns the path of a secret: a name without "/" is a credential that the service manager has
/// passed to this process.
std::string secretPath(const std::string& name);

/// Refuses a secret that others than its owner can read. A credential is always accepted.
/// @throws std::runtime_error
void requireSecret(const std::string& name);

/// Returns the first line of a secret.
/// @throws std::runtime_error  also if others than its owner can read it
std::string readSecret(const std::string& name);

}  // namespace agent
