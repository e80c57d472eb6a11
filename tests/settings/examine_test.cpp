// Examining a file and describing its state.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "settings/facts.h"
#include "settings/file_state.h"
#include "support/fixtures.h"

namespace {

using commutil_test::TempDir;
using settings::examine;
using settings::FileFacts;
using settings::FileType;
using settings::stateOf;

TEST(Examine, DistinguishesKindsOfFiles) {
  const TempDir dir;
  dir.write("regular", "text");
  dir.write("empty", "");
  std::filesystem::create_directory(dir / "directory");
  std::filesystem::create_symlink(dir / "nowhere", dir / "dangling");
  std::filesystem::create_symlink("/dev/null", dir / "null");
  ASSERT_EQ(0, ::mkfifo((dir / "fifo").c_str(), 0600));
  const struct {
    std::string name;
    FileType type;
    std::string state;
  } rows[] = {
      {"regular", FileType::regular, "readable"},
      {"empty", FileType::regular, "empty"},
      {"missing", FileType::missing, "missing"},
      {"regular/below", FileType::missing, "a part of its path is not a directory"},
      {"dangling", FileType::missing, "a link that leads nowhere"},
      {"null", FileType::nullDevice, "/dev/null: empty"},
      {"directory", FileType::directory, "a directory, not a regular file"},
      {"fifo", FileType::fifo, "a FIFO, not a regular file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const FileFacts facts = examine(dir / row.name);
    EXPECT_EQ(row.type, facts.type);
    EXPECT_EQ(row.state, stateOf(facts, "omc").text);
    EXPECT_EQ(row.name == "regular" ? "text" : "", facts.text);
  }
}

TEST(Examine, SaysWhoMayNotRead) {
  const TempDir dir;
  ASSERT_EQ(0, ::chmod(dir.path().c_str(), 0755));
  dir.write("secret", "text");
  dir.write("closed/file", "text");
  ASSERT_EQ(0, ::chmod((dir / "secret").c_str(), 0600));
  ASSERT_EQ(0, ::chmod((dir / "closed").c_str(), 0700));
  const std::string owner = examine(dir / "secret").owner;
  commutil_test::runInChild([&] {
    commutil_test::dropRoot();
    if (::geteuid() != 65534) return;  // the files are this user's own
    EXPECT_EQ("not readable by user omc (mode 0600, owner " + owner + ")",
              stateOf(examine(dir / "secret"), "omc").text);
    EXPECT_EQ("not reachable by user omc: a directory above it denies access",
              stateOf(examine(dir / "closed/file"), "omc").text);
  });
}

TEST(Examine, ReadsNoFileOver64MiB) {
  const TempDir dir;
  dir.write("large", "");
  ASSERT_EQ(0, ::truncate((dir / "large").c_str(), 65 * 1024 * 1024));
  const FileFacts facts = examine(dir / "large");
  EXPECT_EQ("", facts.text);
  EXPECT_EQ("65 MiB, over 64 MiB: not examined", stateOf(facts, "omc").text);
}

TEST(Examine, SurvivesTheTransferBetweenProcesses) {
  const TempDir dir;
  dir.write("file", std::string("a:b\0c\n", 6));
  const FileFacts before = examine(dir / "file");
  const FileFacts after = settings::unpackedFile(settings::packed(before));
  EXPECT_EQ(before.path, after.path);
  EXPECT_EQ(before.text, after.text);
  EXPECT_EQ(before.mode, after.mode);
  EXPECT_EQ(before.owner, after.owner);
  EXPECT_EQ(before.type, after.type);
  EXPECT_EQ(before.realPath, after.realPath);
  EXPECT_EQ(dir / "file", after.realPath);
  EXPECT_TRUE(after.readable);
}

TEST(Examine, ResolvesPathsInAnotherRoot) {
  const TempDir dir;
  dir.write("root/etc/real", "inside");
  std::filesystem::create_symlink("/etc/real", dir / "root/etc/link");
  const int root = ::open((dir / "root").c_str(), O_PATH | O_CLOEXEC);
  ASSERT_GE(root, 0);
  EXPECT_EQ("inside", examine("/etc/link", root).text);
  EXPECT_EQ(FileType::missing, examine("/root/etc/real", root).type);
  ::close(root);
}

}  // namespace
