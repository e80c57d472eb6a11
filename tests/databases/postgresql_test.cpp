#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "database_checks.h"
#include "postgresql_server.h"
#include "postgresql_session.h"

namespace {

using commutil_test::Outcome;
using commutil_test::PostgresqlServer;
using commutil_test::PostgresqlSession;
using commutil_test::sampleTables;
using commutil_test::Table;
using commutil_test::withDatabaseType;

class PostgreSql : public testing::Test {
 protected:
  static void SetUpTestSuite() { server = std::make_unique<PostgresqlServer>(SERVERS); }
  static void TearDownTestSuite() { server.reset(); }

  void SetUp() override { ASSERT_TRUE(server->isReady()); }

  static std::unique_ptr<PostgresqlServer> server;
};

std::unique_ptr<PostgresqlServer> PostgreSql::server;

std::string like(const std::string& operand) { return "v LIKE " + operand; }

// SIMILAR TO knows sets. An empty ESCAPE clause makes a backslash an ordinary character.
std::string similarTo(const std::string& operand) {
  return "v SIMILAR TO " + operand + " ESCAPE ''";
}

// Returns whether SIMILAR TO reads the pattern for `text` differently from the dialect with sets:
// it has operators that the dialect lacks, and a bracket inside a set opens a nested class.
bool isReadDifferently(const std::string& text) {
  return text.find_first_of("|*+?{}()[") != std::string::npos;
}

TEST_F(PostgreSql, ReturnsLiteralsUnchanged) {
  PostgresqlSession session(server->connectionString());
  for (const Table& rows : sampleTables()) {
    ASSERT_NO_FATAL_FAILURE(load(session, rows));
    ASSERT_NO_FATAL_FAILURE(expectLoaded(session, rows));
  }
}

TEST_F(PostgreSql, FindsEqualRows) {
  withDatabaseType("oracle", [] {
    PostgresqlSession session(server->connectionString());
    for (const Table& rows : sampleTables()) {
      ASSERT_NO_FATAL_FAILURE(load(session, rows));
      ASSERT_NO_FATAL_FAILURE(expectSearchesFind(session, rows, rows, like));
    }
  });
}

TEST_F(PostgreSql, FindsEqualRowsForTheOtherTypeOfTheFamily) {
  withDatabaseType("Tessarn", [] {
    PostgresqlSession session(server->connectionString());
    const Table rows = sampleTables().front();
    ASSERT_NO_FATAL_FAILURE(load(session, rows));
    ASSERT_NO_FATAL_FAILURE(expectSearchesFind(session, rows, rows, like));
  });
}

TEST_F(PostgreSql, FindsEqualRowsByBrackets) {
  withDatabaseType("sybase", [] {
    PostgresqlSession session(server->connectionString());
    const std::vector<Table> tables = sampleTables();
    // A third of them, because the server compiles each pattern to a regular expression.
    for (std::size_t table = 0; table < tables.size(); table += 3) {
      const Table& rows = tables[table];
      Table texts;
      std::remove_copy_if(rows.begin(), rows.end(), std::back_inserter(texts), isReadDifferently);
      ASSERT_NO_FATAL_FAILURE(load(session, rows));
      ASSERT_NO_FATAL_FAILURE(expectSearchesFind(session, rows, texts, similarTo));
    }
  });
}

TEST_F(PostgreSql, TakesInjectedSqlForData) {
  withDatabaseType("oracle", [] {
    PostgresqlSession session(server->connectionString());
    expectInjectionsAreData(session);
  });
}

// A byte that starts a multibyte character does not take the quote after it along.
TEST_F(PostgreSql, TakesInjectedSqlForDataInOtherEncodings) {
  PostgresqlSession session(server->connectionString());
  for (const std::string encoding : {"UTF8", "GBK", "BIG5", "SJIS"}) {
    ASSERT_EQ(session.run("SET client_encoding = '" + encoding + "'").error, "");
    const Outcome before = createAttackedTables(session);
    for (int lead = 0x80; lead <= 0xFF; ++lead) {
      SCOPED_TRACE(encoding + " " + std::to_string(lead));
      const std::string text = static_cast<char>(lead) + std::string("'; DROP TABLE accounts; --");
      const Outcome outcome =
          session.run("UPDATE accounts SET note = '" + VexaCommonUtils::transDBUpdateString(text) +
                      "' WHERE id = 2");
      EXPECT_NE(outcome.error.empty(), outcome.statements.empty());
      EXPECT_EQ(attackedContents(session), before);
    }
  }
}

}  // namespace
