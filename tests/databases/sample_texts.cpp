#include "sample_texts.h"

#include <random>

namespace commutil_test {
namespace {

constexpr std::size_t kTables = 100;
constexpr std::size_t kRows = 200;
constexpr unsigned kAsciiBytes = 127;  // 1 to 127

using Characters = std::vector<std::string>;

const Characters kSpecial = {"%", "_", "\\", "'",  "[", "]", "\"", "^", "-", "|",
                             "*", "+", "?",  "{",  "}", "(", ")",  ".", "$", ";",
                             "!", "%", "_",  "\\", "'", "[", "]",  "%", "_", "\\"};

// The last ones resemble a percent sign, an underscore, a backslash, quotes and a bracket.
const Characters kMultibyte = {"\u00e9", "e\u0301", "\u20ac", "\u6f22", "\U0001f600",
                               "\u00a0", "\uffff",  "\uff05", "\uff3f", "\uff3c",
                               "\u2019", "\u02bc",  "\uff3b"};

const Table kHandWritten = {"",
                            " ",
                            "  ",
                            "a",
                            "ab",
                            "abc",
                            "A",
                            "ABC",
                            "a ",
                            " a",
                            "%%",
                            "__",
                            "\\\\",
                            "''",
                            "[[",
                            "]]",
                            "%_",
                            "_%",
                            "\\%",
                            "\\_",
                            "\\'",
                            "'\\",
                            "\\\\%",
                            "\\\\_",
                            "\\\\\\",
                            "\\\\\\%",
                            "%\\",
                            "_\\",
                            "a%",
                            "%a",
                            "a%c",
                            "a_c",
                            "a\\c",
                            "a'c",
                            "a''c",
                            "a'''c",
                            "[]",
                            "[a]",
                            "[a-c]",
                            "[^a]",
                            "[%]",
                            "[_]",
                            "[[]",
                            "[]]",
                            "[]a]",
                            "[^]",
                            "]a[",
                            "a[b",
                            "a]b",
                            "a\nc",
                            "a\r\nc",
                            "\ta",
                            "\u6f22\u5b57",
                            "\u6f22%\u5b57",
                            "\u6f22_\u5b57",
                            "\u6f22\u5b57\u6f22",
                            "\u00e9%",
                            "%\u00e9",
                            "\u00e9_\u00e9",
                            "\u00e9\u00e9\u00e9",
                            "e\u0301",
                            "\u00e9",
                            "\\\u00e9",
                            "\u2019",
                            "\uff05",
                            "a' escape '\\",
                            "' escape '\\' ",
                            "escape '!'",
                            "$$",
                            "$a$'$a$",
                            "\\x41",
                            "\\101",
                            "N'a'"};

class Texts {
 public:
  explicit Texts(unsigned table) : m_random(table) {
    m_characters = {"a", "b", pick(kMultibyte)};
    for (unsigned byte : {2 * table, 2 * table + 1}) {
      m_characters.emplace_back(1, static_cast<char>(1 + byte % kAsciiBytes));
    }
    const unsigned specials = 2 + below(3);
    for (unsigned i = 0; i < specials; ++i) m_characters.push_back(pick(kSpecial));
  }

  Table next() {
    Table rows;
    while (rows.size() < kRows / 4) rows.push_back(joined(random(below(9))));
    rows.push_back(joined(random(400)));
    while (rows.size() < kRows) rows.push_back(below(4) == 0 ? combined(rows) : variant());
    return rows;
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(m_random()) % limit; }

  template <class Container>
  const typename Container::value_type& pick(const Container& from) {
    return from[below(static_cast<unsigned>(from.size()))];
  }

  Characters random(unsigned count) {
    Characters text(count);
    for (std::string& character : text) character = pick(m_characters);
    if (count > 0) m_base = text;
    return text;
  }

  // The latest short string with one change.
  std::string variant() {
    if (m_base.size() > 9 || below(3) == 0) random(1 + below(8));
    Characters text = m_base;
    std::string& character = text[below(static_cast<unsigned>(text.size()))];
    switch (below(9)) {
      case 0:
        character = "%";
        break;
      case 1:
        character = "_";
        break;
      case 2:
        character.insert(0, "\\");
        break;
      case 3:
        character = "[" + character + "]";
        break;
      case 4:
        character.clear();
        break;
      case 5:
        character += character;
        break;
      case 6:
        character = pick(m_characters);
        break;
      case 7:
        character += "'";
        break;
      default:
        break;
    }
    return joined(text);
  }

  std::string combined(const Table& rows) { return pick(rows) + pick(rows); }

  static std::string joined(const Characters& characters) {
    std::string text;
    for (const std::string& character : characters) text += character;
    return text;
  }

  std::mt19937 m_random;
  Characters m_characters;
  Characters m_base;
};

Table handWritten() {
  Table rows = kHandWritten;
  for (unsigned byte = 1; byte <= kAsciiBytes; ++byte)
    rows.emplace_back(1, static_cast<char>(byte));
  return rows;
}

}  // namespace

std::vector<Table> sampleTables() {
  std::vector<Table> tables = {handWritten()};
  for (unsigned table = 0; tables.size() < kTables; ++table) tables.push_back(Texts(table).next());
  return tables;
}

}  // namespace commutil_test
