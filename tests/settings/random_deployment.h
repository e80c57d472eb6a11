#pragma once

#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace commutil_test {

/// A random deployment below a directory: files with typos and faults, a settings document,
/// variables and permissions. The same seed creates the same deployment.
class RandomDeployment {
 public:
  RandomDeployment(std::string directory, unsigned seed);

  /// Creates the files and sets the variables of this process.
  void install();

  /// Describes the deployment, for a failure's message.
  const std::string& description() const { return m_description; }

 private:
  bool oneIn(unsigned n);
  const std::string& pick(const std::vector<std::string>& words);
  std::string iniText();
  std::string jsonText(const std::vector<std::string>& documents);
  std::string settingsText();
  void makeFile(const std::string& name, const std::string& text);
  void makeTree(const std::string& name);
  void setVariable(const std::string& name, const std::optional<std::string>& value);
  std::optional<std::string> rootValue(const std::string& name);

  std::string m_directory;
  std::mt19937 m_random;
  std::string m_description;
};

}  // namespace commutil_test
