// Checks which library serves the store, whether it answers and how fast, and the reference store's
// document.
#include <algorithm>
#include <array>
#include <cstdio>

#include "check.h"
#include "settings/accepted.h"

namespace {

using settings::Severity;

constexpr const char* kTheme = "store";
constexpr const char* kLibrary = "libsettingrest.so";
constexpr std::chrono::milliseconds kSlow{100};

std::string milliseconds(std::chrono::microseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f ms", static_cast<double>(time.count()) / 1000);
  return text.data();
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " and ") + name;
  return text;
}

void checkOtherStore(const CheckInput& input, Checks& checks) {
  const settings::StoreLibrary& library = input.collection.facts.library;
  const std::string& document = input.explainer.document().path();
  const std::string text = library.realPath + " is another store than the reference one";
  if (document.empty()) {
    checks.push_back({Severity::ok, kTheme, kLibrary, text, ""});
    return;
  }
  checks.push_back({Severity::warning, kTheme, kLibrary, text + ", which does not read " + document,
                    "change settings in that store, or choose the reference store with "
                    "update-alternatives --config libsettingrest.so"});
}

void checkLibrary(const CheckInput& input, Checks& checks) {
  const settings::StoreLibrary& library = input.collection.facts.library;
  if (!library.fault.empty()) {
    checks.push_back({Severity::error, kTheme, kLibrary, "loading it: " + library.fault,
                      "check the file systems of LD_LIBRARY_PATH and of the linker's cache"});
  } else if (!library.loaded) {
    checks.push_back({Severity::error, kTheme, kLibrary,
                      "cannot be loaded: " + library.error + "; every lookup fails",
                      "install a store, or add its directory to LD_LIBRARY_PATH"});
  } else if (!library.missingSymbols.empty()) {
    checks.push_back(
        {Severity::error, kTheme, kLibrary,
         library.realPath + " lacks " + joined(library.missingSymbols) + "; lookups fail",
         "install a settings store there"});
  } else if (!library.isReference) {
    checkOtherStore(input, checks);
  } else {
    checks.push_back({Severity::ok, kTheme, kLibrary, library.realPath, ""});
  }
}

/// Judges by the fastest lookup: all run at once, and wait for one another on a busy host.
void checkSpeed(const settings::Facts& facts, Checks& checks) {
  std::chrono::microseconds slowest{0};
  std::chrono::microseconds fastest = std::chrono::microseconds::max();
  for (const auto& [key, reply] : facts.replies) {
    if (!reply.fault.empty()) return;  // reported with its key
    slowest = std::max(slowest, reply.duration);
    fastest = std::min(fastest, reply.duration);
  }
  const bool slow = fastest > kSlow;
  checks.push_back({slow ? Severity::warning : Severity::ok, kTheme, "lookups",
                    std::to_string(facts.replies.size()) + ", each took " + milliseconds(fastest) +
                        " to " + milliseconds(slowest),
                    slow ? "check the store and its server" : ""});
}

/// Warns of settings of the document that no application reads as intended.
void checkDocument(const CheckInput& input, Checks& checks) {
  const settings::StoreDocument& document = input.explainer.document();
  const std::string subject = document.path().empty() ? "settings document" : document.path();
  for (const settings::Note& note : document.notes()) {
    checks.push_back(
        {note.severity, kTheme, subject,
         note.text.rfind(subject + ": ", 0) == 0 ? note.text.substr(subject.size() + 2) : note.text,
         note.remedy});
  }
  if (document.path().empty() && document.notes().empty()) {
    checks.push_back({Severity::warning, kTheme, subject,
                      "no conf/settings.json below _APP_SHARE_DIR, APP_ROOT or COMMON_LIB_PATH: "
                      "every lookup gives the default",
                      "create one or set SETTINGREST_URL"});
  }
  for (const auto& [key, value] : document.values()) {
    const bool own = std::any_of(
        settings::trees().begin(), settings::trees().end(),
        [&, &k = key](const settings::Tree& tree) { return k.rfind(tree.path, 0) == 0; });
    const settings::Verdict verdict = settings::checkStoreValue(key, value);
    if (verdict.accepted() || (!own && verdict.suggestion.empty())) continue;
    const bool refused = verdict.result == settings::Verdict::Result::refused;
    std::string message = key;
    if (refused) message.append(" is \"").append(value).append("\"");
    message.append(": ").append(verdict.message());
    checks.push_back({Severity::warning, kTheme, subject, message, "correct the document"});
  }
  if (document.isUsable()) {
    checks.push_back({Severity::ok, kTheme, subject,
                      std::to_string(document.values().size()) + " settings", ""});
  }
}

}  // namespace

void checkStore(const CheckInput& input, Checks& checks) {
  const settings::Facts& facts = input.collection.facts;
  if (!facts.storeNotAsked.empty()) {
    checks.push_back({Severity::ok, kTheme, kLibrary, "not read: " + facts.storeNotAsked, ""});
    return checkDocument(input, checks);
  }
  checkLibrary(input, checks);
  if (facts.library.loaded && facts.library.missingSymbols.empty()) checkSpeed(facts, checks);
  if (facts.library.isReference || !facts.library.loaded) checkDocument(input, checks);
}
