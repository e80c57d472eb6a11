// Strings, character sets, base64, identifiers and time stamps, options, database query text.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <list>
#include <set>

#include "ArgsOptions.h"
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocale.h"
#include "VexaStringUtils.h"
#include "soak/operations.h"
#include "text/base64_model.h"
#include "text/strings_model.h"

namespace commutil_soak {
namespace {

using commutil_test::modelReplace;
using commutil_test::modelTrim;
using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;
using Text = std::string;

constexpr std::size_t kMost = 300;
constexpr std::string_view kSpaced = "ab \t\r\n";
constexpr std::string_view kSql = "ab'%_[]\\";

template <class Call>
void add(Operations& all, const char* name, Call call) {
  all.push_back({{name}, Cost::memory, call});
}

/// Adds an operation on a random string of `alphabet` that equals its model.
template <class Function, class Model>
void addOfText(Operations& all, const char* name, std::string_view alphabet, Function function,
               Model model) {
  add(all, name, [=](Caller& caller) {
    Text text = caller.random.textOf(alphabet, kMost);
    const auto expected = model(text);
    return caller.equal(function(text), expected);
  });
}

template <class Number>
void addOfNumber(Operations& all, const char* name, char* (*function)(Number, char*)) {
  add(all, name, [=](Caller& caller) {
    const auto value = static_cast<Number>(caller.random.number());
    char buffer[22];
    return caller.equal(Text(function(value, buffer)), std::to_string(value));
  });
}

Text upper(Text text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

void addTrims(Operations& all) {
  const auto trimmed = [](const Text& text) { return modelTrim(text, " "); };
  addOfText(all, "VexaCommonUtils::Vexareverse", kSpaced, Utils::Vexareverse,
            [](const Text& text) { return Text(text.rbegin(), text.rend()); });
  addOfText(all, "VexaCommonUtils::Vexaltrim", kSpaced, Utils::Vexaltrim, [](const Text& text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
  });
  addOfText(all, "VexaCommonUtils::Vexatrim", kSpaced, Utils::Vexatrim, trimmed);
  addOfText(
      all, "VexaCommonUtils_i::VexatrimAll", kSpaced,
      [](const Text& text) { return Utils_i::VexatrimAll(text, " \t"); },
      [](const Text& text) { return modelTrim(text, " \t"); });
  addOfText(
      all, "VexaCommonUtils_i::trimString", kSpaced,
      [](const Text& text) { return Utils_i::trimString(text, " "); }, trimmed);
  addOfText(all, "VexaCommonUtils::tabs", "ab", Utils::tabs,
            [](const Text& text) { return Text(text.size() < 32 ? 32 - text.size() : 0, ' '); });
}

void addReplacements(Operations& all) {
  add(all, "VexaCommonUtils::Vexareplace", [](Caller& caller) {
    const Text before = caller.random.textOf("ab", kMost);
    Text text = before;
    Text from = caller.random.textOf("ab", 3);
    Text to = caller.random.textOf("ab", 5);
    const Text result = Utils::Vexareplace(text, from, to);
    return both(caller.equal(result, modelReplace(before, from, to)), caller.equal(text, result));
  });
  add(all, "VexaCommonUtils::stringReplace", [](Caller& caller) {
    const Text before = caller.random.textOf("ab", kMost);
    const Text from = caller.random.textOf("ab", 3);
    const Text to = caller.random.textOf("ab", 5);
    Text text = before;
    Utils::stringReplace(from, to, text);
    return caller.equal(text, modelReplace(before, from, to));
  });
  add(all, "ReplaceChar", [](Caller& caller) {
    const Text text = caller.random.textOf("abc", kMost);
    const Text to = caller.random.textOf("ab", 5);
    return caller.equal(ReplaceChar(text, 'b', to), modelReplace(text, "b", to));
  });
  addOfText(
      all, "ToUpperEx", "azAZ09{`", [](Text& text) { return ToUpperEx(text), text; }, upper);
  addOfText(all, "ToUpper", "azAZ09{`", ToUpper, upper);
}

void addSplits(Operations& all) {
  add(all, "VexaCommonUtils::split", [](Caller& caller) {
    const Text text = caller.random.textOf("ab,;", kMost);
    const Text delimiter = caller.random.once(2) ? "," : ";";
    std::list<Text> fields;
    Utils::split(text, delimiter, fields);
    return caller.equal(fields, commutil_test::modelSplit(text, delimiter));
  });
  add(all, "VexaCommonUtils::splitAll", [](Caller& caller) {
    const Text text = caller.random.textOf("ab,;", kMost);
    std::vector<Text> fields;
    const unsigned long count = Utils::splitAll(text, ",;", fields);
    return both(caller.equal(count, fields.size()),
                caller.equal(fields, commutil_test::modelSplitAll(text, ",;")));
  });
  add(all, "VexaCommonUtils_i::splitAll", [](Caller& caller) {
    const Text text = caller.random.textOf("ab,;", kMost);
    std::set<Text> fields;
    Utils_i::splitAll(text, ",;", fields);
    const auto model = commutil_test::modelSplitAll(text, ",;");
    return caller.equal(fields, std::set<Text>(model.begin(), model.end()));
  });
}

void addNumbers(Operations& all) {
  addOfNumber(all, "VexaCommonUtils::ltoa", Utils::ltoa);
  addOfNumber(all, "VexaCommonUtils::ultoa", Utils::ultoa);
  addOfNumber(all, "VexaCommonUtils_i::ulltoa", Utils_i::ulltoa);
  addOfText(all, "VexaCommonUtils_i::Isdigitstr", "0123456789", Utils_i::Isdigitstr,
            [](const Text&) { return true; });
  add(all, "VexaCommonUtils_i::getUpperIntVal", [](Caller& caller) {
    const auto tenths = static_cast<double>(caller.random.below(990));
    return caller.equal(Utils_i::getUpperIntVal(tenths / 10), std::ceil(tenths / 10));
  });
  addOfText(all, "StringIsRight", "09afAF-g", StringIsRight,
            [](const Text& text) { return text.find('g') == Text::npos; });
  add(all, "StrHexToInt", [](Caller& caller) {
    const std::size_t byte = caller.random.below(256);
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02zx", byte);
    return caller.equal(StrHexToInt(digits), std::to_string(byte));
  });
}

/// A text that the locale can express, wide and in the locale's encoding.
struct Pair {
  std::wstring wide;
  Text bytes;
};

Pair localText(Caller& caller) {
  constexpr std::pair<wchar_t, const char*> kLetters[] = {
      {L'a', "a"},           {L' ', " "},           {L'~', "~"},
      {L'\u00e4', "\u00e4"}, {L'\u20ac', "\u20ac"}, {L'\U0001f512', "\U0001f512"}};
  Pair text;
  for (std::size_t left = caller.random.below(kMost); left > 0; --left) {
    const auto& [wide, bytes] = kLetters[caller.random.below(caller.surroundings().utf8 ? 6 : 3)];
    text.wide += wide;
    text.bytes += bytes;
  }
  return text;
}

void addCharsets(Operations& all) {
  add(all, "VexaCommonUtils::STR2WSTR(string const&)", [](Caller& caller) {
    const Pair text = localText(caller);
    return caller.equal(Utils::STR2WSTR(text.bytes), text.wide);
  });
  add(all, "VexaCommonUtils::STR2WSTR(char const*, wchar_t*)", [](Caller& caller) {
    const Pair text = localText(caller);
    std::wstring wide(text.bytes.size() + 1, L'x');
    Utils::STR2WSTR(text.bytes.c_str(), wide.data());
    return caller.equal(wide.substr(0, wide.find(L'\0')), text.wide);
  });
  add(all, "VexaCommonUtils::WSTR2STR", [](Caller& caller) {
    const Pair text = localText(caller);
    return caller.equal(Utils::WSTR2STR(text.wide.c_str()), text.bytes);
  });
  add(all, "VexaCommonUtils::LOC2UTF8", [](Caller& caller) {
    const Pair text = localText(caller);
    return caller.equal(Utils::LOC2UTF8(text.bytes.c_str()), text.bytes);
  });
  add(all, "VexaCommonUtils::UTF8TOLOC", [](Caller& caller) {
    const Pair text = localText(caller);
    return caller.equal(Utils::UTF8TOLOC(text.bytes.c_str()), text.bytes);
  });
  add(all, "VexaLocale::Instance",
      [](Caller& caller) { return caller.holds(VexaLocale::Instance() != nullptr); });
}

bool isAsciiAlnum(unsigned char c) { return c < 0x80 && std::isalnum(c) != 0; }

void addBase64(Operations& all) {
  add(all, "VexaCommonUtils::isBase64", [](Caller& caller) {
    const auto c = static_cast<unsigned char>(caller.random.below(256));
    return caller.equal(Utils::isBase64(c), isAsciiAlnum(c) || c == '+' || c == '/');
  });
  add(all, "VexaCommonUtils::base64Decode", [](Caller& caller) {
    const Text text = caller.random.textOf("ABab01+/=- ", kMost);
    return caller.equal(Utils::base64Decode(text), commutil_test::modelDecode(text, isAsciiAlnum));
  });
  add(all, "VexaCommonUtils_i::encodeData", [](Caller& caller) {
    const Text data = caller.random.bytes(kMost);
    return caller.equal(Utils_i::encodeData(data.data(), static_cast<unsigned>(data.size())),
                        commutil_test::modelEncode(data));
  });
  add(all, "VexaCommonUtils_i::decodeData", [](Caller& caller) {
    const Text data = caller.random.bytes(kMost);
    return caller.equal(Utils_i::decodeData(commutil_test::modelEncode(data)), data);
  });
}

Text now() {
  const std::time_t seconds = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &local);
  return text;
}

void addIdentifiers(Operations& all) {
  add(all, "VexaCommonUtils_i::generateUUID", [](Caller& caller) {
    const Text text = Utils_i::generateUUID();
    return caller.holds(text.size() == 32 &&
                        text.find_first_not_of("0123456789ABCDEF") == Text::npos);
  });
  add(all, "VexaCommonUtils::getTimeStamp", [](Caller& caller) {
    const Text before = now();
    const Text stamp = Utils::getTimeStamp(caller.random.once(2));
    return caller.holds(before <= stamp && stamp <= now());
  });
}

/// A command line of random words, with the documented answers.
class Line {
 public:
  explicit Line(Random& random) {
    constexpr const char* kWords[] = {"-a", "-b", "--", "-c", "one", "two", "a third value"};
    m_words.emplace_back("program");
    for (std::size_t left = random.below(12); left > 0; --left)
      m_words.emplace_back(random.of(kWords));
    for (Text& word : m_words) m_pointers.push_back(word.data());
  }

  ArgsOptions options() { return ArgsOptions(static_cast<int>(m_words.size()), m_pointers.data()); }
  const std::vector<Text>& words() const { return m_words; }

  Text valueOf(const Text& name) const {
    for (std::size_t i = 0; i + 1 < m_words.size(); ++i) {
      if (m_words[i] != name) continue;
      if (m_words[i + 1] == "--" && i + 2 < m_words.size()) return m_words[i + 2];
      return m_words[i + 1][0] == '-' ? "" : m_words[i + 1];
    }
    return "";
  }

  std::list<Text> valuesOf(const Text& name) const {
    std::list<Text> values;
    bool inRun = false;
    for (std::size_t i = 0; i < m_words.size(); ++i) {
      const Text& word = m_words[i];
      if (word == name) {
        inRun = true;
      } else if (inRun && word == "--" && i + 1 < m_words.size()) {
        values.push_back(m_words[++i]);
      } else if (word[0] == '-') {
        inRun = false;
      } else if (inRun) {
        values.push_back(word);
      }
    }
    return values;
  }

  std::list<Text> flags() const {
    std::list<Text> flags;
    std::copy_if(m_words.begin(), m_words.end(), std::back_inserter(flags),
                 [](const Text& word) { return word[0] == '-'; });
    return flags;
  }

 private:
  std::vector<Text> m_words;
  std::vector<char*> m_pointers;
};

template <class Query>
void addOfLine(Operations& all, const char* name, Query query) {
  add(all, name, [=](Caller& caller) {
    Line line(caller.random);
    const ArgsOptions options = line.options();
    return query(caller, line, options, caller.random.once(2) ? "-a" : "-b");
  });
}

void addOptions(Operations& all) {
  using Options = ArgsOptions;
  addOfLine(all, "ArgsOptions::ArgsOptions",
            [](Caller& caller, const Line& line, const Options& options, const char*) {
              return caller.equal(options.numberOfargs(), static_cast<int>(line.words().size()));
            });
  all.back().names.emplace_back("ArgsOptions::numberOfargs");
  addOfLine(all, "ArgsOptions::hasOption",
            [](Caller& caller, const Line& line, const Options& options, const char* name) {
              const auto& words = line.words();
              return caller.equal(options.hasOption(name),
                                  std::find(words.begin(), words.end(), name) != words.end());
            });
  addOfLine(all, "ArgsOptions::getOption",
            [](Caller& caller, const Line& line, const Options& options, const char* name) {
              return caller.equal(options.getOption(name), line.valueOf(name));
            });
  addOfLine(all, "ArgsOptions::getOptions",
            [](Caller& caller, const Line& line, const Options& options, const char* name) {
              return caller.equal(options.getOptions(name), line.valuesOf(name));
            });
  addOfLine(all, "ArgsOptions::getFlags",
            [](Caller& caller, const Line& line, const Options& options, const char*) {
              return caller.equal(options.getFlags(), line.flags());
            });
  addOfLine(all, "ArgsOptions::numberOfOptions",
            [](Caller& caller, const Line& line, const Options& options, const char*) {
              return caller.equal(options.numberOfOptions(), static_cast<int>(line.flags().size()));
            });
}

Text doubled(const Text& text) { return modelReplace(text, "'", "''"); }

/// `text` with the wildcards of the Oracle family escaped.
Text escaped(const Text& text) {
  Text result;
  for (const char c : text) {
    if (c == '\\' || c == '%' || c == '_') result += '\\';
    result += c;
  }
  return result;
}

void addQueryText(Operations& all) {
  constexpr const char* kClause = R"( escape '\' )";
  add(all, "VexaCommonUtils::getDBType",
      [](Caller& caller) { return caller.equal(Utils::getDBType(), Text("oracle")); });
  add(all, "VexaCommonUtils::getEscapeString",
      [=](Caller& caller) { return caller.equal(Utils::getEscapeString(), Text(kClause)); });
  addOfText(all, "VexaCommonUtils::transDBUpdateString", kSql, Utils::transDBUpdateString, doubled);
  addOfText(all, "VexaCommonUtils::transDBSearchString", kSql, Utils::transDBSearchString, escaped);
  addOfText(all, "VexaCommonUtils::TransferLikeSqlForSybAndMSSQL", kSql,
            Utils::TransferLikeSqlForSybAndMSSQL, [](const Text& text) { return text; });
  add(all, "VexaCommonUtils_i::TransferLikeSql", [=](Caller& caller) {
    const Text text = caller.random.textOf(kSql, kMost);
    const auto mode = static_cast<Vexacommon::FuzzyQueryMode>(caller.random.below(4));
    const Text left = (mode & Vexacommon::FUZZY_QUERY_LEFT) != 0 ? "'%" : "'";
    const Text right = (mode & Vexacommon::FUZZY_QUERY_RIGHT) != 0 ? "%'" : "'";
    return caller.equal(Utils_i::TransferLikeSql(text, mode),
                        left + escaped(doubled(text)) + right + kClause);
  });
}

}  // namespace

void addTextOperations(Operations& all) {
  addTrims(all);
  addReplacements(all);
  addSplits(all);
  addNumbers(all);
  addCharsets(all);
  addBase64(all);
  addIdentifiers(all);
  addOptions(all);
  addQueryText(all);
}

}  // namespace commutil_soak
