#pragma once

#include <string>
#include <vector>

namespace commutil_test {

using Rows = std::vector<std::vector<std::string>>;

/// What a database did with SQL text.
struct Outcome {
  std::vector<Rows> statements;  ///< the rows of each statement that was executed
  std::string error;             ///< why it stopped; empty if it did not

  friend bool operator==(const Outcome&, const Outcome&) = default;
};

class Database {
 public:
  Database() = default;
  virtual ~Database() = default;
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Executes statements separated by semicolons, as text, up to the first that fails.
  virtual Outcome run(const std::string& sql) = 0;
};

}  // namespace commutil_test
