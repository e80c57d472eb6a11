#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/fixtures.h"

// Every operation that opens files, starts programs or asks the host, with what it returns when the
// system refuses it something.

namespace commutil_test {

/// What an operation may have to do without.
enum class Lack {
  descriptors,
  processes,
  fileSize,  ///< no file may get a byte
  host,      ///< neither shell nor "/proc", "/dev" and "/etc"
};

struct Operation {
  const char* name;
  std::function<std::string()> call;  ///< returns all results as one string
  std::string right;                  ///< what it returns usually
  std::map<Lack, std::string> without;

  /// Returns what it returns without a resource; the usual result if it does not need it.
  std::string resultWithout(Lack lack) const;
};

/// A deployment for the operations, configured through this process's environment: for a child.
class Deployment {
 public:
  Deployment();

  /// Makes its directory the root of the file system.
  void becomeRoot();
  std::vector<Operation> operations() const;
  /// Expects every file that an operation writes to be whole or missing, and the lock file empty.
  void expectWholeFiles() const;

 private:
  void configure() const;
  std::string at(const std::string& name) const { return m_root + "/" + name; }
  std::vector<Operation> files() const;

  TempDir m_dir;
  std::string m_root = m_dir.path().string();
};

/// Calls `check` with each operation and its deployment, in a child with a time limit.
void withEachOperation(const std::function<void(const Operation&, const Deployment&)>& check,
                       const std::function<void(Deployment&)>& prepare = {});

/// Expects no child of this process, running or not.
void expectNoChildren();

}  // namespace commutil_test
