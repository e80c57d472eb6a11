#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>

#include "database.h"
#include "os/handles.h"

namespace commutil_test {

/// A connection to a PostgreSQL server.
class PostgresqlSession : public Database {
 public:
  /// Fails the test with the reason if it cannot connect.
  explicit PostgresqlSession(const std::string& connectionString);

  Outcome run(const std::string& sql) override;

 private:
  std::unique_ptr<PGconn, commutil::HandleCloser<PGconn, &::PQfinish>> m_connection;
};

}  // namespace commutil_test
