#ifndef ARGS_OPTIONS_H
#define ARGS_OPTIONS_H

#include <list>
#include <string>

#include "VexaExport.h"

/// @file
/// The reader of a program's command line.

/// A reader of the command line that `main` received. Every query scans the words anew.
///
/// An option word begins with "-"; any other word is a value. The escape word "--" makes the next
/// word a value. Names include their dashes and match whole words, byte for byte.
///
/// For "prog -h host1 host2 -v -- -x -h host3":
///
///     getOption("-h")    ->  "host1"
///     getOption("-v")    ->  "-x"
///     getOptions("-h")   ->  "host1", "host2", "host3"
///     getFlags()         ->  "-h", "-v", "--", "-x", "-h"
///
/// The array is not copied and must outlive the object. Thread-safe unless the words change.
/// @sharp{options} Queries scan the program's name too, know no "name=value" and take "-" and "-5"
/// for options. @instead Put "--" before such values.
/// @sharp{options} A query that meets a null word throws `std::logic_error`
/// ("basic_string::_M_construct null not valid"). @instead Pass `argc` and `argv` as `main`
/// received them.
class VEXA_EXPORT ArgsOptions {
 public:
  /// Stores `argc` and `argv`. If `argc` is below 1 there are no words, and `argv` may be null.
  ArgsOptions(int argc, char** argv);

  /// Returns whether a word equals `name`; stops at the first one that does.
  bool hasOption(const std::string& name) const;

  /// Returns the value after the first word equal to `name`: the next word, or the one after "--".
  /// @return the value; "" if no word but the last equals `name`, or if an option word follows, a
  ///         "--" at the end included
  /// @sharp{options} Ignores a last word and repetitions, and finds an option after "--" too.
  /// @instead Use `ArgsOptions::hasOption` for flags, `ArgsOptions::getOptions` for lists.
  std::string getOption(const std::string& name) const;

  /// Returns the values after all words equal to `name`, in order, duplicates included.
  ///
  /// Each such word starts a run of values that ends at the next option word other than `name`. In
  /// a run "--" adds the next word, even one equal to `name`; as the last word it adds nothing.
  std::list<std::string> getOptions(const std::string& name) const;

  /// Returns every option word in order, "--" and duplicates included.
  std::list<std::string> getFlags() const;

  /// Returns the number of words that `getFlags` returns.
  int numberOfOptions() const;

  /// Returns the constructor's `argc` unchanged.
  int numberOfargs() const;

 private:
  int m_argc;
  char** m_argv;
};

#endif
