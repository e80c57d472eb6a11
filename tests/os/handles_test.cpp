#include "os/handles.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <type_traits>

#include "support/fixtures.h"

namespace {

using commutil::Descriptor;
using commutil_test::isOpen;

int openNull() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

TEST(Descriptor, ClosesAtTheEndOfItsScope) {
  const int fd = openNull();
  ASSERT_TRUE(isOpen(fd));
  {
    const Descriptor owner(fd);
    EXPECT_TRUE(owner);
    EXPECT_EQ(fd, owner.get());
  }
  EXPECT_FALSE(isOpen(fd));
}

TEST(Descriptor, IsEmptyByDefaultAndForAFailedOpen) {
  EXPECT_FALSE(Descriptor());
  EXPECT_EQ(-1, Descriptor().get());
  EXPECT_FALSE(Descriptor(-1));
}

TEST(Descriptor, HoldsDescriptorZero) {
  commutil_test::runInChild([] {
    { const Descriptor input(STDIN_FILENO); }
    EXPECT_FALSE(isOpen(STDIN_FILENO));
    const Descriptor lowest(openNull());
    EXPECT_EQ(0, lowest.get());
    EXPECT_TRUE(lowest);
  });
}

TEST(Descriptor, ReleasesItsHandle) {
  Descriptor owner(openNull());
  const int fd = owner.release();
  EXPECT_FALSE(owner);
  owner.reset();
  EXPECT_TRUE(isOpen(fd));
  ::close(fd);
}

TEST(Descriptor, MovesItsHandleAndClosesTheOneBefore) {
  Descriptor first(openNull());
  Descriptor second(openNull());
  const int kept = second.get();
  const int replaced = first.get();
  first = std::move(second);
  EXPECT_EQ(kept, first.get());
  EXPECT_FALSE(isOpen(replaced));
  const Descriptor third(std::move(first));
  EXPECT_EQ(kept, third.get());
  EXPECT_TRUE(isOpen(kept));
  static_assert(!std::is_copy_constructible_v<Descriptor>);
  static_assert(!std::is_copy_assignable_v<Descriptor>);
}

TEST(Descriptor, SurvivesAMoveOntoItself) {
  Descriptor owner(openNull());
  Descriptor& alias = owner;
  owner = std::move(alias);
  EXPECT_TRUE(isOpen(owner.get()));
}

TEST(Descriptor, ResetsToAnotherHandle) {
  Descriptor owner(openNull());
  const int before = owner.get();
  const int after = openNull();
  owner.reset(after);
  EXPECT_FALSE(isOpen(before));
  EXPECT_EQ(after, owner.get());
}

TEST(Owners, KeepErrno) {
  {
    const Descriptor closedBehindItsBack(openNull());
    ::close(closedBehindItsBack.get());
    errno = ENOENT;
  }
  EXPECT_EQ(ENOENT, errno);
  {
    const commutil::FileHandle file(std::fopen("/dev/full", "we"));
    ASSERT_TRUE(file);
    std::fputs("unwritten", file.get());
    errno = ENOENT;
  }
  EXPECT_EQ(ENOENT, errno);
}

TEST(Owners, CloseTheirHandles) {
  int fd = -1;
  {
    const commutil::FileHandle file(std::fopen("/dev/null", "re"));
    ASSERT_TRUE(file);
    fd = ::fileno(file.get());
  }
  EXPECT_FALSE(isOpen(fd));
  {
    const commutil::DirectoryHandle directory(::opendir("/"));
    ASSERT_TRUE(directory);
    fd = ::dirfd(directory.get());
  }
  EXPECT_FALSE(isOpen(fd));
  {
    const commutil::PipeStream pipe(::popen("exit 0", "re"));
    ASSERT_TRUE(pipe);
    fd = ::fileno(pipe.get());
  }
  EXPECT_FALSE(isOpen(fd));
}

TEST(OpenPipe, StartsACommandWithAStreamThatNoOtherChildInherits) {
  const commutil::PipeStream stream = commutil::openPipe("echo output", "r");
  ASSERT_TRUE(stream);
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(::fileno(stream.get()), F_GETFD));
  EXPECT_EQ('o', std::fgetc(stream.get()));
}

TEST(Owners, AreEmptyAfterAFailure) {
  EXPECT_FALSE(commutil::FileHandle(std::fopen("/missing/file", "re")));
  EXPECT_FALSE(commutil::DirectoryHandle(::opendir("/missing")));
}

TEST(Owners, FreeBlocks) {
  const commutil::MallocBlock block(std::malloc(16));  // the sanitizer finds leaks
  EXPECT_TRUE(block);
}

}  // namespace
