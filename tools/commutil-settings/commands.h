#pragma once

#include "commutil-settings/configuration.h"
#include "commutil/agent_command_line.h"

// The operator's commands. Each returns the exit code and throws std::runtime_error with what an
// operator needs to know.

namespace agent {

inline constexpr int kOk = 0;
inline constexpr int kNo = 1;

/// What this host has.
int printStatus(const Configuration& configuration, const CommandLine& line);
int waitForRevision(const Configuration& configuration, const CommandLine& line);
int raiseEpoch(const Configuration& configuration, const CommandLine& line);

/// What the cluster has.
int diffWithCluster(const Configuration& configuration, const CommandLine& line);
int showCluster(const Configuration& configuration, const CommandLine& line);
int exportCluster(const Configuration& configuration, const CommandLine& line);

/// Changes of the cluster.
int putSetting(const Configuration& configuration, const CommandLine& line);
int deleteSetting(const Configuration& configuration, const CommandLine& line);
int importSettings(const Configuration& configuration, const CommandLine& line);

}  // namespace agent
