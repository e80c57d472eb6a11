// Checks that files are regular, readable and well-formed, that their values are accepted, what the
// library can write, and what a running service may still have cached.
#include <algorithm>

#include "check.h"
#include "explain.h"
#include "settings/paths.h"

namespace {

using settings::Note;
using settings::Severity;
using settings::SourceState;

constexpr const char* kStorePrefix = "store ";

bool isStore(const SourceState& source) { return source.place.rfind(kStorePrefix, 0) == 0; }

bool isFile(const SourceState& source) { return source.place.rfind('/', 0) == 0; }

/// A missing file that a variable names is an error, because somebody has configured it.
Severity severityOf(const Note& note, const SourceState& source, const settings::Facts& facts) {
  if (source.state != "missing") return note.severity;
  for (const char* const name : {"application configuration", "nodelists.json"}) {
    if (source.place ==
        settings::pathOf(*settings::findItem(settings::Kind::file, name), facts.environment))
      return Severity::error;
  }
  return note.severity;
}

/// Faults of the settings document are reported once, with the store.
bool isOfDocument(const Note& note, const settings::StoreDocument& document) {
  return std::any_of(document.notes().begin(), document.notes().end(),
                     [&](const Note& other) { return other.text == note.text; });
}

std::string messageOf(const Note& note, const SourceState& source) {
  if (note.text.empty()) return source.state;
  return note.ofState ? source.state + "; " + note.text : note.text;
}

void addSource(const CheckInput& input, const SourceState& source, Checks& checks) {
  const settings::Facts& facts = input.collection.facts;
  const std::string theme = isFile(source) ? "files" : isStore(source) ? "store" : "values";
  bool noted = false;
  for (const Note& note : source.notes) {
    if (note.severity == Severity::ok) continue;
    if (isStore(source) && isOfDocument(note, input.explainer.document())) continue;
    checks.push_back({severityOf(note, source, facts), theme, source.place, messageOf(note, source),
                      note.remedy});
    noted = true;
  }
  if (noted || source.state == "missing") return;
  std::string message = source.state;
  for (const Note& note : source.notes)
    if (note.severity == Severity::ok) message += "; " + note.text;
  checks.push_back({Severity::ok, theme, source.place, message, ""});
}

void addAnswer(const CheckInput& input, const ExplainedAnswer& answer, Checks& checks) {
  const settings::Explanation& explanation = answer.explanation;
  for (const SourceState& source : explanation.sources)
    if (isFile(source) || isStore(source)) addSource(input, source, checks);
  const std::string name(explanation.answer->name);
  if (answer.mismatch.empty()) return;
  const std::size_t named = answer.mismatch.rfind(name + ": ", 0) == 0 ? name.size() + 2 : 0;
  checks.push_back(
      {Severity::error, "values", name, answer.mismatch.substr(named), "see commutil explain"});
}

void checkShareDirectory(const CheckInput& input, Checks& checks) {
  const settings::Facts& facts = input.collection.facts;
  const std::string share = facts.variable("_APP_SHARE_DIR");
  if (share.empty()) return;  // with the variables
  const Note state = settings::writableState(facts.file(share), facts.user);
  const std::string purpose = state.severity == Severity::ok
                                  ? ": locks and the SSL option file can be written"
                                  : ": neither locks nor the SSL option file can be written";
  checks.push_back({state.severity, "files", share, state.text + purpose, state.remedy});
}

void checkSslFile(const CheckInput& input, Checks& checks) {
  const settings::Explainer::SslFile file = input.explainer.sslFile();
  const settings::Facts& facts = input.collection.facts;
  const std::string target = settings::sslOptionFile(facts.environment);
  const settings::FileFacts& old = facts.file(target);
  if (!file.fault.empty()) {
    checks.push_back(
        {Severity::error, "files", target, "cannot be generated from " + file.fault, file.remedy});
  } else if (old.type == settings::FileType::directory) {
    checks.push_back({Severity::error, "files", target,
                      "a directory is in the place of the SSL option file", "remove it"});
  } else if (!file.remark.empty()) {
    checks.push_back(
        {Severity::warning, "files", target, file.remark, "take the name out of the comment"});
  } else {
    checks.push_back({Severity::ok, "files", target, "can be generated", ""});
  }
}

/// Without a service, nothing is known to be stale; with one, what changed after its start may be.
void checkCached(const CheckInput& input, Checks& checks) {
  if (input.started == 0) {
    checks.push_back({Severity::ok, "values", "cached",
                      "a running service keeps its trace directory, TS mode, database type, store "
                      "library and SSL option file until it ends; --pid checks one",
                      ""});
    return;
  }
  const settings::Facts& facts = input.collection.facts;
  const auto add = [&](const std::string& path, const std::string& what) {
    constexpr std::time_t kPrecision = 1;  // of the service's start
    if (facts.file(path).modified <= input.started + kPrecision) return;
    checks.push_back({Severity::warning, "values", path,
                      "changed after the service was started, which may still use the old " + what,
                      "restart the service"});
  };
  add(settings::chosenPath("setting.cfg", facts), "trace directory");
  add(settings::chosenPath("svc_ssl.conf", facts), "SSL options");
  add(settings::pathOf(*settings::findItem(settings::Kind::file, "TSSetting.cfg"),
                       facts.environment),
      "TS mode");
  add(facts.variable("APP_CONF_FILE"), "database type");
}

}  // namespace

void checkFiles(const CheckInput& input, Checks& checks) {
  for (const settings::Answer& answer : settings::answers())
    addAnswer(input, explained(input.explainer, answer, input.collection), checks);
  checkShareDirectory(input, checks);
  checkSslFile(input, checks);
  checkCached(input, checks);
}
