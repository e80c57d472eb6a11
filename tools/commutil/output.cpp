// Prints the results of every subcommand. For one thread.
#include "output.h"

#include <json/writer.h>

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

/// Makes each byte that is not UTF-8 the character of its number, which JSON writes as \u00XX.
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
    const std::string name = tree.isObject() ? member.name() : "-";
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

std::string printable(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    std::array<char, 5> escape{};
    std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
    byte < 0x20 || byte == 0x7F ? result += escape.data() : result += c;
  }
  return result;
}

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

void printText(const char* name, const std::string& text, bool json) {
  if (!json) return printBytes(text + "\n");
  Json::Value document;
  document[name] = text;
  printDocument(document, json);
}

void complain(const std::string& message) {
  Progress::hide();
  std::fprintf(stderr, "commutil: %s\n", message.c_str());
}

int fail(const std::string& message, int code) {
  if (!jsonFailures) {
    complain(message);
    return code;
  }
  Json::Value document;
  document["error"] = message;
  printDocument(document, true);
  return code;
}
