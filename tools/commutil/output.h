#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

// How results are printed: as plain text for people, or as one JSON document for programs.

/// Writes the bytes to standard output as they are. Whether they arrive is asked once, at the end.
void printBytes(std::string_view bytes);

/// Prints a document: as JSON, or as indented names and values in which control characters are
/// written as \xXX.
void printDocument(const Json::Value& document, bool json);

/// Returns `value` with each byte that is not UTF-8 as the character of its number.
Json::Value withUtf8(const Json::Value& value);

/// Prints one text as the member `name` of a JSON document, or byte for byte with a line end.
void printText(const char* name, const std::string& text, bool json);

/// Says on standard error why a subcommand failed.
void complain(const std::string& message);
