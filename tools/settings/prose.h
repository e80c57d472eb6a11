#pragma once

#include <string>
#include <string_view>

namespace settings {

/// The prose of the pages, in the Markdown that `manText` understands.
extern const std::string_view kIntroduction;
extern const std::string_view kExplanations;

/// Converts Markdown to the man macros: headings, paragraphs, numbered lists, fenced code, `code`
/// and links, whose text remains.
std::string manText(std::string_view markdown);

/// The same for the text of a paragraph.
std::string manInline(std::string_view text);

/// Returns `text` as roff prints it: no line begins with a control character, hyphens are minus
/// signs.
std::string manEscaped(std::string_view text);

}  // namespace settings
