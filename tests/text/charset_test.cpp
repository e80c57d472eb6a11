// Conversions between multibyte, wide and UTF-8 strings, and their effect on the locale.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaLocale.h"
#include "support/fixtures.h"
#include "support/locales.h"
#include "text/locale_state.h"

namespace {

using commutil_test::allBytes;
using commutil_test::currentLocale;
using commutil_test::Latin1Locale;
using commutil_test::localeInstance;
using commutil_test::nameLocale;
using commutil_test::runInChild;

constexpr wchar_t kJunk = L'#';
const std::wstring kNul(1, L'\0');

TEST(Charset, ConversionsCreateTheInstance) {
  wchar_t wide[2] = L"#";
  struct Row {
    const char* name;
    std::function<void()> convert;
    bool creates;
  };
  for (const Row& row : std::vector<Row>{
           {"null text", [&] { VexaCommonUtils::STR2WSTR(nullptr, wide); }, false},
           {"null array", [] { VexaCommonUtils::STR2WSTR("a", nullptr); }, false},
           {"empty text", [&] { VexaCommonUtils::STR2WSTR("", wide); }, true},
           {"text", [&] { VexaCommonUtils::STR2WSTR("a", wide); }, true},
           {"empty string", [] { VexaCommonUtils::STR2WSTR(std::string()); }, true},
           {"null wide text", [] { VexaCommonUtils::WSTR2STR(nullptr); }, false},
           {"empty wide text", [] { VexaCommonUtils::WSTR2STR(L""); }, true},
           {"to UTF-8", [] { VexaCommonUtils::LOC2UTF8("a"); }, false},
           {"from UTF-8", [] { VexaCommonUtils::UTF8TOLOC("a"); }, false},
       }) {
    SCOPED_TRACE(row.name);
    runInChild([&] {
      nameLocale("C.UTF-8");
      row.convert();
      EXPECT_EQ(row.creates, localeInstance() != nullptr);
      EXPECT_EQ(row.creates ? "C.UTF-8" : "C", currentLocale());
    });
  }
}

TEST(Charset, NullsWriteNothing) {
  wchar_t wide[2] = L"#";
  VexaCommonUtils::STR2WSTR(nullptr, wide);
  EXPECT_STREQ(L"#", wide);
  VexaCommonUtils::STR2WSTR("a", nullptr);
  EXPECT_EQ("", VexaCommonUtils::WSTR2STR(nullptr));
}

struct WideRow {
  const char* name;
  std::string text;
  std::wstring array;  ///< the array after the conversion, up to the last element that was written
  std::wstring wide;   ///< the result of the string form
};

void expectWide(const std::vector<WideRow>& rows) {
  for (const WideRow& row : rows) {
    SCOPED_TRACE(row.name);
    std::wstring array(row.text.size() + 4, kJunk);
    const std::wstring rest(array.size() - row.array.size(), kJunk);
    VexaCommonUtils::STR2WSTR(row.text.c_str(), array.data());
    EXPECT_EQ(row.array + rest, array);
    EXPECT_EQ(row.wide, VexaCommonUtils::STR2WSTR(row.text));
  }
}

TEST(Charset, WidensUtf8) {
  runInChild([] {
    nameLocale("C.UTF-8");
    const std::string chinese = "\xE4\xB8\xAD\xE6\x96\x87";
    expectWide({
        {"empty", "", kNul, L""},
        {"ASCII", "hello", L"hello" + kNul, L"hello"},
        {"two characters in six bytes", chinese, L"\x4E2D\x6587" + kNul + L"###" + kNul,
         L"\x4E2D\x6587"},
        {"two bytes", "\xC3\xA4", L"\xE4" + kNul + kNul, L"\xE4"},
        {"four bytes", "\xF0\x9F\x98\x80", L"\x1F600" + kNul + L"##" + kNul, L"\x1F600"},
        {"mixed", "a\xC3\xA4z", L"a\xE4z" + kNul + kNul, L"a\xE4z"},
        {"invalid after text", "ab\xFFzz", L"ab###" + kNul, L"ab"},
        {"invalid first", "\x80z", L"##" + kNul, L""},
        {"cut", "a\xE4\xB8", L"a##" + kNul, L"a"},
        {"overlong", "a\xC0\x80", L"a##" + kNul, L"a"},
    });
    EXPECT_EQ(L"ab", VexaCommonUtils::STR2WSTR(std::string("ab\0cd", 5)));
  });
}

TEST(Charset, WidensAnEightBitLocale) {
  const Latin1Locale latin1;
  runInChild([&] {
    latin1.offer();
    nameLocale(Latin1Locale::kName);
    std::string text;
    std::wstring wide;
    for (int byte = 1; byte < 256; ++byte) {
      text += static_cast<char>(byte);
      wide += static_cast<wchar_t>(byte);
    }
    expectWide({{"every byte", text, wide + kNul, wide}});
  });
}

TEST(Charset, WidensOnlyAsciiInTheCLocale) {
  runInChild([] {
    nameLocale("C");
    expectWide({{"ASCII", "hello", L"hello" + kNul, L"hello"}});
    const std::wstring beyond = VexaCommonUtils::STR2WSTR(std::string("ab\xC3\xA4"));
    EXPECT_EQ(L"ab", beyond.substr(0, 2));
  });
}

TEST(Charset, Narrows) {
  const Latin1Locale latin1;
  struct Row {
    const char* locale;
    std::wstring wide;
    std::string text;
  };
  for (const Row& row : std::vector<Row>{
           {"C.UTF-8", L"", ""},
           {"C.UTF-8", L"hello", "hello"},
           {"C.UTF-8", L"a\xE4z\x4E2D\x1F600", "a\xC3\xA4z\xE4\xB8\xAD\xF0\x9F\x98\x80"},
           {"C.UTF-8", std::wstring(L"ab\0cd", 5), "ab"},
           {"C.UTF-8", L"ab\xD800", ""},
           {"C.UTF-8", std::wstring(L"ab") + static_cast<wchar_t>(WEOF), ""},
           {"C.UTF-8", L"ab" + std::wstring(1, static_cast<wchar_t>(INT_MIN)), ""},
           {"latin1", L"a\xE4\xFF", "a\xE4\xFF"},
           {"latin1", L"a\x4E2D", ""},
           {"C", L"hello", "hello"},
           {"C", L"a\x4E2D", ""},
       }) {
    SCOPED_TRACE(std::string(row.locale) + ": " + row.text);
    runInChild([&] {
      latin1.offer();
      nameLocale(row.locale);
      EXPECT_EQ(row.text, VexaCommonUtils::WSTR2STR(row.wide.c_str()));
    });
  }
}

// The conversions by the C library only: ours must stop and store at the same places.
void expectLikeTheCLibrary(const std::string& text) {
  const std::size_t size = text.size();
  std::wstring expected(size + 4, kJunk);
  std::wstring array = expected;
  expected[size] = L'\0';
  if (size != 0) std::mbstowcs(expected.data(), text.c_str(), size);
  VexaCommonUtils::STR2WSTR(text.c_str(), array.data());
  ASSERT_EQ(expected, array);

  std::wstring zeroed(size + 1, L'\0');
  if (size != 0) std::mbstowcs(zeroed.data(), text.c_str(), size);
  ASSERT_EQ(zeroed.substr(0, zeroed.find(L'\0')), VexaCommonUtils::STR2WSTR(text));
}

void expectLikeTheCLibrary(const std::wstring& wide) {
  std::string expected(wide.size() * MB_LEN_MAX + 1, '\0');
  if (std::wcstombs(expected.data(), wide.c_str(), expected.size()) == static_cast<std::size_t>(-1))
    expected.clear();
  ASSERT_EQ(expected.c_str(), VexaCommonUtils::WSTR2STR(wide.c_str()));
}

TEST(Charset, AgreesWithTheCLibrary) {
  const Latin1Locale latin1;
  for (const char* const locale : {"C.UTF-8", Latin1Locale::kName, "C"}) {
    SCOPED_TRACE(locale);
    runInChild([&] {
      latin1.offer();
      nameLocale(locale);
      VexaLocale::Instance();
      std::mt19937 random(20240517);
      static const std::vector<std::string> pieces = {
          "a", "\xC3\xA4", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", std::string(40, 'x'), "\xED\x9F\xBF",
          "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF", "\x7F",
          // Invalid, or valid to some decoders only.
          "\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xED\xA0\x80",
          "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBF", "\xF8\x88\x80\x80\x80",
          "\xFE", "\xFF", "\xE4\xB8", "\xE4", "\xF0\x9F"};
      for (int round = 0; round < 4000; ++round) {
        std::string text;
        const std::size_t usable = random() % 2 == 0 ? 10 : pieces.size();
        for (std::size_t i = random() % 20; i > 0; --i) text += pieces[random() % usable];
        SCOPED_TRACE(::testing::PrintToString(text));
        expectLikeTheCLibrary(text);
      }
      static const std::vector<wchar_t> characters = {
          1, 'a', 0x7F, 0x80, 0xFF, 0x100, 0x7FF, 0x800, 0x4E2D, 0xD7FF, 0xE000, 0xFFFF, 0x10000,
          0x10FFFF,
          // Not encodable everywhere.
          0xD800, 0xDFFF, 0x110000, 0x7FFFFFFF, INT_MIN, -1};
      for (int round = 0; round < 4000; ++round) {
        std::wstring wide;
        const std::size_t usable = random() % 2 == 0 ? 14 : characters.size();
        for (std::size_t i = random() % 40; i > 0; --i) wide += characters[random() % usable];
        expectLikeTheCLibrary(wide);
      }
      for (const wchar_t c : characters) expectLikeTheCLibrary(L"before" + std::wstring(1, c));
    });
  }
}

/// An array of `fill` after a conversion by the steps that define it.
std::wstring widenedByTheCLibrary(const std::string& text, wchar_t fill) {
  std::wstring array(text.size() + 8, fill);
  array[text.size()] = L'\0';
  if (!text.empty()) std::mbstowcs(array.data(), text.c_str(), text.size());
  return array;
}

/// Text of ASCII and of longer characters, with an invalid byte at its end if `isBroken`.
std::string mixedText(std::size_t size, bool isBroken) {
  static const std::string kCharacters[] = {"a", "\xC3\xA9", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80"};
  std::string text;
  for (std::size_t i = size; text.size() + 4 < size; ++i) {
    text += i % 50 < 30 ? "b" : kCharacters[i % 4];
  }
  text.resize(size, 'z');
  if (isBroken && size > 0) text.back() = '\xFF';
  return text;
}

TEST(Charset, WidensAtEverySizeAndAlignmentAsTheCLibraryDoes) {
  runInChild([] {
    nameLocale("C.UTF-8");
    VexaLocale::Instance();
    constexpr std::size_t kMost = 4096;
    constexpr std::size_t kAlignments = 64;
    alignas(kAlignments) static char bytes[kMost + 2 * kAlignments];
    for (std::size_t size = 0; size <= kMost; ++size) {
      const std::string text = mixedText(size, size % 5 == 4);
      ASSERT_EQ(VexaCommonUtils::STR2WSTR(text), widenedByTheCLibrary(text, L'\0').c_str()) << size;
      const std::wstring expected = widenedByTheCLibrary(text, kJunk);
      std::wstring array;
      for (std::size_t alignment = 0; alignment < kAlignments; ++alignment) {
        std::copy_n(text.c_str(), size + 1, bytes + alignment);
        array.assign(size + 8, kJunk);
        VexaCommonUtils::STR2WSTR(bytes + alignment, array.data());
        ASSERT_TRUE(array == expected) << size << " " << alignment;
      }
    }
  });
}

TEST(Charset, SurrogatesEndAString) {
  runInChild([] {
    nameLocale("C.UTF-8");
    for (const char* const surrogate :
         {"\xED\xA0\x80", "\xED\xAF\xBF", "\xED\xB0\x80", "\xED\xBF\xBF"}) {
      const std::string text = std::string("ab") + surrogate + "cd";
      EXPECT_EQ(L"ab", VexaCommonUtils::STR2WSTR(text)) << surrogate;
      std::wstring array(text.size() + 1, kJunk);
      VexaCommonUtils::STR2WSTR(text.c_str(), array.data());
      EXPECT_EQ(L"ab", array.substr(0, 2)) << surrogate;
      EXPECT_EQ(kJunk, array[2]) << surrogate;
    }
    for (const wchar_t surrogate : {L'\xD800', L'\xDBFF', L'\xDC00', L'\xDFFF'}) {
      const std::wstring wide = L"ab" + std::wstring(1, surrogate) + L"cd";
      EXPECT_EQ("", VexaCommonUtils::WSTR2STR(wide.c_str())) << +surrogate;
    }
  });
}

TEST(Charset, ConvertsEveryCharacterBothWays) {
  runInChild([] {
    nameLocale("C.UTF-8");
    std::wstring all;
    for (wchar_t c = 1; c <= 0x10FFFF; ++c) {
      if (c < 0xD800 || c > 0xDFFF) all += c;
    }
    std::string expected(all.size() * 4 + 1, '\0');
    VexaLocale::Instance();
    expected.resize(std::wcstombs(expected.data(), all.c_str(), expected.size()));
    EXPECT_TRUE(expected == VexaCommonUtils::WSTR2STR(all.c_str()));
    EXPECT_TRUE(all == VexaCommonUtils::STR2WSTR(expected));
  });
}

TEST(Charset, ConvertsHugeStrings) {
  runInChild([] {
    nameLocale("C.UTF-8");
    const std::size_t size = std::size_t{100} << 20;
    const std::string text(size, 'q');
    const std::wstring wide = VexaCommonUtils::STR2WSTR(text);
    ASSERT_EQ(size, wide.size());
    EXPECT_EQ(size, wide.find_first_not_of(L'q') == std::wstring::npos ? size : 0);
    EXPECT_TRUE(text == VexaCommonUtils::WSTR2STR(wide.c_str()));
  });
}

/// A wide string of `count` copies of one character; only one block takes memory.
class RepeatedText {
 public:
  RepeatedText(wchar_t c, std::size_t count) {
    const std::wstring block(kBlock / sizeof(wchar_t), c);
    m_file = ::memfd_create("block", MFD_CLOEXEC);
    EXPECT_EQ(static_cast<ssize_t>(kBlock), ::write(m_file, block.data(), kBlock));
    m_blocks = count * sizeof(wchar_t) / kBlock;
    m_size = (m_blocks + 1) * kBlock;  // the last block is zero
    void* const base = ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    EXPECT_NE(MAP_FAILED, base);
    m_text = static_cast<wchar_t*>(base);
    for (std::size_t i = 0; i < m_blocks; ++i) {
      EXPECT_NE(MAP_FAILED, ::mmap(static_cast<char*>(base) + i * kBlock, kBlock, PROT_READ,
                                   MAP_SHARED | MAP_FIXED, m_file, 0));
    }
  }
  ~RepeatedText() {
    ::munmap(m_text, m_size);
    ::close(m_file);
  }
  RepeatedText(const RepeatedText&) = delete;
  RepeatedText& operator=(const RepeatedText&) = delete;

  const wchar_t* text() const { return m_text; }

 private:
  static constexpr std::size_t kBlock = std::size_t{64} << 20;
  int m_file = -1;
  std::size_t m_blocks = 0;
  std::size_t m_size = 0;
  wchar_t* m_text = nullptr;
};

TEST(Charset, ALengthOfTwoGigabytesIsNegative) {
  runInChild([] {
    nameLocale("C.UTF-8");
    // Four bytes each: 2 GiB from an eighth of the characters that ASCII needs.
    const RepeatedText text(L'\x1F600', std::size_t{1} << 29);
    EXPECT_EQ("", VexaCommonUtils::WSTR2STR(text.text()));
  });
}

TEST(Charset, Utf8IsTakenForTheLocalesEncoding) {
  const std::string all = allBytes().substr(1);
  for (const auto copy : {&VexaCommonUtils::LOC2UTF8, &VexaCommonUtils::UTF8TOLOC}) {
    EXPECT_EQ(all, copy(all.c_str()));
    EXPECT_EQ("", copy(""));
    EXPECT_EQ("", copy(nullptr));
    EXPECT_EQ("ab", copy("ab\0cd"));
  }
}

}  // namespace
