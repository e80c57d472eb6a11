#include "models/tool_models.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "support/input.h"
#include "text/strings_model.h"

namespace commutil_fuzz {
namespace {

/// Splits `output` after line feeds and after at most `longest` bytes.
std::list<std::string> pieces(const std::string& output, std::size_t longest) {
  std::list<std::string> result;
  for (std::size_t at = 0; at < output.size();) {
    const std::size_t lineFeed = output.find('\n', at);
    const std::size_t end = lineFeed == std::string::npos ? output.size() : lineFeed + 1;
    const std::size_t length = std::min(end - at, longest);
    result.push_back(output.substr(at, length));
    at += length;
  }
  return result;
}

}  // namespace

std::string modelOutput(const std::string& output) {
  std::string kept;
  for (const std::string& piece : pieces(output, 127)) kept += upToNul(piece);
  return kept;
}

std::list<std::string> modelLines(const std::string& output, std::size_t size) {
  std::list<std::string> lines;
  for (const std::string& piece : pieces(output, size - 1)) lines.push_back(upToNul(piece));
  return lines;
}

std::optional<MacBytes> modelMacBytes(const std::string& text) {
  const std::list<std::string> fields = commutil_test::modelSplit(text, ":");
  MacBytes bytes{};
  if (fields.size() != bytes.size()) return std::nullopt;
  std::transform(fields.begin(), fields.end(), bytes.begin(), [](const std::string& field) {
    return static_cast<unsigned char>(std::strtol(field.c_str(), nullptr, 16));
  });
  return bytes;
}

std::optional<MacBytes> modelEther(const std::string& line) {
  const std::size_t word = line.find("ether");
  if (word == std::string::npos) return modelMacBytes(line);
  if (word + 6 > line.size()) return std::nullopt;
  return modelMacBytes(line.substr(word + 6));
}

std::optional<MacBytes> modelZirelEther(const std::string& line) {
  const std::list<std::string> fields = commutil_test::modelSplit(line, " ");
  for (auto field = fields.begin(); field != fields.end(); ++field) {
    if (*field == "ether" && std::next(field) != fields.end())
      return modelMacBytes(*std::next(field));
  }
  return std::nullopt;
}

}  // namespace commutil_fuzz
