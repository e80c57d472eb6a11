#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/threads.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::allBytes;
using commutil_test::TempDir;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr std::size_t kMebi = std::size_t{1} << 20;

/// Returns a string of up to `longest` bytes from `alphabet`.
std::string randomText(std::mt19937& random, std::string_view alphabet, std::size_t longest) {
  std::string text(random() % (longest + 1), '\0');
  for (char& c : text) c = alphabet[random() % alphabet.size()];
  return text;
}

// isSafeFileName

TEST(IsSafeFileName, RefusesExactlyTheFifteenCharacters) {
  const std::string unsafe = "/\\:*?\"'<>|`;&$\n";
  ASSERT_EQ(15U, unsafe.size());
  for (const char byte : allBytes()) {
    SCOPED_TRACE(static_cast<int>(byte));
    const bool safe = unsafe.find(byte) == std::string::npos;
    for (const std::size_t length : {1U, 2U, 15U, 16U, 17U, 31U, 32U, 33U, 50U}) {
      for (std::size_t place = 0; place < length; ++place) {
        std::string name(length, 'x');
        name[place] = byte;
        EXPECT_EQ(safe, VexaCommonUtils_i::isSafeFileName(name)) << length << " at " << place;
      }
    }
  }
}

TEST(IsSafeFileName, ChecksTheWholeName) {
  struct Case {
    std::string name;
    bool safe;
  };
  const std::vector<Case> cases = {
      {"", true},
      {"report.txt", true},
      {"a name with spaces", true},
      {".", true},
      {"..", true},
      {"\0"s, true},
      {"a\0;"s, false},
      {"a;b", false},
      {"$x", false},
      {"tab\tcr\r", true},
      {"(){}[]!#%^~=+,@", true},
      {"\xc3\xa4", true},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    EXPECT_EQ(test.safe, VexaCommonUtils_i::isSafeFileName(test.name));
  }
  std::string large(kMebi, 'x');
  EXPECT_TRUE(VexaCommonUtils_i::isSafeFileName(large));
  large.back() = '&';
  EXPECT_FALSE(VexaCommonUtils_i::isSafeFileName(large));
}

// specialName2FileName and fileName2SpecialName

struct Escape {
  char special;
  std::string text;
};

const std::array<Escape, 10> kEscapes = {{{'\\', "^a"},
                                          {'/', "^b"},
                                          {':', "^c"},
                                          {'*', "^d"},
                                          {'?', "^e"},
                                          {'"', "^f"},
                                          {'<', "^g"},
                                          {'>', "^h"},
                                          {'|', "^i"},
                                          {'^', "^^"}}};

std::string escapeByTheTable(const std::string& name) {
  std::string result;
  for (const char byte : name) {
    std::string text(1, byte);
    for (const Escape& escape : kEscapes) {
      if (escape.special == byte) text = escape.text;
    }
    result += text;
  }
  return result;
}

std::string unescapeByTheTable(const std::string& name) {
  std::string result;
  for (std::size_t i = 0; i < name.size(); ++i) {
    char byte = name[i];
    for (const Escape& escape : kEscapes) {
      if (name.compare(i, 2, escape.text) == 0) {
        byte = escape.special;
        ++i;
        break;
      }
    }
    result += byte;
  }
  return result;
}

void expectRoundTrip(const std::string& name) {
  const std::string fileName = VexaCommonUtils::specialName2FileName(name);
  EXPECT_EQ(escapeByTheTable(name), fileName);
  EXPECT_EQ(name, VexaCommonUtils::fileName2SpecialName(fileName));
  EXPECT_EQ(unescapeByTheTable(name), VexaCommonUtils::fileName2SpecialName(name));
}

TEST(SpecialName, EscapesExactlyTheTenCharacters) {
  for (const char byte : allBytes()) {
    SCOPED_TRACE(static_cast<int>(byte));
    std::string expected(1, byte);
    for (const Escape& escape : kEscapes) {
      if (escape.special == byte) expected = escape.text;
    }
    EXPECT_EQ(expected, VexaCommonUtils::specialName2FileName(std::string(1, byte)));
    EXPECT_EQ("x" + expected + "y", VexaCommonUtils::specialName2FileName("x"s + byte + "y"));
    for (const std::size_t length : {16U, 31U, 32U, 33U, 48U, 70U}) {
      for (std::size_t place = 0; place < length; ++place) {
        std::string name(length, 'x');
        name[place] = byte;
        expectRoundTrip(name);
      }
    }
  }
}

TEST(SpecialName, StatedExamplesHold) {
  EXPECT_EQ("a^cb^bc^^", VexaCommonUtils::specialName2FileName("a:b/c^"));
  EXPECT_EQ("a:b/c^", VexaCommonUtils::fileName2SpecialName("a^cb^bc^^"));
  EXPECT_EQ("", VexaCommonUtils::specialName2FileName(""));
  EXPECT_EQ("..", VexaCommonUtils::specialName2FileName(".."));
  EXPECT_EQ("^a^b^c^d^e^f^g^h^i^^", VexaCommonUtils::specialName2FileName("\\/:*?\"<>|^"));
  EXPECT_EQ("\\/:*?\"<>|^", VexaCommonUtils::fileName2SpecialName("^a^b^c^d^e^f^g^h^i^^"));
}

TEST(SpecialName, DecodesALoneCircumflexAsItself) {
  struct Case {
    std::string fileName;
    std::string name;
  };
  const std::vector<Case> cases = {
      {"", ""},         {"^", "^"},
      {"x^", "x^"},     {"x^zy", "x^zy"},
      {"^^", "^"},      {"^^^", "^^"},
      {"^^^^", "^^"},   {"^^a", "^a"},
      {"^^^a", "^\\"},  {"^z^a", "^z\\"},
      {"^j", "^j"},     {"^A", "^A"},
      {"^`", "^`"},     {"a^bc", "a/c"},
      {"^b^", "/^"},    {"^\0b"s, "^\0b"s},
      {"^\0"s, "^\0"s}, {"\0^a\0"s, "\0\\\0"s},
      {"/:x", "/:x"},   {"no escape", "no escape"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.fileName);
    EXPECT_EQ(test.name, VexaCommonUtils::fileName2SpecialName(test.fileName));
  }
}

TEST(SpecialName, MapsEveryPairOfBytesBothWays) {
  std::string pair = "..";
  for (const char first : allBytes()) {
    for (const char second : allBytes()) {
      pair[0] = first;
      pair[1] = second;
      expectRoundTrip(pair);
    }
  }
}

TEST(SpecialName, MapsAnyStringBothWays) {
  std::mt19937 random(20240229);  // NOLINT(bugprone-random-generator-seed): the same every time
  const std::string bytes = allBytes();
  for (int i = 0; i < 20'000; ++i) {
    expectRoundTrip(randomText(random, "^^^abciz/\\\0x"sv, 60));
    expectRoundTrip(randomText(random, bytes, 60));
  }
  for (const char byte : {'^', '/', 'x', '\0'}) expectRoundTrip(std::string(kMebi, byte));
}

TEST(SpecialName, ReturnsFileNamesOutsideAnyDirectory) {
  const TempDir directory;
  const std::string name = "NE:1/shelf\\2 *?\"<>|^ $(id)\n\xff";
  const std::string path = directory.write(VexaCommonUtils::specialName2FileName(name), "");
  EXPECT_EQ(directory.path(), fs::path(path).parent_path());
  EXPECT_EQ(name, VexaCommonUtils::fileName2SpecialName(fs::path(path).filename().string()));
}

}  // namespace
