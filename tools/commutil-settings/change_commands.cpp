// The commands that change the cluster: put, delete and import.
#include <json/value.h>

#include <functional>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "commutil-settings/cluster_session.h"
#include "commutil-settings/commands.h"
#include "commutil-settings/log.h"
#include "commutil/output.h"
#include "commutil/progress.h"
#include "commutil/settings_keys.h"
#include "settings/accepted.h"
#include "settings_store/document_text.h"
#include "settings_store/read_file.h"

namespace agent {
namespace {

using Stored = std::map<std::string, ClusterSession::Stored>;
/// Decides on changes from the settings of the cluster. May throw to change nothing.
using Plan = std::function<std::vector<settings::Change>(const Stored& current)>;

constexpr std::size_t kMostOperations = 128;  // of a transaction, by the members' default
constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr int kAttempts = 5;

std::string quoted(const std::optional<std::string>& value) {
  return value ? "\"" + printable(*value) + "\"" : "(not set)";
}

/// Returns the changes that have an effect.
std::vector<GuardedWrite> writesOf(const std::vector<settings::Change>& changes,
                                   const Stored& current) {
  std::vector<GuardedWrite> writes;
  for (const settings::Change& change : changes) {
    const auto found = current.find(change.key);
    const bool exists = found != current.end();
    const bool isSame = exists ? change.value == found->second.value : !change.value;
    if (!isSame) writes.push_back({change.key, change.value, exists ? found->second.revision : 0});
  }
  return writes;
}

/// Returns the writes in groups that fit into a transaction each.
std::vector<std::vector<GuardedWrite>> batchesOf(const std::vector<GuardedWrite>& writes) {
  std::vector<std::vector<GuardedWrite>> batches;
  std::size_t bytes = 0;
  for (const GuardedWrite& write : writes) {
    const std::size_t size = 2 * write.key.size() + write.value.value_or("").size();
    if (batches.empty() || batches.back().size() == kMostOperations || bytes + size > kMostBytes) {
      batches.emplace_back();
      bytes = 0;
    }
    batches.back().push_back(write);
    bytes += size;
  }
  return batches;
}

/// What an operator is told.
class Outcome {
 public:
  explicit Outcome(const CommandLine& line) : m_line(line) {}

  void add(const std::vector<GuardedWrite>& writes, const Stored& current) {
    for (const GuardedWrite& write : writes) {
      const auto found = current.find(write.key);
      const std::optional<std::string> before =
          found == current.end() ? std::nullopt : std::optional(found->second.value);
      Json::Value row;
      row["key"] = write.key;
      row["before"] = before ? Json::Value(*before) : Json::Value();
      row["after"] = write.value ? Json::Value(*write.value) : Json::Value();
      m_changes.append(row);
      m_text +=
          "  " + printable(write.key) + "  " + quoted(before) + " -> " + quoted(write.value) + "\n";
    }
  }

  int print(std::int64_t revision) const {
    const bool isWritten = !m_changes.empty() && !m_line.dryRun;
    if (m_line.json) {
      Json::Value document;
      document["written"] = isWritten;
      document["changes"] = m_changes;
      if (isWritten) document["revision"] = Json::Int64(revision);
      printDocument(document, true);
      return kOk;
    }
    const std::string title = isWritten           ? "revision " + std::to_string(revision)
                              : m_changes.empty() ? "unchanged"
                                                  : "would change";
    printBytes(title + "\n" + m_text);
    return kOk;
  }

 private:
  const CommandLine& m_line;
  Json::Value m_changes{Json::arrayValue};
  std::string m_text;
};

int change(const Configuration& configuration, const CommandLine& line, const Plan& plan) {
  ClusterSession session(configuration);
  Outcome outcome(line);
  Progress progress("changing the cluster");
  std::int64_t revision = 0;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const ClusterSession::Listing listing = session.list();
    const std::vector<GuardedWrite> writes = writesOf(plan(listing.settings), listing.settings);
    if (line.dryRun) outcome.add(writes, listing.settings);
    if (line.dryRun || writes.empty()) return outcome.print(revision);
    const auto batches = batchesOf(writes);
    if (attempt == 0 && batches.size() > 1) {
      say(Level::info,
          std::to_string(writes.size()) +
              " changes do not fit into one transaction: " + std::to_string(batches.size()) +
              " follow one another, and services see each as it comes");
    }
    std::size_t done = 0;
    for (const std::vector<GuardedWrite>& batch : batches) {
      progress.update("writing, " + std::to_string(done) + " of " + std::to_string(batches.size()) +
                      " transactions done");
      const std::int64_t written = session.write(batch);
      if (written == 0) break;  // another writer: plan anew
      revision = written;
      outcome.add(batch, listing.settings);
      ++done;
    }
    if (done == batches.size()) return outcome.print(revision);
  }
  throw std::runtime_error("other writers keep changing the same settings; try again");
}

std::string keyOf(const Configuration& configuration, const CommandLine& line) {
  std::string key = settingKey(line.name, line.app);
  if (key.rfind(configuration.prefix, 0) != 0)
    throw std::runtime_error(key + " is not below " + configuration.prefix);
  return key;
}

std::string readDocument(const std::string& path) {
  if (path == "-")
    return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  const std::optional<std::string> text = settings::readRegularFile(path);
  if (!text) throw std::runtime_error(path + ": No such file or directory");
  return *text;
}

void requireAccepted(const settings::DocumentText& document, const std::string& path) {
  std::string problems;
  for (const settings::DocumentText::Entry& entry : document.entries()) {
    const settings::Verdict verdict =
        settings::checkStoreValue(entry.key, entry.value.value_or(""));
    if (verdict.accepted() && entry.value) continue;
    const settings::Place place = document.placeOf(entry);
    problems += path + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) +
                ": " + printable(entry.key) + ": " +
                (entry.value ? quoted(entry.value) + ": " + verdict.message()
                             : "an array or null: the store has no setting here") +
                "\n";
  }
  if (!problems.empty())
    throw std::runtime_error(problems + "nothing was written (--force writes it)");
}

void requireBelow(const std::string& prefix, const settings::Values& values) {
  for (const auto& [key, value] : values) {
    if (key.rfind(prefix, 0) == 0) continue;
    throw std::runtime_error(std::string(key).append(" is not below ").append(prefix));
  }
}

}  // namespace

int putSetting(const Configuration& configuration, const CommandLine& line) {
  const std::string key = keyOf(configuration, line);
  if (key.back() == '/') throw std::runtime_error(key + " is a group, not a setting");
  const settings::Verdict verdict = settings::checkStoreValue(key, line.value);
  if (!verdict.accepted() && !line.force) {
    throw std::runtime_error(key + ": " + quoted(line.value) + ": " + verdict.message() +
                             " (--force writes it)");
  }
  return change(configuration, line, [&](const Stored&) {
    return std::vector{settings::Change{key, line.value}};
  });
}

/// Deletes a key that ends in "/" too: agents say to do so.
int deleteSetting(const Configuration& configuration, const CommandLine& line) {
  const std::string key = keyOf(configuration, line);
  bool wasThere = false;  // an attempt before may have deleted it
  return change(configuration, line, [&](const Stored& current) {
    if (current.count(key) == 0 && !wasThere) throw std::runtime_error(key + " is not set");
    wasThere = true;
    return std::vector{settings::Change{key, std::nullopt}};
  });
}

int importSettings(const Configuration& configuration, const CommandLine& line) {
  const std::string text = readDocument(line.name);
  std::optional<settings::DocumentText> document;
  try {
    document.emplace(text);
  } catch (const settings::MalformedDocument& error) {
    throw std::runtime_error(line.name + ":" + error.what());
  }
  if (!line.force) requireAccepted(*document, line.name);
  const settings::Values wanted = document->values();
  requireBelow(configuration.prefix, wanted);
  if (wanted.empty() && line.prune && !line.force) {
    throw std::runtime_error(line.name +
                             " has no settings: --prune would delete all (--force does)");
  }
  return change(configuration, line, [&](const Stored& current) {
    std::vector<settings::Change> changes;
    for (const auto& [key, value] : wanted) changes.push_back({key, value});
    if (!line.prune) return changes;
    for (const auto& [key, stored] : current)
      if (wanted.count(key) == 0) changes.push_back({key, std::nullopt});
    return changes;
  });
}

}  // namespace agent
