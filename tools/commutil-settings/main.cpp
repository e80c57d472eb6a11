// The settings agent of a host and the operator's commands for the cluster.
#include <exception>

#include "commutil-settings/command_line.h"
#include "commutil-settings/log.h"
#include "commutil-settings/run_agent.h"

int main(int argc, char** argv) {
  try {
    const agent::CommandLine line = agent::parseCommandLine(argc, argv);
    if (line.command.empty()) return line.exitCode;
    const agent::Configuration configuration =
        agent::readConfiguration(agent::configurationPath(line.configuration));
    if (line.command == "sync")
      return agent::runAgent(configuration, {line.once, line.allowEmpty});
    return 2;
  } catch (const std::exception& error) {
    agent::say(agent::Level::error, error.what());
    return 1;
  }
}
