#pragma once

#include <list>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "faults/engine.h"

// The table of operations: for each exported one, arguments, call and allowed results if something
// fails. The functions build it on a `Host`.

namespace commutil_faults {

struct TourPart {
  const char* name;
  Tour (*make)();
};
inline void PrintTo(const TourPart& part, std::ostream* out) { *out << part.name; }

Tour environmentTour();
Tour settingsTour();
Tour stringsTour();
Tour charsetTour();
Tour databaseTour();
Tour addressesTour();
Tour hostsTour();
Tour interfacesTour();
Tour commandsTour();
Tour usersTour();
Tour filesTour();
Tour syncTour();
Tour wideReaderTour();
Tour wideWriterTour();
Tour wideFileTour();
Tour widePrintTour();

const std::vector<TourPart>& tourParts();

// Results as strings: strings between quotes, a long one by its size and the sum of its bytes.

/// Returns the string in an array, up to its first NUL.
template <class Character>
std::basic_string<Character> upToNul(const std::basic_string<Character>& array) {
  return array.substr(0, array.find(Character{}));
}

std::string shown(const std::string& text);
std::string shown(const std::wstring& text);
inline std::string shown(const char* text) {
  return text == nullptr ? "null" : shown(std::string(text));
}
inline std::string shown(bool value) { return value ? "true" : "false"; }
template <class Number>
requires std::is_arithmetic_v<Number> std::string shown(Number value) {
  std::ostringstream text;
  text << +value;
  return text.str();
}
inline std::string shown(const std::pair<const std::string, std::string>& pair) {
  return shown(pair.first) + ":" + shown(pair.second);
}
template <class Container>
requires requires(const Container& all) {
  all.begin()->begin();
} || requires(const Container& all) {
  all.begin()->first;
}
std::string shown(const Container& all) {
  std::string text = "[";
  for (const auto& one : all) text += (text.size() > 1 ? " " : "") + shown(one);
  return text + "]";
}

template <class... Values>
std::string show(const Values&... values) {
  std::string text;
  ((text += (text.empty() ? "" : " ") + shown(values)), ...);
  return text;
}

/// Returns what has been printed since the last call, for operations that print.
std::string takePrinted();

}  // namespace commutil_faults
