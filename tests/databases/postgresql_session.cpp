#include "postgresql_session.h"

#include <gtest/gtest.h>

namespace commutil_test {
namespace {

using Result = std::unique_ptr<PGresult, commutil::HandleCloser<PGresult, &::PQclear>>;

Rows rowsOf(const PGresult* result) {
  Rows rows(static_cast<std::size_t>(::PQntuples(result)));
  for (int row = 0; row < ::PQntuples(result); ++row) {
    for (int column = 0; column < ::PQnfields(result); ++column) {
      rows[static_cast<std::size_t>(row)].emplace_back(
          ::PQgetvalue(result, row, column),
          static_cast<std::size_t>(::PQgetlength(result, row, column)));
    }
  }
  return rows;
}

}  // namespace

PostgresqlSession::PostgresqlSession(const std::string& connectionString)
    : m_connection(::PQconnectdb(connectionString.c_str())) {
  EXPECT_EQ(::PQstatus(m_connection.get()), CONNECTION_OK) << ::PQerrorMessage(m_connection.get());
  run("SET client_min_messages = error");
}

Outcome PostgresqlSession::run(const std::string& sql) {
  Outcome outcome;
  if (::PQsendQuery(m_connection.get(), sql.c_str()) != 1) {
    outcome.error = ::PQerrorMessage(m_connection.get());
    return outcome;
  }
  while (const Result result{::PQgetResult(m_connection.get())}) {
    const ExecStatusType status = ::PQresultStatus(result.get());
    if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) {
      outcome.statements.push_back(rowsOf(result.get()));
    } else {
      outcome.error = ::PQresultErrorMessage(result.get());
    }
  }
  return outcome;
}

}  // namespace commutil_test
