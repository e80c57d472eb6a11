// The settings agent of a host and the operator's commands for the cluster.
#include <VexaVersion.h>

#include <cstdio>
#include <exception>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "commutil-settings/commands.h"
#include "commutil-settings/log.h"
#include "commutil-settings/run_agent.h"
#include "commutil/agent_command_line.h"
#include "commutil/output.h"

namespace {

constexpr int kWrongUse = 2;

using Run = int (*)(const agent::Configuration&, const agent::CommandLine&);

int sync(const agent::Configuration& configuration, const agent::CommandLine& line) {
  return agent::runAgent(configuration, {line.once, line.allowEmpty});
}

const std::map<std::string, Run> kCommands{
    {"sync", sync},
    {"status", agent::printStatus},
    {"wait", agent::waitForRevision},
    {"raise-epoch", agent::raiseEpoch},
    {"diff", agent::diffWithCluster},
    {"show", agent::showCluster},
    {"export", agent::exportCluster},
    {"put", agent::putSetting},
    {"delete", agent::deleteSetting},
    {"import", agent::importSettings},
};

int run(const std::vector<std::string>& words) {
  agent::CommandLine line;
  const Command root = agent::describeCommandLine(line);
  const Invocation invocation = parse(root, "commutil-settings " VEXA_COMMUTIL_VERSION, words);
  if (invocation.command == nullptr) {
    printBytes(invocation.text);
    return agent::kOk;
  }
  const agent::Configuration configuration =
      agent::readConfiguration(agent::configurationPath(line.configuration));
  return kCommands.at(invocation.command->name)(configuration, line);
}

/// Says each line of `text`.
void complain(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) agent::say(agent::Level::error, line);
}

int runAndSay(const std::vector<std::string>& words) {
  try {
    return run(words);
  } catch (const WrongUse& error) {
    complain(error.what());
    return kWrongUse;
  } catch (const std::exception& error) {
    complain(error.what());
    return agent::kNo;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int code = runAndSay({argv, argv + argc});
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return code;
  agent::say(agent::Level::error, "standard output cannot be written");
  return code == agent::kOk ? agent::kNo : code;
}
