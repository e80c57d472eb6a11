#pragma once

#include <json/value.h>

#include <string>
#include <string_view>
#include <vector>

// How results are printed: as plain text for people, or as one JSON document for programs.

/// The version of the JSON documents: the member "schema" of each. commutil-json(5) describes them,
/// commutil.schema.json defines them.
inline constexpr int kSchema = 1;

/// Chooses how failures are printed. Called once, before anything is printed.
void setJson(bool json);

/// Writes the bytes to standard output as they are. main() checks once, at the end, that they were
/// written.
void printBytes(std::string_view bytes);

/// Prints a document: as JSON with the member "schema", or as indented names and values in which
/// control characters are written as \xXX.
void printDocument(const Json::Value& document, bool json);

/// Returns `value` with each byte that is not UTF-8 as the character of its number.
Json::Value withUtf8(const Json::Value& value);

/// Returns `text` with each byte of a control character, or of one that changes the direction of
/// writing, as \xXX: what a terminal or the reader of a log could take for something else.
std::string printable(std::string_view text);

/// The same for a text of several lines, with its line ends and tabs.
std::string printableLines(std::string_view text);

/// Prints one text as the member `name` of a JSON document, or with a line end: byte for byte,
/// unless a terminal would obey what is in it.
void printText(const char* name, const std::string& text, bool json);

/// Prints lines of a text for people, or byte for byte if it goes to another program.
void printLines(const std::string& text);

/// Prints a message of one line on standard error.
void complain(const std::string& message);

/// Prints why a subcommand failed: on standard error, or as the JSON document on standard output.
/// Nothing else is printed before or after. Returns `code`.
int fail(const std::string& message, int code = 1);
int fail(const std::vector<std::string>& lines, int code = 1);
