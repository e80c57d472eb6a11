#include "os/file_text.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/fixtures.h"

namespace {

using commutil::readFileText;
using commutil_test::TempDir;

TEST(ReadFileText, ReadsFilesOfEverySize) {
  const TempDir dir;
  for (const std::size_t size : {0U, 1U, 65'535U, 65'536U, 65'537U, 1'000'000U}) {
    SCOPED_TRACE(size);
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 7);
    std::string text = "junk";
    EXPECT_TRUE(readFileText(dir.write("file", content), text));
    EXPECT_EQ(content, text);
  }
}

TEST(ReadFileText, LeavesTheStringOnFailure) {
  const TempDir dir;
  ::mkdir((dir / "folder").c_str(), 0755);
  for (const std::string& path : {dir / "missing", dir / "folder", std::string()}) {
    SCOPED_TRACE(path);
    std::string text = "junk";
    EXPECT_FALSE(readFileText(path, text));
    EXPECT_EQ("junk", text);
  }
}

TEST(ReadFileText, LeavesNoDescriptorOpen) {
  const TempDir dir;
  const std::string path = dir.write("file", "text");
  const int before = ::dup(STDOUT_FILENO);
  ::close(before);
  std::string text;
  for (int i = 0; i < 100; ++i) {
    readFileText(path, text);
    readFileText(dir.path().string(), text);
  }
  const int after = ::dup(STDOUT_FILENO);
  ::close(after);
  EXPECT_EQ(before, after);
}

}  // namespace
