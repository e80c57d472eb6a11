#include "commutil-settings/command_line.h"

#include <VexaVersion.h>
#include <CLI/CLI.hpp>

#include <cstdio>

namespace agent {
namespace {

constexpr int kWrongUse = 2;
constexpr const char* kFooter =
    "Exit codes: 0 ok; 1 the answer is no or the operation failed; 2 wrong use.\n"
    "A text that begins with \"-\" is given behind \"--\".";

class Parser {
 public:
  Parser() {
    m_app.require_subcommand(1);
    m_app.set_version_flag("--version", "commutil-settings " VEXA_COMMUTIL_VERSION);
    m_app.footer(kFooter);
    m_app
        .add_option("--config", m_line.configuration,
                    "The configuration file, instead of the one that COMMUTIL_SETTINGS_CONF names "
                    "or /etc/commutil/settings.conf")
        ->type_name("FILE");
    m_app.fallthrough();
    addSync();
    addReading();
    addWriting();
    addRaiseEpoch();
  }

  CommandLine parse(int argc, char** argv) {
    try {
      m_app.parse(argc, argv);
    } catch (const CLI::Success& request) {
      m_line.exitCode = m_app.exit(request);
      return m_line;
    } catch (const CLI::ParseError& error) {
      std::fprintf(stderr, "commutil-settings: %s\n", error.what());
      m_line.exitCode = kWrongUse;
      return m_line;
    }
    m_line.command = m_app.get_subcommands().front()->get_name();
    return m_line;
  }

 private:
  CLI::App& add(const char* name, const char* purpose) {
    return *m_app.add_subcommand(name, purpose);
  }

  void operand(CLI::App& command, const char* name, std::string& value, const char* purpose) {
    command.add_option(name, value, purpose)->required()->type_name("");
  }

  void addJson(CLI::App& command) {
    command.add_flag("--json", m_line.json, "Print one JSON document");
  }

  void addSync() {
    CLI::App& command = add("sync", "Keep the snapshot of this host in sync, in the foreground.");
    command.add_flag("--once", m_line.once, "End when the snapshot equals the cluster");
    command.add_flag("--allow-empty", m_line.allowEmpty,
                     "Let a cluster without settings replace a snapshot that has some");
  }

  void addReading() {
    CLI::App& status =
        add("status", "Print the state of the snapshot; 1 if it is stale or missing.");
    status.add_option("--max-age", m_line.maxAge, "Stale when verified longer ago, such as 15m")
        ->type_name("TIME");
    addJson(status);
    addJson(add("diff", "Compare the snapshot with the cluster; 1 if they differ."));
    CLI::App& wait = add("wait", "Wait until services on this host read a revision.");
    wait.add_option("--revision", m_line.revision, "The revision, which put prints")
        ->required()
        ->check(CLI::PositiveNumber)
        ->type_name("N");
    wait.add_option("--timeout", m_line.timeout, "Give up after S seconds (default 30)")
        ->check(CLI::NonNegativeNumber)
        ->type_name("S");
    CLI::App& show = add("show", "Print a setting of the cluster, or those of a GROUP/.");
    operand(show, "KEY", m_line.name, "A key, a parameter such as ListenAllIp, or a GROUP/");
    addApp(show);
    addJson(show);
    add("export", "Print all settings of the cluster as the document that import takes.");
  }

  void addApp(CLI::App& command) {
    command.add_option("--app", m_line.app, "The application's branch, not the shared one")
        ->type_name("NAME");
  }

  void addChange(CLI::App& command) {
    command.add_flag("--dry-run", m_line.dryRun, "Print what would change");
    // Accepted because commutil passes it on: the cluster needs no lock.
    command.add_option("--wait", m_line.timeout, "Give up after S seconds (default 30)")
        ->check(CLI::NonNegativeNumber)
        ->type_name("S");
    addJson(command);
  }

  void addForce(CLI::App& command) {
    command.add_flag("--force", m_line.force,
                     "Write a name or value that the library does not know");
  }

  void addWriting() {
    CLI::App& put = add("put", "Set a setting in the cluster.");
    operand(put, "KEY", m_line.name, "A key, or a parameter such as ListenAllIp");
    operand(put, "VALUE", m_line.value, "Its new value");
    addApp(put);
    addForce(put);
    addChange(put);
    CLI::App& erase = add("delete", "Remove a setting from the cluster.");
    operand(erase, "KEY", m_line.name, "A key, or a parameter such as ListenAllIp");
    addApp(erase);
    addChange(erase);
    CLI::App& import = add("import", "Set the settings of a document in the cluster.");
    operand(import, "FILE", m_line.name, "The document; - is standard input");
    import.add_flag("--prune", m_line.prune, "Delete the settings that the document lacks");
    addForce(import);
    addChange(import);
  }

  void addRaiseEpoch() {
    CLI::App& command =
        add("raise-epoch",
            "On a relay, after the store was restored: let hosts take a lower revision.");
    command.add_flag("--yes", m_line.yes, "Do not ask");
  }

  CommandLine m_line;
  CLI::App m_app{
      "Keeps the settings of this host in sync with a cluster, and changes the cluster's.",
      "commutil-settings"};
};

}  // namespace

CommandLine parseCommandLine(int argc, char** argv) { return Parser().parse(argc, argv); }

}  // namespace agent
