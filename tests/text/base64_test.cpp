#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cctype>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/raw_text.h"
#include "support/fixtures.h"
#include "support/locales.h"
#include "support/namespaces.h"
#include "support/threads.h"
#include "text/base64_model.h"

namespace {

using commutil_test::allBytes;
using commutil_test::inThreads;
using commutil_test::kBase64Alphabet;
using commutil_test::Latin1Locale;
using commutil_test::modelDecode;
using commutil_test::modelEncode;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::setLocale;
using commutil_test::TempDir;

constexpr std::size_t kMiB = std::size_t{1} << 20;

std::string encode(const std::string& data) {
  return VexaCommonUtils_i::encodeData(data.data(), static_cast<unsigned>(data.size()));
}

/// Decodes by both names, which must agree.
std::string decode(const std::string& text) {
  std::string bytes = VexaCommonUtils::base64Decode(text);
  EXPECT_EQ(VexaCommonUtils_i::decodeData(text), bytes);
  return bytes;
}

bool isAlnumNow(unsigned char byte) { return std::isalnum(byte) != 0; }

std::string randomBytes(std::size_t size) {
  static std::mt19937 random(20260305);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

/// Replaces each character of `text` by each byte and expects the model's results.
void expectEveryChangeDecodesAsDescribed(const std::string& text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    std::string changed = text;
    for (const char byte : allBytes()) {
      changed[at] = byte;
      ASSERT_EQ(modelDecode(changed, isAlnumNow), decode(changed))
          << "byte " << int{static_cast<unsigned char>(byte)} << " at " << at;
    }
  }
}

// RFC 4648, section 10, and the last two characters of the alphabet.
struct Pair {
  const char* data;
  const char* text;
};
constexpr Pair kPairs[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"M", "TQ=="},
    {"Ma", "TWE="},
    {"Man", "TWFu"},
    {"\xFB\xEF\xBE\xFF\xFF\xFF", "++++////"},
};

TEST(Base64, MatchesTheStandardsExamples) {
  for (const Pair& row : kPairs) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.text, encode(row.data));
    EXPECT_EQ(row.data, decode(row.text));
  }
}

TEST(Base64, DecodesUpToTheFirstOtherByte) {
  struct Case {
    const char* text;
    const char* bytes;
  };
  const Case cases[] = {
      {"TWE", "Ma"},
      {"TQ", "M"},
      {"T", ""},
      {"TQ=", "M"},
      {"TQ===", "M"},
      {"TQ==TWFu", "M"},
      {"TWE=TWFu", "Ma"},
      {"TWFu=TWFu", "Man"},
      {"TWFuT", "Man"},
      {"TWFuT=", "Man"},
      {"TWFu TWFu", "Man"},
      {"TWFu\nTWFu", "Man"},
      {"TWFu\r\nTWFu", "Man"},
      {"TWFuTW-u", "ManM"},
      {"TWFuTWF_", "ManMa"},
      {" TWFu", ""},
      {"=TWFu", ""},
      {"-", ""},
      {"TWFu\xE4\xF6\xFC\xDF", "Man"},
      // Unused bits are dropped, whatever their value.
      {"TR", "M"},
      {"TWH", "Ma"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.bytes, decode(row.text));
  }
  using namespace std::string_literals;
  EXPECT_EQ("Man", decode("TWFu\0TWFu"s));
}

TEST(Base64, EncodesNothing) {
  EXPECT_EQ("", VexaCommonUtils_i::encodeData(nullptr, 0));
  EXPECT_EQ("", VexaCommonUtils_i::encodeData("abc", 0));
  EXPECT_EQ("", decode(""));
}

TEST(Base64, EncodesOnlyTheLengthGiven) {
  EXPECT_EQ("TWE=", VexaCommonUtils_i::encodeData("Man", 2));
}

TEST(Base64, RoundTripsEveryByte) {
  const std::string bytes = allBytes();
  const std::string text = encode(bytes);
  EXPECT_EQ(modelEncode(bytes), text);
  EXPECT_EQ(344U, text.size());
  EXPECT_EQ(bytes, decode(text));
}

TEST(Base64, RoundTripsEveryLength) {
  for (std::size_t size = 0; size <= 300; ++size) {
    SCOPED_TRACE(size);
    const std::string bytes = randomBytes(size);
    const std::string text = encode(bytes);
    ASSERT_EQ(modelEncode(bytes), text);
    ASSERT_EQ((size + 2) / 3 * 4, text.size());
    ASSERT_EQ(bytes, decode(text));
    ASSERT_EQ(bytes, decode(text.substr(0, text.find('='))));
    for (std::size_t cut = 1; cut <= 3 && cut <= text.size(); ++cut) {
      const std::string part = text.substr(0, text.size() - cut);
      ASSERT_EQ(modelDecode(part, isAlnumNow), decode(part));
    }
  }
}

TEST(Base64, RoundTripsEveryGroupOfThree) {
  for (int first = 0; first <= UCHAR_MAX; ++first) {
    std::string bytes;
    bytes.reserve(3 << 16);
    for (unsigned rest = 0; rest <= USHRT_MAX; ++rest) {
      bytes += static_cast<char>(first);
      bytes += static_cast<char>(rest >> 8);
      bytes += static_cast<char>(rest & 255);
    }
    const std::string text = encode(bytes);
    ASSERT_EQ(modelEncode(bytes), text);
    ASSERT_EQ(bytes, VexaCommonUtils::base64Decode(text));
  }
}

TEST(Base64, EncodesEveryByteAtEveryPosition) {
  for (std::size_t at = 0; at < 60; ++at) {
    std::string bytes = randomBytes(60);
    for (const char byte : allBytes()) {
      bytes[at] = byte;
      ASSERT_EQ(modelEncode(bytes), encode(bytes)) << "at " << at;
    }
  }
}

TEST(Base64, DecodesEveryByteAtEveryPosition) {
  expectEveryChangeDecodesAsDescribed(encode(randomBytes(96)));
  expectEveryChangeDecodesAsDescribed(std::string(100, '/'));
}

TEST(Base64, ReadsNothingAfterTheData) {
  const std::size_t page = 4096;
  void* const pages =
      ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, pages);
  char* const end = static_cast<char*>(pages) + page;
  ASSERT_EQ(0, ::mprotect(end, page, PROT_NONE));
  for (unsigned size = 0; size <= 200; ++size) {
    const std::string bytes = randomBytes(size);
    std::memcpy(end - size, bytes.data(), size);
    ASSERT_EQ(modelEncode(bytes), VexaCommonUtils_i::encodeData(end - size, size));
  }
  ::munmap(pages, 2 * page);
}

TEST(Base64, RoundTripsAHundredMebibytes) {
  std::string bytes = randomBytes(kMiB);
  while (bytes.size() < 100 * kMiB) bytes += bytes.substr(0, 100 * kMiB - bytes.size());
  const std::string text = encode(bytes);
  EXPECT_EQ((bytes.size() + 2) / 3 * 4, text.size());
  EXPECT_EQ(std::string::npos, text.find('\n'));
  EXPECT_TRUE(bytes == VexaCommonUtils::base64Decode(text));
  EXPECT_TRUE(bytes == VexaCommonUtils_i::decodeData(text));
}

TEST(Base64, TakesTheLengthModulo4GiB) {
  struct Case {
    std::size_t size;
    const char* bytes;
  };
  for (const Case row : {Case{std::size_t{1} << 32, ""}, {(std::size_t{1} << 32) + 6, "ManM"}}) {
    // Only written pages take memory.
    const std::string text = commutil::writtenText(row.size, [](char* data, std::size_t size) {
      std::string_view("TWFuTWFuTWFu").copy(data, size);
      return size;
    });
    ASSERT_EQ(row.size, text.size());
    EXPECT_EQ(row.bytes, decode(text));
  }
}

TEST(Base64, KeepsNoMemoryForWhatItDidNotDecode) {
  const std::string bytes = VexaCommonUtils::base64Decode("TWFu " + std::string(kMiB, 'A'));
  EXPECT_EQ("Man", bytes);
  EXPECT_LT(bytes.capacity(), 100U);
}

TEST(Base64, RecognizesDataCharactersInTheCLocale) {
  for (const char byte : allBytes()) {
    EXPECT_EQ(kBase64Alphabet.find(byte) != std::string::npos,
              VexaCommonUtils::isBase64(static_cast<unsigned char>(byte)))
        << int{static_cast<unsigned char>(byte)};
  }
}

TEST(Base64, RecognizesNoOtherDataCharactersInUtf8) {
  runInChild([] {
    setLocale("C.UTF-8");
    for (int byte = 0x80; byte <= UCHAR_MAX; ++byte) {
      EXPECT_FALSE(VexaCommonUtils::isBase64(static_cast<unsigned char>(byte))) << byte;
    }
    EXPECT_EQ("Man", decode("TWFu\xC3\xA4TWFu"));
  });
}

TEST(Base64, TakesLettersFromThe8BitLocale) {
  const Latin1Locale latin1;
  runInChild([&latin1] {
    EXPECT_FALSE(VexaCommonUtils::isBase64(0xE4));
    latin1.set();
    EXPECT_TRUE(VexaCommonUtils::isBase64(0xE4));   // a letter
    EXPECT_TRUE(VexaCommonUtils::isBase64(0xFF));   // a letter, and -1 as a signed byte
    EXPECT_FALSE(VexaCommonUtils::isBase64(0xD7));  // the multiplication sign
    EXPECT_FALSE(VexaCommonUtils::isBase64(0xA0));  // a space
    EXPECT_FALSE(VexaCommonUtils::isBase64('='));
    EXPECT_FALSE(VexaCommonUtils::isBase64('_'));
    for (int byte = 0; byte <= UCHAR_MAX; ++byte) {
      EXPECT_EQ(std::isalnum(byte) != 0 || byte == '+' || byte == '/',
                VexaCommonUtils::isBase64(static_cast<unsigned char>(byte)))
          << byte;
    }
  });
}

TEST(Base64, AddsUpTheIndex255OfOtherLetters) {
  const Latin1Locale latin1;
  runInChild([&latin1] {
    latin1.set();
    struct Case {
      const char* text;
      std::string bytes;
    };
    using namespace std::string_literals;
    const Case cases[] = {
        {"\xE4WFu", "\xFD\x61\x6E"s},  // 255 * 4 + 1
        {"T\xE4"
         "Fu",
         "\x4F\xF1\x6E"s},                  // 3 and 15 of 255
        {"TW\xE4u", "\x4D\x6F\xEE"s},       // 15 and 3 of 255
        {"TWF\xE4", "\x4D\x61\x3F"s},       // 64 + 255: an addition with carry, not an "or"
        {"TWG\xE4", "\x4D\x61\x7F"s + ""},  // 128 + 255
        {"TWE\xE4", "\x4D\x61\xFF"s},       // 0 + 255
        {"TWH\xE4", "\x4D\x61\xBF"s},       // 192 + 255
        {"\xE4\xE4\xE4\xE4", "\xFF\xFF\xBF"s},
        {"\xE4\xE4", "\xFF"s},
        {"\xE4\xE4\xE4", "\xFF\xFF"s},
        {"\xE4", ""s},
        {"TWFu\xE4WFu\xD7TWFu", "Man\xFD\x61\x6E"s},
        {"\xE4WFuTWFu=", "\xFD\x61\x6EMan"s},
    };
    for (const Case& row : cases) {
      SCOPED_TRACE(row.text);
      EXPECT_EQ(row.bytes, decode(row.text));
    }
    expectEveryChangeDecodesAsDescribed(encode(randomBytes(75)));
    expectEveryChangeDecodesAsDescribed(std::string(50, '\xE4'));
  });
}

TEST(Base64, DecodesAsDescribedInATurkishLocale) {
  const TempDir locales;
  commutil_test::shell("localedef --no-archive -i tr_TR -f ISO-8859-9 " + (locales / "tr_TR"));
  const ScopedEnv path("LOCPATH", locales.path().string());
  runInChild([] {
    setLocale("tr_TR");
    EXPECT_TRUE(VexaCommonUtils::isBase64(0xFD));  // the small dotless i
    EXPECT_EQ("Man", decode("TWFu"));
    const std::string bytes = allBytes();
    EXPECT_EQ(modelEncode(bytes), encode(bytes));
    EXPECT_EQ(bytes, decode(encode(bytes)));
    expectEveryChangeDecodesAsDescribed(encode(randomBytes(75)));
  });
}

TEST(Base64, FollowsTheLocaleAsItChanges) {
  const Latin1Locale latin1;
  runInChild([&latin1] {
    latin1.set();
    EXPECT_EQ("\xFD\x61\x6E", decode("\xE4WFu"));
    setLocale("C");
    EXPECT_EQ("", decode("\xE4WFu"));
    EXPECT_FALSE(VexaCommonUtils::isBase64(0xE4));
  });
}

TEST(Base64, WorksInSeveralThreadsAtOnce) {
  const std::string bytes = randomBytes(10000);
  inThreads(4, [&bytes](int) {
    for (int turn = 0; turn < 50; ++turn) {
      ASSERT_EQ(bytes, VexaCommonUtils::base64Decode(encode(bytes)));
    }
  });
}

}  // namespace
