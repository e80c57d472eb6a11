#include "bytes/checked_size.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using commutil::checkedSize;

const std::size_t kLongest = std::string().max_size();
constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();
constexpr std::size_t kFourGiB = std::size_t{1} << 32;

struct Terms {
  std::size_t fixed;
  std::size_t count;
  std::size_t each;
};

TEST(CheckedSize, AddsAndMultiplies) {
  EXPECT_EQ(0U, checkedSize(0, 0, 0));
  EXPECT_EQ(7U, checkedSize(7, 0, 3));
  EXPECT_EQ(7U, checkedSize(7, 3, 0));
  EXPECT_EQ(22U, checkedSize(7, 5, 3));
  EXPECT_EQ(kFourGiB * 5, checkedSize(kFourGiB, kFourGiB, 4));
}

TEST(CheckedSize, ReturnsTheLengthOfTheLongestString) {
  for (const Terms& terms : {Terms{kLongest, 0, kLargest},
                             {kLongest, kLargest, 0},
                             {0, kLongest, 1},
                             {0, 1, kLongest},
                             {kLongest - 6, 2, 3},
                             {kLongest - 6, 3, 2},
                             {kLongest % 2, 2, kLongest / 2}}) {
    EXPECT_EQ(kLongest, checkedSize(terms.fixed, terms.count, terms.each))
        << terms.fixed << " + " << terms.count << " * " << terms.each;
  }
}

TEST(CheckedSize, RefusesWhatNoStringHolds) {
  const Terms cases[] = {
      {kLongest + 1, 0, 0},
      {kLargest, 0, 0},
      {kLongest, 1, 1},
      {kLongest - 5, 2, 3},
      {0, kLongest + 1, 1},
      {0, 2, kLongest / 2 + 1},
      {kLargest, 1, 1},                 // the sum wraps to 0
      {kLargest, 5, 1},                 // and to 4
      {0, kFourGiB, kFourGiB},          // the product wraps to 0
      {kFourGiB, kFourGiB, kFourGiB},   // and the size is that of the fixed part
      {0, kLargest, kLargest},          // to 1
      {100, kLargest / 3 + 1, 3},       // to 2, and the size to 102
      {kLargest, kLargest / 3 + 1, 3},  // both wrap
  };
  for (const Terms& terms : cases) {
    EXPECT_THROW(checkedSize(terms.fixed, terms.count, terms.each), std::length_error)
        << terms.fixed << " + " << terms.count << " * " << terms.each;
  }
}

}  // namespace
