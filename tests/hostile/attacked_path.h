#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "support/fixtures.h"
#include "support/watched_calls.h"

// A path that another process swaps while an operation uses it.

namespace commutil_test {

/// What takes the place of the file.
enum class Plant { link, hardLink, file, danglingLink, fifo, directory, nothing };

/// A file, its place, and another user's file. The contents say which of them was read.
class AttackedPath {
 public:
  /// Creates the file `name`, which may hold directories. Its content is `contentOf("original")`,
  /// that of another user's file `contentOf("victim")`, that of a planted file
  /// `contentOf("planted")`.
  AttackedPath(const std::string& name, std::function<std::string(const char*)> contentOf);
  ~AttackedPath();
  AttackedPath(const AttackedPath&) = delete;
  AttackedPath& operator=(const AttackedPath&) = delete;

  const TempDir& directory() const { return m_directory; }
  const std::string& path() const { return m_path; }
  const std::string& moved() const { return m_moved; }
  /// Returns where a planted dangling link leads.
  const std::string& nowhere() const { return m_nowhere; }

  /// Moves the file away and plants something else.
  void swap(Plant plant);
  /// Expects the file, what was planted and the victim as they were after the swap.
  void expectUnchanged();

 private:
  void plantFifo();
  std::string state(const std::string& path) const;

  TempDir m_directory;
  const std::function<std::string(const char*)> m_contentOf;
  const std::string m_path;
  const std::string m_victim;
  const std::string m_moved;
  const std::string m_nowhere;
  std::map<std::string, std::string> m_before;
  int m_fifo = -1;  ///< both ends of a planted FIFO, so that opening it does not wait
};

/// Returns which content whoever reads the path after a swap gets; "refused" if it is not a file.
std::string readableAfter(Plant plant);

/// Returns the number of a stop: even before a call, odd after it.
inline std::size_t positionOf(const Stop& stop) { return 2 * stop.call + (stop.after ? 1 : 0); }

/// Calls `check`, in a child with a time limit, with each plant at each position of `calls` calls.
void withEachSwap(std::size_t calls,
                  const std::function<void(Plant plant, std::size_t position)>& check);

}  // namespace commutil_test
