#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/fixtures.h"

// A settings store for tests: a shared library with the real store's name, whose results the test
// program sets. A program that links fake_store.cpp finds it in the current directory. Use it
// inside `runInChild`: a loaded store stays.

namespace commutil_test {

struct StoreAnswer {
  int result = 0;
  std::optional<std::string> value;  ///< written to the out-parameter whatever the result
};

/// The results of the store, and its calls. Set the results before the first call.
struct FakeStore {
  std::map<std::string, StoreAnswer> answers;          ///< other keys return 1
  std::vector<std::string> asked;                      ///< every key, in order
  std::function<void(const std::string& key)> onCall;  ///< runs first in each call
  std::function<void()> onUnload;                      ///< runs when the library is unmapped
};

FakeStore& fakeStore();

/// Creates the store library of a kind in a directory of its own, which becomes the current one.
/// Kinds: "full"; "param_only", without group lookups; "no_entry_points"; "unresolved", which calls
/// an undefined function for the key "unresolved".
class InstalledStore {
 public:
  explicit InstalledStore(const std::string& kind);
  /// Replaces the library by another kind, by rename.
  void replaceBy(const std::string& kind) const;
  void remove() const;

 private:
  TempDir m_dir;
};

}  // namespace commutil_test
