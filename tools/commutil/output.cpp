// Prints the results of every subcommand. Not thread-safe.
#include "output.h"

#include <json/writer.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "bytes/utf8.h"
#include "progress.h"

namespace {

bool jsonFailures = false;

/// Returns the length of the UTF-8 sequence at the front of `text`, which is not empty; 0 if there
/// is none.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [text](std::size_t i) {
    return static_cast<unsigned char>(i < text.size() ? text[i] : '\0');
  };
  return byte(0) < 0x80 ? 1 : commutil::decodeUtf8(byte).bytes;
}

/// Replaces each byte that is not UTF-8 by the character of its number, which JSON writes as
/// \u00XX.
std::string toUtf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length > 0) {
      result.append(text.substr(0, length));
    } else {
      const auto byte = static_cast<unsigned char>(text.front());
      result += static_cast<char>(0xC0 | byte >> 6);
      result += static_cast<char>(0x80 | (byte & 0x3F));
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

/// Returns whether the UTF-8 sequence `text` is a control character or changes the direction of
/// writing (U+061C, U+200E, U+200F, U+2028 to U+202E and U+2066 to U+2069).
bool isControl(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (text.size() == 1) return byte(0) < 0x20 || (byte(0) >= 0x7F && byte(0) < 0xA0);
  if (text.size() == 2) return (byte(0) == 0xC2 && byte(1) < 0xA0) || text == "\xD8\x9C";
  if (text.size() != 3 || byte(0) != 0xE2) return false;
  const unsigned char last = byte(2);
  if (byte(1) == 0x80) return last == 0x8E || last == 0x8F || (last >= 0xA8 && last <= 0xAE);
  return byte(1) == 0x81 && last >= 0xA6 && last <= 0xA9;
}

/// Returns `text` with control characters, except those of `kept`, written as \xXX.
std::string escaped(std::string_view text, std::string_view kept) {
  std::string result;
  while (!text.empty()) {
    const std::string_view character =
        text.substr(0, std::max<std::size_t>(sequenceLength(text), 1));
    text.remove_prefix(character.size());
    if (!isControl(character) || kept.find(character) != std::string_view::npos) {
      result.append(character);
      continue;
    }
    for (const char c : character) {
      std::array<char, 5> escape{};
      std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned char>(c));
      result += escape.data();
    }
  }
  return result;
}

std::string scalarText(const Json::Value& value) {
  if (value.isNull()) return "(not set)";
  if (value.isBool()) return value.asBool() ? "yes" : "no";
  const std::string text = value.asString();
  return text.empty() ? "(empty)" : printable(text);
}

bool isScalar(const Json::Value& value) { return !value.isObject() && !value.isArray(); }

std::size_t widestName(const Json::Value& object) {
  std::size_t width = 0;
  for (auto member = object.begin(); member != object.end(); ++member)
    if (isScalar(*member)) width = std::max(width, member.name().size());
  return width;
}

void writeTree(const Json::Value& tree, std::size_t depth) {
  const std::string indent(2 * depth, ' ');
  if (isScalar(tree)) return printBytes(indent + scalarText(tree) + "\n");
  const std::size_t width = tree.isObject() ? widestName(tree) : 0;
  for (auto member = tree.begin(); member != tree.end(); ++member) {
    const std::string name = tree.isObject() ? printable(member.name()) : "-";
    if (isScalar(*member)) {
      const std::string gap(std::max(width, name.size()) - name.size() + 2, ' ');
      printBytes(indent + name + (tree.isObject() ? gap : " ") + scalarText(*member) + "\n");
    } else {
      printBytes(indent + name + (member->empty() ? " (none)\n" : "\n"));
      writeTree(*member, depth + 1);
    }
  }
}

}  // namespace

Json::Value withUtf8(const Json::Value& value) {
  if (value.isString()) return toUtf8(value.asString());
  Json::Value result = value;
  for (auto member = value.begin(); member != value.end(); ++member) {
    if (value.isObject()) {
      result.removeMember(member.name());
      result[toUtf8(member.name())] = withUtf8(*member);
    } else {
      result[member.index()] = withUtf8(*member);
    }
  }
  return result;
}

std::string printable(std::string_view text) { return escaped(text, ""); }

std::string printableLines(std::string_view text) { return escaped(text, "\n\t"); }

void setJson(bool json) { jsonFailures = json; }

void printBytes(std::string_view bytes) {
  Progress::hide();
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

void printDocument(const Json::Value& document, bool json) {
  if (!json) return writeTree(document, 0);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  Json::Value printed = withUtf8(document);
  printed["schema"] = kSchema;
  printBytes(Json::writeString(builder, printed) + "\n");
}

void printLines(const std::string& text) {
  printBytes(::isatty(STDOUT_FILENO) == 1 ? printableLines(text) : text);
}

void printText(const char* name, const std::string& text, bool json) {
  if (!json) return printLines(text + "\n");
  Json::Value document;
  document[name] = text;
  printDocument(document, json);
}

void complain(const std::string& message) {
  Progress::hide();
  std::fprintf(stderr, "commutil: %s\n", printable(message).c_str());
}

int fail(const std::string& message, int code) {
  return fail(std::vector<std::string>{message}, code);
}

int fail(const std::vector<std::string>& lines, int code) {
  if (!jsonFailures) {
    for (const std::string& line : lines) complain(line);
    return code;
  }
  std::string message;
  for (const std::string& line : lines) message += (message.empty() ? "" : "\n") + line;
  Json::Value document;
  document["error"] = message;
  printDocument(document, true);
  return code;
}
