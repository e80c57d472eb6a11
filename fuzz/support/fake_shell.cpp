#include "support/fake_shell.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "os/file_io.h"
#include "support/c_library.h"
#include "support/expect.h"
#include "support/failing_allocations.h"

namespace commutil_fuzz {
namespace {

FakeShell* currentShell = nullptr;

}  // namespace

FakeShell::FakeShell(Answer answer) : m_answer(std::move(answer)) { currentShell = this; }

FakeShell::~FakeShell() { currentShell = nullptr; }

std::FILE* FakeShell::open(const std::string& command) {
  const std::optional<std::string> output = m_answer(command);
  if (!output) return nullptr;
  commutil::Descriptor file(::memfd_create("output", MFD_CLOEXEC));
  expect(static_cast<bool>(file), "a file in memory can be created");
  expect(commutil::writeAll(file.get(), *output), "a file in memory can be written");
  ::lseek(file.get(), 0, SEEK_SET);
  std::FILE* const stream = ::fdopen(file.release(), "r");
  expect(stream != nullptr, "a stream can be created");
  ++m_open;
  return stream;
}

int FakeShell::close(std::FILE* stream) {
  --m_open;
  return std::fclose(stream);
}

}  // namespace commutil_fuzz

extern "C" {

std::FILE* popen(const char* command, const char* mode) {
  const commutil_fuzz::SparedAllocations spared;
  if (commutil_fuzz::currentShell != nullptr) return commutil_fuzz::currentShell->open(command);
  return commutil_test::cLibrary<std::FILE*(const char*, const char*)>("popen")(command, mode);
}

int pclose(std::FILE* stream) {
  if (commutil_fuzz::currentShell != nullptr) return commutil_fuzz::currentShell->close(stream);
  return commutil_test::cLibrary<int(std::FILE*)>("pclose")(stream);
}
}
