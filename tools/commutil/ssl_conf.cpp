// The subcommand ssl-conf: shows what the SSL option file of this instance would be, and why.
// Writes it only with --write, with the library's own operation.
#include <VexaCommonUtils_i.h>

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

#include "collect.h"
#include "difference.h"
#include "output.h"
#include "settings/accepted.h"
#include "settings/explanation.h"
#include "settings/paths.h"
#include "style.h"
#include "tool.h"

namespace {

using settings::Severity;

constexpr const char* kTemplateName = "svc_ssl.conf";
constexpr const char* kTree = "/vexa/common/svc_ssl_conf/";

struct SslConfOptions {
  bool json = false;
  bool show = false;
  bool write = false;
  bool force = false;
};

/// A line that the template lacks, and the source of its value.
struct InsertedLine {
  std::string text;
  std::string source;
};

/// The file that would be written.
struct Plan {
  std::string path;
  std::string source;  // the template
  std::string text;
  std::string change;  // from the existing file, or else from the template
  std::vector<InsertedLine> inserted;
  std::vector<std::string> refusals;  // why --write needs --force
  std::string obstacle;               // why it fails even so, "" if nothing is known
};

void refuseUnset(const settings::Facts& facts, Plan& plan) {
  for (const char* const name : {"_APP_SHARE_DIR", "PROCESS_INSTANCE_ID"})
    if (facts.variable(name).empty()) plan.refusals.push_back(std::string(name) + " is not set");
}

/// Counts the lookups of SSL options without a reply, by reason.
std::map<std::string, std::size_t> failedLookups(const settings::Facts& facts) {
  std::map<std::string, std::size_t> counts;
  for (const auto& [key, reply] : facts.replies)
    if (key.rfind(kTree, 0) == 0 && !reply.fault.empty()) ++counts[reply.fault];
  return counts;
}

/// Refuses values from a store that has no settings although it should.
void refuseStore(const settings::Facts& facts, const settings::StoreDocument& document,
                 Plan& plan) {
  const settings::StoreLibrary& library = facts.library;
  if (!library.fault.empty()) plan.refusals.push_back("the settings store: " + library.fault);
  if (library.fault.empty() && !library.loaded)
    plan.refusals.push_back("the settings store cannot be loaded: " + library.error);
  for (const auto& [fault, count] : failedLookups(facts)) {
    plan.refusals.push_back("the settings store: " + fault + " (" + std::to_string(count) +
                            " lookups)");
  }
  if (!library.isReference) return;
  for (const settings::Note& note : document.notes()) {
    if (note.severity == Severity::error) {
      plan.refusals.push_back("the settings store: " + note.text);
    }
  }
}

void explainOption(const settings::Explanation& option, Plan& plan) {
  if (option.value.isNull()) return;  // refused with the store
  const std::string name(option.answer->name);
  const std::string value = option.value.asString();
  if (plan.text.find(name) == std::string::npos && name != "-SSLNoProtection") return;
  const settings::Item* const item =
      settings::findItem(settings::Kind::storeKey, std::string_view(name).substr(1), kTree);
  const settings::Verdict verdict = settings::checkValue(item->accepted, value);
  if (!verdict.accepted()) {
    plan.refusals.push_back(option.decidedBy + ": \"" + printable(value) +
                            "\": " + verdict.message());
  }
  const bool isFlag = name == "-SSLNoProtection";
  if (isFlag && value != "enable") return;
  plan.inserted.push_back({isFlag ? name : name + " " + value, option.decidedBy});
}

std::string obstacleTo(const Plan& plan, const settings::Facts& facts) {
  if (facts.file(plan.path).type == settings::FileType::directory) return "a directory is there";
  const std::string share = facts.variable("_APP_SHARE_DIR");
  if (share.empty()) return {};
  const settings::Note state = settings::writableState(facts.file(share), facts.user);
  return state.severity == Severity::ok ? "" : share + ": " + state.text;
}

/// @throws std::runtime_error if no file can be generated from the template
Plan makePlan() {
  Request request;
  const Collection collection = collect(settings::currentEnvironment(), request);
  const settings::Facts& facts = collection.facts;
  const settings::Explainer explainer(facts);
  const settings::Explainer::SslFile file = explainer.sslFile();
  if (!file.fault.empty()) throw std::runtime_error(file.fault);
  Plan plan;
  plan.path = settings::sslOptionFile(facts.environment);
  plan.source = settings::chosenPath(kTemplateName, facts);
  plan.text = file.text;
  const settings::FileFacts& target = facts.file(plan.path);
  const bool isThere = target.readable && target.type == settings::FileType::regular;
  const std::string& before = isThere ? target.text : facts.file(plan.source).text;
  plan.change = difference(before, plan.text);
  if (!plan.change.empty()) {
    plan.change = "--- " + printable(isThere ? plan.path : plan.source) + "\n+++ " +
                  printable(plan.path) + "\n" + plan.change;
  }
  plan.obstacle = obstacleTo(plan, facts);
  refuseUnset(facts, plan);
  refuseStore(facts, explainer.document(), plan);
  const std::string& original = facts.file(plan.source).text;
  for (const settings::Answer& answer : settings::answers()) {
    const bool isOption = answer.kind == settings::AnswerKind::option;
    if (isOption && original.find(answer.name) == std::string::npos)
      explainOption(explainer.explain(answer), plan);
  }
  return plan;
}

void printJson(const Plan& plan, bool written) {
  Json::Value document;
  document["path"] = plan.path;
  document["template"] = plan.source;
  document["text"] = plan.text;
  document["difference"] = plan.change;
  document["written"] = written;
  document["inserted"] = Json::arrayValue;
  for (const InsertedLine& line : plan.inserted) {
    Json::Value row;
    row["line"] = line.text;
    row["source"] = line.source;
    document["inserted"].append(row);
  }
  document["refusals"] = Json::arrayValue;
  for (const std::string& refusal : plan.refusals) document["refusals"].append(refusal);
  printDocument(document, true);
}

void printChange(std::string_view change) {
  while (!change.empty()) {
    const std::size_t length = change.find('\n');
    const std::string_view line = change.substr(0, length);
    const bool isMarked = line.front() == '+' || line.front() == '-';
    const Severity color = line.front() == '+' ? Severity::ok : Severity::error;
    printBytes((isMarked ? colored(color, line) : std::string(line)) + "\n");
    change.remove_prefix(length + 1);
  }
}

void printText(const Plan& plan, bool written) {
  printBytes(printable(plan.path) + (written ? ": written from " : ": would be written from ") +
             printable(plan.source) + "\n");
  printBytes(plan.inserted.empty() ? "inserted: nothing\n" : "inserted:\n");
  for (const InsertedLine& line : plan.inserted)
    printBytes("  " + printable(line.text) + "    from " + printable(line.source) + "\n");
  printBytes(plan.change.empty() ? "difference: none\n" : "difference:\n");
  printChange(printableLines(plan.change));
  printBytes("text:\n" + printableLines(plan.text));
  if (plan.text.empty() || plan.text.back() != '\n') printBytes("\n");
}

int preview(const SslConfOptions& options, const Plan& plan) {
  if (options.json) {
    printJson(plan, false);
  } else if (options.show) {
    printLines(plan.text);
  } else {
    printText(plan, false);
  }
  if (!options.json)
    for (const std::string& refusal : plan.refusals) complain("--write would refuse: " + refusal);
  if (!options.json && !plan.obstacle.empty()) complain("--write would fail: " + plan.obstacle);
  return plan.refusals.empty() && plan.obstacle.empty() ? kOk : kNo;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : "; ") + text;
  return result;
}

int write(const SslConfOptions& options, const Plan& plan) {
  if (!plan.refusals.empty() && !options.force)
    return fail("not written: " + joined(plan.refusals) + " (--force writes it)");
  if (VexaCommonUtils_i::get_svc_ssl_conf(kTemplateName).empty()) {
    return fail(plan.path + ": cannot be written" +
                (plan.obstacle.empty() ? "" : ": " + plan.obstacle));
  }
  if (options.json) {
    printJson(plan, true);
  } else if (options.show) {
    printLines(plan.text);
  } else {
    printText(plan, true);
  }
  return kOk;
}

int sslConf(const SslConfOptions& options) {
  const Plan plan = makePlan();
  return options.write ? write(options, plan) : preview(options, plan);
}

}  // namespace

void addSslConf(Tool& tool) {
  tool.add<SslConfOptions>(
      tool.command, "ssl-conf",
      "Show what the SSL option file of this instance would be, and why; write it with --write.",
      [](Command& subcommand, SslConfOptions& options) {
        subcommand.arguments = {
            {.name = "--write",
             .value = &options.write,
             .purpose = "Write the file",
             .details = "An older file of the same instance is replaced. Refused, with the reason, "
                        "if _APP_SHARE_DIR or PROCESS_INSTANCE_ID is not set, if the settings "
                        "store is malformed or does not answer, and for a value that the option "
                        "does not take. Without --write, such a reason is printed on standard "
                        "error and the exit code is 1."},
            {.name = "--force",
             .value = &options.force,
             .purpose = "Write it even from an unreliable store or with unknown values",
             .details = "A template that cannot be used is refused all the same."},
            {.name = "--show", .value = &options.show, .purpose = "Print only the file's text"},
            jsonFlag(options.json)};
        subcommand.exitCodes = {{"0", "the file can be written, or was"},
                                {"1", "--write refuses, or the file cannot be written"},
                                {"2", "wrong use"}};
      },
      sslConf);
}
