// What commutil leaves to commutil-settings, which needs an HTTP client: it is started for that.
#include "settings_agent.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "agent_command_line.h"
#include "output.h"
#include "settings.h"
#include "settings/ini_document.h"
#include "settings_store/read_file.h"

namespace {

constexpr const char* kAgentCommands[] = {"sync", "status", "diff", "wait", "raise-epoch"};
constexpr const char* kWrites[] = {"put", "delete", "import"};

template <std::size_t N>
bool isOneOf(const char* const (&words)[N], const std::string& word) {
  return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

bool hasCluster() {
  const char* const variable = std::getenv("COMMUTIL_SETTINGS_CONF");
  const std::string path =
      variable != nullptr && *variable != '\0' ? variable : "/etc/commutil/settings.conf";
  const std::optional<std::string> text = settings::readRegularFile(path);
  return text && settings::IniDocument(*text).hasSection("[cluster]");
}

bool hasOption(const std::vector<std::string>& words, bool (*matches)(const std::string&)) {
  return std::any_of(words.begin(), std::find(words.begin(), words.end(), "--"), matches);
}

/// Whether the agent's configuration is named: no command of this program has the option.
bool namesConfiguration(const std::vector<std::string>& words) {
  return hasOption(words, [](const std::string& word) {
    return word == "--config" || word.rfind("--config=", 0) == 0;
  });
}

bool wantsHelp(const std::vector<std::string>& words) {
  return hasOption(words, [](const std::string& word) { return word == "--help" || word == "-h"; });
}

/// Beside this program, installed or built.
std::vector<std::string> programs() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path directory = self.parent_path();
  return {(directory / COMMUTIL_LIBEXEC_DIR / "commutil-settings").lexically_normal(),
          (directory.parent_path() / "commutil-settings/commutil-settings").lexically_normal()};
}

bool isInstalled() {
  const std::vector<std::string> paths = programs();
  return std::any_of(paths.begin(), paths.end(),
                     [](const std::string& path) { return ::access(path.c_str(), X_OK) == 0; });
}

}  // namespace

bool isForSettingsAgent(const std::vector<std::string>& words) {
  if (words.size() < 3 || words[1] != "settings") return false;
  const bool isHelp = wantsHelp(words);
  if (isOneOf(kAgentCommands, words[2])) return !isHelp;
  if (!isOneOf(kWrites, words[2]) || (isHelp && !isInstalled())) return false;
  return namesConfiguration(words) || hasCluster();
}

int becomeSettingsAgent(const std::vector<std::string>& words) {
  std::vector<std::string> line(words.begin() + 1, words.end());
  std::vector<char*> arguments;
  arguments.reserve(line.size() + 1);
  for (std::string& word : line) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  for (const std::string& program : programs()) {
    line.front() = program;
    arguments.front() = line.front().data();
    ::execv(program.c_str(), arguments.data());
    if (errno != ENOENT) return fail(program + ": " + std::generic_category().message(errno));
  }
  return fail("settings " + words[2] +
              " needs commutil-settings; install the package commutil-settings");
}

// For help and completion: the program that is started parses the command line.
void addSettingsAgent(Tool& tool, Command& settings) {
  const auto line = std::make_shared<agent::CommandLine>();  // the arguments' destinations
  Command program = agent::describeCommandLine(*line);
  for (Command& subcommand : program.subcommands) {
    if (!isOneOf(kAgentCommands, subcommand.name)) continue;
    subcommand.exitCodes = program.exitCodes;
    subcommand.notes = "Starts commutil-settings(1).";
    subcommand.run = [line, &tool] { return becomeSettingsAgent(tool.words); };
    settings.subcommands.push_back(std::move(subcommand));
  }
}
