#include "hostile/swapper.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <utility>

#include "os/file_io.h"
#include "support/random_seed.h"
#include "support/watched_calls.h"

namespace commutil_test {

namespace {

using commutil::Descriptor;

constexpr int kFirstCopy = 100;  // above what an operation opens

bool relocate(const std::string& from, const std::string& to, unsigned flags) {
  return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0;
}

/// Collects what an operation opens.
class Openings {
 public:
  void see(const Stop& stop) {
    const std::string_view call = stop.name;
    if (call.rfind("open ", 0) != 0 && call.rfind("openat ", 0) != 0) return;
    if (!stop.after) {
      m_next = lowestFreeDescriptor();
      return;
    }
    Descriptor file(::fcntl(m_next, F_DUPFD_CLOEXEC, kFirstCopy));
    if (file) m_opened.push_back({std::string(call.substr(call.find(' ') + 1)), std::move(file)});
  }

  std::vector<Opened> take() { return std::move(m_opened); }

 private:
  int m_next = -1;
  std::vector<Opened> m_opened;
};

}  // namespace

int lowestFreeDescriptor() {
  const Descriptor file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  return file.get();
}

Plant linkTo(std::string target) {
  return [target = std::move(target)](const std::string& path) {
    return ::symlink(target.c_str(), path.c_str()) == 0;
  };
}

Plant hardLinkTo(std::string file) {
  return [file = std::move(file)](const std::string& path) {
    return ::link(file.c_str(), path.c_str()) == 0;
  };
}

Plant fileWith(std::string content) {
  return [content = std::move(content)](const std::string& path) {
    const Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    return file && commutil::writeAll(file.get(), content);
  };
}

Plant emptyDirectory() {
  return [](const std::string& path) { return ::mkdir(path.c_str(), 0755) == 0; };
}

Swapper::Swapper(std::string path, std::string slots, std::vector<Plant> plants)
    : m_path(std::move(path)),
      m_slots(std::move(slots)),
      m_plants(std::move(plants)),
      m_random(randomSeed()) {
  std::filesystem::create_directory(m_slots);
  for (std::size_t number = 0; number < m_plants.size(); ++number) refill(number);
}

std::string Swapper::slot(std::size_t number) const {
  return m_slots + "/" + std::to_string(number);
}

std::vector<std::string> Swapper::places() const {
  std::vector<std::string> all{m_path};
  for (std::size_t number = 0; number < m_plants.size(); ++number) all.push_back(slot(number));
  return all;
}

/// Fills an empty slot. What is in it is complete: it may get to the path at any time.
void Swapper::refill(std::size_t number) const {
  struct stat status = {};
  if (::lstat(slot(number).c_str(), &status) == 0) return;
  const std::string prepared = m_slots + "/prepared";
  EXPECT_TRUE(m_plants[number](prepared));
  EXPECT_TRUE(relocate(prepared, slot(number), RENAME_NOREPLACE));
}

void Swapper::clear() const {
  const std::string removed = m_slots + "/removed";
  if (relocate(m_path, removed, RENAME_NOREPLACE)) std::filesystem::remove_all(removed);
}

void Swapper::step() {
  const std::size_t number = m_random() % (m_plants.size() + 1);
  if (number == m_plants.size()) {
    clear();
    return;
  }
  refill(number);
  // The path may be empty; the operation may create a file there just now.
  if (!relocate(slot(number), m_path, RENAME_EXCHANGE))
    relocate(slot(number), m_path, RENAME_NOREPLACE);
}

void Swapper::someSteps() {
  for (std::size_t count = m_random() % 3; count > 0; --count) step();
}

SwappingProcess::SwappingProcess(Swapper& swapper) : m_process(-1) {
  std::cout.flush();
  m_process = ::fork();
  if (m_process != 0) return;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  while (true) swapper.step();
}

SwappingProcess::~SwappingProcess() {
  EXPECT_LT(0, m_process);
  if (m_process <= 0) return;
  ::kill(m_process, SIGKILL);
  EXPECT_EQ(m_process, ::waitpid(m_process, nullptr, 0));
}

std::vector<Opened> runSwapped(const std::function<void()>& operation, Swapper* swapper) {
  Openings openings;
  watchCalls(operation, [&](const Stop& stop) {
    openings.see(stop);
    if (swapper != nullptr) swapper->someSteps();
  });
  return openings.take();
}

}  // namespace commutil_test
