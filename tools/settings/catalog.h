#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The catalog of everything the library reads and writes: items (variables, files, keys, members,
// settings) and answers with their sources. Every message, page and completion about configuration
// comes from these tables. They are built on first use and never change.

namespace settings {

enum class Kind {
  variable,       ///< an environment variable
  file,           ///< a configuration file
  iniKey,         ///< a key of an INI file
  jsonMember,     ///< a member of a JSON file
  line,           ///< a line of a text file
  storeKey,       ///< a parameter of a tree of the settings store
  sharedLibrary,  ///< a library loaded at run time
  program,        ///< a program that the library runs
  written,        ///< a file that the library writes
};

enum class Form {
  anything,
  word,        ///< one of `Accepted::words`
  wordList,    ///< one or more of `Accepted::words`, comma-separated
  directory,   ///< an absolute path of a directory
  file,        ///< an absolute path of a regular file
  pathPrefix,  ///< an absolute path to which the library appends
  segment,     ///< one segment of a path: not empty, no "/"
  url,         ///< the address of a settings document
  address,     ///< an IPv4 or IPv6 address
};

/// The values that an item accepts.
struct Accepted {
  Form form = Form::anything;
  std::vector<std::string_view> words;  ///< for `word` and `wordList`
};

enum class Caching {
  perCall,   ///< a change applies to the next call
  cached,    ///< the first result is cached until the process ends
  external,  ///< decided outside the library, see `Item::when`
};

/// How the path of a file is composed.
enum class Location {
  none,           ///< not a file
  search,         ///< "conf/" + name in the first directory tree that has it
  belowVariable,  ///< the value of a variable + a fixed rest
  inVariable,     ///< the value of a variable
  fixed,          ///< a fixed path
};

enum class Format { none, ini, json, text };

/// One thing that the library reads or writes.
struct Item {
  Kind kind;
  std::string_view name;           ///< variable, file, key, path of members, or parameter
  std::string_view parent = {};    ///< the file of a key or member, the tree of a parameter, or ""
  std::string_view section = {};   ///< of an INI key, with brackets, or ""
  std::string_view meaning = {};   ///< a phrase without a final period
  std::string_view missing = {};   ///< what happens without it, a phrase
  std::string_view fallback = {};  ///< the value that applies without it, "" if there is none
  Accepted accepted = {};
  std::vector<std::string_view> readers = {};  ///< names of operations
  Caching caching = Caching::perCall;
  std::string_view when = {};  ///< when it is read, a phrase

  // Of files:
  Location location = Location::none;
  Format format = Format::none;
  std::string_view variable = {};  ///< of `belowVariable` and `inVariable`
  std::string_view rest = {};      ///< what follows the variable's value, or the fixed path
};

/// What decides an answer, in order of precedence. Refers to an item by its kind and names.
struct SourceRef {
  Kind kind;
  std::string_view name;
  std::string_view parent;
  std::string_view section;
};

enum class AnswerKind { onOff, path, option, text, list };

/// One answer of the library: a switch, a path, an SSL option, the database type or a list.
struct Answer {
  std::string_view name;       ///< the operation or option, such as "isListenAllIp"
  std::string_view parameter;  ///< the setting's own name, such as "ListenAllIp", or ""
  AnswerKind kind;
  std::string_view meaning;
  std::vector<SourceRef> sources;  ///< the first that has a value decides
  Caching caching;
};

/// A tree of the settings store. Keys are `path` + branch + "/" + parameter; the branches are the
/// value of APP_NAME, then `kGlobalBranch`.
struct Tree {
  std::string_view path;  ///< begins and ends with "/"
  std::string_view meaning;
};

inline constexpr std::string_view kGlobalBranch = "global";

/// The variables whose "conf" directories are searched for configuration files, in order.
const std::vector<std::string_view>& searchVariables();

/// Every item, in the order in which pages list them.
const std::vector<Item>& items();

/// Every answer, in the order in which `explain` lists them.
const std::vector<Answer>& answers();

/// The trees of the settings store.
const std::vector<Tree>& trees();

/// Returns the items of `kind`.
std::vector<const Item*> itemsOf(Kind kind);

/// Returns the item, null if there is none. `parent` and `section` are "" where an item has none.
const Item* findItem(Kind kind, std::string_view name, std::string_view parent = {},
                     std::string_view section = {});
const Item* findItem(const SourceRef& source);

/// Returns the answer whose name or parameter is `name`, null if there is none.
const Answer* findAnswer(std::string_view name);

/// Returns the answer name or parameter that `name` is probably meant to be, "" if none is near.
std::string_view suggestAnswer(std::string_view name);

/// A key of the store, split: "/vexa/common/setting_cfg/" "inventory" "ListenAllIp".
struct StoreKey {
  std::string tree;
  std::string branch;
  std::string parameter;
};

/// Returns the key of `parameter` in `branch` of `tree`.
std::string storeKey(std::string_view tree, std::string_view branch, std::string_view parameter);

/// Splits `key`, which may lack its first "/"; nothing if it is not below a tree of the catalog or
/// has not exactly a branch and a parameter.
std::optional<StoreKey> splitStoreKey(std::string_view key);

}  // namespace settings
