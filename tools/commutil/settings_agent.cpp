// What commutil leaves to commutil-settings, which needs an HTTP client: it is started for that.
#include "settings_agent.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "output.h"
#include "settings.h"
#include "settings/ini_document.h"
#include "settings_store/read_file.h"

namespace {

struct AgentCommand {
  const char* name;
  const char* purpose;
};
constexpr AgentCommand kAgentCommands[] = {
    {"sync", "Keep the snapshot of this host in sync with a cluster, in the foreground."},
    {"status", "Print the state of the snapshot; 1 if it is stale or missing."},
    {"diff", "Compare the snapshot with the cluster; 1 if they differ."},
    {"wait", "Wait until services on this host read a revision."},
    {"raise-epoch", "On a relay, after the store was restored: let hosts take a lower revision."},
};
constexpr const char* kWrites[] = {"put", "delete", "import"};

bool hasCluster() {
  const char* const variable = std::getenv("COMMUTIL_SETTINGS_CONF");
  const std::string path =
      variable != nullptr && *variable != '\0' ? variable : "/etc/commutil/settings.conf";
  const std::optional<std::string> text = settings::readRegularFile(path);
  return text && settings::IniDocument(*text).hasSection("[cluster]");
}

/// Whether the agent's configuration is named: no command of this program has the option.
bool namesConfiguration(const std::vector<std::string>& words) {
  return std::any_of(words.begin(), std::find(words.begin(), words.end(), "--"),
                     [](const std::string& word) {
                       return word == "--config" || word.rfind("--config=", 0) == 0;
                     });
}

/// Beside this program, installed or built.
std::vector<std::string> programs() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path directory = self.parent_path();
  return {(directory / COMMUTIL_LIBEXEC_DIR / "commutil-settings").lexically_normal(),
          (directory.parent_path() / "commutil-settings/commutil-settings").lexically_normal()};
}

}  // namespace

bool isForSettingsAgent(const std::vector<std::string>& words) {
  if (words.size() < 3 || words[1] != "settings") return false;
  const bool wantsHelp =
      std::any_of(words.begin() + 3, std::find(words.begin() + 3, words.end(), "--"),
                  [](const std::string& word) { return word == "--help" || word == "-h"; });
  if (wantsHelp) return false;
  const auto isWord = [&](const auto& candidate) { return words[2] == candidate; };
  if (std::any_of(std::begin(kAgentCommands), std::end(kAgentCommands),
                  [&](const AgentCommand& command) { return words[2] == command.name; }))
    return true;
  return std::any_of(std::begin(kWrites), std::end(kWrites), isWord) &&
         (namesConfiguration(words) || hasCluster());
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
  for (const AgentCommand& command : kAgentCommands) {
    Command& subcommand = tool.addGroup(settings, command.name, command.purpose);
    subcommand.notes = "The options are those of commutil-settings(1).";
    subcommand.run = [&tool] { return becomeSettingsAgent(tool.words); };
  }
}
