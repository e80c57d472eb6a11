#pragma once

#include <string>

#include "support/fixtures.h"

namespace commutil_test {

/// A named pipe of one page that is full except for `room` bytes: a longer write waits for the
/// reader.
class FullPipe {
 public:
  explicit FullPipe(std::size_t room = 0);
  ~FullPipe();
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;

  std::string path() const { return m_dir / "pipe"; }
  /// Reads the pipe's contents, and waits until a writer has filled it again.
  void makeRoom();
  /// Reads until every writer has closed the pipe. Returns what came after the bytes that filled
  /// it.
  std::string drain();

 private:
  TempDir m_dir;
  const std::size_t m_filled;
  std::string m_received;
  int m_reader = -1;
  int m_filler = -1;
};

}  // namespace commutil_test
