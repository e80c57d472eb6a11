#include "commutil-settings/configuration.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "commutil/duration.h"
#include "settings/ini_document.h"

namespace agent {
namespace {

using Duration = Configuration::Duration;

[[noreturn]] void refuse(const std::string& why) { throw std::runtime_error(why); }

std::string absolutePath(const std::string& text) {
  if (text.empty() || text.front() != '/') refuse("takes an absolute path");
  return text;
}

std::string prefixOf(const std::string& text) {
  if (text.size() < 2 || text.front() != '/' || text.back() != '/')
    refuse("takes a prefix with \"/\" at both ends, such as /vexa/");
  return text;
}

std::string trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1));
}

/// Returns a URL without "/" at its end.
std::string url(std::string text) {
  const bool isHttps = text.rfind("https://", 0) == 0;
  const std::size_t host = isHttps ? 8 : 7;
  if (!isHttps && text.rfind("http://", 0) != 0) refuse("takes URLs with https:// or http://");
  while (text.size() > host && text.back() == '/') text.pop_back();
  const bool isBad = text.size() == host || text.find_first_of(" \t\"'<>@?#", host) != text.npos;
  if (isBad) refuse("\"" + text + "\" is not a URL of a host and a port");
  return text;
}

std::vector<std::string> urls(const std::string& text, const char* end) {
  std::vector<std::string> result;
  for (std::string_view rest = text;;) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    result.push_back(url(trimmed(rest.substr(0, comma))) + end);
    if (comma == rest.size()) return result;
    rest.remove_prefix(comma + 1);
  }
}

Duration positive(const std::string& text) {
  const Duration duration = parseDuration(text);
  if (duration.count() == 0) refuse("takes a duration above 0");
  return duration;
}

std::size_t count(const std::string& text) {
  std::size_t number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end || number == 0 || number > 1000)
    refuse("takes a number from 1 to 1000");
  return number;
}

using Setter = void (*)(Configuration&, const std::string&);

struct Key {
  const char* section;
  const char* name;
  Setter set;
};

// In the order of the manual page. An empty value keeps the default.
constexpr Key kKeys[] = {
    {"[cluster]", "endpoints", [](auto& c, const auto& text) { c.endpoints = urls(text, ""); }},
    {"[cluster]", "prefix", [](auto& c, const auto& text) { c.prefix = prefixOf(text); }},
    {"[cluster]", "ca", [](auto& c, const auto& text) { c.tls.ca = text; }},
    {"[cluster]", "cert", [](auto& c, const auto& text) { c.tls.certificate = text; }},
    {"[cluster]", "key", [](auto& c, const auto& text) { c.tls.key = text; }},
    {"[cluster]", "user", [](auto& c, const auto& text) { c.user = text; }},
    {"[cluster]", "password_file", [](auto& c, const auto& text) { c.passwordFile = text; }},
    {"[relay]", "source", [](auto& c, const auto& text) { c.sources = urls(text, "/"); }},
    {"[relay]", "ca", [](auto& c, const auto& text) { c.tls.ca = text; }},
    {"[relay]", "cert", [](auto& c, const auto& text) { c.tls.certificate = text; }},
    {"[relay]", "key", [](auto& c, const auto& text) { c.tls.key = text; }},
    {"[snapshot]", "path", [](auto& c, const auto& text) { c.snapshotPath = absolutePath(text); }},
    {"[snapshot]", "group", [](auto& c, const auto& text) { c.group = text; }},
    {"[snapshot]", "settle", [](auto& c, const auto& text) { c.settle = parseDuration(text); }},
    {"[snapshot]", "max_age", [](auto& c, const auto& text) { c.maxAge = positive(text); }},
    {"[agent]", "compare_every",
     [](auto& c, const auto& text) { c.compareEvery = parseDuration(text); }},
    {"[agent]", "list_every", [](auto& c, const auto& text) { c.listEvery = parseDuration(text); }},
    {"[agent]", "progress_interval",
     [](auto& c, const auto& text) { c.progressInterval = positive(text); }},
    {"[agent]", "connect_timeout",
     [](auto& c, const auto& text) { c.connectTimeout = positive(text); }},
    {"[agent]", "request_timeout",
     [](auto& c, const auto& text) { c.requestTimeout = positive(text); }},
    {"[agent]", "poll", [](auto& c, const auto& text) { c.poll = positive(text); }},
    {"[agent]", "spread", [](auto& c, const auto& text) { c.spread = parseDuration(text); }},
    {"[publish]", "directory",
     [](auto& c, const auto& text) { c.publishDirectory = absolutePath(text); }},
    {"[publish]", "keep", [](auto& c, const auto& text) { c.keep = count(text); }},
};

/// Reads one file; knows its name and lines for the messages.
class Parser {
 public:
  Parser(std::string_view text, const std::string& name) : m_document(text), m_name(name) {}

  Configuration parse() {
    if (!m_document.findings().empty()) {
      const settings::Finding& finding = m_document.findings().front();
      fail(finding.place.line, finding.message);
    }
    for (const settings::IniSection& section : m_document.sections()) checkSection(section);
    for (const settings::IniEntry& entry : m_document.entries()) assign(entry);
    checkWhole();
    return m_result;
  }

 private:
  [[noreturn]] void fail(std::size_t line, const std::string& message) const {
    throw ConfigurationError(m_name + ":" + std::to_string(line) + ": " + message);
  }
  [[noreturn]] void fail(const std::string& message) const {
    throw ConfigurationError(m_name + ": " + message);
  }

  void checkSection(const settings::IniSection& section) const {
    const bool isKnown = std::any_of(std::begin(kKeys), std::end(kKeys),
                                     [&](const Key& key) { return section.name == key.section; });
    if (!isKnown) fail(section.place.line, section.name + " is not a section");
  }

  void assign(const settings::IniEntry& entry) {
    const auto* const key =
        std::find_if(std::begin(kKeys), std::end(kKeys), [&](const Key& candidate) {
          return entry.section == candidate.section && entry.key == candidate.name;
        });
    if (key == std::end(kKeys)) {
      const std::string where = entry.section.empty() ? "outside a section" : "in " + entry.section;
      fail(entry.place.line, "\"" + entry.key + "\" is not a key " + where);
    }
    if (!m_seen.insert(key).second) fail(entry.place.line, entry.key + " is set twice");
    if (entry.value.empty()) return;
    try {
      key->set(m_result, entry.value);
    } catch (const std::runtime_error& error) {
      fail(entry.place.line, entry.key + " " + error.what());
    }
  }

  void checkWhole() const {
    const bool hasCluster = m_document.hasSection("[cluster]");
    if (hasCluster == m_document.hasSection("[relay]"))
      fail("needs either [cluster] with endpoints or [relay] with source");
    if (hasCluster && m_result.endpoints.empty()) fail("[cluster] needs endpoints");
    if (!hasCluster && m_result.sources.empty()) fail("[relay] needs source");
    if (m_result.tls.certificate.empty() != m_result.tls.key.empty())
      fail("cert and key belong together: one of them is missing");
    if (m_result.user.empty() != m_result.passwordFile.empty())
      fail("user and password_file belong together: one of them is missing");
  }

  settings::IniDocument m_document;
  const std::string& m_name;
  Configuration m_result;
  std::set<const Key*> m_seen;
};

}  // namespace

Configuration parseConfiguration(std::string_view text, const std::string& name) {
  return Parser(text, name).parse();
}

std::vector<std::string> configurationKeys() {
  std::vector<std::string> keys;
  for (const Key& key : kKeys) keys.push_back(std::string(key.section) + " " + key.name);
  return keys;
}

}  // namespace agent
