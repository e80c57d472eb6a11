#ifndef ARGS_OPTIONS_H
#define ARGS_OPTIONS_H

#include <list>
#include <string>

#include "VexaExport.h"

/// A reader of a program's command line that scans the words `main` received on each query. An
/// option is a word that begins with "-"; a value is a following word that does not, or any word
/// behind the escape word "--".
///
/// Nothing is copied: the array must outlive the object and every entry from 0 to count - 1 must
/// be a string. Names are given with their dashes and match whole words, case-sensitively; there
/// is no name=value form. Queries are read-only and may run in several threads at once. A null
/// word that a query meets raises `std::logic_error` ("basic_string::_M_construct null not
/// valid").
class VEXA_EXPORT ArgsOptions {
 public:
  /// Keeps the count and the array as given; index 0, the program's name, is scanned like any
  /// other word.
  ArgsOptions(int argc, char** argv);

  /// Tells whether some word equals `name`.
  bool hasOption(const std::string& name) const;

  /// Returns the value behind the first word equal to `name`: the next word, or the one behind a
  /// "--". "" when the option is absent, is the last word, or has another option behind it.
  std::string getOption(const std::string& name) const;

  /// Returns, in order, the values behind every word equal to `name`; a run of values ends at the
  /// next option word other than `name`.
  std::list<std::string> getOptions(const std::string& name) const;

  /// Returns every option word in order, "--" and repeated ones included.
  std::list<std::string> getFlags() const;

  /// Returns the number of option words, repeated ones counted each time.
  int numberOfOptions() const;

  /// Returns the word count given to the constructor, the program's name included.
  int numberOfargs() const;

 private:
  int m_argc;
  char** m_argv;
};

#endif
