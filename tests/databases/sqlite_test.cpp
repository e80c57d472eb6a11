#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>

#include "database_checks.h"
#include "os/handles.h"

namespace {

using commutil::HandleCloser;
using commutil_test::Outcome;
using commutil_test::Rows;
using commutil_test::sampleTables;
using commutil_test::Table;

using Connection = std::unique_ptr<sqlite3, HandleCloser<sqlite3, &::sqlite3_close>>;
using Statement = std::unique_ptr<sqlite3_stmt, HandleCloser<sqlite3_stmt, &::sqlite3_finalize>>;

Connection openInMemory() {
  sqlite3* connection = nullptr;
  EXPECT_EQ(::sqlite3_open(":memory:", &connection), SQLITE_OK);
  return Connection(connection);
}

class Sqlite : public commutil_test::Database {
 public:
  Sqlite() { EXPECT_EQ(run("PRAGMA case_sensitive_like=ON").error, ""); }

  Outcome run(const std::string& sql) override {
    Outcome outcome;
    const char* rest = sql.c_str();
    while (*rest != '\0' && outcome.error.empty()) runFirst(rest, outcome);
    return outcome;
  }

 private:
  // Executes the first statement of `sql` and advances to the next one.
  void runFirst(const char*& sql, Outcome& outcome) {
    sqlite3_stmt* prepared = nullptr;
    int status = ::sqlite3_prepare_v2(m_connection.get(), sql, -1, &prepared, &sql);
    const Statement statement(prepared);
    if (status == SQLITE_OK && !statement) return;  // only spaces or comments
    Rows rows;
    while (status == SQLITE_OK || status == SQLITE_ROW) {
      status = ::sqlite3_step(statement.get());
      if (status == SQLITE_ROW) rows.push_back(currentRow(statement.get()));
    }
    if (status == SQLITE_DONE) {
      outcome.statements.push_back(std::move(rows));
    } else {
      outcome.error = ::sqlite3_errmsg(m_connection.get());
    }
  }

  static std::vector<std::string> currentRow(sqlite3_stmt* statement) {
    std::vector<std::string> row;
    for (int column = 0; column < ::sqlite3_column_count(statement); ++column) {
      const void* const value = ::sqlite3_column_blob(statement, column);
      const int size = ::sqlite3_column_bytes(statement, column);
      row.emplace_back(static_cast<const char*>(value), static_cast<std::size_t>(size));
    }
    return row;
  }

  Connection m_connection = openInMemory();
};

TEST(Sqlite, ReturnsLiteralsUnchanged) {
  Sqlite database;
  for (const Table& rows : sampleTables()) {
    ASSERT_NO_FATAL_FAILURE(load(database, rows));
    ASSERT_NO_FATAL_FAILURE(expectLoaded(database, rows));
  }
}

TEST(Sqlite, ReturnsLiteralsOfAnyBytesUnchanged) {
  Sqlite database;
  Table rows;
  for (int byte = 1; byte < 256; ++byte) {
    rows.emplace_back(1, static_cast<char>(byte));
    rows.push_back(rows.back() + "'; --");
  }
  ASSERT_NO_FATAL_FAILURE(load(database, rows));
  expectLoaded(database, rows);
}

TEST(Sqlite, FindsEqualRows) {
  commutil_test::withDatabaseType("oracle", [] {
    Sqlite database;
    for (const Table& rows : sampleTables()) {
      ASSERT_NO_FATAL_FAILURE(load(database, rows));
      ASSERT_NO_FATAL_FAILURE(expectSearchesFind(
          database, rows, rows, [](const std::string& operand) { return "v LIKE " + operand; }));
    }
  });
}

TEST(Sqlite, TakesInjectedSqlForData) {
  commutil_test::withDatabaseType("oracle", [] {
    Sqlite database;
    expectInjectionsAreData(database);
  });
}

}  // namespace
