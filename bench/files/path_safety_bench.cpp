// Checks and mappings of names against one pass over a table of bytes.
#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"

namespace {

constexpr std::string_view kSpecials = "\\/:*?\"<>|^";
constexpr std::string_view kLetters = "abcdefghi^";
constexpr std::string_view kUnsafe = "/\\:*?\"'<>|`;&$\n";

using Table = std::array<char, 256>;

Table tableOf(std::string_view bytes, std::string_view values) {
  Table table = {};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    table[static_cast<unsigned char>(bytes[i])] = values[i];
  }
  return table;
}

const Table kLetterOf = tableOf(kSpecials, kLetters);
const Table kSpecialOf = tableOf(kLetters, kSpecials);
const Table kIsUnsafe = tableOf(kUnsafe, kUnsafe);

char in(const Table& table, char byte) { return table[static_cast<unsigned char>(byte)]; }

std::string escapeByTable(const std::string& name) {
  std::string result;
  result.reserve(2 * name.size());
  for (const char byte : name) {
    if (const char letter = in(kLetterOf, byte); letter != '\0') {
      result += '^';
      result += letter;
    } else {
      result += byte;
    }
  }
  return result;
}

std::string unescapeByTable(const std::string& name) {
  std::string result;
  result.reserve(name.size());
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char special = name[i] == '^' ? in(kSpecialOf, name[i + 1]) : '\0';
    result += special != '\0' ? special : name[i];
    i += special != '\0' ? 1 : 0;
  }
  return result;
}

bool isSafeByTable(const std::string& name) {
  for (const char byte : name) {
    if (in(kIsUnsafe, byte) != '\0') return false;
  }
  return true;
}

/// One pass that finds dot components and compares with the base.
bool checkByTable(const std::string& path, const std::string& base) {
  static const Table kSlashed = [] {
    Table table = {};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<char>(i);
    table[static_cast<unsigned char>('\\')] = '/';
    return table;
  }();
  std::size_t dots = 0;
  std::size_t length = 0;
  std::size_t same = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char byte = in(kSlashed, path[i]);
    if (same == i && i < base.size() && byte == in(kSlashed, base[i])) ++same;
    if (byte == '/') {
      if (length > 0 && length == dots && dots <= 2) return false;
      dots = length = 0;
    } else {
      dots += byte == '.' ? 1 : 0;
      ++length;
    }
  }
  if (length > 0 && length == dots && dots <= 2) return false;
  return same == base.size() && (path.size() == same || in(kSlashed, path[same]) == '/');
}

/// A string of `size` bytes with `special` at every `step`, or nowhere for 0.
std::string text(std::size_t size, std::size_t step, std::string_view special) {
  std::string result(size, 'x');
  for (std::size_t i = step; step != 0 && i + special.size() <= size; i += step) {
    result.replace(i, special.size(), special);
  }
  return result;
}

template <class Operation>
void add(const std::string& name, std::size_t size, Operation operation) {
  commutil_bench::addSized(name, size, [operation](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(operation());
  });
}

void addMapping(std::size_t size, const char* label, std::size_t step) {
  const std::string group = "/" + std::to_string(size) + " B, " + label + "/";
  const auto name = std::make_shared<const std::string>(text(size, step, ":"));
  add("specialName2FileName" + group + "ours", size,
      [name] { return VexaCommonUtils::specialName2FileName(*name); });
  add("specialName2FileName" + group + "table", size, [name] { return escapeByTable(*name); });
  add("specialName2FileName" + group + "limit:copy", size, [name] { return std::string(*name); });
  const auto fileName = std::make_shared<const std::string>(text(size, step, "^c"));
  add("fileName2SpecialName" + group + "ours", size,
      [fileName] { return VexaCommonUtils::fileName2SpecialName(*fileName); });
  add("fileName2SpecialName" + group + "table", size,
      [fileName] { return unescapeByTable(*fileName); });
  add("fileName2SpecialName" + group + "limit:copy", size,
      [fileName] { return std::string(*fileName); });
}

const bool kRegistered = [] {
  for (const std::size_t size : {16U, 64U, 1024U, 65536U, 1U << 20U, 64U << 20U}) {
    addMapping(size, "clean", 0);
    addMapping(size, "one in 16", 16);
    if (size > 16) addMapping(size, "one in 2", 2);
    const auto name = std::make_shared<const std::string>(text(size, 0, ""));
    const std::string group = "isSafeFileName/" + std::to_string(size) + " B/";
    add(group + "ours", size, [name] { return VexaCommonUtils_i::isSafeFileName(*name); });
    add(group + "table", size, [name] { return isSafeByTable(*name); });
  }
  for (const std::size_t size : {24U, 200U, 1024U}) {
    const std::string base = "/opt/app";
    const std::string path = base + text(size - base.size(), 9, "/");
    const std::string dots = base + text(size - base.size(), 3, "/.");
    const std::string group = "checkPath/" + std::to_string(size) + " B";
    add(group + "/ours", size, [=] { return VexaCommonUtils::checkPath(path, base); });
    add(group + "/table", size, [=] { return checkByTable(path, base); });
    add(group + ", dots/ours", size, [=] { return VexaCommonUtils::checkPath(dots, base); });
    add(group + ", dots/table", size, [=] { return checkByTable(dots, base); });
  }
  return true;
}();

}  // namespace
