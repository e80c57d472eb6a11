#include "text/tokens.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "text/strings_model.h"

using commutil::Token;
using commutil::Tokens;
using commutil_test::modelSplitAll;

namespace {

using namespace std::string_view_literals;

void expectTokens(const std::string& text, const std::string& delims) {
  const Tokens tokens(text, delims);
  ASSERT_TRUE(tokens.copied());
  std::vector<std::string> found;
  for (const Token& token : tokens) found.emplace_back(tokens.text(token));
  ASSERT_EQ(modelSplitAll(text, delims), found) << "of \"" << text << "\" at \"" << delims << "\"";
  ASSERT_EQ(found.size(), tokens.size());
}

std::string randomText(std::mt19937& random, std::size_t longest) {
  constexpr std::string_view kBytes = "ab,; \xff\0"sv;
  std::string text(random() % (longest + 1), '\0');
  for (char& byte : text) byte = kBytes[random() % kBytes.size()];
  return text;
}

TEST(Tokens, AreThoseOfStrtok) {
  std::mt19937 random(20240229);  // NOLINT(bugprone-random-generator-seed): the same every time
  for (int round = 0; round < 20'000; ++round) {
    const std::string text = randomText(random, 12);
    expectTokens(text, randomText(random, 3));
    if (HasFatalFailure()) return;
  }
}

TEST(Tokens, EndAtTheLimit) {
  for (std::size_t size = commutil::kSplitLimit - 2; size <= commutil::kSplitLimit + 2; ++size) {
    SCOPED_TRACE(size);
    std::string alternating(size, 'x');
    for (std::size_t i = 1; i < size; i += 2) alternating[i] = ',';
    for (const std::string& text : {alternating, std::string(size, 'x'), std::string(size, ',')}) {
      expectTokens(text, ",");
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
