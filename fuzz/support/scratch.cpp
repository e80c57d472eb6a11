#include "support/scratch.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "os/file_io.h"
#include "support/expect.h"

namespace commutil_fuzz {

Scratch::Scratch()
    : m_path((std::filesystem::temp_directory_path() / "commutil-fuzz-XXXXXX").string()) {
  expect(::mkdtemp(m_path.data()) != nullptr, "a temporary directory can be created");
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string Scratch::operator/(std::string_view name) const {
  return std::string(m_path).append("/").append(name);
}

void Scratch::makeFolder(std::string_view name) const {
  std::filesystem::create_directories(*this / name);
}

std::string Scratch::write(std::string_view name, std::string_view content) const {
  std::string path = *this / name;
  const commutil::Descriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  expect(static_cast<bool>(file), "a file can be created in the temporary directory");
  expect(commutil::writeAll(file.get(), content), "a temporary file can be written");
  return path;
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  expect(file.is_open(), "the file can be read");
  return {std::istreambuf_iterator<char>(file), {}};
}

void setVariable(const char* name, const std::string& value) {
  expect(::setenv(name, value.c_str(), 1) == 0, "the environment can be set");
}

}  // namespace commutil_fuzz
