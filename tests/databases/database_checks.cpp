#include "database_checks.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace commutil_test {
namespace {

using Vexacommon::FUZZY_QUERY_BOTH;
using Vexacommon::FUZZY_QUERY_LEFT;
using Vexacommon::FUZZY_QUERY_NONE;
using Vexacommon::FUZZY_QUERY_RIGHT;
using Vexacommon::FuzzyQueryMode;

const std::vector<std::string> kInjections = {
    "' OR '1'='1",
    "' OR 1=1 --",
    "' OR 1=1 /*",
    "') OR ('1'='1",
    "alice' --",
    "alice' /* ' */",
    "'; DROP TABLE accounts; --",
    "'; DELETE FROM accounts; --",
    "'; UPDATE accounts SET name = 'mallory'; --",
    "'; INSERT INTO accounts VALUES (9, 'mallory', ''); --",
    "'; COMMIT; DROP TABLE accounts; --",
    "';\nDROP TABLE accounts;\n--",
    "'; CREATE TABLE stolen AS SELECT * FROM secrets; --",
    "' UNION SELECT id FROM accounts --",
    "' UNION ALL SELECT 1 FROM secrets WHERE '1'='1",
    "' || (SELECT name FROM accounts WHERE id = 1) || '",
    "' AND 1=(SELECT count(*) FROM secrets) OR '1'='1",
    "\\'; DROP TABLE accounts; --",
    "\\\\'; DROP TABLE accounts; --",
    "\\' OR 1=1 --",
    "''' OR 1=1 --",
    "'\\''; DROP TABLE accounts; --",
    "\u00e9'; DROP TABLE accounts; --",
    "' escape '!' OR '1'='1",
    "' escape '\\' OR 1=1 --",
    "%' OR name LIKE '%",
    "%' escape '\\' OR name LIKE '%",
    "%",
    "_%",
    "%_",
    "___",
    "____%",
    "a%",
    "%li%",
};

std::string selectNamed(const std::string& condition) {
  return "SELECT id FROM accounts WHERE name " + condition;
}

/// Expects `sql` to be one statement that returns no row.
void expectNoRow(Database& database, const std::string& sql) {
  const Outcome outcome = database.run(sql);
  EXPECT_EQ(outcome.error, "") << sql;
  EXPECT_EQ(outcome.statements, std::vector<Rows>{Rows{}}) << sql;
}

/// Returns whether `text` changes what a statement does that does not escape it.
bool isDangerous(Database& database, const std::string& text) {
  const Outcome harmless{{Rows{}}, ""};
  for (const char* wildcard : {"", "%"}) {
    const std::string sql = selectNamed("LIKE '" + (wildcard + text + wildcard) + "'");
    createAttackedTables(database);
    if (database.run(sql) != harmless) return true;
  }
  return false;
}

void expectIsData(Database& database, const std::string& text) {
  const Outcome before = createAttackedTables(database);
  const std::string literal = "'" + VexaCommonUtils::transDBUpdateString(text) + "'";
  expectNoRow(database, "UPDATE accounts SET note = " + literal + " WHERE id = 2");
  expectNoRow(database, selectNamed("= " + literal));
  for (const FuzzyQueryMode mode : kModes) {
    const std::string operand = VexaCommonUtils_i::TransferLikeSql(text, mode);
    expectNoRow(database, selectNamed("LIKE " + operand));
    expectNoRow(database, "DELETE FROM accounts WHERE name LIKE " + operand);
  }
  EXPECT_EQ(attackedContents(database), before);
  const Outcome notes = database.run("SELECT note FROM accounts ORDER BY id");
  EXPECT_EQ(notes.statements, std::vector<Rows>({{{""}, {text}, {""}}}));
}

}  // namespace

void withDatabaseType(const std::string& type, const std::function<void()>& body) {
  const TempDir dir;
  const ScopedEnv conf("APP_CONF_FILE", dir.write("app.json", R"({"databases":{"db":[{"type":")" +
                                                                  type + R"("}]}})"));
  runInChild([&] {
    ASSERT_EQ(VexaCommonUtils::getDBType(), type);
    body();
  });
}

bool isFound(std::string_view row, std::string_view text, FuzzyQueryMode mode) {
  switch (mode) {
    case FUZZY_QUERY_NONE:
      return row == text;
    case FUZZY_QUERY_LEFT:
      return row.ends_with(text);
    case FUZZY_QUERY_RIGHT:
      return row.starts_with(text);
    case FUZZY_QUERY_BOTH:
      return row.find(text) != std::string_view::npos;
  }
  return false;
}

std::vector<std::size_t> foundRows(const Table& rows, std::string_view text, FuzzyQueryMode mode) {
  std::vector<std::size_t> found;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    if (isFound(rows[row], text, mode)) found.push_back(row);
  }
  return found;
}

void load(Database& database, const Table& rows) {
  std::string sql =
      "DROP TABLE IF EXISTS samples; CREATE TABLE samples (id integer, v text); "
      "INSERT INTO samples VALUES ";
  for (std::size_t row = 0; row < rows.size(); ++row) {
    sql += (row == 0 ? "(" : ",(") + std::to_string(row) + ",'" +
           VexaCommonUtils::transDBUpdateString(rows[row]) + "')";
  }
  const Outcome outcome = database.run(sql);
  ASSERT_EQ(outcome.error, "");
  ASSERT_EQ(outcome.statements.size(), 3U);
}

void expectLoaded(Database& database, const Table& rows) {
  const Outcome outcome = database.run("SELECT v FROM samples ORDER BY id");
  ASSERT_EQ(outcome.statements.size(), 1U) << outcome.error;
  Table stored;
  for (const std::vector<std::string>& row : outcome.statements.front())
    stored.push_back(row.at(0));
  EXPECT_EQ(stored, rows);
}

void expectSearchesFind(Database& database, const Table& rows, const Table& texts,
                        const Condition& condition) {
  std::string sql;
  for (const std::string& text : texts) {
    for (const FuzzyQueryMode mode : kModes) {
      sql += "SELECT id FROM samples WHERE " +
             condition(VexaCommonUtils_i::TransferLikeSql(text, mode)) + ";";
    }
  }
  const Outcome outcome = database.run(sql);
  ASSERT_EQ(outcome.error, "");
  ASSERT_EQ(outcome.statements.size(), texts.size() * kModes.size());

  auto statement = outcome.statements.begin();
  for (const std::string& text : texts) {
    for (const FuzzyQueryMode mode : kModes) {
      std::vector<std::size_t> found;
      for (const std::vector<std::string>& row : *statement) found.push_back(std::stoul(row.at(0)));
      ++statement;
      std::sort(found.begin(), found.end());
      ASSERT_EQ(found, foundRows(rows, text, mode)) << "mode " << mode << ", '" << text << "'";
    }
  }
}

Outcome createAttackedTables(Database& database) {
  const Outcome created = database.run(
      "DROP TABLE IF EXISTS accounts; DROP TABLE IF EXISTS secrets; DROP TABLE IF EXISTS stolen;"
      "CREATE TABLE accounts (id integer, name text, note text);"
      "CREATE TABLE secrets (secret text);"
      "INSERT INTO accounts VALUES (1, 'alice', ''), (2, 'bob', ''), (3, 'carol', '');"
      "INSERT INTO secrets VALUES ('swordfish')");
  EXPECT_EQ(created.error, "");
  return attackedContents(database);
}

Outcome attackedContents(Database& database) {
  return database.run("SELECT id, name FROM accounts ORDER BY id; SELECT secret FROM secrets");
}

void expectInjectionsAreData(Database& database) {
  for (const std::string& text : kInjections) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(isDangerous(database, text));
    expectIsData(database, text);
  }
}

}  // namespace commutil_test
