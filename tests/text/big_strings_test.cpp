// Strings of 4 GiB and more: sizes exceed 32 bits, products of two sizes exceed 64. Each test takes
// less than 10 GiB of memory.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "bytes/raw_text.h"

namespace {

constexpr std::size_t kFourGiB = std::size_t{1} << 32;
constexpr unsigned int kLongestData = std::numeric_limits<unsigned int>::max();

/// A string that takes no memory until its bytes are written.
std::string unwritten(std::size_t size) {
  return commutil::writtenText(size, [](char* /*data*/, std::size_t room) { return room; });
}

/// `kLongestData` zero bytes, which take no memory.
class Zeros {
 public:
  Zeros()
      : m_pages(::mmap(nullptr, kLongestData, PROT_READ,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
    EXPECT_NE(MAP_FAILED, m_pages);
  }
  ~Zeros() { ::munmap(m_pages, kLongestData); }
  Zeros(const Zeros&) = delete;
  Zeros& operator=(const Zeros&) = delete;

  const char* data() const { return static_cast<const char*>(m_pages); }

 private:
  void* m_pages;
};

bool holdsOnly(const std::string& text, std::size_t size, char byte) {
  return std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size),
                     [byte](char c) { return c == byte; });
}

TEST(BigStrings, AReplacementWhoseSizeWrapsIsRefused) {
  std::string text(kFourGiB, 'a');
  std::string from = "a";
  std::string to = unwritten(kFourGiB);
  EXPECT_THROW(VexaCommonUtils::stringReplace(from, to, text), std::length_error);
  EXPECT_THROW(VexaCommonUtils::Vexareplace(text, from, to), std::length_error);
  EXPECT_THROW(ReplaceChar(text, 'a', to), std::length_error);
  EXPECT_EQ(kFourGiB, text.size());
  EXPECT_TRUE(holdsOnly(text, text.size(), 'a'));
}

TEST(BigStrings, TheLongestDataIsEncodedWhole) {
  const Zeros zeros;
  const std::string text = VexaCommonUtils_i::encodeData(zeros.data(), kLongestData);
  ASSERT_EQ(std::size_t{kLongestData} / 3 * 4, text.size());
  EXPECT_TRUE(holdsOnly(text, text.size(), 'A'));
}

TEST(BigStrings, TheLongestStringIsDecodedWhole) {
  const std::string text(kLongestData, 'A');
  const std::string bytes = VexaCommonUtils::base64Decode(text);
  ASSERT_EQ(std::size_t{kLongestData} / 4 * 3 + 2, bytes.size());
  EXPECT_TRUE(holdsOnly(bytes, bytes.size(), '\0'));
}

}  // namespace
