#include "bytes/find.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace {

using commutil::Finder;

TEST(Finder, AgreesWithAPlainSearch) {
  std::mt19937 random(64);
  for (int round = 0; round < 20'000; ++round) {
    std::string text(random() % 100, 'a');
    std::string wanted(1 + random() % 5, 'a');
    for (char& byte : text) byte = random() % 4 == 0 ? 'b' : 'a';
    for (char& byte : wanted) byte = random() % 4 == 0 ? 'b' : 'a';
    const Finder finder(wanted);
    const std::size_t from = random() % (text.size() + 1);
    ASSERT_EQ(std::min(text.find(wanted, from), text.size()), finder.find(text, from))
        << wanted << " in " << text << " from " << from;

    std::vector<std::size_t> expected;
    for (std::size_t at = 0; (at = text.find(wanted, at)) != std::string::npos; at += wanted.size())
      expected.push_back(at);
    std::vector<std::size_t> visited;
    finder.forEach(text, [&](std::size_t at) { visited.push_back(at); });
    ASSERT_EQ(expected, visited) << wanted << " in " << text;
  }
}

TEST(Finder, FindsTheEmptyStringAtItsStart) {
  EXPECT_EQ(0U, Finder("").find("text", 0));
  EXPECT_EQ(4U, Finder("").find("text", 4));
}

}  // namespace
