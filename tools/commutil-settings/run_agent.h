#pragma once

#include "commutil-settings/configuration.h"
#include "commutil-settings/synchronizer.h"

namespace agent {

/// Keeps the snapshot of this host in sync until SIGTERM or SIGINT; with `once`, until it equals
/// the source, or no source can be used. Returns the exit code.
/// @throws std::runtime_error  what an operator has to change before the agent can run
int runAgent(const Configuration& configuration, const RunOptions& options);

/// Returns the files of TLS with a key that is a credential as its path, after checking who can
/// read the secrets.
/// @throws std::runtime_error
TlsFiles checkedTlsFiles(const Configuration& configuration);

}  // namespace agent
