// Copying while another process swaps the target, before and after each file call of the copy. What
// is at the path when it is opened receives the copy; after that only the opened file changes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "files/sample_files.h"
#include "support/fixtures.h"
#include "support/watched_calls.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::contentOf;
using commutil_test::existsOrDangles;
using commutil_test::FailingCalls;
using commutil_test::Stop;
using commutil_test::TempDir;
using commutil_test::watchCalls;

const std::string kCopied = "the source";
constexpr time_t kTime = 1'000'000'000;
constexpr mode_t kMode = 0641;

/// A source with attributes of its own, another user's file, and a target to be swapped.
class Scene {
 public:
  explicit Scene(bool hasTarget) {
    commutil_test::writeFile(m_victim, "another user's, and longer");
    EXPECT_EQ(0, ::chmod(m_victim.c_str(), 0600));
    const timespec times[] = {{kTime, 999'999'999}, {kTime, 999'999'999}};
    EXPECT_EQ(0, ::chown(m_source.c_str(), user(), group()));
    EXPECT_EQ(0, ::chmod(m_source.c_str(), kMode));
    EXPECT_EQ(0, ::utimensat(AT_FDCWD, m_source.c_str(), times, 0));
    if (hasTarget) m_directory.write("target", "the target, and longer");
  }
  ~Scene() { ::close(m_reader); }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  const std::string& source() const { return m_source; }
  const std::string& victim() const { return m_victim; }
  const std::string& target() const { return m_target; }
  const std::string& moved() const { return m_moved; }

  /// Replaces the target by a FIFO with a reader.
  void plantFifo() {
    EXPECT_EQ(0, ::mkfifo(m_target.c_str(), 0600));
    m_reader = ::open(m_target.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    EXPECT_LE(0, m_reader);
  }

  /// Moves the target away, if there is one, and calls `plant` to create something else.
  void swap(const std::function<void(Scene&)>& plant) {
    std::error_code ignored;
    fs::rename(m_target, m_moved, ignored);
    plant(*this);
    for (const std::string& path : {m_source, m_victim, m_target, m_moved})
      m_swapped[path] = describe(path);
  }

  void expectUnchanged(const std::string& path) { EXPECT_EQ(m_swapped[path], describe(path)); }

  /// Expects the copy, with the source's attributes, in the file that `path` leads to.
  void expectCopy(const std::string& path) const {
    struct stat status = {};
    ASSERT_EQ(0, ::stat(path.c_str(), &status)) << path;
    EXPECT_EQ(kCopied, S_ISFIFO(status.st_mode) ? waiting() : contentOf(path));
    EXPECT_EQ(kTime, status.st_mtim.tv_sec);
    EXPECT_EQ(0, status.st_mtim.tv_nsec) << "whole seconds";
    EXPECT_EQ(kMode, status.st_mode & 07777);
    EXPECT_EQ(user(), status.st_uid);
    EXPECT_EQ(group(), status.st_gid);
  }

 private:
  static uid_t user() { return ::geteuid() == 0 ? 1234 : ::geteuid(); }
  static gid_t group() { return ::geteuid() == 0 ? 5678 : ::getegid(); }

  /// Returns the bytes in the FIFO, which stay there.
  std::string waiting() const {
    int count = 0;
    EXPECT_EQ(0, ::ioctl(m_reader, FIONREAD, &count));
    std::string bytes(static_cast<std::size_t>(count), '\0');
    if (bytes.empty()) return bytes;
    EXPECT_EQ(count, ::read(m_reader, bytes.data(), bytes.size()));
    EXPECT_EQ(count, ::write(m_reader, bytes.data(), bytes.size()));
    return bytes;
  }

  /// Returns everything that a copy could change at `path` itself; "" if nothing is there.
  std::string describe(const std::string& path) const {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0) return {};
    std::ostringstream text;
    text << path << ": inode " << status.st_ino << " mode " << std::oct << status.st_mode
         << std::dec << " owner " << status.st_uid << ':' << status.st_gid;
    if (!S_ISFIFO(status.st_mode))
      text << " time " << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec;
    if (S_ISREG(status.st_mode)) text << " content " << contentOf(path);
    if (S_ISFIFO(status.st_mode)) text << " bytes " << waiting();
    if (S_ISLNK(status.st_mode)) text << " leads to " << fs::read_symlink(path);
    return text.str();
  }

  TempDir m_directory;
  const std::string m_source = m_directory.write("source", kCopied);
  const std::string m_victim = m_directory / "victim";
  const std::string m_target = m_directory / "target";
  const std::string m_moved = m_directory / "moved";
  std::map<std::string, std::string> m_swapped;  ///< what was there after the swap
  int m_reader = -1;
};

/// The outcome of a swap.
enum class Outcome {
  followed,  ///< what was swapped in receives the copy
  refused,   ///< the copy fails before it touches anything
  ignored,   ///< the file that was opened receives the copy
  removed,   ///< the copy fails; the path's entry is removed, not what it leads to
};

/// The first call that finds the swapped file.
enum class FoundBy { access, check, open, none, unlink };

struct Swap {
  const char* name;
  std::function<void(Scene&)> plant;
  Outcome foundByAccess;
  Outcome foundByCheck;
  Outcome foundByOpen;
};

const std::vector<Swap> kSwaps = {
    {"link to another user's file",
     [](Scene& scene) { fs::create_symlink(scene.victim(), scene.target()); }, Outcome::refused,
     Outcome::followed, Outcome::followed},
    {"hard link to another user's file",
     [](Scene& scene) { fs::create_hard_link(scene.victim(), scene.target()); }, Outcome::refused,
     Outcome::followed, Outcome::followed},
    {"regular file",
     [](Scene& scene) { commutil_test::writeFile(scene.target(), "swapped in, and longer"); },
     Outcome::refused, Outcome::followed, Outcome::followed},
    {"dangling link", [](Scene& scene) { fs::create_symlink("nowhere", scene.target()); },
     Outcome::followed, Outcome::followed, Outcome::followed},
    {"link to the source", [](Scene& scene) { fs::create_symlink(scene.source(), scene.target()); },
     Outcome::refused, Outcome::refused, Outcome::refused},
    {"hard link to the source",
     [](Scene& scene) { fs::create_hard_link(scene.source(), scene.target()); }, Outcome::refused,
     Outcome::refused, Outcome::refused},
    {"directory", [](Scene& scene) { fs::create_directory(scene.target()); }, Outcome::refused,
     Outcome::refused, Outcome::refused},
    {"FIFO", [](Scene& scene) { scene.plantFifo(); }, Outcome::refused, Outcome::followed,
     Outcome::followed},
};

Outcome outcomeOf(const Swap& swap, FoundBy found, bool noOverwrite) {
  switch (found) {
    case FoundBy::access:
      return noOverwrite ? swap.foundByAccess : swap.foundByCheck;
    case FoundBy::check:
      return swap.foundByCheck;
    case FoundBy::open:
      return swap.foundByOpen;
    case FoundBy::unlink:
      return Outcome::removed;
    default:
      return Outcome::ignored;
  }
}

/// A call of the copy, and what finds a swap before and after it.
struct Call {
  const char* name;
  FoundBy before;
  FoundBy after;
};
using Calls = std::vector<Call>;

const Calls kUntilOpened = {
    {"realpath", FoundBy::access, FoundBy::access},
    {"realpath", FoundBy::access, FoundBy::access},
    {"access target", FoundBy::access, FoundBy::check},
    {"stat source", FoundBy::check, FoundBy::check},
    {"stat target", FoundBy::check, FoundBy::open},
    {"open source", FoundBy::open, FoundBy::open},
    {"open target", FoundBy::open, FoundBy::none},
    {"fstat source", FoundBy::none, FoundBy::none},
    {"fstat target", FoundBy::none, FoundBy::none},
    {"fcntl target", FoundBy::none, FoundBy::none},
    {"ftruncate target", FoundBy::none, FoundBy::none},
};

const Calls kUntilCopied = {
    {"sendfile target", FoundBy::none, FoundBy::none},
    {"sendfile target", FoundBy::none, FoundBy::none},
    {"read source", FoundBy::none, FoundBy::none},
    {"futimens target", FoundBy::none, FoundBy::none},
    {"fchmod target", FoundBy::none, FoundBy::none},
    {"fchown target", FoundBy::none, FoundBy::none},
    {"close target", FoundBy::none, FoundBy::none},
};

const Calls kWriting = {
    {"sendfile target", FoundBy::none, FoundBy::none},
    {"read source", FoundBy::none, FoundBy::none},
    {"write target", FoundBy::none, FoundBy::none},
};

const Calls kRemoving = {
    {"stat target", FoundBy::none, FoundBy::unlink},
    {"unlink target", FoundBy::unlink, FoundBy::none},
};

const Calls kReleasing = {{"close target", FoundBy::none, FoundBy::none}};

const Calls kClosing = {
    {"close target", FoundBy::none, FoundBy::none},
    {"close source", FoundBy::none, FoundBy::none},
};

/// In this order; without noOverwrite, its check is omitted.
Calls join(const std::vector<Calls>& parts, bool noOverwrite) {
  Calls calls;
  for (const Calls& part : parts) {
    for (const Call& call : part)
      if (noOverwrite || call.name != std::string("access target")) calls.push_back(call);
  }
  return calls;
}

struct Copy {
  const char* name;
  FailingCalls failing;
  std::vector<Calls> calls;
};

const std::vector<Copy> kCopies = {
    {"succeeds", {}, {kUntilOpened, kUntilCopied, kClosing}},
    {"cannot empty the target",
     {{"ftruncate target", EIO}},
     {kUntilOpened, kRemoving, kReleasing, kClosing}},
    {"cannot write",
     {{"sendfile target", EINVAL}, {"write target", ENOSPC}},
     {kUntilOpened, kWriting, kRemoving, kReleasing, kClosing}},
    {"reports a failed write at the end",
     {{"close target", EDQUOT}},
     {kUntilOpened, kUntilCopied, kRemoving, kClosing}},
};

/// Runs a copy of a scene, stopped at each of its calls.
std::vector<std::string> run(const Scene& scene, const Copy& copy, bool noOverwrite, int expected,
                             const std::function<void(const Stop&)>& atStop) {
  return watchCalls(
      [&] {
        EXPECT_EQ(expected,
                  VexaCommonUtils_i::copyFile(scene.source(), scene.target(), noOverwrite, true));
      },
      atStop, copy.failing);
}

void expectOutcome(Scene& scene, const Swap& swap, Outcome outcome, bool copied) {
  scene.expectUnchanged(scene.source());
  switch (outcome) {
    case Outcome::refused:
      scene.expectUnchanged(scene.victim());
      scene.expectUnchanged(scene.target());
      scene.expectUnchanged(scene.moved());
      return;
    case Outcome::followed:
      scene.expectUnchanged(scene.moved());
      if (copied) {
        scene.expectCopy(scene.target());
      } else {
        EXPECT_FALSE(existsOrDangles(scene.target()));
      }
      return;
    case Outcome::ignored:
      scene.expectUnchanged(scene.victim());
      scene.expectUnchanged(scene.target());
      if (copied) scene.expectCopy(scene.moved());
      return;
    case Outcome::removed:
      scene.expectUnchanged(scene.victim());
      EXPECT_EQ(swap.name == std::string("directory"), existsOrDangles(scene.target()));
  }
}

void PrintTo(const Copy& copy, std::ostream* out) { *out << copy.name; }

/// A FIFO is not emptied, so a copy into one does not fail there.
bool isSpared(const Copy& copy, const Swap& swap, Outcome outcome) {
  return copy.failing.count("ftruncate target") != 0 && swap.name == std::string("FIFO") &&
         outcome == Outcome::followed;
}

class CopyFileRaces : public ::testing::TestWithParam<std::tuple<Copy, bool>> {};

// Without noOverwrite there is a target to move away, with it there is none.
TEST_P(CopyFileRaces, MakesTheseCalls) {
  const auto& [copy, noOverwrite] = GetParam();
  const Scene scene(!noOverwrite);
  std::vector<std::string> expected;
  for (const Call& call : join(copy.calls, noOverwrite)) expected.emplace_back(call.name);
  EXPECT_EQ(expected, run(scene, copy, noOverwrite, copy.failing.empty() ? 0 : -1,
                          [](const Stop& /*stop*/) {}));
  if (copy.failing.empty()) {
    scene.expectCopy(scene.target());
  } else {
    EXPECT_FALSE(existsOrDangles(scene.target()));
  }
}

TEST_P(CopyFileRaces, ChangeNoFileButTheOpenedOne) {
  const auto& [copy, noOverwrite] = GetParam();
  const Calls calls = join(copy.calls, noOverwrite);
  for (const Swap& swap : kSwaps) {
    for (std::size_t position = 0; position < 2 * calls.size(); ++position) {
      const Call& call = calls[position / 2];
      const bool after = position % 2 == 1;
      SCOPED_TRACE(std::string(swap.name) + (after ? " after " : " before ") + call.name +
                   ", call " + std::to_string(position / 2));
      const Outcome outcome = outcomeOf(swap, after ? call.after : call.before, noOverwrite);
      const bool copied = copy.failing.empty() || isSpared(copy, swap, outcome);
      Scene scene(!noOverwrite);
      run(scene, copy, noOverwrite, copied && outcome != Outcome::refused ? 0 : -1,
          [&](const Stop& stop) {
            if (2 * stop.call + (stop.after ? 1 : 0) == position) scene.swap(swap.plant);
          });
      expectOutcome(scene, swap, outcome, copied);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, CopyFileRaces,
                         ::testing::Combine(::testing::ValuesIn(kCopies), ::testing::Bool()),
                         [](const auto& parameter) {
                           std::string name = std::get<0>(parameter.param).name;
                           std::replace(name.begin(), name.end(), ' ', '_');
                           return name + (std::get<1>(parameter.param) ? "_new" : "_existing");
                         });

}  // namespace
