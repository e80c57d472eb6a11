#pragma once

#include <string>
#include <vector>

/// Returns whether another program carries out the command line: what concerns the agent, and
/// writes on a host whose agent has access to a cluster.
/// @throws std::runtime_error if the agent's configuration cannot be read
bool isForSettingsAgent(const std::vector<std::string>& words);

/// Becomes that program. Returns only if it cannot be started, with the exit code.
int becomeSettingsAgent(const std::vector<std::string>& words);
