// Checks values against what the catalog accepts.
#include "settings/accepted.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

#include "settings/edit_distance.h"
#include "settings/source_words.h"

namespace settings {
namespace {

std::string joined(const std::vector<std::string_view>& words, std::string_view last) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? last : ", ";
    text += words[i];
  }
  return text;
}

bool isWord(const Accepted& accepted, std::string_view value) {
  return std::find(accepted.words.begin(), accepted.words.end(), value) != accepted.words.end();
}

/// Splits at commas; "a,,b" has an empty part.
std::vector<std::string_view> pieces(std::string_view value) {
  std::vector<std::string_view> all;
  while (true) {
    const std::size_t comma = value.find(',');
    all.push_back(value.substr(0, comma));
    if (comma == std::string_view::npos) return all;
    value.remove_prefix(comma + 1);
  }
}

bool isWordList(const Accepted& accepted, std::string_view value) {
  const std::vector<std::string_view> words = pieces(value);
  return std::all_of(words.begin(), words.end(),
                     [&](std::string_view word) { return isWord(accepted, word); });
}

bool isAddress(const std::string& value) {
  std::array<unsigned char, 16> bytes{};
  return ::inet_pton(AF_INET, value.c_str(), bytes.data()) == 1 ||
         ::inet_pton(AF_INET6, value.c_str(), bytes.data()) == 1;
}

bool isAccepted(const Accepted& accepted, std::string_view value) {
  switch (accepted.form) {
    case Form::anything:
      return true;
    case Form::word:
      return isWord(accepted, value);
    case Form::wordList:
      return isWordList(accepted, value);
    case Form::directory:
    case Form::file:
    case Form::pathPrefix:
      return !value.empty() && value.front() == '/';
    case Form::segment:
      return !value.empty() && value.find('/') == std::string_view::npos;
    case Form::url:
      return value.find("://") != std::string_view::npos && value.find("://") > 0;
    case Form::address:
      return isAddress(std::string(value));
  }
  return true;
}

/// Returns the word that `value`, without quotes and a trailing comment, is probably meant to be.
std::string_view nearestWord(const Accepted& accepted, std::string_view value) {
  const std::size_t begin = value.find_first_not_of(" \t\r\"'");
  if (begin == std::string_view::npos) return {};
  value.remove_prefix(begin);
  value = value.substr(0, value.find_first_of(" \t\r\"';#"));
  return nearest(value, accepted.words);
}

std::string suggestionFor(const Accepted& accepted, std::string_view value) {
  if (accepted.form == Form::word) return std::string(nearestWord(accepted, value));
  if (accepted.form != Form::wordList) return {};
  std::string text;
  for (const std::string_view piece : pieces(value)) {
    const std::string_view word = nearestWord(accepted, piece);
    if (word.empty()) return {};
    text += (text.empty() ? "" : ",") + std::string(word);
  }
  return text;
}

Verdict unknownKey(std::string reason, std::string_view suggestion) {
  return {Verdict::Result::unknownKey, std::move(reason), std::string(suggestion)};
}

/// Returns the key that `key` is probably meant to be, among all parameters of the branch it names.
std::string nearestKey(std::string_view key) {
  std::string branch(kGlobalBranch);
  const std::size_t last = key.rfind('/');
  if (last != std::string_view::npos && last > 0) {
    const std::size_t before = key.rfind('/', last - 1);
    if (before != std::string_view::npos && before + 1 < last)
      branch = key.substr(before + 1, last - before - 1);
  }
  std::vector<std::string> keys;
  for (const Item* item : itemsOf(Kind::storeKey))
    keys.push_back(storeKey(item->parent, branch, item->name));
  const std::vector<std::string_view> views(keys.begin(), keys.end());
  return std::string(nearest(key, views));
}

}  // namespace

std::string Verdict::message() const {
  if (accepted()) return {};
  return suggestion.empty() ? reason : reason + "; did you mean " + suggestion + "?";
}

std::string describe(const Accepted& accepted) {
  switch (accepted.form) {
    case Form::anything:
      return "any text";
    case Form::word:
      return joined(accepted.words, " or ");
    case Form::wordList:
      return "a comma-separated list of " + joined(accepted.words, " and ");
    case Form::directory:
      return "an absolute path of a directory";
    case Form::file:
      return "an absolute path of a file";
    case Form::pathPrefix:
      return "an absolute path";
    case Form::segment:
      return "a name without \"/\"";
    case Form::url:
      return "a URL with a scheme, such as file:///path";
    case Form::address:
      return "an IPv4 or IPv6 address";
  }
  return {};
}

std::string quotedWords(const Accepted& accepted) {
  if (accepted.words.empty()) return describe(accepted);
  std::vector<std::string> words;
  for (const std::string_view word : accepted.words) words.push_back(quoted(word));
  const std::vector<std::string_view> views(words.begin(), words.end());
  const bool list = accepted.form == Form::wordList;
  return (list ? "a comma-separated list of " : "") + joined(views, list ? " and " : " or ");
}

Verdict checkValue(const Accepted& accepted, std::string_view value) {
  if (isAccepted(accepted, value)) return {};
  return {Verdict::Result::refused, "takes " + describe(accepted), suggestionFor(accepted, value)};
}

Verdict checkStoreValue(std::string_view key, std::string_view value) {
  const std::optional<StoreKey> split = splitStoreKey(key);
  if (!split || split->branch.empty())
    return unknownKey("is not a setting of the library", nearestKey(key));
  const Item* const item = findItem(Kind::storeKey, split->parameter, split->tree);
  if (item == nullptr) return unknownKey("is not a setting of the library", nearestKey(key));
  return checkValue(item->accepted, value);
}

}  // namespace settings
