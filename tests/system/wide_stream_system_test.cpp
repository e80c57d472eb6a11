#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <string>
#include <thread>

#include "VexaWideIO.h"
#include "support/fixtures.h"
#include "support/locales.h"
#include "support/namespaces.h"
#include "wideio/modes.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::kAppend;
using commutil_test::kRead;
using commutil_test::kUpdate;
using commutil_test::kWrite;
using commutil_test::mountTmpfs;
using commutil_test::runInChild;
using commutil_test::setLocale;
using commutil_test::TempDir;
using commutil_test::writeFile;

constexpr long kFourGiB = 4L << 30;

TEST(WideStreamSystem, ReadsBeyondFourGigabytes) {
  const TempDir dir;
  const std::string path = dir.write("text", "");
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  const std::string tail = "12 34\nline\n";
  ASSERT_EQ(static_cast<ssize_t>(tail.size()),
            ::pwrite(fd, tail.data(), tail.size(), kFourGiB + 5));
  ::close(fd);

  Vexawifstream bytes;
  bytes.open(path.c_str(), kRead);
  EXPECT_EQ(0, bytes.fseekg(kFourGiB + 5));
  EXPECT_EQ(12, bytes.getn());
  EXPECT_EQ(kFourGiB + 7, bytes.ftellg());

  Vexawifstream wide;
  wide.open(path.c_str(), kRead);
  EXPECT_EQ(0, wide.fseekg(kFourGiB + 11));
  wchar_t line[8];
  wide.get(line, 8);
  EXPECT_STREQ(L"line", line);
  EXPECT_EQ(kFourGiB + 16, wide.ftellg());
}

TEST(WideStreamSystem, AppendsBeyondFourGigabytes) {
  const TempDir dir;
  const std::string path = dir.write("text", "");
  ASSERT_EQ(0, ::truncate(path.c_str(), kFourGiB));
  Vexawofstream stream;
  stream.open(path.c_str(), kAppend);
  EXPECT_GE(stream.put(L"wide"), 0);
  stream.close();
  EXPECT_EQ(static_cast<std::uintmax_t>(kFourGiB) + 4, std::filesystem::file_size(path));
}

TEST(WideStreamSystem, AFullFileSystemIsAnError) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    const TempDir dir;
    mountTmpfs(dir.path().string(), "size=64k");
    const std::wstring wide(1000, L'w');
    const std::string bytes(1000, 'b');
    struct Row {
      const char* name;
      bool (*write)(Vexawofstream&, const std::wstring&, const std::string&);
    };
    for (const Row& row : {
             Row{"wide text", [](auto&s, auto&w, auto&) { return s.put(w.c_str()) >= 0; }},
             Row{"wide characters", [](auto&s, auto&w, auto&) { return s.put(w[0]) != WEOF; }},
             Row{"text", [](auto&s, auto&, auto&b) { return s.put(b.c_str()) >= 0; }},
             Row{"bytes", [](auto&s, auto&, auto&b) { return s.put(b[0]) != EOF; }},
             Row{"records",
                 [](auto&s, auto&, auto&b) { return s.write(b.data(), 1, 1000) == 1000; }},
         }) {
      SCOPED_TRACE(row.name);
      Vexawofstream stream;
      stream.open((dir / "full").c_str(), kWrite);
      ASSERT_TRUE(stream.isValid());
      int count = 0;
      while (count < 200000 && row.write(stream, wide, bytes)) ++count;
      EXPECT_LT(count, 200000);
      EXPECT_NE(0, stream.fail());
      stream.close();
      EXPECT_FALSE(stream.isValid());
      EXPECT_EQ(65536U, std::filesystem::file_size(dir / "full"));
    }
    ::umount2(dir.path().c_str(), MNT_DETACH);
  });
}

TEST(WideStreamSystem, AReadOnlyFileSystemOpensForReadingOnly) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    const TempDir dir;
    const std::string target = dir.path().string();
    mountTmpfs(target);
    writeFile(dir / "text", "old\n");
    ASSERT_EQ(0,
              ::mount(nullptr, target.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
    Vexawofstream writer;
    for (const int mode : {kWrite, kAppend}) {
      writer.open((dir / "text").c_str(), mode);
      EXPECT_FALSE(writer.isValid()) << mode;
      EXPECT_EQ(EROFS, errno);
    }
    Vexawifstream reader;
    reader.open((dir / "text").c_str(), kUpdate);
    EXPECT_FALSE(reader.isValid());
    EXPECT_EQ(EROFS, errno);
    reader.open((dir / "text").c_str(), kRead);
    ASSERT_TRUE(reader.isValid());
    wchar_t line[8];
    reader.get(line, 8);
    EXPECT_STREQ(L"old", line);
    ::umount2(target.c_str(), MNT_DETACH);
  });
}

TEST(WideStreamSystem, PathsThatCannotBeOpened) {
  const TempDir dir;
  const std::string plain = dir.write("plain", "x");
  const std::string secret = dir.write("secret", "x");
  std::filesystem::permissions(secret, std::filesystem::perms::none);
  std::filesystem::permissions(dir.path(), std::filesystem::perms{0755});
  ASSERT_EQ(0, ::symlink("loop", (dir / "loop").c_str()));
  runInChild([&] {
    if (::geteuid() == 0) {
      ASSERT_EQ(0, ::setresuid(65534, 65534, 65534));
    }
    struct Row {
      std::string path;
      int error;
    };
    for (const Row& row :
         {Row{secret, EACCES}, Row{plain + "/below", ENOTDIR}, Row{dir / "loop", ELOOP},
          Row{dir / std::string(300, 'x'), ENAMETOOLONG}, Row{std::string(5000, '/'), ENAMETOOLONG},
          Row{"", ENOENT}, Row{dir / "none/text", ENOENT}}) {
      SCOPED_TRACE(row.path.substr(0, 80));
      Vexawifstream reader;
      Vexawofstream writer;
      for (const int mode : {kRead, kWrite, kAppend}) {
        reader.open(row.path.c_str(), mode);
        EXPECT_FALSE(reader.isValid());
        EXPECT_EQ(row.error, errno);
        writer.open(row.path.c_str(), mode);
        EXPECT_FALSE(writer.isValid());
        EXPECT_EQ(row.error, errno);
      }
    }
    Vexawofstream writer;
    writer.open(dir.path().c_str(), kAppend);
    EXPECT_FALSE(writer.isValid());
  });
}

TEST(WideStreamSystem, LinesOfAPipeArriveInAnyPieces) {
  runInChild([] {
    setLocale("C.UTF-8");
    const TempDir dir;
    const std::string path = dir / "pipe";
    ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
    const std::string line =
        "a\xE4\xB8\xAD"
        "b\xF0\x9F\x98\x80\n";
    std::thread writer([&] {
      const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
      for (int i = 0; i < 200; ++i) {
        for (const char byte : line) {
          if (::write(fd, &byte, 1) != 1) break;
        }
      }
      ::close(fd);
    });
    Vexawifstream stream;
    stream.open(path.c_str(), kRead);
    for (int i = 0; i < 200; ++i) {
      wchar_t buf[10] = L"#########";
      stream.get(buf, 10);
      ASSERT_EQ(std::wstring(L"a\x4E2D"
                             L"b\x1F600\0####",
                             9),
                std::wstring(buf, 9))
          << i;
    }
    wchar_t end[4] = L"###";
    stream.get(end, 4);
    EXPECT_EQ(static_cast<wchar_t>(WEOF), end[0]);
    EXPECT_EQ(L'\0', end[1]);
    EXPECT_NE(0, stream.eof());
    writer.join();
  });
}

}  // namespace
