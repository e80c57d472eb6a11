#include "ArgsOptions.h"

#include <cstring>
#include <stdexcept>

namespace {

/// Returns `word`; throws std::logic_error if null, with a fixed message because standard libraries
/// differ.
const char* checked(const char* word) {
  if (word == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  return word;
}

bool equals(const char* word, const std::string& name) {
  // Most arguments differ in the first byte; a name that contains a NUL equals none.
  return *checked(word) == *name.c_str() && std::strcmp(word, name.c_str()) == 0 &&
         std::strlen(word) == name.size();
}

bool isOption(const char* word) { return *checked(word) == '-'; }

bool isEscape(const char* word) { return std::strcmp(checked(word), "--") == 0; }

}  // namespace

ArgsOptions::ArgsOptions(int argc, char** argv) : m_argc(argc), m_argv(argv) {}

bool ArgsOptions::hasOption(const std::string& name) const {
  for (int i = 0; i < m_argc; ++i) {
    if (equals(m_argv[i], name)) return true;
  }
  return false;
}

std::string ArgsOptions::getOption(const std::string& name) const {
  for (int i = 0; i + 1 < m_argc; ++i) {
    if (!equals(m_argv[i], name)) continue;
    if (isEscape(m_argv[i + 1]) && i + 2 < m_argc) return checked(m_argv[i + 2]);
    if (isOption(m_argv[i + 1])) return {};
    return m_argv[i + 1];
  }
  return {};
}

std::list<std::string> ArgsOptions::getOptions(const std::string& name) const {
  std::list<std::string> values;
  bool collecting = false;
  for (int i = 0; i < m_argc; ++i) {
    const char* const word = m_argv[i];
    if (equals(word, name)) {
      collecting = true;
    } else if (collecting && isEscape(word) && i + 1 < m_argc) {
      values.emplace_back(checked(m_argv[++i]));
    } else if (collecting && isOption(word)) {
      collecting = false;
    } else if (collecting) {
      values.emplace_back(word);
    }
  }
  return values;
}

std::list<std::string> ArgsOptions::getFlags() const {
  std::list<std::string> flags;
  for (int i = 0; i < m_argc; ++i) {
    if (isOption(m_argv[i])) flags.emplace_back(m_argv[i]);
  }
  return flags;
}

int ArgsOptions::numberOfOptions() const {
  int count = 0;
  for (int i = 0; i < m_argc; ++i) {
    if (isOption(m_argv[i])) ++count;
  }
  return count;
}

int ArgsOptions::numberOfargs() const { return m_argc; }
