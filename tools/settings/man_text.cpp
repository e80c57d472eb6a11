// Converts the pages' Markdown to the man macros.
#include <sstream>

#include "settings/prose.h"

namespace settings {
namespace {

/// No line may begin with a control character of roff.
std::string protectedLine(const std::string& line) {
  const bool control = !line.empty() && (line.front() == '.' || line.front() == '\'');
  return (control ? "\\&" : "") + line + "\n";
}

std::string upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

}  // namespace

std::string manEscaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '-') result += "\\-";
    if (c == '\\') result += "\\e";
    if (c != '-' && c != '\\') result += c;
  }
  return result;
}

std::string manInline(std::string_view text) {
  std::string result;
  bool code = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '`') {
      result += code ? "\\fR" : "\\fB";
      code = !code;
      continue;
    }
    const std::size_t target = text[i] == ']' && text.substr(i, 2) == "](" ? text.find(')', i) : 0;
    if (!code && text[i] == '[' && text.find("](", i) < text.find(']', i) + 1) continue;
    if (!code && target != 0 && target != std::string_view::npos) {
      i = target;
      continue;
    }
    result += manEscaped(text.substr(i, 1));
  }
  return result;
}

std::string manText(std::string_view markdown) {
  std::istringstream lines{std::string(markdown)};
  std::string result;
  bool code = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("```", 0) == 0) {
      result += code ? ".EE\n" : ".PP\n.EX\n";
      code = !code;
    } else if (code) {
      result += protectedLine(manEscaped(line));
    } else if (line.rfind("## ", 0) == 0) {
      result += ".SH " + upper(line.substr(3)) + "\n";
    } else if (line.empty()) {
      result += ".PP\n";
    } else if (line.size() > 3 && line[0] >= '1' && line[0] <= '9' && line.substr(1, 2) == ". ") {
      result += ".IP " + line.substr(0, 2) + " 4\n" + protectedLine(manInline(line.substr(3)));
    } else {
      result += protectedLine(manInline(line));
    }
  }
  return result;
}

}  // namespace settings
