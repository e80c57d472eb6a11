#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/fixtures.h"

namespace commutil_test {

/// A PostgreSQL server with an empty database, in a directory of its own, reachable only through a
/// Unix socket there. Runs as an unprivileged user, ends with its owner or this process, and leaves
/// nothing behind.
class PostgresqlServer {
 public:
  /// Starts the programs of the packages that are unpacked in `packages`. Fails the test with the
  /// reason if they cannot be started.
  explicit PostgresqlServer(const std::filesystem::path& packages);
  ~PostgresqlServer();
  PostgresqlServer(const PostgresqlServer&) = delete;
  PostgresqlServer& operator=(const PostgresqlServer&) = delete;

  bool isReady() const { return m_isReady; }
  /// What PQconnectdb takes.
  std::string connectionString() const;

 private:
  using Arguments = std::vector<std::string>;

  bool createCluster() const;
  pid_t start(const std::string& program, const Arguments& arguments) const;
  [[noreturn]] void execute(const std::string& program, const Arguments& arguments) const;
  bool waitUntilReady(int notifications) const;
  void fail(const std::string& what) const;

  TempDir m_dir;
  std::filesystem::path m_packages;
  std::filesystem::path m_programs;  // as the server's user sees them
  pid_t m_server = -1;
  bool m_isReady = false;
};

}  // namespace commutil_test
