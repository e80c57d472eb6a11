// What calls cost in memory: how often they allocate, and what they hold at their peak beside their
// input and output.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "ArgsOptions.h"
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
#include "support/allocations.h"
#include "support/fixtures.h"

namespace {

using commutil_test::allocationsOf;
using commutil_test::peakOf;
using commutil_test::TempDir;

using Lib = VexaCommonUtils;
using Lib_i = VexaCommonUtils_i;

constexpr std::size_t kMiB = std::size_t{1} << 20;

std::string repeated(const std::string& piece, std::size_t size) {
  std::string text;
  text.reserve(size + piece.size());
  while (text.size() < size) text += piece;
  text.resize(size);
  return text;
}

/// Reads the configuration before anything is counted; in a child, because the type is cached.
void prepare(const char* databaseType) {
  const TempDir dir;
  const std::string file = dir.write(
      "app.json", std::string(R"({"databases":{"db":[{"type":")") + databaseType + R"("}]}})");
  ::setenv("APP_CONF_FILE", file.c_str(), 1);
  ::setenv("LC_ALL", "C.UTF-8", 1);
  ::setenv("COSTS_ROOT", "/var/lib/a/directory/of/some/length", 1);
  ASSERT_EQ(Lib::getDBType(), databaseType);
  ASSERT_EQ(Lib::WSTR2STR(L"\x4E2D"), "\xE4\xB8\xAD");
}

struct Row {
  const char* name;
  std::function<std::size_t()> call;  ///< returns the bytes of its output
};

template <class Char>
std::size_t bytesOf(const std::basic_string<Char>& output) {
  return output.size() * sizeof(Char);
}
std::size_t bytesOf(long /*answer*/) { return 0; }

/// Prints what each call allocates, and expects it to be `expected`.
void expectAllocations(const std::vector<Row>& rows, std::size_t expected) {
  for (const Row& row : rows) {
    const std::size_t found = allocationsOf(row.call);
    std::printf("%-34s %zu\n", row.name, found);
    EXPECT_EQ(found, expected) << row.name;
  }
}

TEST(Costs, ChecksDoNotAllocate) {
  commutil_test::runInChild([] {
    prepare("sybase");
    const std::string digits = repeated("0123456789", 1000);
    const std::string path = "/srv/application" + repeated("/directory", 200);
    const std::string base = "/srv/application";
    const std::string ip = "192.168.100.254";
    std::vector<unsigned char> octets(4);
    char word[] = "--option-of-more-than-sixteen-bytes";
    char* words[] = {word, word, nullptr};
    const ArgsOptions options(2, words);
    const std::string option = word;
    expectAllocations(
        {
            {"Isdigitstr", [&] { return bytesOf(Lib_i::Isdigitstr(digits)); }},
            {"StringIsRight", [&] { return bytesOf(StringIsRight(digits)); }},
            {"isBase64", [] { return bytesOf(Lib::isBase64('a')); }},
            {"isValidIP", [&] { return bytesOf(Lib::isValidIP(ip)); }},
            {"CheckIp", [&] { return bytesOf(CheckIp(ip.c_str())); }},
            {"validateIPv4", [&] { return bytesOf(Lib_i::validateIPv4(ip, octets)); }},
            {"checkPath", [&] { return bytesOf(Lib::checkPath(path, base)); }},
            {"isSafeFileName", [&] { return bytesOf(Lib_i::isSafeFileName(digits)); }},
            {"hasOption", [&] { return bytesOf(options.hasOption(option)); }},
            {"numberOfOptions", [&] { return bytesOf(options.numberOfOptions()); }},
        },
        0);
  });
}

/// Calls of `text`, none of which changes it.
std::vector<Row> operationsOf(std::string& text) {
  return {
      {"Vexareverse", [&] { return bytesOf(Lib::Vexareverse(text)); }},
      {"Vexaltrim", [&] { return bytesOf(Lib::Vexaltrim(text)); }},
      {"Vexatrim", [&] { return bytesOf(Lib::Vexatrim(text)); }},
      {"VexatrimAll", [&] { return bytesOf(Lib_i::VexatrimAll(text, " \t\r\n")); }},
      {"trimString", [&] { return bytesOf(Lib_i::trimString(text, " \t")); }},
      {"ToUpper", [&] { return bytesOf(ToUpper(text)); }},
      {"ReplaceChar", [&] { return bytesOf(ReplaceChar(text, 'w', "<w>")); }},
      {"STR2WSTR", [&] { return bytesOf(Lib::STR2WSTR(text)); }},
      {"LOC2UTF8", [&] { return bytesOf(Lib::LOC2UTF8(text.c_str())); }},
      {"UTF8TOLOC", [&] { return bytesOf(Lib::UTF8TOLOC(text.c_str())); }},
      {"encodeData",
       [&] { return bytesOf(Lib_i::encodeData(text.data(), static_cast<unsigned>(text.size()))); }},
      {"transDBUpdateString", [&] { return bytesOf(Lib::transDBUpdateString(text)); }},
      {"transDBSearchString", [&] { return bytesOf(Lib::transDBSearchString(text)); }},
      {"TransferLikeSqlForSybAndMSSQL",
       [&] { return bytesOf(Lib::TransferLikeSqlForSybAndMSSQL(text)); }},
      {"TransferLikeSql",
       [&] { return bytesOf(Lib_i::TransferLikeSql(text, Vexacommon::FUZZY_QUERY_BOTH)); }},
      {"VexareplaceEnvVar", [&] { return bytesOf(Lib_i::VexareplaceEnvVar(text)); }},
      {"replaceEnvVar", [&] { return bytesOf(Lib::replaceEnvVar(text)); }},
      {"specialName2FileName", [&] { return bytesOf(Lib::specialName2FileName(text)); }},
      {"fileName2SpecialName", [&] { return bytesOf(Lib::fileName2SpecialName(text)); }},
  };
}

TEST(Costs, AnOperationOnCleanTextAllocatesItsResultOnly) {
  commutil_test::runInChild([] {
    prepare("sybase");
    std::string text = "  " + repeated("a line of some words and more ", 1000) + "  ";
    expectAllocations(operationsOf(text), 1);
    const std::string code = Lib_i::encodeData(text.data(), 999);
    const std::wstring wide(1000, L'\x4E2D');
    expectAllocations({{"base64Decode", [&] { return bytesOf(Lib::base64Decode(code)); }},
                       {"decodeData", [&] { return bytesOf(Lib_i::decodeData(code)); }},
                       {"WSTR2STR", [&] { return bytesOf(Lib::WSTR2STR(wide.c_str())); }},
                       {"generateUUID", [] { return bytesOf(Lib_i::generateUUID()); }},
                       {"Vexagetenv", [] { return bytesOf(Lib::Vexagetenv("COSTS_ROOT")); }}},
                      1);
  });
}

const std::string kTextThatChanges = "a_word's [place]: \\100% ^c ${COSTS_ROOT} ";

TEST(Costs, AnOperationThatChangesTextAllocatesItsResultOnly) {
  for (const char* const type : {"sybase", "oracle"}) {
    commutil_test::runInChild([type] {
      prepare(type);
      std::string text = repeated(kTextThatChanges, 1000);
      expectAllocations(operationsOf(text), 1);
    });
  }
}

TEST(Costs, AReplacementInPlaceAllocatesItsResultOnly) {
  std::string from = "word";
  std::string to = "another word";
  std::string text = repeated(kTextThatChanges, 1000);
  EXPECT_EQ(allocationsOf([&] { Lib::stringReplace(from, to, text); }), 1U);
  // It returns a copy besides.
  EXPECT_EQ(allocationsOf([&] { Lib::Vexareplace(text, from, to); }), 2U);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

constexpr std::size_t kLarge = 64 * kMiB;

/// Expects each call to hold at its peak no more than its output and 1 MiB, beside its input.
void expectPeaks(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    std::size_t output = 0;
    const std::size_t peak = peakOf([&] { output = row.call(); });
    std::printf("%-30s output %3zu MiB, peak %3zu MiB\n", row.name, output / kMiB, peak / kMiB);
    EXPECT_LE(peak, output + kMiB) << row.name;
  }
}

TEST(Costs, ThePeakOfCleanTextIsInputAndOutput) {
  commutil_test::runInChild([] {
    prepare("sybase");
    std::string text = "  " + repeated("a line of some words and more ", kLarge);
    expectPeaks(operationsOf(text));
  });
}

TEST(Costs, ThePeakOfTextThatChangesIsInputAndOutput) {
  for (const char* const type : {"sybase", "oracle"}) {
    commutil_test::runInChild([type] {
      prepare(type);
      std::string text = repeated(kTextThatChanges, kLarge);
      expectPeaks(operationsOf(text));
    });
  }
}

TEST(Costs, ThePeakOfEscapesOnlyIsInputAndOutput) {
  const std::string name = repeated("^c", kLarge);
  expectPeaks({{"fileName2SpecialName", [&] { return bytesOf(Lib::fileName2SpecialName(name)); }}});
}

TEST(Costs, ThePeakOfAReplacementInPlaceIsInputAndOutput) {
  std::string text = repeated(kTextThatChanges, kLarge);
  expectPeaks({{"stringReplace", [&] {
                  Lib::stringReplace("word", "another word", text);
                  return bytesOf(text);
                }}});
}

TEST(Costs, ThePeakOfCodedAndWideTextIsInputAndOutput) {
  commutil_test::runInChild([] {
    prepare("sybase");
    const std::string code(kLarge, 'A');
    const std::wstring wide(kLarge / sizeof(wchar_t), L'\x4E2D');
    expectPeaks({{"base64Decode", [&] { return bytesOf(Lib::base64Decode(code)); }},
                 {"decodeData", [&] { return bytesOf(Lib_i::decodeData(code)); }},
                 {"WSTR2STR", [&] { return bytesOf(Lib::WSTR2STR(wide.c_str())); }}});
  });
}

/// How many bytes more than before `call` the process had resident at its peak.
std::size_t residentPeakOf(const std::function<void()>& call) {
  const auto resident = [](const std::string& field) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != field) {
    }
    std::size_t kibibytes = 0;
    status >> kibibytes;
    return kibibytes * 1024;
  };
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts again from what is resident
  const std::size_t before = resident("VmRSS:");
  call();
  return resident("VmHWM:") - before;
}

TEST(Costs, ACopyHoldsLittleAndAReadTheFile) {
  const TempDir dir;
  const std::string source = dir.write("source", repeated("0123456789abcde\n", kLarge));
  const std::string target = dir / "target";
  commutil_test::runInChild([&] {
    const std::size_t peak =
        residentPeakOf([&] { EXPECT_EQ(Lib_i::copyFile(source, target, false, false), 0); });
    std::printf("%-30s peak %zu KiB\n", "copyFile", peak / 1024);
    EXPECT_LE(peak, 2 * kMiB);
  });
  commutil_test::runInChild([&] {
    std::string content;
    const std::size_t peak = residentPeakOf([&] { EXPECT_EQ(Lib::readFile(source, content), 0); });
    std::printf("%-30s peak %zu KiB\n", "readFile", peak / 1024);
    EXPECT_EQ(content.size(), kLarge);
    EXPECT_LE(peak, kLarge + kMiB);
  });
}

#endif

}  // namespace
