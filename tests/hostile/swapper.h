#pragma once

#include <sys/types.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "os/handles.h"

// Swaps of what is at a path, at random.

namespace commutil_test {

/// Returns the descriptor that the next open(2) returns.
int lowestFreeDescriptor();

/// Creates something at a path where nothing is; fails otherwise. Follows no link.
using Plant = std::function<bool(const std::string& path)>;

Plant linkTo(std::string target);
Plant hardLinkTo(std::string file);
Plant fileWith(std::string content);
Plant emptyDirectory();

/// Exchanges what is at a path with what is in one of its slots, or removes it. No step follows a
/// link or opens what exists, so only the operation under test can change a file.
class Swapper {
 public:
  /// @param slots  a new directory, on the path's file system
  /// @param plants  what is in each slot at first, and again when it is empty
  Swapper(std::string path, std::string slots, std::vector<Plant> plants);

  /// Returns the path and its slots.
  std::vector<std::string> places() const;
  /// Makes the next of the steps that the seed determines.
  void step();
  /// Makes none to two of them.
  void someSteps();

 private:
  std::string slot(std::size_t number) const;
  void refill(std::size_t number) const;
  void clear() const;

  const std::string m_path;
  const std::string m_slots;
  const std::vector<Plant> m_plants;
  std::mt19937 m_random;
};

/// Another process that makes a swapper's steps as often as it can, for a scope.
class SwappingProcess {
 public:
  explicit SwappingProcess(Swapper& swapper);
  ~SwappingProcess();
  SwappingProcess(const SwappingProcess&) = delete;
  SwappingProcess& operator=(const SwappingProcess&) = delete;

 private:
  pid_t m_process;
};

/// A file that an operation has opened, kept open by another descriptor.
struct Opened {
  std::string name;  ///< the last component of its path
  commutil::Descriptor file;
};

/// Runs `operation`. Returns what it opens, in order. With a swapper, makes some of its steps
/// before and after each file call.
std::vector<Opened> runSwapped(const std::function<void()>& operation, Swapper* swapper);

}  // namespace commutil_test
