#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace agent {

/// Tells the service manager something, such as "READY=1". Does nothing if no manager listens.
/// Returns false if the manager is too busy to be told.
bool notifyManager(std::string_view message);

/// Returns how often the manager's watchdog is to be fed: half its limit; nothing without watchdog.
std::optional<std::chrono::milliseconds> watchdogPeriod();

}  // namespace agent
