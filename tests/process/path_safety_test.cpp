#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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
using commutil_test::CapturedOutput;
using commutil_test::dropRoot;
using commutil_test::inThreads;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
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

// checkPath

struct PathCase {
  std::string path;
  std::string base;
  bool accepted;
};

const PathCase kPathCases[] = {
    {"/opt/app/../etc/passwd", "/opt/app", false},
    {"/opt/app/./x", "/opt/app", false},
    {"/opt/app/x", "/opt/app", true},
    {"/opt/application/x", "/opt/app", false},
    {"/data/x", "/data", true},
    {"/database/x", "/data", false},
    {"C:\\data\\x", "C:/data", true},
    {"C:/data/x", "C:\\data", true},
    {"C:\\data\\x", "C:\\data\\", true},
    {"C:/Data/x", "C:/data", false},
    // the base itself, with and without a separator at the end
    {"/data", "/data", true},
    {"/data/", "/data", true},
    {"/data", "/data/", true},
    {"/data\\", "/data/", true},
    {"/dat", "/data", false},
    {"/data", "/data//", false},
    {"/data//", "/data/", true},
    {"/data//x", "/data//", true},
    {"/data/x", "/data//", false},
    {"//data/x", "/data", false},
    {"x/data", "/data", false},
    {"data/x", "data", true},
    {"data/x", "/data", false},
    {"x", "/", false},
    {"/x", "/", true},
    {"/", "/", true},
    {"\\", "/", true},
    {"/", "//", false},
    {"//", "/", true},
    // an empty base accepts paths without dot components
    {"", "", false},
    {"", "/", false},
    {"", "/data", false},
    {"/", "", true},
    {"x", "", true},
    {"a/b\\c", "", true},
    {"$(reboot);`id`|\n\x01\xff", "", true},
    // dot components
    {".", "", false},
    {"..", "", false},
    {"./", "", false},
    {"../", "", false},
    {"/.", "", false},
    {"/..", "", false},
    {"\\.\\", "", false},
    {"\\..\\", "", false},
    {"a\\..\\b", "", false},
    {"a/..\\b", "", false},
    {"a//..//b", "", false},
    {"a/b/..", "", false},
    {"a/b/.", "", false},
    {"...", "", true},
    {"/.../x", "", true},
    {"a./b", "", true},
    {"a../b", "", true},
    {".a/..b", "", true},
    {". /.. ", "", true},
    {" ./ ..", "", true},
    {"..a/a..", "", true},
    {".x/..", "", false},
    {"x./..", "", false},
    {".../..", "", false},
    // dot components of the base
    {"/a/x", "/a/.", false},
    {"/a/x", "/a/..", false},
    {"./x", ".", false},
    {"/a/x", ".", false},
    {"/a/x", "..", false},
    {"/a/.../x", "/a/...", true},
    // components end at a NUL byte, the comparison does not
    {"/a/x\0/../y"s, "/a", true},
    {"/a/..\0/y"s, "/a", false},
    {"/a/.\0./y"s, "/a", false},
    {"/a/x\0"s, "/a/x", false},
    {"/a/x\0/y"s, "/a/x\0"s, true},
    {"/a/x\0/y"s, "/a/x\0/../"s, false},
    {"\0"s, "", true},
    {"\0/.."s, "", true},
    {"\0/../x"s, "\0/.."s, true},
};

TEST(CheckPath, AcceptsPathsBelowTheBase) {
  for (const auto& test : kPathCases) {
    SCOPED_TRACE(test.path + " under " + test.base);
    EXPECT_EQ(test.accepted, VexaCommonUtils::checkPath(test.path, test.base));
  }
}

TEST(CheckPath, RefusesMoreThan1024Bytes) {
  for (const std::size_t size : {1023U, 1024U, 1025U, 1026U}) {
    SCOPED_TRACE(size);
    const bool fits = size <= 1024;
    const std::string text = "/" + std::string(size - 1, 'x');
    EXPECT_EQ(fits, VexaCommonUtils::checkPath(text, ""));
    EXPECT_EQ(fits, VexaCommonUtils::checkPath(text, "/"));
    EXPECT_EQ(fits, VexaCommonUtils::checkPath(text, text));
    EXPECT_EQ(fits, VexaCommonUtils::checkPath(std::string(size, '/'), std::string(size, '/')));
    EXPECT_FALSE(VexaCommonUtils::checkPath("/x", text));
    EXPECT_FALSE(VexaCommonUtils::checkPath(text.substr(0, size - 2) + "/.", ""));
    EXPECT_FALSE(VexaCommonUtils::checkPath(text.substr(0, size - 3) + "/..", ""));
  }
  const std::string base = "/" + std::string(1023, 'b');
  EXPECT_TRUE(VexaCommonUtils::checkPath(base, base));
  EXPECT_FALSE(VexaCommonUtils::checkPath(base, base + "/"));
  for (const std::string& text : {std::string(kMebi, 'x'), std::string(kMebi, '/'),
                                  std::string(kMebi, '.'), std::string(kMebi, '\0')}) {
    EXPECT_FALSE(VexaCommonUtils::checkPath(text, ""));
    EXPECT_FALSE(VexaCommonUtils::checkPath("/x", text));
    EXPECT_FALSE(VexaCommonUtils::checkPath("", text));
  }
}

/// The documented check, over the library's splitting and replacing.
bool checkByTheSteps(const std::string& path, const std::string& base) {
  const auto hasDots = [](const std::string& text) {
    std::vector<std::string> pieces;
    VexaCommonUtils::splitAll(text, "\\/", pieces);
    return std::any_of(pieces.begin(), pieces.end(),
                       [](const auto& piece) { return piece == "." || piece == ".."; });
  };
  const auto slashed = [](std::string text) {
    std::string from = "\\";
    std::string to = "/";
    VexaCommonUtils::Vexareplace(text, from, to);
    return text;
  };
  if (path.empty() || path.size() > 1024 || base.size() > 1024) return false;
  std::string workingPath = slashed(path);
  std::string workingBase = slashed(base);
  if (hasDots(path)) return false;
  if (workingBase.empty()) return true;
  if (hasDots(workingBase)) return false;
  if (workingPath.back() != '/') workingPath += '/';
  if (workingBase.back() != '/') workingBase += '/';
  return workingPath.find(workingBase) == 0;
}

TEST(CheckPath, AgreesWithItsStepsOnAnyText) {
  std::mt19937 random(20240229);  // NOLINT(bugprone-random-generator-seed): the same every time
  int accepted = 0;
  for (int i = 0; i < 200'000; ++i) {
    const std::string base = randomText(random, "//\\.ab\0"sv, 6);
    const std::string path = (i % 2 == 0 ? base : "") + randomText(random, "//\\..ab\0"sv, 8);
    const bool expected = checkByTheSteps(path, base);
    accepted += expected ? 1 : 0;
    ASSERT_EQ(expected, VexaCommonUtils::checkPath(path, base))
        << testing::PrintToString(path) << " under " << testing::PrintToString(base);
  }
  EXPECT_GT(accepted, 10'000);
  EXPECT_LT(accepted, 190'000);
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

TEST(IsSafeFileName, LooksAtAllOfTheName) {
  struct Case {
    std::string name;
    bool safe;
  };
  const std::vector<Case> cases = {
      {"", true},
      {"report.txt", true},
      {"a name with blanks", true},
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

TEST(SpecialName, MapsAnyTextBothWays) {
  std::mt19937 random(20240229);  // NOLINT(bugprone-random-generator-seed): the same every time
  const std::string bytes = allBytes();
  for (int i = 0; i < 20'000; ++i) {
    expectRoundTrip(randomText(random, "^^^abciz/\\\0x"sv, 60));
    expectRoundTrip(randomText(random, bytes, 60));
  }
  for (const char byte : {'^', '/', 'x', '\0'}) expectRoundTrip(std::string(kMebi, byte));
}

TEST(SpecialName, GivesFileNamesOfNoDirectory) {
  const TempDir directory;
  const std::string name = "NE:1/shelf\\2 *?\"<>|^ $(id)\n\xff";
  const std::string path = directory.write(VexaCommonUtils::specialName2FileName(name), "");
  EXPECT_EQ(directory.path(), fs::path(path).parent_path());
  EXPECT_EQ(name, VexaCommonUtils::fileName2SpecialName(fs::path(path).filename().string()));
}

// checkUnSafeStr

class CheckUnSafeStr : public ::testing::Test {
 protected:
  /// The result for `text`, and what went to standard error and output meanwhile.
  struct Outcome {
    bool safe;
    std::string errors;
    std::string output;
  };

  static Outcome check(const std::string& text) {
    CapturedOutput errors(STDERR_FILENO);
    CapturedOutput output(STDOUT_FILENO);
    const bool safe = VexaCommonUtils_i::checkUnSafeStr(text);
    std::string written = output.stop();
    return {safe, errors.stop(), std::move(written)};
  }

  static void expectAnswer(bool safe, const std::string& text) {
    SCOPED_TRACE(text.substr(0, 80));
    const Outcome outcome = check(text);
    EXPECT_EQ(safe, outcome.safe);
    EXPECT_EQ("", outcome.errors);
    EXPECT_EQ("", outcome.output);
  }

  void expectUnreadable() const {
    const Outcome outcome = check("rm -rf /");
    EXPECT_TRUE(outcome.safe);
    EXPECT_EQ("file open fail, " + file + "\n", outcome.errors);
    EXPECT_EQ("", outcome.output);
    expectAnswer(true, "");
  }

  TempDir tree;
  ScopedEnv share{"_APP_SHARE_DIR", tree / "share"};
  ScopedEnv application{"APP_ROOT", tree / "app"};
  ScopedEnv common{"COMMON_LIB_PATH", tree / "common"};
  std::string file = tree / "common/conf/secure.cfg";
};

TEST_F(CheckUnSafeStr, RefusesTextsWithAnUnsafeWord) {
  tree.write("common/conf/secure.cfg",
             "[Other]\n1=other\n"
             "[UnsafeWord]\n"
             "key1=rm -rf\n"
             "key2=\n"
             "; comment=commented\n"
             "key3=\"quoted\"\n"
             "key4 =  DROP TABLE  \n"
             "key5=;\n"
             "key5=second of a key\n"
             "key6=\xc3\xa4\n"
             "[Another]\n1=another\n");
  struct Case {
    std::string text;
    bool safe;
  };
  const std::vector<Case> cases = {
      {"", true},
      {"do rm -rf /", false},
      {"rm -rf", false},
      {"xrm -rfx", false},
      {"rm -r", true},
      {"rm -r f", true},
      {"RM -RF", true},
      {"key1", true},
      {"harmless", true},
      {"other another commented", true},
      {"quoted", true},
      {"a \"quoted\" word", false},
      {"DROP TABLE", false},
      {"drop table", true},
      {"xDROP TABLEx", false},
      {"a;b", false},
      {"the second of a key", false},
      {"\xc3\xa4", false},
      {"\xc3", true},
      {"\0rm -rf"s, false},
      {"rm\0 -rf"s, true},
      {"line\nrm -rf\nline", false},
      {"$(reboot) `id` | & > <", true},
      {std::string(kMebi, 'r'), true},
      {std::string(kMebi, 'r') + "m -rf", false},
  };
  for (const auto& test : cases) expectAnswer(test.safe, test.text);
}

TEST_F(CheckUnSafeStr, AcceptsEverythingWithoutWords) {
  for (const char* const content :
       {"", "[UnsafeWord]\n", "[Other]\na=rm\n", "a=rm\n", "[UnsafeWord]\na=\nb=\n"}) {
    SCOPED_TRACE(content);
    tree.write("common/conf/secure.cfg", content);
    expectAnswer(true, "rm");
    expectAnswer(true, "a=rm");
  }
}

TEST_F(CheckUnSafeStr, FailsOpenWithoutAReadableFile) {
  expectUnreadable();
  fs::create_directories(file);
  expectUnreadable();
}

TEST_F(CheckUnSafeStr, FailsOpenWhenTheFileMayNotBeRead) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=rm\n");
  ASSERT_EQ(0, ::chmod(tree.path().c_str(), 0755));
  ASSERT_EQ(0, ::chmod(file.c_str(), 0000));
  runInChild([&] {
    dropRoot();
    expectUnreadable();
  });
}

TEST_F(CheckUnSafeStr, NamesTheFileThatItTried) {
  const ScopedEnv unset("COMMON_LIB_PATH", std::nullopt);
  file = "/conf/secure.cfg";
  expectUnreadable();
}

TEST_F(CheckUnSafeStr, TakesTheFileThatComesFirst) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=common\n");
  expectAnswer(false, "common");
  tree.write("app/conf/secure.cfg", "[UnsafeWord]\na=application\n");
  expectAnswer(true, "common");
  expectAnswer(false, "application");
  tree.write("share/conf/secure.cfg", "[UnsafeWord]\na=shared\n");
  expectAnswer(true, "application");
  expectAnswer(false, "shared");
}

TEST_F(CheckUnSafeStr, ReadsTheFileOnEveryCall) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=one\n");
  expectAnswer(false, "one");
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=two\n");
  expectAnswer(true, "one");
  expectAnswer(false, "two");
  fs::remove(file);
  expectUnreadable();
}

TEST_F(CheckUnSafeStr, LongWordsCostNoMoreThanTheirLength) {
  // Linear matching ends at once; comparing in full at each position takes a minute.
  const std::string word = std::string(200'000, 'a') + "b";
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\nkey=" + word + "\n");
  expectAnswer(true, std::string(kMebi, 'a'));
  expectAnswer(false, std::string(kMebi, 'a') + "b");
}

TEST_F(CheckUnSafeStr, ServesThreadsAtOnce) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=rm\n");
  inThreads(4, [](int) {
    EXPECT_FALSE(VexaCommonUtils_i::checkUnSafeStr("rm"));
    EXPECT_TRUE(VexaCommonUtils_i::checkUnSafeStr("cp"));
  });
}

}  // namespace
