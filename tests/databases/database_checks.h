#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "VexaCommonTypes.h"
#include "database.h"
#include "sample_texts.h"

// Checks of query text on any database.

namespace commutil_test {

inline constexpr std::array kModes = {Vexacommon::FUZZY_QUERY_NONE, Vexacommon::FUZZY_QUERY_LEFT,
                                      Vexacommon::FUZZY_QUERY_RIGHT, Vexacommon::FUZZY_QUERY_BOTH};

/// Runs `body` in its own process with the database type `type`.
void withDatabaseType(const std::string& type, const std::function<void()>& body);

/// Returns whether a search for `text` finds `row`, by comparing strings.
bool isFound(std::string_view row, std::string_view text, Vexacommon::FuzzyQueryMode mode);

/// Returns the indexes of the rows that a search for `text` finds.
std::vector<std::size_t> foundRows(const Table& rows, std::string_view text,
                                   Vexacommon::FuzzyQueryMode mode);

/// Creates the table "samples" with `rows`, written as literals.
void load(Database& database, const Table& rows);

/// Expects the rows of the table "samples" to be `rows`.
void expectLoaded(Database& database, const Table& rows);

/// Returns the condition that a row of "samples" matches an operand.
using Condition = std::function<std::string(const std::string& operand)>;

/// Expects the condition on the operand of each text in each mode to select the rows that comparing
/// strings finds.
void expectSearchesFind(Database& database, const Table& rows, const Table& texts,
                        const Condition& condition);

/// Expects injected SQL to be data: in literals, and in LIKE operands with an ESCAPE clause.
void expectInjectionsAreData(Database& database);

/// Creates the tables that injected SQL attacks; returns what `attackedContents` reads.
Outcome createAttackedTables(Database& database);

/// Returns everything that is in these tables, except the column "note".
Outcome attackedContents(Database& database);

}  // namespace commutil_test
