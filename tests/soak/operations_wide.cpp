// The wide streams with their operators, and wide printing.
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <type_traits>

#include "VexaWideIO.h"
#include "soak/operations.h"
#include "support/fixtures.h"

namespace commutil_soak {
namespace {

using Text = std::string;
using Wide = std::wstring;

constexpr int kRead = 8;
constexpr int kWrite = 16;
constexpr std::size_t kMost = 200;

/// A line that the locale can express, wide and in the locale's encoding.
struct Line {
  Wide wide;
  Text bytes;

  Line(Random& random, bool utf8) {
    for (std::size_t left = random.below(kMost); left > 0; --left) {
      if (utf8 && random.once(4)) {
        wide += L'\u20ac';
        bytes += "\u20ac";
      } else {
        wide += L'a';
        bytes += 'a';
      }
    }
  }
};

/// Returns the string in an array.
template <class Character>
std::basic_string<Character> upToNul(const std::basic_string<Character>& array) {
  return array.substr(0, array.find(Character{}));
}

/// Names the members of a class: "Vexawifstream::open".
std::vector<Text> members(const Text& of, const std::vector<Text>& names) {
  std::vector<Text> all;
  all.reserve(names.size());
  for (const Text& name : names) all.push_back(of + "::" + name);
  return all;
}

/// Adds the names of the operators of a class: "operator<<(Vexawofstream&, int)".
void addOperators(std::vector<Text>& names, const char* symbol, const Text& of,
                  const std::vector<Text>& types) {
  for (const Text& type : types) {
    names.push_back(Text("operator") + symbol + "(" + of + "&, " + type + ")");
  }
}

template <class Writer>
Outcome writeWide(Caller& caller) {
  const Line line(caller.random, caller.surroundings().utf8);
  const Text path = caller.directory + "/wide";
  Text expected = "a" + line.bytes + "\n" + line.bytes + "a\n";
  {
    Writer stream;
    stream.open(path.c_str(), kWrite);
    if (stream.fail() != 0 || stream.eof() != 0) return Outcome::wrong;
    stream.put(L'a');
    stream.put(line.wide.c_str());
    stream << L'\n' << line.wide.c_str() << L'a' << L'\n';
    if constexpr (std::is_same_v<Writer, Vexawofstream>) {
      stream << wends;
      stream << wflush;
      stream << wendl;
      expected += Text(1, '\0') + "\n";
      if (!stream.isValid()) return Outcome::wrong;
    }
    if (caller.random.once(2)) stream.close();
  }
  return caller.equal(commutil_test::readFile(path), expected);
}

/// Reads the line with each member that reads lines of wide text.
template <class Reader>
Outcome readLines(Caller& caller, Reader& stream, const Wide& line) {
  Wide buffer(4098, L'\0');
  const auto same = [&](const Wide& expected) {
    const Outcome outcome = caller.equal(upToNul(buffer), expected);
    buffer.assign(buffer.size(), L'\0');
    stream.fseekg(0);
    return outcome;
  };
  stream.get(buffer.data(), kMost + 10);
  Outcome outcome = same(line);
  stream.get(buffer.data(), kMost + 10, L'z');
  outcome = both(outcome, same(line));
  stream.getline(buffer.data(), kMost + 10);
  outcome = both(outcome, same(line + L"\n"));
  stream.getline(buffer.data(), kMost + 10, L'\n');
  outcome = both(outcome, caller.holds(upToNul(buffer).substr(0, line.size()) == line));
  buffer.assign(buffer.size(), L'\0');
  stream.fseekg(0);
  stream >> buffer.data();
  return both(outcome, same(line));
}

template <class Reader>
Outcome readWide(Caller& caller) {
  const Line line(caller.random, caller.surroundings().utf8);
  const Text path = caller.directory + "/lines";
  commutil_test::writeFile(path, line.bytes + "\nbcd");
  Reader stream;
  stream.open(path.c_str(), kRead);
  if (stream.fail() != 0 || stream.eof() != 0) return Outcome::wrong;
  if constexpr (std::is_same_v<Reader, Vexawifstream>) {
    if (!stream.isValid()) return Outcome::wrong;
  }
  const Outcome lines = readLines(caller, stream, line.wide);
  for (std::size_t i = 0; i <= line.wide.size(); ++i) stream.get();
  const bool there = stream.ftellg() == static_cast<long>(line.bytes.size()) + 1;
  wchar_t first = L'?';
  wchar_t second = L'?';
  stream.get(first);
  stream >> second;
  const bool rest = stream.get() == L'd' && stream.get() == WEOF && stream.eof() != 0;
  if (caller.random.once(2)) stream.close();
  return both(lines, caller.holds(there && first == L'b' && second == L'c' && rest));
}

template <class Writer>
Outcome writeBytes(Caller& caller) {
  const Text word = caller.random.word(50);
  const auto number = static_cast<short>(caller.random.below(30000));
  const Text path = caller.directory + "/bytes";
  {
    Writer stream;
    stream.open(path.c_str(), kWrite);
    stream.put('a');
    stream.put(word.c_str());
    stream.write(word.data(), 1, word.size());
    stream << word.c_str() << ' ' << int{number} << static_cast<unsigned>(number) << number
           << static_cast<unsigned short>(number) << long{number}
           << static_cast<unsigned long>(number) << 0.5F << 0.25;
  }
  Text expected = "a" + word + word + word + " ";
  for (int i = 0; i < 6; ++i) expected += std::to_string(number);
  return caller.equal(commutil_test::readFile(path), expected + "0.5000000.250000");
}

template <class Value, class Reader>
bool reads(Reader& stream, double expected) {
  Value value{};
  stream >> value;
  return static_cast<double>(value) == expected;
}

template <class Reader>
bool readsNumbers(Reader& stream, double number) {
  return reads<int>(stream, number) && reads<short>(stream, number) &&
         reads<long>(stream, number) && reads<unsigned>(stream, number) &&
         reads<unsigned short>(stream, number) && reads<unsigned long>(stream, number) &&
         reads<float>(stream, number + 0.5) && reads<double>(stream, number + 0.25);
}

template <class Reader>
Outcome readBytes(Caller& caller) {
  const Text word = caller.random.word(50);
  const Text number = std::to_string(caller.random.below(30000));
  const Text path = caller.directory + "/numbers";
  Text content;
  for (int i = 0; i < 6; ++i) content += number + "\n";
  content += number + ".5\n" + number + ".25\n" + number + "\n" + number + ".5\n";
  for (int i = 0; i < 3; ++i) content += word + "\n";
  commutil_test::writeFile(path, content + "bcdefgh");
  Reader stream;
  stream.open(path.c_str(), kRead);
  const double value = std::stod(number);
  const bool numbers = readsNumbers(stream, value) && static_cast<double>(stream.getn()) == value &&
                       stream.getd() == value + 0.5;
  Text lines[3];
  for (Text& line : lines) line.assign(4098, '\0');
  stream.get(lines[0].data(), 100);
  stream.get(lines[1].data(), 100, '#');
  stream >> lines[2].data();
  Outcome outcome = caller.holds(numbers);
  for (const Text& line : lines) outcome = both(outcome, caller.equal(upToNul(line), word));
  char skipped = '?';
  char next = '?';
  stream >> skipped;
  stream.get(next);
  char rest[6] = "";
  const std::size_t count = stream.read(rest, 1, 5);
  return both(outcome, caller.holds(next == 'c' && count == 5 && Text(rest) == "defgh"));
}

const std::vector<Text> kInserted{"int",         "unsigned int",  "short", "unsigned short",
                                  "long",        "unsigned long", "float", "double",
                                  "char const*", "char"};
const std::vector<Text> kExtracted{"int&",  "unsigned int&",  "short&", "unsigned short&",
                                   "long&", "unsigned long&", "float&", "double&",
                                   "char*"};

template <class Writer>
void addWriter(Operations& all, const Text& of) {
  std::vector<Text> names = members(
      of, {of, "~" + of, "open", "close", "eof", "fail", "put(wchar_t)", "put(wchar_t const*)"});
  addOperators(names, "<<", of, {"wchar_t const*", "wchar_t"});
  if (of == "Vexawofstream") {
    names.insert(names.end(), {"wendl", "wends", "wflush", of + "::isValid"});
  }
  all.push_back({names, Cost::files, writeWide<Writer>});
  names = members(of, {"put(char)", "put(char const*)", "write"});
  addOperators(names, "<<", of, kInserted);
  all.push_back({names, Cost::files, writeBytes<Writer>});
}

template <class Reader>
void addReader(Operations& all, const Text& of) {
  const bool combined = of == "Vexawfstream";
  std::vector<Text> names = members(
      of, {of, "~" + of, "open", "close", "eof", "fail", "get()", "get(wchar_t&)",
           "get(wchar_t*, unsigned long)", "get(wchar_t*, unsigned long, unsigned int)",
           "getline(wchar_t*, unsigned long)", "getline(wchar_t*, unsigned long, unsigned int)"});
  addOperators(names, ">>", of, {"wchar_t*", "wchar_t&"});
  if (!combined) names.insert(names.end(), {of + "::isValid", of + "::fseekg", of + "::ftellg"});
  all.push_back({names, Cost::files, readWide<Reader>});
  names = members(
      of, {"get(char&)", "get(char*, unsigned long)", "get(char*, unsigned long, int)", "read"});
  addOperators(names, ">>", of, kExtracted);
  addOperators(names, ">>", of, {combined ? "char" : "char&"});
  if (!combined) names.insert(names.end(), {of + "::getn", of + "::getd"});
  all.push_back({names, Cost::files, readBytes<Reader>});
}

void format(wchar_t* buffer, const wchar_t* layout, ...) {
  std::va_list arguments;
  va_start(arguments, layout);
  Vexavswprintf(buffer, layout, arguments);
  va_end(arguments);
}

Outcome printWide(Caller& caller) {
  const Line line(caller.random, caller.surroundings().utf8);
  const int number = static_cast<int>(caller.random.below(1000));
  const Wide expected = std::to_wstring(number) + L" of " + line.wide;
  Wide buffer(4096, L'\0');
  format(buffer.data(), L"%d of %ls", number, line.wide.c_str());
  Outcome outcome = caller.equal(upToNul(buffer), expected);
  Vexaswprintf(buffer.data(), L"%ls, %d", L"text", number);
  outcome = both(outcome, caller.equal(upToNul(buffer), L"text, " + std::to_wstring(number)));
  const Text path = caller.directory + "/printed";
  std::FILE* const file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return Outcome::wrong;
  Vexafwprintf(file, buffer.data(), L"%d of %ls", number, line.wide.c_str());
  std::fclose(file);
  return both(outcome, caller.equal(commutil_test::readFile(path),
                                    std::to_string(number) + " of " + line.bytes));
}

}  // namespace

void addWideOperations(Operations& all) {
  addWriter<Vexawofstream>(all, "Vexawofstream");
  addWriter<Vexawfstream>(all, "Vexawfstream");
  addReader<Vexawifstream>(all, "Vexawifstream");
  addReader<Vexawfstream>(all, "Vexawfstream");
  all.push_back({{"Vexavswprintf", "Vexaswprintf", "Vexafwprintf"}, Cost::files, printWide});
}

}  // namespace commutil_soak
