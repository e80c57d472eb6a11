// Checks that variables are set and that what they name exists.
#include "check.h"
#include "settings/accepted.h"
#include "settings/paths.h"

namespace {

using settings::Form;
using settings::Item;
using settings::Severity;

constexpr const char* kTheme = "environment";

/// Returns whether a deployment is expected to set the variable.
bool isExpected(const Item& variable) {
  for (const std::string_view name :
       {"_APP_SHARE_DIR", "APP_ROOT", "COMMON_LIB_PATH", "APP_NAME", "_APP_LOG_DIR",
        "PROCESS_INSTANCE_ID", "APP_CONF_FILE", "QORV_ROOT"})
    if (variable.name == name) return true;
  return false;
}

Check absent(const Item& variable) {
  const std::string name(variable.name);
  const bool expected = isExpected(variable);
  return {expected ? Severity::warning : Severity::ok, kTheme, name,
          "not set: " + std::string(variable.missing),
          expected ? "set it to " + settings::describe(variable.accepted) : ""};
}

Check directoryCheck(const Item& variable, const settings::FileFacts& file,
                     const std::string& user) {
  Check check{Severity::ok, kTheme, std::string(variable.name), file.path, ""};
  if (file.fault.empty() && file.type == settings::FileType::directory) {
    if (file.executable) return check;
    return {Severity::error, kTheme, check.subject,
            file.path + ": user " + user + " may not search the directory",
            "let " + user + " search it"};
  }
  const settings::Note state = settings::stateOf(file, user);
  const bool missing = !file.exists() && state.text == "missing";
  check.severity = missing ? Severity::warning : Severity::error;
  check.message += ": " + (file.exists() ? "not a directory" : state.text);
  check.remedy =
      missing || file.exists() ? "create the directory or correct the variable" : state.remedy;
  return check;
}

Check checkVariable(const Item& variable, const settings::Facts& facts) {
  const std::string value = facts.variable(variable.name);
  const bool emptyCounts =
      variable.name == "QORV_ROOT" || variable.name == "VEXA_DUMP_ALL_LOCKS_FILE";
  if (!facts.isSet(variable.name) || (value.empty() && !emptyCounts)) return absent(variable);
  const settings::Verdict verdict = settings::checkValue(variable.accepted, value);
  if (!verdict.accepted() && !value.empty()) {
    return {Severity::warning, kTheme, std::string(variable.name),
            "\"" + value + "\": " + verdict.message(), "correct the variable"};
  }
  if (variable.accepted.form == Form::directory)
    return directoryCheck(variable, facts.file(value), facts.user);
  return {Severity::ok, kTheme, std::string(variable.name), value.empty() ? "(empty)" : value, ""};
}

}  // namespace

void checkEnvironment(const CheckInput& input, Checks& checks) {
  for (const Item* const variable : settings::itemsOf(settings::Kind::variable)) {
    const bool general = variable->accepted.form == Form::anything;
    if (general && variable->name != "VEXA_DUMP_ALL_LOCKS_FILE") continue;
    if (variable->accepted.form == Form::url) continue;  // with the store
    checks.push_back(checkVariable(*variable, input.collection.facts));
  }
}
