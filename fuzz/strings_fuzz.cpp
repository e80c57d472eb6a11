// Compares splitting, trimming, replacing, upper-casing and classifying with plain models.
#include <algorithm>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "support/expect.h"
#include "support/input.h"
#include "text/strings_model.h"

namespace {

using commutil_fuzz::expectEqual;
using commutil_test::modelReplace;
using commutil_test::modelSplit;
using commutil_test::modelSplitAll;
using commutil_test::modelTrim;

constexpr std::size_t kLongestReplacement = 64;  // longer ones are slow

void checkSplitting(const std::string& s, const std::string& delims) {
  std::list<std::string> list{"before"};
  VexaCommonUtils::split(s, delims, list);
  auto expectedList = modelSplit(s, delims);
  expectedList.push_front("before");
  expectEqual(list, expectedList, "split");

  std::vector<std::string> vector{"before"};
  const auto expected = modelSplitAll(s, delims);
  expectEqual(VexaCommonUtils::splitAll(s, delims, vector), expected.size() + 1, "splitAll counts");
  expectEqual(vector.front(), "before", "splitAll appends");
  vector.erase(vector.begin());
  expectEqual(vector, expected, "splitAll");

  std::set<std::string> set{"before"};
  VexaCommonUtils_i::splitAll(s, delims, set);
  std::set<std::string> expectedSet(expected.begin(), expected.end());
  expectedSet.insert("before");
  expectEqual(set, expectedSet, "splitAll into a set");
}

void checkTrimming(const std::string& s, const std::string& chars) {
  std::string copy = s;
  expectEqual(VexaCommonUtils::Vexatrim(copy), modelTrim(s, " "), "Vexatrim");
  const std::size_t begin = s.find_first_not_of(' ');
  expectEqual(VexaCommonUtils::Vexaltrim(copy), begin == s.npos ? "" : s.substr(begin),
              "Vexaltrim");
  expectEqual(VexaCommonUtils::Vexareverse(copy), std::string(s.rbegin(), s.rend()), "Vexareverse");
  expectEqual(copy, s, "trimming changes nothing");

  const std::string cText = commutil_fuzz::upToNul(chars);
  const std::string expected = cText.empty() ? s : modelTrim(s, cText);
  expectEqual(VexaCommonUtils_i::VexatrimAll(s, chars.c_str()), expected, "VexatrimAll");
  expectEqual(VexaCommonUtils_i::trimString(s, chars.c_str()), expected, "trimString");
  expectEqual(VexaCommonUtils_i::VexatrimAll(s, nullptr), s, "VexatrimAll without a set");
}

void checkReplacing(const std::string& s, std::string from, std::string to) {
  const std::string expected = modelReplace(s, from, to);
  std::string changed = s;
  expectEqual(VexaCommonUtils::Vexareplace(changed, from, to), expected, "Vexareplace");
  expectEqual(changed, expected, "Vexareplace in place");
  changed = s;
  VexaCommonUtils::stringReplace(from, to, changed);
  expectEqual(changed, expected, "stringReplace");

  // If one object is passed for several arguments, its value before the call counts for each.
  const std::string begin = s.substr(0, kLongestReplacement);
  changed = begin;
  VexaCommonUtils::Vexareplace(changed, from, changed);
  expectEqual(changed, modelReplace(begin, from, begin), "Vexareplace by the string itself");
  changed = s;
  VexaCommonUtils::stringReplace(changed, to, changed);
  expectEqual(changed, s.empty() ? s : to, "stringReplace of the string itself");

  const char c = from.empty() ? ' ' : from.front();
  expectEqual(ReplaceChar(s, c, to), modelReplace(s, std::string(1, c), to), "ReplaceChar");
}

bool isLetterBeyondHex(char c) { return (c >= 'g' && c <= 'z') || (c >= 'G' && c <= 'Z'); }

void checkClassifying(const std::string& s) {
  std::string upper = s;
  for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  expectEqual(ToUpper(s), upper, "ToUpper");
  std::string inPlace = s;
  ToUpperEx(inPlace);
  expectEqual(inPlace, upper, "ToUpperEx");
  expectEqual(StringIsRight(s), std::none_of(s.begin(), s.end(), isLetterBeyondHex),
              "StringIsRight");
  expectEqual(VexaCommonUtils_i::Isdigitstr(s), s.find_first_not_of("0123456789") == s.npos,
              "Isdigitstr");
  expectEqual(VexaCommonUtils::tabs(s), std::string(s.size() < 32 ? 32 - s.size() : 0, ' '),
              "tabs");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string few = input.field();
  const std::string other = input.field().substr(0, kLongestReplacement);
  const std::string s = input.rest();
  checkSplitting(s, few);
  checkTrimming(s, few);
  checkReplacing(s, few, other);
  checkClassifying(s);
}
