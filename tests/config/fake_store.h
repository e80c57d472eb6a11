#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/fixtures.h"

// A settings store for tests: a shared library named as the real one is, whose answers this program
// gives. A test program that links fake_store.cpp finds it in the current directory. Use it inside
// `runInChild`: once loaded, a store stays.

namespace commutil_test {

struct StoreAnswer {
  int result = 0;
  std::optional<std::string> value;  ///< written to the out-parameter whatever the result
};

/// What the store answers and what it was asked. Answers are set before the store is called.
struct FakeStore {
  std::map<std::string, StoreAnswer> answers;          ///< other keys give 1
  std::vector<std::string> asked;                      ///< every key, in order
  std::function<void(const std::string& key)> onCall;  ///< runs first in each call
  std::function<void()> onUnload;                      ///< runs when the library is unmapped
};

FakeStore& fakeStore();

/// Lays the store library of a kind into a directory of its own, which becomes the current one.
/// Kinds: "full"; "param_only", which has no group look-up; "no_entry_points"; "unresolved", which
/// calls a function that exists nowhere when it is asked for the key "unresolved".
class InstalledStore {
 public:
  explicit InstalledStore(const std::string& kind);
  /// Puts another kind in the library's place, by rename.
  void replaceBy(const std::string& kind) const;
  void remove() const;

 private:
  TempDir m_dir;
};

}  // namespace commutil_test
