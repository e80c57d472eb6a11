#pragma once

#include <string>

#include "support/fixtures.h"

namespace commutil_test {

/// A named pipe of one page that is full: a write to it waits until `drain` is called.
class FullPipe {
 public:
  FullPipe();
  ~FullPipe();
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;

  std::string path() const { return m_dir / "pipe"; }
  /// Reads what the pipe holds, and waits until a writer has filled it again.
  void makeRoom();
  /// Reads until every writer has closed the pipe. Returns what came after the bytes that filled
  /// it.
  std::string drain();

 private:
  TempDir m_dir;
  std::string m_received;
  int m_reader = -1;
  int m_filler = -1;
};

}  // namespace commutil_test
