// The walk through a tree while another process swaps a directory in it, before and after each call
// of the walk. The walk follows no link, not even one that replaces a directory it has listed.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "hostile/attacked_path.h"
#include "support/fixtures.h"
#include "support/watched_calls.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::positionOf;
using commutil_test::runInChild;
using commutil_test::Stop;
using commutil_test::TempDir;
using commutil_test::watchCalls;

using Paths = std::list<std::string>;
using Names = std::vector<std::string>;

/// A tree of one file, and a directory outside with the same names.
struct Tree {
  Tree() {
    directory.write("root/sub/inner/file", "");
    directory.write("outside/inner/secret", "");
    directory.write("outside/secret", "");
    directory.write("moved-in/inner/file", "");
  }
  std::string sub() const { return root + "/sub"; }

  TempDir directory;
  const std::string root = directory / "root";
};

struct Listing {
  int result = 0;
  Paths files;
  Names calls;
};

Listing list(const std::string& root, const std::function<void(const Stop&)>& atStop) {
  Listing listing;
  listing.calls = watchCalls(
      [&] { listing.result = VexaCommonUtils::getFilesByDir(root, "", listing.files); }, atStop);
  return listing;
}

/// What takes the place of "sub".
struct Swap {
  const char* name;
  std::function<void(const Tree&)> plant;
  bool isFile;     ///< the first listing counts it as one
  bool isEntered;  ///< a directory with the same file
};

const Swap kSwaps[] = {
    {"link out of the tree",
     [](const Tree& tree) { fs::create_symlink(tree.directory / "outside", tree.sub()); }, true,
     false},
    {"link to the tree itself", [](const Tree& tree) { fs::create_symlink(tree.root, tree.sub()); },
     true, false},
    {"link to nothing", [](const Tree& tree) { fs::create_symlink("nowhere", tree.sub()); }, true,
     false},
    {"file", [](const Tree& tree) { commutil_test::writeFile(tree.sub(), ""); }, true, false},
    {"FIFO", [](const Tree& tree) { EXPECT_EQ(0, ::mkfifo(tree.sub().c_str(), 0600)); }, true,
     false},
    {"nothing", [](const Tree& /*tree*/) {}, false, false},
    {"another directory",
     [](const Tree& tree) { fs::rename(tree.directory / "moved-in", tree.sub()); }, false, true},
};

/// Returns the position before the first call with the name `name`.
std::size_t before(const Names& calls, const std::string& name) {
  const auto call = std::find(calls.begin(), calls.end(), name);
  EXPECT_NE(calls.end(), call) << name;
  return 2 * static_cast<std::size_t>(call - calls.begin());
}

/// Returns the result and the files of a walk that finds `swap` at `position`.
Listing expectedOf(const Tree& tree, const Swap& swap, std::size_t position, const Names& calls) {
  const Paths whole{tree.sub() + "/inner/file"};
  if (swap.isEntered || position > before(calls, "openat sub")) return {0, whole, {}};
  if (position > before(calls, "readdir root")) return {-1, {}, {}};
  return {0, swap.isFile ? Paths{tree.sub()} : Paths{}, {}};
}

TEST(DirectoryWalkRaces, NeverLeaveTheTree) {
  const Names calls = list(Tree().root, [](const Stop& /*stop*/) {}).calls;
  for (const Swap& swap : kSwaps) {
    for (std::size_t position = 0; position < 2 * calls.size(); ++position) {
      SCOPED_TRACE(std::string(swap.name) + (position % 2 == 0 ? " before " : " after ") +
                   calls[position / 2] + ", call " + std::to_string(position / 2));
      runInChild([&] {
        ::alarm(20);
        const Tree tree;
        const Listing expected = expectedOf(tree, swap, position, calls);
        const Listing listing = list(tree.root, [&](const Stop& stop) {
          if (positionOf(stop) != position) return;
          fs::rename(tree.sub(), tree.directory / "moved");
          swap.plant(tree);
        });
        EXPECT_EQ(expected.files, listing.files);
        EXPECT_EQ(expected.result, listing.result);
      });
    }
  }
}

}  // namespace
