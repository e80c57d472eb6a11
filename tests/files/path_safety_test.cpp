#include <gtest/gtest.h>

#include <algorithm>
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

TEST(CheckPath, AgreesWithItsStepsOnAnyString) {
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

}  // namespace
