// Writes the catalog as pages and lists.
#include "settings/pages.h"

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "settings/accepted.h"
#include "settings/catalog.h"
#include "settings/prose.h"

namespace settings {
namespace {

using Style = std::function<std::string(std::string_view)>;

std::string joined(const std::vector<std::string_view>& names, const Style& style) {
  std::string text;
  for (const std::string_view name : names) text += (text.empty() ? "" : ", ") + style(name);
  return text;
}

/// Code, except for phrases.
std::string code(std::string_view text) {
  const bool phrase = text.find(' ') != std::string_view::npos && text.find('$') == text.npos;
  return phrase ? std::string(text) : "`" + std::string(text) + "`";
}

std::string plain(std::string_view text) { return std::string(text); }

std::string quotedText(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string_view kindWord(Kind kind) {
  switch (kind) {
    case Kind::variable:
      return "variable";
    case Kind::file:
      return "file";
    case Kind::iniKey:
      return "key";
    case Kind::jsonMember:
      return "member";
    case Kind::line:
      return "line";
    case Kind::storeKey:
      return "store key";
    case Kind::sharedLibrary:
      return "library";
    case Kind::program:
      return "program";
    case Kind::written:
      return "written";
  }
  return {};
}

/// Describes where a file is, with the variables in `style`.
std::string location(const Item& item, const Style& style) {
  switch (item.location) {
    case Location::search:
      return quotedText("conf/" + std::string(item.name)) + ", the first that exists under " +
             joined(searchVariables(), style);
    case Location::belowVariable:
      return style(item.variable) + " + " + quotedText(item.rest);
    case Location::inVariable:
      return "the file that " + style(item.variable) + " names";
    case Location::fixed:
      return quotedText(item.rest);
    case Location::none:
      break;
  }
  return std::string(item.name);
}

/// Returns the name of an item on the pages.
std::string title(const Item& item, const Style& style) {
  switch (item.kind) {
    case Kind::variable:
    case Kind::program:
    case Kind::sharedLibrary:
      return style(item.kind == Kind::program ? item.rest : item.name);
    case Kind::iniKey:
      return quotedText(item.section) + " " + quotedText(item.name) + " of " +
             quotedText(item.parent);
    case Kind::jsonMember:
    case Kind::line:
      return quotedText(item.name) + " of " + location(*findItem(Kind::file, item.parent), style);
    case Kind::storeKey:
      return quotedText(std::string(item.parent) + "BRANCH/" + std::string(item.name));
    case Kind::file:
    case Kind::written:
      break;
  }
  return location(item, style);
}

std::string accepts(const Item& item) {
  return item.accepted.form == Form::anything ? "" : describe(item.accepted);
}

/// Makes a variable's name code, because in Markdown an underscore before a word means emphasis.
std::string withVariablesAsCode(std::string text) {
  for (std::size_t at = 0; (at = text.find('_', at)) != std::string::npos;) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (at == 0 || text[at - 1] == ' ') {
      text.insert(end, "`");
      text.insert(at, "`");
    }
    at = end + 2;
  }
  return text;
}

std::string inCell(std::string text) {
  for (std::size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2)
    text.insert(at, "\\");
  return withVariablesAsCode(std::move(text));
}

std::string sourceText(const SourceRef& source, const Style& style) {
  const Item& item = *findItem(source);
  const bool keyed = item.kind == Kind::storeKey;
  return keyed ? quotedText(std::string(item.parent) + "BRANCH/" + std::string(item.name))
               : title(item, style);
}

std::string sourcesText(const Answer& answer, const Style& style) {
  std::string text;
  for (const SourceRef& source : answer.sources)
    text += (text.empty() ? "" : ", then ") + sourceText(source, style);
  return text;
}

std::string markdownRow(const Item& item) {
  std::string row = "|";
  for (const std::string& cell :
       {std::string(kindWord(item.kind)), title(item, code), std::string(item.meaning),
        accepts(item), std::string(item.missing), joined(item.readers, code),
        std::string(item.when)})
    row += " " + inCell(cell) + (cell.empty() ? "|" : " |");
  return row + "\n";
}

std::string manEntry(const Item& item) {
  std::string entry =
      ".TP\n\\fB" + manEscaped(title(item, plain)) + "\\fR\n" + manInline(item.meaning) + ".\n";
  if (!accepts(item).empty()) entry += "Takes " + manEscaped(accepts(item)) + ".\n";
  if (!item.missing.empty()) entry += "Without it: " + manInline(item.missing) + ".\n";
  return entry + "Read by " + manEscaped(joined(item.readers, plain)) + ": " +
         manEscaped(item.when) + ".\n";
}

std::string manSection(const char* heading, const std::vector<Kind>& kinds) {
  std::string section = std::string(".SH ") + heading + "\n";
  for (const Kind kind : kinds)
    for (const Item* const item : itemsOf(kind)) section += manEntry(*item);
  return section;
}

}  // namespace

std::string markdownPage() {
  std::string page = "# What the library reads and writes {#configuration}\n\n";
  page += kIntroduction;
  page +=
      "\n## Everything that is read\n\n"
      "| What | Item | Meaning | Accepts | Without it | Read by | When |\n"
      "|---|---|---|---|---|---|---|\n";
  for (const Item& item : items()) page += markdownRow(item);
  page +=
      "\nBRANCH is the value of `APP_NAME`, then \"global\".\n"
      "\n## Answers and what decides them\n\n"
      "| Answer | Setting | Meaning | Sources, in order |\n|---|---|---|---|\n";
  for (const Answer& answer : answers()) {
    const std::string parameter = answer.parameter.empty() ? "" : code(answer.parameter) + " ";
    page += "| `" + std::string(answer.name) + "`" + " | " + parameter + "| " +
            std::string(answer.meaning) + " | " + inCell(sourcesText(answer, code)) +
            (answer.sources.empty() ? "|\n" : " |\n");
  }
  page += "\n";
  page += kExplanations;
  return page;
}

std::string manPage() {
  std::string page =
      ".TH COMMUTIL 5 \"\" libcommutil \"File formats\"\n.SH NAME\n"
      "commutil \\- what the common utility library reads and writes\n.SH DESCRIPTION\n";
  page += manText(kIntroduction);
  page += manSection("ENVIRONMENT", {Kind::variable});
  page +=
      manSection("FILES", {Kind::file, Kind::iniKey, Kind::jsonMember, Kind::line, Kind::written});
  page += manSection("SETTINGS STORE", {Kind::storeKey, Kind::sharedLibrary});
  page += "BRANCH is the value of APP_NAME, then \"global\".\n";
  page += manSection("PROGRAMS", {Kind::program});
  page += ".SH ANSWERS\n";
  for (const Answer& answer : answers()) {
    page += ".TP\n\\fB" + manEscaped(answer.name) + "\\fR\n" + manInline(answer.meaning) + ".\n";
    if (!answer.sources.empty())
      page += "Decided by " + manEscaped(sourcesText(answer, plain)) + ".\n";
  }
  page += manText(kExplanations);
  return page + ".SH SEE ALSO\n.BR commutil (1)\n";
}

std::set<std::string> answerNames() {
  std::set<std::string> names;
  for (const Answer& answer : answers()) {
    for (const std::string_view name : {answer.name, answer.parameter}) {
      const bool word = !name.empty() && name.front() != '-';
      if (word && name.find(' ') == std::string_view::npos) names.emplace(name);
    }
  }
  return names;
}

std::set<std::string> settingNames() {
  std::set<std::string> names;
  for (const Item* const item : itemsOf(Kind::storeKey)) {
    names.emplace(item->name);
    names.insert(storeKey(item->parent, kGlobalBranch, item->name));
  }
  return names;
}

}  // namespace settings
