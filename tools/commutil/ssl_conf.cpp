// The subcommand ssl-conf: what the SSL option file of this instance would be and why. Writes it
// only if told to, with the library's own operation.
#include <VexaCommonUtils_i.h>

#include <json/value.h>

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

struct SslConfOptions {
  bool json = false;
  bool show = false;
  bool write = false;
  bool force = false;
};

/// A line that the template lacks, and where its value comes from.
struct InsertedLine {
  std::string text;
  std::string source;
};

/// The file as it would be.
struct Plan {
  std::string path;
  std::string source;  // the template
  std::string text;
  std::string change;  // against the file that is there, else against the template
  std::vector<InsertedLine> inserted;
  std::vector<std::string> refusals;  // why --write needs --force
};

void refuseUnset(const settings::Facts& facts, Plan& plan) {
  for (const char* const name : {"_APP_SHARE_DIR", "PROCESS_INSTANCE_ID"})
    if (facts.variable(name).empty()) plan.refusals.push_back(std::string(name) + " is not set");
}

/// Refuses values that come from a store without settings where there should be some.
void refuseStore(const settings::Facts& facts, const settings::StoreDocument& document,
                 Plan& plan) {
  const settings::StoreLibrary& library = facts.library;
  if (!library.fault.empty()) plan.refusals.push_back("the settings store: " + library.fault);
  if (library.fault.empty() && !library.loaded)
    plan.refusals.push_back("the settings store cannot be loaded: " + library.error);
  for (const auto& [key, reply] : facts.replies) {
    if (!reply.fault.empty())
      plan.refusals.push_back("the settings store: " + key + ": " + reply.fault);
  }
  if (!library.isReference) return;
  for (const settings::Note& note : document.notes()) {
    if (note.severity == Severity::error)
      plan.refusals.push_back("the settings store " + document.path() + ": " + note.text);
  }
}

void explainOption(const settings::Explanation& option, Plan& plan) {
  const std::string name(option.answer->name);
  const std::string value = option.value.asString();
  if (plan.text.find(name) == std::string::npos && name != "-SSLNoProtection") return;
  const settings::Item* const item = settings::findItem(
      settings::Kind::storeKey, std::string_view(name).substr(1), "/vexa/common/svc_ssl_conf/");
  const settings::Verdict verdict = settings::checkValue(item->accepted, value);
  if (!verdict.accepted()) {
    plan.refusals.push_back(option.decidedBy + ": \"" + printable(value) +
                            "\": " + verdict.message());
  }
  const bool isFlag = name == "-SSLNoProtection";
  if (isFlag && value != "enable") return;
  plan.inserted.push_back({isFlag ? name : name + " " + value, option.decidedBy});
}

/// @throws std::runtime_error if no file can be made of the template
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
  const std::string& before = target.readable ? target.text : facts.file(plan.source).text;
  plan.change = difference(before, plan.text);
  if (!plan.change.empty()) {
    plan.change = "--- " + (target.readable ? plan.path : plan.source) + "\n+++ " + plan.path +
                  "\n" + plan.change;
  }
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
  printBytes(plan.path + (written ? ": written from " : ": would be written from ") + plan.source +
             "\n");
  printBytes(plan.inserted.empty() ? "inserted: nothing\n" : "inserted:\n");
  for (const InsertedLine& line : plan.inserted)
    printBytes("  " + printable(line.text) + "    from " + line.source + "\n");
  printBytes(plan.change.empty() ? "difference: none\n" : "difference:\n");
  printChange(plan.change);
  printBytes("text:\n" + plan.text);
  if (plan.text.empty() || plan.text.back() != '\n') printBytes("\n");
}

int preview(const SslConfOptions& options, const Plan& plan) {
  if (options.json) {
    printJson(plan, false);
  } else if (options.show) {
    printBytes(plan.text);
  } else {
    printText(plan, false);
  }
  if (!options.json)
    for (const std::string& refusal : plan.refusals) complain("--write would refuse: " + refusal);
  return plan.refusals.empty() ? kOk : kNo;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : "; ") + text;
  return result;
}

int write(const SslConfOptions& options, const Plan& plan) {
  if (!plan.refusals.empty() && !options.force)
    return fail("not written: " + joined(plan.refusals) + " (--force writes it)");
  if (VexaCommonUtils_i::get_svc_ssl_conf(kTemplateName).empty())
    return fail(plan.path + ": cannot be written");
  if (options.json) {
    printJson(plan, true);
  } else if (options.show) {
    printBytes(plan.text);
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
            {.name = "--write", .value = &options.write, .purpose = "Write the file"},
            {.name = "--force",
             .value = &options.force,
             .purpose = "Write it even from an unreliable store or with unknown values"},
            {.name = "--show", .value = &options.show, .purpose = "Print only the file's text"},
            jsonFlag(options.json)};
      },
      sslConf);
}
