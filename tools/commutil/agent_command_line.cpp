#include "agent_command_line.h"

#include "duration.h"

namespace agent {
namespace {

constexpr const char* kNotes = "An operand that begins with \"-\" follows \"--\".";

/// The arguments that several subcommands have.
class Arguments {
 public:
  explicit Arguments(CommandLine& line) : m_line(line) {}

  Argument configuration() const {
    return {.name = "--config",
            .value = &m_line.configuration,
            .purpose =
                "The agent's configuration file, instead of the one that "
                "COMMUTIL_SETTINGS_CONF names or /etc/commutil/settings.conf",
            .valueName = "FILE",
            .completion = Completion::file};
  }
  Argument json() const {
    return {.name = "--json", .value = &m_line.json, .purpose = "Print one JSON document"};
  }
  Argument app() const {
    return {.name = "--app",
            .value = &m_line.app,
            .purpose = "The application's branch, not the shared one",
            .valueName = "NAME"};
  }
  Argument key(const char* purpose) const {
    return {.name = "KEY",
            .value = &m_line.name,
            .purpose = purpose,
            .required = true,
            .completion = Completion::setting};
  }
  Argument force() const {
    return {.name = "--force",
            .value = &m_line.force,
            .purpose = "Write a name or value that the library does not know"};
  }
  Argument dryRun() const {
    return {
        .name = "--dry-run", .value = &m_line.dryRun, .purpose = "Only print what would change"};
  }
  /// Taken because commutil passes it on; a cluster has no lock to wait for.
  Argument wait() const {
    return {.name = "--wait",
            .value = &m_line.timeout,
            .purpose = "Ignored: a cluster needs no lock",
            .valueName = "N",
            .hidden = true};
  }

 private:
  CommandLine& m_line;
};

void add(Command& root, const char* name, const char* purpose, std::vector<Argument> arguments) {
  Command& command = root.subcommands.emplace_back();
  command.name = name;
  command.purpose = purpose;
  command.arguments = std::move(arguments);
}

void addHostCommands(Command& root, CommandLine& line) {
  const Arguments common(line);
  const Argument configuration = common.configuration();
  add(root, "sync", "Keep the snapshot of this host in sync, in the foreground.",
      {{.name = "--once", .value = &line.once, .purpose = "End when the snapshot is up to date"},
       {.name = "--allow-empty",
        .value = &line.allowEmpty,
        .purpose = "Let a cluster without settings replace a snapshot that has some"},
       configuration});
  add(root, "status", "Print the state of the snapshot; 1 if it is stale or missing.",
      {{.name = "--max-age",
        .value = &line.maxAge,
        .purpose = "Stale when verified longer ago, such as 15m",
        .valueName = "TIME",
        .problemOf = durationProblem},
       common.json(),
       configuration});
  add(root, "wait", "Wait until services on this host read a revision.",
      {{.name = "--revision",
        .value = &line.revision,
        .purpose = "The revision, which put prints",
        .valueName = "N",
        .required = true,
        .range = Range{1, 9e18}},
       {.name = "--timeout",
        .value = &line.timeout,
        .purpose = "Give up after S seconds (default 30)",
        .valueName = "S",
        .range = Range{0, 1e9}},
       configuration});
  add(root, "raise-epoch",
      "On a relay, after the store was restored: let hosts take a lower revision.",
      {{.name = "--yes", .value = &line.yes, .purpose = "Do not ask"}, configuration});
}

void addClusterCommands(Command& root, CommandLine& line) {
  const Arguments common(line);
  const Argument configuration = common.configuration();
  add(root, "diff", "Compare the snapshot with the cluster; 1 if they differ.",
      {common.json(), configuration});
  add(root, "show", "Print a setting of the cluster, or those of a GROUP/.",
      {common.key("A key, a parameter such as ListenAllIp, or a group with \"/\" at its end"),
       common.app(), common.json(), configuration});
  add(root, "export", "Print all settings of the cluster as the document that import takes.",
      {configuration});
  add(root, "put", "Set a setting in the cluster.",
      {common.key("A key, or a parameter such as ListenAllIp"),
       {.name = "VALUE", .value = &line.value, .purpose = "Its new value", .required = true},
       common.app(),
       common.force(),
       common.dryRun(),
       common.wait(),
       common.json(),
       configuration});
  add(root, "delete", "Remove a setting from the cluster.",
      {common.key("A key, or a parameter such as ListenAllIp"), common.app(), common.dryRun(),
       common.wait(), common.json(), configuration});
  add(root, "import", "Set the settings of a document in the cluster.",
      {{.name = "FILE",
        .value = &line.name,
        .purpose = "The document; - is standard input",
        .required = true,
        .completion = Completion::file},
       {.name = "--prune",
        .value = &line.prune,
        .purpose = "Delete the settings that the document lacks"},
       common.force(),
       common.dryRun(),
       common.wait(),
       common.json(),
       configuration});
}

}  // namespace

Command describeCommandLine(CommandLine& line) {
  Command root;
  root.name = "commutil-settings";
  root.purpose =
      "Keeps the settings of this host in sync with a cluster, and changes the cluster's.";
  root.exitCodes = {{"0", "ok"},
                    {"1", "stale, different or refused, or the operation failed"},
                    {"2", "wrong use"}};
  root.notes = kNotes;
  addHostCommands(root, line);
  addClusterCommands(root, line);
  return root;
}

}  // namespace agent
