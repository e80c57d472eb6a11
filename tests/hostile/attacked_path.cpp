#include "hostile/attacked_path.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "support/file_state.h"

namespace commutil_test {

namespace fs = std::filesystem;

namespace {

const std::pair<Plant, const char*> kPlants[] = {
    {Plant::link, "link to someone else's file"},
    {Plant::hardLink, "hard link to someone else's file"},
    {Plant::file, "regular file"},
    {Plant::danglingLink, "link that leads nowhere"},
    {Plant::fifo, "FIFO"},
    {Plant::directory, "directory"},
    {Plant::nothing, "nothing"},
};

constexpr char kInFifo[] = "[IP]\n";

}  // namespace

AttackedPath::AttackedPath(const std::string& name,
                           std::function<std::string(const char*)> contentOf)
    : m_contentOf(std::move(contentOf)),
      m_path(m_directory.write(name, m_contentOf("original"))),
      m_victim(m_directory.write("victim", m_contentOf("victim"))),
      m_moved(m_directory / "moved"),
      m_nowhere(m_directory / "nowhere") {
  EXPECT_EQ(0, ::chmod(m_victim.c_str(), 0600));
}

AttackedPath::~AttackedPath() {
  if (m_fifo >= 0) ::close(m_fifo);
}

void AttackedPath::swap(Plant plant) {
  fs::rename(m_path, m_moved);
  switch (plant) {
    case Plant::link:
      fs::create_symlink(m_victim, m_path);
      break;
    case Plant::hardLink:
      fs::create_hard_link(m_victim, m_path);
      break;
    case Plant::file:
      writeFile(m_path, m_contentOf("planted"));
      break;
    case Plant::danglingLink:
      fs::create_symlink(m_nowhere, m_path);
      break;
    case Plant::fifo:
      plantFifo();
      break;
    case Plant::directory:
      fs::create_directory(m_path);
      break;
    case Plant::nothing:
      break;
  }
  for (const std::string& path : {m_path, m_victim, m_moved}) m_before[path] = state(path);
}

void AttackedPath::plantFifo() {
  EXPECT_EQ(0, ::mkfifo(m_path.c_str(), 0600));
  m_fifo = ::open(m_path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  EXPECT_EQ(ssize_t{sizeof kInFifo}, ::write(m_fifo, kInFifo, sizeof kInFifo));
}

std::string AttackedPath::state(const std::string& path) const {
  int waiting = 0;
  if (m_fifo >= 0) ::ioctl(m_fifo, FIONREAD, &waiting);
  return stateOf(path) + " bytes in the FIFO: " + std::to_string(waiting);
}

void AttackedPath::expectUnchanged() {
  for (const auto& [path, before] : m_before) {
    // Where nothing was planted, the operation may create a file.
    if (before.rfind(path, 0) == 0) {
      EXPECT_EQ(before, state(path));
    }
  }
}

std::string readableAfter(Plant plant) {
  switch (plant) {
    case Plant::link:
    case Plant::hardLink:
      return "victim";
    case Plant::file:
      return "planted";
    default:
      return "refused";
  }
}

void withEachSwap(std::size_t calls,
                  const std::function<void(Plant plant, std::size_t position)>& check) {
  for (const auto& [plant, name] : kPlants) {
    for (std::size_t position = 0; position < 2 * calls; ++position) {
      SCOPED_TRACE(std::string(name) + (position % 2 == 0 ? " before" : " after") + " call " +
                   std::to_string(position / 2));
      runInChild([&check, plant = plant, position] {
        ::alarm(20);
        check(plant, position);
      });
    }
  }
}

}  // namespace commutil_test
