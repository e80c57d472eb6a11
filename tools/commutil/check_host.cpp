// Checks what the library uses of the host: programs, the locale and the addresses.
#include "check.h"
#include "settings/paths.h"

namespace {

using settings::Item;
using settings::Severity;

constexpr const char* kTheme = "host";

void checkPrograms(const settings::Facts& facts, Checks& checks) {
  for (const Item* const program : settings::itemsOf(settings::Kind::program)) {
    const settings::FileFacts& file = facts.file(program->rest);
    Check check{Severity::ok, kTheme, std::string(program->rest), "executable", ""};
    if (!file.fault.empty() || !file.exists() || !file.executable) {
      check.severity = file.fault.empty() ? Severity::warning : Severity::error;
      check.message =
          file.fault.empty() ? (file.exists() ? "not executable" : "missing") : file.fault;
      check.message += ": " + std::string(program->readers.front()) + " fails";
      check.remedy = file.fault.empty() ? "install the program" : "check its file system";
    }
    checks.push_back(std::move(check));
  }
}

std::string wantedLocale(const settings::Facts& facts) {
  for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"})
    if (!facts.variable(name).empty()) return std::string(name) + "=" + facts.variable(name);
  return "C";
}

void checkLocale(const Collection& collection, Checks& checks) {
  if (!collection.localeFault.empty()) {
    checks.push_back({Severity::error, kTheme, "locale", collection.localeFault,
                      "check the file system of the locales"});
  } else if (collection.locale.empty()) {
    checks.push_back(
        {Severity::warning, kTheme, "locale",
         wantedLocale(collection.facts) + " is not installed: conversions use the \"C\" locale",
         "install the locale or correct the variable"});
  } else {
    checks.push_back({Severity::ok, kTheme, "locale", collection.locale, ""});
  }
}

void checkAddresses(const Collection& collection, Checks& checks) {
  for (const HostAddress& entry : collection.addresses) {
    const bool v6 = entry.address.find(':') != std::string::npos;
    if (v6 || entry.address.rfind("127.", 0) == 0) continue;
    const std::string subject = entry.address.empty() ? "getAllIPAddr" : "address " + entry.address;
    if (!entry.fault.empty()) {
      checks.push_back({Severity::error, kTheme, subject,
                        (entry.address.empty() ? "" : "getNetmaskByIP: ") + entry.fault,
                        "check the network and ifconfig"});
    } else if (entry.netmask.empty()) {
      checks.push_back({Severity::warning, kTheme, subject, "no netmask",
                        "check the interface that carries it"});
    } else {
      checks.push_back({Severity::ok, kTheme, subject, "netmask " + entry.netmask, ""});
    }
  }
}

}  // namespace

void checkHost(const CheckInput& input, Checks& checks) {
  checkPrograms(input.collection.facts, checks);
  // Of another root the library was not called.
  if (!input.collection.facts.storeNotAsked.empty()) return;
  checkLocale(input.collection, checks);
  checkAddresses(input.collection, checks);
}
