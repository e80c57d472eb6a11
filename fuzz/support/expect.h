#pragma once

#include <string>
#include <string_view>
#include <type_traits>

// Properties that hold for every input. A violation ends the process with a message, which
// libFuzzer reports as a finding. After a failed allocation it only ends the run: what operations
// return then, tests/faults/ checks, and only the sanitizers judge here.

namespace commutil_fuzz {

/// Thrown for a violation after a failed allocation.
struct Unjudged {};

/// Ends the process with a message on standard error.
[[noreturn]] void fail(const std::string& message);

/// Returns a string between double quotes, unprintable bytes as \xNN.
std::string quoted(std::string_view text);
std::string quoted(std::wstring_view text);

/// Prints a value for a message; a range by its elements.
template <class T>
std::string shown(const T& value) {
  if constexpr (std::is_convertible_v<const T&, std::string_view>) {
    return quoted(std::string_view(value));
  } else if constexpr (std::is_convertible_v<const T&, std::wstring_view>) {
    return quoted(std::wstring_view(value));
  } else if constexpr (std::is_arithmetic_v<T>) {
    return std::to_string(value);
  } else {
    std::string text = "{";
    for (const auto& element : value) text.append(" ").append(shown(element));
    return text + " }";
  }
}

inline void expect(bool holds, const char* property) {
  if (!holds) fail(property);
}

template <class Actual, class Expected>
void expectEqual(const Actual& actual, const Expected& expected, const char* property) {
  if (actual == expected) return;
  fail(std::string(property) + "\n  actual:   " + shown(actual) +
       "\n  expected: " + shown(expected));
}

}  // namespace commutil_fuzz
