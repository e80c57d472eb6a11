// Compares the string utilities with plain models on many short strings, in a Turkish locale and
// from several threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <list>
#include <locale>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "strings_model.h"
#include "support/fixtures.h"
#include "support/namespaces.h"
#include "support/threads.h"

namespace {

using commutil_test::modelReplace;
using commutil_test::modelSplit;
using commutil_test::modelSplitAll;
using commutil_test::modelTrim;

// Few different bytes, so that matches, near matches and empty tokens are frequent.
class Texts {
 public:
  explicit Texts(unsigned seed) : m_random(seed) {}

  std::string next(std::size_t longest) {
    const std::string alphabet("ab ,\0\xE9", 6);
    std::string text(m_random() % (longest + 1), '\0');
    const std::size_t variety = 2 + m_random() % 5;
    for (char& byte : text) byte = alphabet[m_random() % variety];
    return text;
  }

 private:
  std::mt19937 m_random;
};

void compareWithModels(unsigned seed, int rounds) {
  Texts texts(seed);
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
    std::string s = texts.next(round % 10 == 0 ? 1500 : 80);
    std::string few = texts.next(4);
    std::string other = texts.next(6);

    std::list<std::string> list;
    VexaCommonUtils::split(s, few, list);
    ASSERT_EQ(list, modelSplit(s, few));
    std::vector<std::string> vector;
    const auto expected = modelSplitAll(s, few);
    ASSERT_EQ(VexaCommonUtils::splitAll(s, few, vector), expected.size());
    ASSERT_EQ(vector, expected);
    std::set<std::string> set;
    VexaCommonUtils_i::splitAll(s, few, set);
    ASSERT_EQ(set, std::set<std::string>(expected.begin(), expected.end()));

    ASSERT_EQ(VexaCommonUtils::Vexatrim(s), modelTrim(s, " "));
    ASSERT_EQ(VexaCommonUtils_i::VexatrimAll(s, few.c_str()),
              modelTrim(s, few.substr(0, few.find('\0'))));
    ASSERT_EQ(ReplaceChar(s, ' ', other), modelReplace(s, " ", other));
    std::string changed = s;
    ASSERT_EQ(VexaCommonUtils::Vexareplace(changed, few, other), modelReplace(s, few, other));
    ASSERT_EQ(changed, modelReplace(s, few, other));
  }
}

TEST(StringModels, AgreeOnManyStrings) {
  for (unsigned seed = 1; seed <= 20; ++seed) compareWithModels(seed, 500);
}

TEST(StringModels, AgreeInSeveralThreads) {
  commutil_test::inThreads(8,
                           [](int i) { compareWithModels(101U + static_cast<unsigned>(i), 200); });
}

TEST(StringModels, AgreeUnderATurkishLocale) {
  const commutil_test::TempDir locales;
  commutil_test::shell("localedef -i tr_TR -f ISO-8859-9 '" + (locales / "tr_TR") + "'");
  commutil_test::runInChild([&locales] {
    const commutil_test::ScopedEnv path("LOCPATH", locales.path().string());
    ASSERT_NE(std::setlocale(LC_ALL, "tr_TR"), nullptr);
    std::locale::global(std::locale("tr_TR"));
    ASSERT_NE(std::toupper('i'), 'I') << "not a Turkish locale";
    ASSERT_NE(std::tolower('I'), 'i');
    ASSERT_NE(std::toupper(0xE9), 0xE9);

    EXPECT_EQ(ToUpper("iIbirinci-\xE9\xFD"), "IIBIRINCI-\xE9\xFD");
    EXPECT_FALSE(StringIsRight("i"));
    EXPECT_FALSE(StringIsRight("I"));
    EXPECT_TRUE(StringIsRight("\xDD\xFD\xE9"));
    EXPECT_TRUE(VexaCommonUtils_i::Isdigitstr("0123456789"));
    EXPECT_FALSE(VexaCommonUtils_i::Isdigitstr("\xB2"));
    EXPECT_EQ(VexaCommonUtils_i::VexatrimAll("\xA0x\xA0", " \t\r\n"), "\xA0x\xA0");
    EXPECT_EQ(StrHexToInt("fF"), "255");
    char buf[22];
    EXPECT_STREQ(VexaCommonUtils::ltoa(-1234567, buf), "-1234567");
    EXPECT_STREQ(VexaCommonUtils_i::ulltoa(1234567, buf), "1234567");
    compareWithModels(7, 200);
  });
}

}  // namespace
