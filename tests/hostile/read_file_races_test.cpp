// Reading a whole file while another process swaps its path or changes it, before and after each
// file call. The content is always that of the file that was opened.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "hostile/attacked_path.h"
#include "support/fixtures.h"
#include "support/watched_calls.h"

namespace {

using commutil_test::AttackedPath;
using commutil_test::Plant;
using commutil_test::positionOf;
using commutil_test::readableAfter;
using commutil_test::Stop;
using commutil_test::TempDir;
using commutil_test::watchCalls;
using commutil_test::withEachSwap;

using Names = std::vector<std::string>;

const Names kCalls = {"open file", "fstat file", "read file", "close file"};
constexpr std::size_t kBeforeOpen = 0;  // positions
constexpr std::size_t kBeforeSize = 2;
constexpr std::size_t kBeforeRead = 4;

/// Reads the file at `path`; "refused" if that fails and leaves the content unchanged.
std::string contentOf(const std::string& path, const std::function<void(const Stop&)>& atStop,
                      Names* calls = nullptr) {
  std::string content = "before";
  int result = -1;
  const Names made = watchCalls([&] { result = VexaCommonUtils::readFile(path, content); }, atStop);
  if (calls != nullptr) *calls = made;
  if (result == 0) return content;
  EXPECT_EQ(1, result);
  EXPECT_EQ("before", content);
  return "refused";
}

TEST(ReadFileRaces, ReturnTheContentOfTheOpenedFile) {
  withEachSwap(kCalls.size(), [](Plant plant, std::size_t position) {
    AttackedPath file("file", [](const char* who) { return who; });
    const bool found = position <= kBeforeOpen;
    Names calls;
    EXPECT_EQ(found ? readableAfter(plant) : "original", contentOf(
                                                             file.path(),
                                                             [&](const Stop& stop) {
                                                               if (positionOf(stop) == position)
                                                                 file.swap(plant);
                                                             },
                                                             &calls));
    if (!found) {
      EXPECT_EQ(kCalls, calls);
    }
    file.expectUnchanged();
  });
}

/// A change of the file in place, and what is read if the size or only the reading meets it.
struct Change {
  const char* name;
  std::function<void(const std::string& path)> make;
  const char* metBySize;
  const char* metByRead;
};

const Change kChanges[] = {
    {"shorter", [](const std::string& path) { EXPECT_EQ(0, ::truncate(path.c_str(), 3)); }, "ori",
     "refused"},
    {"empty", [](const std::string& path) { EXPECT_EQ(0, ::truncate(path.c_str(), 0)); }, "",
     "refused"},
    {"longer", [](const std::string& path) { std::ofstream(path, std::ios::app) << "+"; },
     "original+", "original"},
    {"overwritten", [](const std::string& path) { std::ofstream(path, std::ios::in) << "ORIG"; },
     "ORIGinal", "ORIGinal"},
};

TEST(ReadFileRaces, ReturnNoMoreThanTheSizeAndNoLess) {
  for (const Change& change : kChanges) {
    for (std::size_t position = 0; position < 2 * kCalls.size(); ++position) {
      SCOPED_TRACE(std::string(change.name) + ", position " + std::to_string(position));
      const TempDir directory;
      const std::string path = directory.write("file", "original");
      const char* expected = "original";
      if (position <= kBeforeRead) expected = change.metByRead;
      if (position <= kBeforeSize) expected = change.metBySize;
      EXPECT_EQ(expected, contentOf(path, [&](const Stop& stop) {
                  if (positionOf(stop) == position) change.make(path);
                }));
    }
  }
}

}  // namespace
