#ifndef ARGS_OPTIONS_H
#define ARGS_OPTIONS_H

#include <list>
#include <string>

#include "VexaExport.h"

/// @file
/// The reader of a program's command line.

/// A reader of a program's command line that scans the words `main` received on each query. Nothing
/// is declared beforehand, nothing is reported: an absent option gives false, "", an empty list
/// or 0.
///
/// An option word is one that begins with "-", be it "--", "-" or "-5"; any other word is a value.
/// The escape word "--" makes a value of the word behind it, whatever that begins with. Names are
/// given with their dashes and match whole words byte for byte; "-port=80" is a name of its own.
/// The program's name, index 0, is scanned like any other word.
///
/// For "prog -h host1 host2 -v -- -x -h host3":
///
///     getOption("-h")    ->  "host1"
///     getOption("-v")    ->  "-x"
///     getOptions("-h")   ->  "host1", "host2", "host3"
///     getFlags()         ->  "-h", "-v", "--", "-x", "-h"
///
/// Nothing is copied: the array must outlive the object and every entry below the count be a
/// string. A query that meets a null word throws `std::logic_error` ("basic_string::_M_construct
/// null not valid"). Threads: any, also on one object, while none changes the words.
class VEXA_EXPORT ArgsOptions {
 public:
  /// Keeps the count `argc` and the array `argv` as given. With a count below 1 there are no words,
  /// and the array may be null.
  ArgsOptions(int argc, char** argv);

  /// Tells whether some word equals `name`; words behind the first one that does are not looked at.
  bool hasOption(const std::string& name) const;

  /// Returns the value behind the first word equal to `name`: the next word, or the one behind
  /// "--". Returns "" when there is no such word, when it is the last one, and when an option word
  /// follows, be it a "--" at the end. Later repetitions are ignored. Here "--" hides nothing from
  /// the search: a word behind it may be found as the option.
  std::string getOption(const std::string& name) const;

  /// Returns, in order and with duplicates, the values behind every word equal to `name`. Each such
  /// word opens a run of values, which ends at the next option word other than `name`. Within a run
  /// "--" takes the word behind it into the run, even one equal to `name`; at the end of the line
  /// it ends the run.
  std::list<std::string> getOptions(const std::string& name) const;

  /// Returns every option word in order, "--" and repeated ones included.
  std::list<std::string> getFlags() const;

  /// Returns the number of option words, those that `getFlags` returns.
  int numberOfOptions() const;

  /// Returns the count given to the constructor as it is, the program's name included.
  int numberOfargs() const;

 private:
  int m_argc;
  char** m_argv;
};

#endif
