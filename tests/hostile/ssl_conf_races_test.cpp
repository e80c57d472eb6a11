// The SSL option file while another process replaces its path, before and after each file call of
// its generation. The file is a new one or the opened one; what the other process created is
// removed or unchanged, and the target of its link never changes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "support/file_state.h"
#include "support/fixtures.h"
#include "support/watched_calls.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::dropRoot;
using commutil_test::FailingCalls;
using commutil_test::readFile;
using commutil_test::ScopedEnv;
using commutil_test::ScopedUmask;
using commutil_test::stateOf;
using commutil_test::Stop;
using commutil_test::TempDir;
using commutil_test::watchCalls;
using commutil_test::writeFile;

/// A template with every option, so that the settings store is not read.
const std::string kText = "\"-SSLCAfile a -SSLAuthenticate b -SSLVersion c -SSLNoProtection\"";

/// Runs `body` in a child with a time limit.
void runInChild(const std::function<void()>& body) {
  commutil_test::runInChild([&] {
    ::alarm(20);
    body();
  });
}

/// A deployment with a template, another user's file and, if `hasTarget`, an older option file.
class Scene {
 public:
  explicit Scene(bool hasTarget) {
    m_dir.write("app/conf/svc_ssl.conf", kText);
    fs::create_directory(m_share);
    writeFile(m_victim, "another user's, and longer than the options of the template: " + kText);
    EXPECT_EQ(0, ::chmod(m_victim.c_str(), 0604));
    if (!hasTarget) return;
    writeFile(m_target, "old");
    EXPECT_EQ(0, ::chmod(m_target.c_str(), 0666));
  }

  const std::string& share() const { return m_share; }
  const std::string& victim() const { return m_victim; }
  const std::string& target() const { return m_target; }
  const std::string& moved() const { return m_moved; }
  void openToOthers() const { EXPECT_EQ(0, ::chmod(m_dir.path().c_str(), 0755)); }

  /// Moves the target away, if there is one, and calls `plant` to create something else.
  void swap(const std::function<void(const Scene&)>& plant) {
    std::error_code ignored;
    fs::rename(m_target, m_moved, ignored);
    plant(*this);
    remember();
  }

  void remember() {
    for (const std::string& path : {m_victim, m_target, m_moved}) m_before[path] = stateOf(path);
  }

  void expectUnchanged(const std::string& path) { EXPECT_EQ(m_before[path], stateOf(path)); }

  /// Expects the generated file, not a link to it, at `path`.
  static void expectGenerated(const std::string& path) {
    struct stat status = {};
    ASSERT_EQ(0, ::lstat(path.c_str(), &status)) << path;
    EXPECT_EQ(mode_t{S_IFREG | 0640}, status.st_mode);
    EXPECT_EQ(1U, status.st_nlink);
    EXPECT_EQ(::geteuid(), status.st_uid);
    EXPECT_EQ(kText, readFile(path));
  }

 private:
  TempDir m_dir;
  const std::string m_share = m_dir / "share";
  const std::string m_victim = m_dir / "victim";
  const std::string m_target = m_share + "/svc_ssl_7.conf";
  const std::string m_moved = m_dir / "moved";
  std::map<std::string, std::string> m_before;
  ScopedEnv m_shareVariable{"_APP_SHARE_DIR", m_share};
  ScopedEnv m_app{"APP_ROOT", m_dir / "app"};
  ScopedEnv m_common{"COMMON_LIB_PATH", m_dir / "common"};
  ScopedEnv m_instance{"PROCESS_INSTANCE_ID", "7"};
};

/// Generates the file with a stop at each call. Returns the names of the calls.
std::vector<std::string> generate(const std::string& expected,
                                  const std::function<void(const Stop&)>& atStop = {},
                                  const FailingCalls& failing = {}) {
  return watchCalls(
      [&] { EXPECT_EQ(expected, VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf")); },
      [&](const Stop& stop) {
        if (atStop) atStop(stop);
      },
      failing);
}

/// A call, and whether the file is open before and after it.
struct Call {
  const char* name;
  bool openedBefore;
  bool openedAfter;
};
using Calls = std::vector<Call>;

const Calls kNewFile = {
    {"access svc_ssl.conf", false, false},   {"access svc_ssl.conf", false, false},
    {"unlink svc_ssl_7.conf", false, false}, {"open svc_ssl.conf", false, false},
    {"fstat svc_ssl.conf", false, false},    {"read svc_ssl.conf", false, false},
    {"close svc_ssl.conf", false, false},    {"unlink svc_ssl_7.conf", false, false},
    {"open svc_ssl_7.conf", false, true},    {"fchmod svc_ssl_7.conf", true, true},
    {"write svc_ssl_7.conf", true, true},    {"close svc_ssl_7.conf", true, true},
};

const Calls kExistingFile = {
    {"access svc_ssl.conf", false, false},   {"access svc_ssl.conf", false, false},
    {"unlink svc_ssl_7.conf", false, false}, {"open svc_ssl.conf", false, false},
    {"fstat svc_ssl.conf", false, false},    {"read svc_ssl.conf", false, false},
    {"close svc_ssl.conf", false, false},    {"unlink svc_ssl_7.conf", false, false},
    {"open svc_ssl_7.conf", false, true},    {"fstat svc_ssl_7.conf", true, true},
    {"fchmod svc_ssl_7.conf", true, true},   {"ftruncate svc_ssl_7.conf", true, true},
    {"write svc_ssl_7.conf", true, true},    {"close svc_ssl_7.conf", true, true},
};

std::vector<std::string> namesOf(const Calls& calls) {
  std::vector<std::string> names;
  for (const Call& call : calls) names.emplace_back(call.name);
  return names;
}

struct Swap {
  const char* name;
  std::function<void(const Scene&)> plant;
  bool isRemoved;      ///< where the directory lets it
  bool isOverwritten;  ///< where the directory does not let it be removed
};

const std::vector<Swap> kSwaps = {
    {"link to another user's file",
     [](const Scene& scene) { fs::create_symlink(scene.victim(), scene.target()); }, true, false},
    {"hard link to another user's file",
     [](const Scene& scene) { fs::create_hard_link(scene.victim(), scene.target()); }, true, false},
    {"dangling link", [](const Scene& scene) { fs::create_symlink("nowhere", scene.target()); },
     true, false},
    {"FIFO", [](const Scene& scene) { EXPECT_EQ(0, ::mkfifo(scene.target().c_str(), 0666)); }, true,
     false},
    {"directory", [](const Scene& scene) { fs::create_directory(scene.target()); }, false, false},
    {"regular file",
     [](const Scene& scene) {
       writeFile(scene.target(), "swapped in, and longer: " + kText + kText);
     },
     true, true},
};

/// Calls `check` with each swap at each position, in a child.
void atEachPosition(
    const Calls& calls,
    const std::function<void(const Swap&, std::size_t position, bool opened)>& check) {
  for (const Swap& swap : kSwaps) {
    for (std::size_t position = 0; position < 2 * calls.size(); ++position) {
      const Call& call = calls[position / 2];
      const bool after = position % 2 == 1;
      SCOPED_TRACE(std::string(swap.name) + (after ? " after " : " before ") + call.name +
                   ", call " + std::to_string(position / 2));
      runInChild([&] { check(swap, position, after ? call.openedAfter : call.openedBefore); });
    }
  }
}

std::size_t positionOf(const Stop& stop) { return 2 * stop.call + (stop.after ? 1 : 0); }

TEST(SslConfRaces, WriteANewFileOrNone) {
  runInChild([] {
    const Scene scene(true);
    EXPECT_EQ(namesOf(kNewFile), generate(scene.target()));
    Scene::expectGenerated(scene.target());
  });
  atEachPosition(kNewFile, [](const Swap& swap, std::size_t position, bool opened) {
    Scene scene(true);
    generate(opened || swap.isRemoved ? scene.target() : "", [&](const Stop& stop) {
      if (positionOf(stop) == position) scene.swap(swap.plant);
    });
    scene.expectUnchanged(scene.victim());
    EXPECT_FALSE(fs::exists(scene.share() + "/nowhere"));
    if (opened) {
      scene.expectUnchanged(scene.target());
      Scene::expectGenerated(scene.moved());
    } else if (swap.isRemoved) {
      scene.expectUnchanged(scene.moved());
      Scene::expectGenerated(scene.target());
    } else {
      scene.expectUnchanged(scene.target());
    }
  });
}

const int kDenials[] = {EACCES, EPERM, EROFS, EBUSY};

TEST(SslConfRaces, OverwriteOnlyAFileOfTheirOwnThatCannotBeRemoved) {
  for (const int denial : kDenials) {
    SCOPED_TRACE(denial);
    runInChild([&] {
      const Scene scene(true);
      EXPECT_EQ(namesOf(kExistingFile),
                generate(scene.target(), {}, {{"unlink svc_ssl_7.conf", denial}}));
      Scene::expectGenerated(scene.target());
    });
  }
  atEachPosition(kExistingFile, [](const Swap& swap, std::size_t position, bool opened) {
    Scene scene(true);
    generate(opened || swap.isOverwritten ? scene.target() : "",
             [&](const Stop& stop) {
               if (positionOf(stop) == position) scene.swap(swap.plant);
             },
             {{"unlink svc_ssl_7.conf", EACCES}});
    scene.expectUnchanged(scene.victim());
    EXPECT_FALSE(fs::exists(scene.share() + "/nowhere"));
    if (opened) {
      scene.expectUnchanged(scene.target());
      Scene::expectGenerated(scene.moved());
    } else if (swap.isOverwritten) {
      scene.expectUnchanged(scene.moved());
      Scene::expectGenerated(scene.target());
    } else {
      scene.expectUnchanged(scene.target());
      scene.expectUnchanged(scene.moved());
    }
  });
}

TEST(SslConfRaces, RefuseAFileThatGetsASecondNameBeforeItIsChecked) {
  runInChild([] {
    Scene scene(true);
    generate("",
             [&](const Stop& stop) {
               if (stop.after || stop.name != "fstat svc_ssl_7.conf") return;
               fs::create_hard_link(scene.target(), scene.moved());
               scene.remember();
             },
             {{"unlink svc_ssl_7.conf", EPERM}});
    scene.expectUnchanged(scene.target());
  });
}

TEST(SslConfRaces, RefuseAFifoThatHasAReader) {
  runInChild([] {
    Scene scene(false);
    ASSERT_EQ(0, ::mkfifo(scene.target().c_str(), 0666));
    const int reader = ::open(scene.target().c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    scene.remember();
    generate("", {}, {{"unlink svc_ssl_7.conf", EACCES}});
    scene.expectUnchanged(scene.target());
    char byte = 0;
    EXPECT_EQ(-1, ::read(reader, &byte, 1)) << "nothing is written";
    ::close(reader);
  });
}

TEST(SslConfRaces, RefuseSomeoneElsesFileThatRootCannotRemove) {
  runInChild([] {
    ASSERT_EQ(0U, ::geteuid()) << "needs root, to change the owner of files";
    Scene scene(true);
    ASSERT_EQ(0, ::chown(scene.target().c_str(), 1234, 1234));
    scene.remember();
    generate("", {}, {{"unlink svc_ssl_7.conf", EPERM}});
    scene.expectUnchanged(scene.target());
  });
}

TEST(SslConfRaces, FailIfTheOldFileCannotBeRemovedForAnotherReason) {
  for (const int error : {EIO, ENOMEM, ELOOP}) {
    SCOPED_TRACE(error);
    runInChild([&] {
      Scene scene(true);
      scene.remember();
      generate("", {}, {{"unlink svc_ssl_7.conf", error}});
      scene.expectUnchanged(scene.target());
    });
  }
}

TEST(SslConfRaces, GiveUpAfterAHundredTries) {
  struct Row {
    int planted;
    int opened;
    bool succeeds;
  };
  for (const Row& row : {Row{99, 100, true}, Row{100, 100, false}, Row{1000, 100, false}}) {
    SCOPED_TRACE(row.planted);
    runInChild([&] {
      Scene scene(true);
      scene.remember();
      int opened = 0;
      generate(row.succeeds ? scene.target() : "", [&](const Stop& stop) {
        if (stop.after || stop.name != "open svc_ssl_7.conf") return;
        if (++opened <= row.planted) fs::create_symlink(scene.victim(), scene.target());
      });
      EXPECT_EQ(row.opened, opened);
      scene.expectUnchanged(scene.victim());
      EXPECT_EQ(!row.succeeds, fs::is_symlink(scene.target()));
    });
  }
}

TEST(SslConfRaces, NeverShowTheFileToMoreThanItsReaders) {
  for (const mode_t mask : {0U, 022U, 027U, 077U, 0777U}) {
    for (const int unlinkError : {0, EACCES}) {
      SCOPED_TRACE(std::to_string(mask) + ", unlink: " + std::to_string(unlinkError));
      runInChild([&] {
        const Scene scene(true);
        const ScopedUmask scoped(mask);
        const FailingCalls denied{{"unlink svc_ssl_7.conf", unlinkError}};
        generate(
            scene.target(),
            [&](const Stop& stop) {
              struct stat status = {};
              if (::stat(scene.target().c_str(), &status) != 0) return;
              const bool isOld = readFile(scene.target()) == "old";
              EXPECT_TRUE(isOld || (status.st_mode & 07777 & ~0640U) == 0)
                  << (stop.after ? "after " : "before ") << stop.name;
            },
            unlinkError == 0 ? FailingCalls{} : denied);
        Scene::expectGenerated(scene.target());
      });
    }
  }
}

constexpr uid_t kNobody = 65'534;

struct Existing {
  const char* name;
  std::function<void(const std::string& path)> prepare;
  bool isWritten;
};

void giveTo(const std::string& path, uid_t user, mode_t mode) {
  ASSERT_EQ(0, ::chown(path.c_str(), user, user));
  ASSERT_EQ(0, ::chmod(path.c_str(), mode));
}

const Existing kExisting[] = {
    {"its own file", [](const std::string& path) { giveTo(path, kNobody, 0666); }, true},
    {"its own narrow file", [](const std::string& path) { giveTo(path, kNobody, 0200); }, true},
    {"its own file for reading", [](const std::string& path) { giveTo(path, kNobody, 0440); },
     false},
    {"its own file under two names",
     [](const std::string& path) {
       giveTo(path, kNobody, 0640);
       fs::create_hard_link(path, path + ".second");
     },
     false},
    {"someone else's file", [](const std::string& path) { giveTo(path, 1234, 0666); }, false},
    {"root's file, whose mode cannot be set",
     [](const std::string& path) { giveTo(path, 0, 0666); }, false},
    {"nothing", [](const std::string& path) { fs::remove(path); }, false},
};

TEST(SslConfRaces, AUserWhoCannotWriteToTheDirectoryMayOwnTheFile) {
  for (const Existing& row : kExisting) {
    SCOPED_TRACE(row.name);
    runInChild([&] {
      ASSERT_EQ(0U, ::geteuid()) << "needs root, to change the owner of files";
      Scene scene(true);
      scene.openToOthers();
      row.prepare(scene.target());
      ASSERT_EQ(0, ::chmod(scene.share().c_str(), 0555));
      dropRoot();
      const std::uintmax_t before = fs::exists(scene.target()) ? fs::file_size(scene.target()) : 0;
      generate(row.isWritten ? scene.target() : "");
      if (row.isWritten) {
        Scene::expectGenerated(scene.target());
      } else {
        EXPECT_EQ(before, fs::exists(scene.target()) ? fs::file_size(scene.target()) : 0);
      }
    });
  }
}

}  // namespace
