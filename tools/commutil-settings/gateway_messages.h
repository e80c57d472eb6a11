#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// What is sent to a member's JSON gateway, and what it replies. Zero-valued fields are omitted on
// the wire, and 64-bit numbers are strings.

namespace agent {

class MalformedReply : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Why a request or a stream has failed.
struct Failure {
  enum class Kind {
    unreachable,
    timeout,
    authentication,  ///< log in again
    permission,      ///< logging in again does not help
    compacted,
    futureRevision,  ///< the store has not reached the revision that was asked for
    authenticationDisabled,
    noLeader,
    malformed,
    other,
  };
  Kind kind;
  std::string text;
};

struct ReplyHeader {
  std::uint64_t clusterId = 0;
  std::int64_t revision = 0;
};

struct StoredSetting {
  std::string key;
  std::string value;
  std::int64_t revision = 0;  ///< at which it was changed last
};

/// A part of the settings.
struct Page {
  ReplyHeader header;
  std::vector<StoredSetting> settings;
  bool hasMore = false;
  std::int64_t count = 0;  ///< of all settings in the range
};

struct WatchEvent {
  bool isDeletion = false;
  StoredSetting setting;  ///< of a deletion: no value
};

struct WatchMessage {
  ReplyHeader header;
  bool isCreated = false;
  bool isCanceled = false;
  bool isFragment = false;  ///< more of the same change follows
  std::int64_t compactRevision = 0;
  std::string cancelReason;
  std::vector<WatchEvent> events;
  std::optional<Failure> error;  ///< the stream ends; nothing else is set

  bool isProgress() const { return !isCreated && !isCanceled && !error && events.empty(); }
};

/// The outcome of a transaction.
struct TransactionReply {
  ReplyHeader header;
  bool hasSucceeded = false;
};

inline constexpr int kPageSize = 1000;

std::string authenticateRequest(const std::string& user, const std::string& password);
/// @param fromKey  the first key
/// @param revision  the store's revision to read; 0 for the newest
std::string listRequest(const std::string& fromKey, const std::string& prefix,
                        std::int64_t revision);
/// Asks for the number of settings and the one that was changed last.
std::string compareRequest(const std::string& prefix, std::int64_t revision);
std::string watchRequest(const std::string& prefix, std::int64_t startRevision);

/// A write that takes place only if the setting was changed last at `expectedRevision`, 0 for a
/// setting that does not exist.
struct GuardedWrite {
  std::string key;
  std::optional<std::string> value;  ///< nothing deletes
  std::int64_t expectedRevision = 0;
};
std::string transactionRequest(const std::vector<GuardedWrite>& writes);

// All throw MalformedReply.
std::string parseToken(std::string_view body);
Page parsePage(std::string_view body);
WatchMessage parseWatchMessage(std::string_view line);
TransactionReply parseTransaction(std::string_view body);

/// Returns why a request failed, from the reply's status, which is not 200, and its body.
Failure parseFailure(long status, std::string_view body);

/// Returns why a watch was canceled for another reason than a compaction.
Failure cancelFailure(const std::string& reason);

/// Returns the end of the range of keys that begin with `prefix`.
std::string rangeEnd(std::string prefix);

}  // namespace agent
