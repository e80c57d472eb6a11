// Operations while their files are swapped at random, between their file calls or by another
// process at any time. The oracle holds every file before the operation and what the operation
// opens: no other file changes, and the results are those of the opened files.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocks.h"
#include "config/uncached.h"
#include "hostile/swapper.h"
#include "os/handles.h"
#include "support/fixtures.h"

namespace {

namespace fs = std::filesystem;
using commutil::Descriptor;
using commutil_test::emptyDirectory;
using commutil_test::fileWith;
using commutil_test::hardLinkTo;
using commutil_test::linkTo;
using commutil_test::Opened;
using commutil_test::Plant;
using commutil_test::runSwapped;
using commutil_test::ScopedEnv;
using commutil_test::Swapper;
using commutil_test::SwappingProcess;
using commutil_test::TempDir;

constexpr int kRounds = 10'000;

/// Who swaps.
enum class Mode {
  betweenCalls,  ///< the test itself: the seed repeats the run
  byProcess,     ///< another process, also inside a call
};

struct stat statusOf(const Descriptor& file) {
  struct stat status = {};
  EXPECT_EQ(0, ::fstat(file.get(), &status));
  return status;
}

/// Returns the content of an open file, "" unless it is a regular one.
std::string contentOf(const Descriptor& file) {
  if (!S_ISREG(statusOf(file).st_mode)) return {};
  return commutil_test::readFile("/proc/self/fd/" + std::to_string(file.get()));
}

bool isSameFile(const Descriptor& one, const Descriptor& other) {
  const struct stat first = statusOf(one);
  const struct stat second = statusOf(other);
  return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

/// Returns everything that an operation could change in a file, a FIFO or a link.
std::string describe(const Descriptor& file) {
  const struct stat status = statusOf(file);
  std::array<char, 4096> target{};
  if (S_ISLNK(status.st_mode)) {
    EXPECT_LT(0, ::readlinkat(file.get(), "", target.data(), target.size() - 1));
  }
  std::ostringstream text;
  text << "inode " << status.st_ino << " mode " << std::oct << status.st_mode << std::dec
       << " owner " << status.st_uid << ':' << status.st_gid << " time " << status.st_mtim.tv_sec
       << '.' << status.st_mtim.tv_nsec << " content " << contentOf(file) << target.data();
  return text.str();
}

/// The files at some paths, held open so that no other file gets their inode numbers.
class HeldFiles {
 public:
  explicit HeldFiles(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
      Descriptor file(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
      // A step itself changes a directory's time.
      if (!file || S_ISDIR(statusOf(file).st_mode)) continue;
      std::string before = describe(file);
      m_files.emplace_back(std::move(file), std::move(before));
    }
  }

  /// Expects every file as it was, except those that `opened` holds with the name `written`.
  void expectUnchanged(const std::vector<Opened>& opened, const std::string& written) const {
    for (const auto& [file, before] : m_files) {
      const Descriptor& held = file;
      const bool isWritten =
          std::any_of(opened.begin(), opened.end(), [&](const Opened& candidate) {
            return candidate.name == written && isSameFile(held, candidate.file);
          });
      if (!isWritten) {
        EXPECT_EQ(before, describe(held));
      }
    }
  }

 private:
  std::vector<std::pair<Descriptor, std::string>> m_files;
};

/// Calls `round` with its number, again and again while `swapper` is at work, until the first
/// failure.
void attack(Swapper& swapper, Mode mode, const std::function<void(int)>& round) {
  std::optional<SwappingProcess> process;
  if (mode == Mode::byProcess) process.emplace(swapper);
  for (int i = 0; i < kRounds && !testing::Test::HasFailure(); ++i) round(i);
}

/// What an operation has opened, and the files before it.
struct Trace {
  HeldFiles files;
  std::vector<Opened> opened;

  /// Expects that no file has changed, or only the opened ones with the name `written`.
  void expectUnchanged(const std::string& written = {}) const {
    files.expectUnchanged(opened, written);
  }
};

/// A path that is swapped with files, links, a directory and a FIFO, and another user's file, to
/// which some of the links lead.
class Scene {
 public:
  using Contents = std::function<std::string(const std::string& owner)>;

  Scene(const std::string& name, const Contents& contentFor, Mode mode)
      : m_mode(mode),
        m_path(m_directory.write(name, contentFor("original"))),
        m_victim(m_directory.write("victim", contentFor("victim"))),
        m_plants{linkTo(m_victim),
                 hardLinkTo(m_victim),
                 linkTo(nowhere()),
                 emptyDirectory(),
                 fileWith(contentFor("planted")),
                 fileWith(contentFor("another"))} {
    EXPECT_EQ(0, ::chmod(m_victim.c_str(), 0600));
  }

  const TempDir& directory() const { return m_directory; }
  const std::string& path() const { return m_path; }
  /// Returns where the dangling link leads.
  std::string nowhere() const { return m_directory / "nowhere"; }

  const std::vector<Plant>& plants() const { return m_plants; }
  void add(Plant plant) { m_plants.push_back(std::move(plant)); }

  /// Adds a FIFO, always the same. Both its ends are open, so that opening it does not wait.
  void addFifo() {
    const std::string fifo = m_directory / "fifo";
    EXPECT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
    m_bothEnds.reset(::open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    add(hardLinkTo(fifo));
  }

  /// Takes what is in the FIFO: a full one would block the next copy.
  std::string drainFifo() const {
    std::array<char, 4096> bytes;  // NOLINT(*-member-init): filled by read
    const ssize_t count = ::read(m_bothEnds.get(), bytes.data(), bytes.size());
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

  void attack(const std::function<void(int)>& round) {
    m_swapper.emplace(m_path, m_directory / "slots", m_plants);
    ::attack(*m_swapper, m_mode, round);
  }

  Trace run(const std::function<void()>& operation) {
    std::vector<std::string> paths = m_swapper->places();
    for (const char* name : {"victim", "source", "target", "fifo"})
      paths.push_back(m_directory / name);
    HeldFiles files(paths);
    return {std::move(files),
            runSwapped(operation, m_mode == Mode::betweenCalls ? &*m_swapper : nullptr)};
  }

 private:
  const Mode m_mode;
  TempDir m_directory;
  const std::string m_path;
  const std::string m_victim;
  std::vector<Plant> m_plants;
  Descriptor m_bothEnds;
  std::optional<Swapper> m_swapper;
};

std::string plainContent(const std::string& owner) { return "of the " + owner; }

class Swaps : public ::testing::Test {
 private:
  // In memory: a file system on disk makes each truncation wait for the last write.
  const ScopedEnv m_directory{"TMPDIR", "/dev/shm"};
};

class RandomSwaps : public Swaps, public ::testing::WithParamInterface<Mode> {};

TEST_F(Swaps, ChangeNoFileThemselves) {
  Scene scene("path", plainContent, Mode::betweenCalls);
  scene.addFifo();
  Swapper swapper(scene.path(), scene.directory() / "slots", scene.plants());
  for (int i = 0; i < kRounds; ++i) {
    const HeldFiles files(swapper.places());
    swapper.step();
    files.expectUnchanged({}, {});
  }
  EXPECT_EQ("", scene.drainFifo());
  EXPECT_FALSE(fs::exists(scene.nowhere()));
}

TEST_P(RandomSwaps, ACopyGoesToTheFileThatIsOpened) {
  Scene scene("target", plainContent, GetParam());
  const std::string source = scene.directory() / "source";
  commutil_test::writeFile(source, "");
  scene.addFifo();
  scene.add(linkTo(source));
  scene.add(hardLinkTo(source));
  int copied = 0;
  scene.attack([&](int round) {
    const std::string text = "copy " + std::to_string(round);
    commutil_test::writeFile(source, text);
    const bool isNew = round % 2 != 0;
    int result = -1;
    const Trace run =
        scene.run([&] { result = VexaCommonUtils_i::copyFile(source, scene.path(), isNew, true); });
    EXPECT_EQ(text, commutil_test::readFile(source));
    fs::remove(scene.nowhere());
    run.expectUnchanged(result == 0 ? "target" : "");
    if (result != 0) return;
    ++copied;
    ASSERT_EQ(2U, run.opened.size());
    const Descriptor& target = run.opened[1].file;
    EXPECT_EQ(text, S_ISFIFO(statusOf(target).st_mode) ? scene.drainFifo() : contentOf(target));
  });
  EXPECT_LT(0, copied);
}

// Without a FIFO: the copy waits until the writers of its source have closed it.
TEST_P(RandomSwaps, ACopyIsThatOfTheSourceThatIsOpened) {
  Scene scene("swapped", plainContent, GetParam());
  const std::string target = scene.directory() / "target";
  scene.add(linkTo(target));
  int copied = 0;
  scene.attack([&](int /*round*/) {
    commutil_test::writeFile(target, "before");
    int result = -1;
    const Trace run = scene.run(
        [&] { result = VexaCommonUtils_i::copyFile(scene.path(), target, false, false); });
    run.expectUnchanged("target");
    if (result != 0) {
      // A directory can be opened, and the failed copy is removed.
      EXPECT_TRUE(!fs::exists(target) || commutil_test::readFile(target) == "before");
      return;
    }
    ++copied;
    ASSERT_EQ(2U, run.opened.size());
    EXPECT_EQ(contentOf(run.opened[0].file), commutil_test::readFile(target));
  });
  EXPECT_LT(0, copied);
}

TEST_P(RandomSwaps, TheSslOptionFileIsANewFile) {
  const std::string text = "\"-SSLCAfile a -SSLAuthenticate b -SSLVersion c -SSLNoProtection\"";
  Scene scene("target", plainContent, GetParam());
  scene.addFifo();
  const std::string source = scene.directory().write("source", text);
  int generated = 0;
  scene.attack([&](int /*round*/) {
    bool result = false;
    const Trace run = scene.run([&] { result = commutil::generateSslConf(source, scene.path()); });
    run.expectUnchanged();
    EXPECT_EQ("", scene.drainFifo());
    EXPECT_FALSE(fs::exists(scene.nowhere()));
    ASSERT_EQ(result ? 2U : 1U, run.opened.size());
    if (!result) return;
    ++generated;
    const struct stat status = statusOf(run.opened[1].file);
    EXPECT_EQ(mode_t{S_IFREG | 0640}, status.st_mode);
    EXPECT_EQ(::geteuid(), status.st_uid);
    EXPECT_EQ(text, contentOf(run.opened[1].file));
  });
  EXPECT_LT(0, generated);
}

/// Expects a lock of this process on the open file `fd`.
void expectLocked(int fd) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  EXPECT_EQ(0, ::fcntl(fd, F_OFD_GETLK, &lock));
  EXPECT_EQ(F_WRLCK, lock.l_type);
  EXPECT_EQ(::getpid(), lock.l_pid);
}

TEST_P(RandomSwaps, TheOpenedLockFileIsLockedAndUnchanged) {
  Scene scene("backup_PROCESSMUTEX", plainContent, GetParam());
  scene.addFifo();
  const ScopedEnv share("_APP_SHARE_DIR", scene.directory().path().string());
  int locked = 0;
  scene.attack([&](int /*round*/) {
    int result = -1;
    const Trace run = scene.run([&] {
      VexaProcessLock lock("backup", "/");
      lock.SetOutputType(OUTPUT_TYPE_SILENT);
      const int next = commutil_test::lowestFreeDescriptor();
      result = lock.EnterProcessMutex();
      if (result != 0) return;
      expectLocked(next);
      EXPECT_EQ(0, lock.ExitProcessMutex());
    });
    fs::remove(scene.nowhere());
    run.expectUnchanged();
    const auto openings =
        std::count_if(run.opened.begin(), run.opened.end(),
                      [](const Opened& opened) { return opened.name == "backup_PROCESSMUTEX"; });
    EXPECT_EQ(result == 0 ? 1 : 0, openings);
    if (result == 0) ++locked;
  });
  EXPECT_LT(0, locked);
}

TEST_P(RandomSwaps, AContentIsThatOfTheFileThatIsOpened) {
  Scene scene("file", plainContent, GetParam());
  scene.addFifo();
  int read = 0;
  scene.attack([&](int /*round*/) {
    std::string content = "before";
    int result = -1;
    const Trace run = scene.run([&] { result = VexaCommonUtils::readFile(scene.path(), content); });
    run.expectUnchanged();
    if (result != 0) {
      EXPECT_EQ("before", content);
      return;
    }
    ++read;
    ASSERT_EQ(1U, run.opened.size());
    EXPECT_EQ(contentOf(run.opened[0].file), content);
  });
  EXPECT_LT(0, read);
}

TEST_P(RandomSwaps, TheWalkStaysInTheTree) {
  const TempDir directory;
  directory.write("tree/sub/inner/file", "");
  directory.write("outside/inner/secret", "");
  directory.write("planted/inner/file", "");
  const std::string tree = directory / "tree";
  const std::string sub = tree + "/sub";
  Swapper swapper(sub, directory / "slots",
                  {linkTo(directory / "outside"), linkTo(tree), linkTo("nowhere"),
                   fileWith("plain"), [&](const std::string& path) {
                     fs::copy(directory / "planted", path, fs::copy_options::recursive);
                     return true;
                   }});
  int entered = 0;
  attack(swapper, GetParam(), [&](int /*round*/) {
    std::list<std::string> files;
    runSwapped([&] { VexaCommonUtils::getFilesByDir(tree, "", files); },
               GetParam() == Mode::betweenCalls ? &swapper : nullptr);
    for (const std::string& file : files) {
      if (file == sub + "/inner/file") {
        ++entered;
      } else {
        EXPECT_EQ(sub, file);
      }
    }
  });
  EXPECT_LT(0, entered);
}

#ifdef SETTINGREST_LIBRARY

int lookUp(std::string& value) {
  using ValueFunction = int (*)(const std::string&, std::string&);
  static void* const library = ::dlopen(SETTINGREST_LIBRARY, RTLD_LAZY | RTLD_GLOBAL);
  static const auto function =
      reinterpret_cast<ValueFunction>(::dlsym(library, "getSettingParamValue"));
  return function("key", value);
}

std::string documentOf(const std::string& value) { return R"({"key": ")" + value + "\"}"; }

TEST_P(RandomSwaps, ASettingIsThatOfTheOpenedDocument) {
  Scene scene("store.json", documentOf, GetParam());
  scene.addFifo();
  const ScopedEnv url("SETTINGREST_URL", "file://" + scene.path());
  std::string last;
  scene.attack([&](int /*round*/) {
    std::string value;
    int result = -1;
    const Trace run = scene.run([&] { result = lookUp(value); });
    run.expectUnchanged();
    if (result != 0) return;
    // A document that has not changed since the last lookup is not opened again.
    if (!run.opened.empty()) last = contentOf(run.opened.back().file);
    EXPECT_EQ(last, documentOf(value));
  });
  EXPECT_NE("", last);
}

#endif

INSTANTIATE_TEST_SUITE_P(All, RandomSwaps, ::testing::Values(Mode::betweenCalls, Mode::byProcess),
                         [](const auto& mode) {
                           return mode.param == Mode::betweenCalls ? "BetweenCalls" : "ByProcess";
                         });

}  // namespace
