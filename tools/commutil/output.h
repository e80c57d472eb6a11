#pragma once

#include <json/value.h>

#include <string>
#include <string_view>
#include <vector>

// How results are printed: as plain text for people, or as one JSON document for programs.

/// The version of the JSON documents: the member "schema" of each. commutil-json(5) describes them,
/// commutil.schema.json defines them.
inline constexpr int kSchema = 1;

/// Selects how failures are printed. Called once, before anything is printed.
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
/// writing, as \xXX: these could deceive a terminal or the reader of a log.
std::string printable(std::string_view text);

/// The same for several lines; keeps line ends and tabs.
std::string printableLines(std::string_view text);

/// Prints one string as the member `name` of a JSON document, or with a line end: byte for byte,
/// except that on a terminal control characters are escaped.
void printText(const char* name, const std::string& text, bool json);

/// Prints lines: byte for byte to another program, with control characters escaped on a terminal.
void printLines(const std::string& text);

/// Prints a one-line message on standard error.
void complain(const std::string& message);

/// Prints why a subcommand failed: on standard error, or as the JSON document on standard output.
/// Nothing else is printed before or after. Returns `code`.
int fail(const std::string& message, int code = 1);
int fail(const std::vector<std::string>& lines, int code = 1);
