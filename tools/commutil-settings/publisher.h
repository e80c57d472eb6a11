#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace agent {

/// A relay's directory: snapshots, and `current`, which is replaced after the snapshot that it
/// names is in place. Another process may raise the epoch at the same time.
class Publisher {
 public:
  /// @param keep  how many snapshots stay: hosts may be fetching the one before
  Publisher(std::string directory, std::size_t keep)
      : m_directory(std::move(directory)), m_keep(keep) {}

  /// Publishes the bytes of a snapshot unless they are published already.
  /// @throws std::runtime_error
  void publish(std::string_view bytes, std::int64_t revision) const;

  /// Raises the epoch by 1, so that hosts take a lower revision. Returns the new epoch.
  /// @throws std::runtime_error
  std::int64_t raiseEpoch() const;

 private:
  void prune(const std::string& current) const;

  std::string m_directory;
  std::size_t m_keep;
};

}  // namespace agent
