// The settings agent of a host and the operator's commands for the cluster.
#include <exception>
#include <map>
#include <string>

#include "commutil-settings/command_line.h"
#include "commutil-settings/commands.h"
#include "commutil-settings/log.h"
#include "commutil-settings/run_agent.h"

namespace {

using Command = int (*)(const agent::Configuration&, const agent::CommandLine&);

int sync(const agent::Configuration& configuration, const agent::CommandLine& line) {
  return agent::runAgent(configuration, {line.once, line.allowEmpty});
}

const std::map<std::string, Command> kCommands{
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

}  // namespace

int main(int argc, char** argv) {
  try {
    const agent::CommandLine line = agent::parseCommandLine(argc, argv);
    if (line.command.empty()) return line.exitCode;
    const agent::Configuration configuration =
        agent::readConfiguration(agent::configurationPath(line.configuration));
    return kCommands.at(line.command)(configuration, line);
  } catch (const std::exception& error) {
    agent::say(agent::Level::error, error.what());
    return agent::kNo;
  }
}
