// The commands that look at this host: status, wait and raise-epoch.
#include <json/value.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "commutil-settings/age_text.h"
#include "commutil-settings/commands.h"
#include "commutil-settings/publisher.h"
#include "commutil-settings/status.h"
#include "commutil/duration.h"
#include "commutil/output.h"
#include "settings_snapshot/snapshot.h"

namespace agent {
namespace {

/// What an operator sees of a host.
struct HostState {
  std::optional<settings::Snapshot> snapshot;
  std::string problem;  ///< of the snapshot
  std::optional<Status> status;
};

HostState readHost(const std::string& path) {
  HostState state;
  try {
    state.snapshot = settings::readSnapshot(path);
  } catch (const settings::SnapshotError& error) {
    state.problem = error.what();
  }
  state.status = readStatus(path);
  return state;
}

std::string utc(std::int64_t time) {
  const std::time_t moment = time;
  std::tm parts{};
  ::gmtime_r(&moment, &parts);
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

std::string hexadecimal(std::uint64_t number) {
  char text[17];
  std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(number));
  return text;
}

bool isVerified(const Status& status) { return status.verifiedAt != 0; }

/// Why the settings of this host are not fresh, "" if they are.
std::string staleness(const HostState& state, std::chrono::milliseconds maxAge) {
  const std::string agentProblem = state.status ? state.status->problem : "";
  if (!state.snapshot)
    return state.problem + (agentProblem.empty() ? "" : "; the agent: " + agentProblem);
  if (!state.status || !isVerified(*state.status)) {
    return "no agent has verified the snapshot" +
           (agentProblem.empty() ? "; start commutil-settings.service" : ": " + agentProblem);
  }
  const std::chrono::seconds age = ageOf(*state.status);
  if (age <= maxAge) return {};
  const std::string cause =
      agentProblem.empty() ? "see whether commutil-settings.service runs" : agentProblem;
  return "verified " + ageText(age) + " ago, more than " + ageText(maxAge) + ": " + cause;
}

}  // namespace

int printStatus(const Configuration& configuration, const CommandLine& line) {
  const auto maxAge = line.maxAge.empty() ? configuration.maxAge : parseDuration(line.maxAge);
  const HostState state = readHost(configuration.snapshotPath);
  const std::string stale = staleness(state, maxAge);
  Json::Value document;
  document["snapshot"] = configuration.snapshotPath;
  document["fresh"] = stale.empty();
  if (!stale.empty()) document["problem"] = stale;
  if (state.snapshot) {
    document["settings"] = Json::UInt64(state.snapshot->entries.size());
    document["revision"] = Json::Int64(state.snapshot->header.revision);
    document["cluster"] = hexadecimal(state.snapshot->header.clusterId);
    document["written"] = utc(state.snapshot->header.writtenAt);
  }
  if (state.status) {
    document["state"] = state.status->state;
    document["member"] = state.status->member;
  }
  if (state.status && isVerified(*state.status)) {
    document["verifiedRevision"] = Json::Int64(state.status->revision);
    document["verified"] = utc(state.status->verifiedAt);
    document["ageSeconds"] = Json::Int64(ageOf(*state.status).count());
  }
  printDocument(document, line.json);
  return stale.empty() ? kOk : kNo;
}

int waitForRevision(const Configuration& configuration, const CommandLine& line) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kInterval{20};
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                           std::chrono::duration<double>(line.timeout));
  while (true) {
    const HostState state = readHost(configuration.snapshotPath);
    std::int64_t revision = state.snapshot ? state.snapshot->header.revision : 0;
    // A change elsewhere raises the revision without a new snapshot.
    if (state.snapshot && state.status &&
        state.status->clusterId == state.snapshot->header.clusterId)
      revision = std::max(revision, state.status->revision);
    const bool isReached = revision >= line.revision;
    if (!isReached && Clock::now() >= deadline) {
      throw std::runtime_error(configuration.snapshotPath + " is at revision " +
                               std::to_string(revision) + ", not yet at " +
                               std::to_string(line.revision));
    }
    // Services notice a new snapshot within 10 ms, too.
    std::this_thread::sleep_for(kInterval);
    if (isReached) return kOk;
  }
}

int raiseEpoch(const Configuration& configuration, const CommandLine& line) {
  if (configuration.publishDirectory.empty()) {
    throw std::runtime_error(
        "this host is not a relay: the configuration has no [publish] directory");
  }
  if (!line.yes) {
    if (::isatty(STDIN_FILENO) == 0)
      throw std::runtime_error("nobody can be asked: standard input is not a terminal; use --yes");
    std::cerr << "Hosts that follow this relay will take a lower revision of the store. Has the "
                 "store been restored, and is it the one to keep? [y/N] ";
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "yes") throw std::runtime_error("the epoch was not raised");
  }
  const Publisher publisher(configuration.publishDirectory, configuration.keep);
  printBytes("epoch " + std::to_string(publisher.raiseEpoch()) + "\n");
  return kOk;
}

}  // namespace agent
