#pragma once

#include <sys/types.h>

#include <chrono>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What was observed on a host. Explanations use only these facts and touch nothing themselves.

namespace settings {

/// The variables that are set.
using Environment = std::map<std::string, std::string, std::less<>>;

/// Name or number of the user whose permissions this process has.
std::string currentUser();

/// The environment of this process.
Environment currentEnvironment();

/// Returns the value of a variable, "" if it is not set.
std::string valueOf(const Environment& environment, std::string_view name);

enum class FileType { missing, regular, directory, fifo, socket, device, nullDevice };

/// Text of larger files is not read.
inline constexpr std::uintmax_t kLargestText = std::uintmax_t{64} * 1024 * 1024;

/// A file as one user sees it.
struct FileFacts {
  std::string path;
  FileType type = FileType::missing;
  bool dangling = false;  ///< `path` is a link that leads nowhere
  int error = 0;          ///< errno of the step that failed: finding, opening or reading
  bool readable = false;
  bool writable = false;
  bool executable = false;  ///< for directories: searchable
  mode_t mode = 0;
  std::string owner;  ///< name or number
  std::uintmax_t size = 0;
  std::time_t modified = 0;
  std::string realPath;  ///< without links
  std::string text;      ///< of a readable regular file up to `kLargestText`
  std::string fault;     ///< why there are no facts: "no answer within 2 s"

  bool exists() const { return type != FileType::missing; }
  bool isLarge() const { return type == FileType::regular && size > kLargestText; }
};

/// Examines the file at `path`. `root` is a descriptor of the root directory in which paths are
/// resolved, -1 for this process's own. Blocks as long as the file system does. Not thread-safe.
FileFacts examine(const std::string& path, int root = -1);

std::string packed(const FileFacts& facts);
FileFacts unpackedFile(std::string_view bytes);

/// The store's reply to a lookup.
struct StoreReply {
  int code = -1;                       ///< 0 for success
  std::optional<std::string> written;  ///< the value that it wrote; nothing if it wrote none
  std::string fault;                   ///< why there is no reply: "no answer within 2 s"
  bool asked = true;                   ///< if not, `fault` says why
  std::chrono::microseconds duration{0};
};

std::string packed(const StoreReply& reply);
StoreReply unpackedReply(std::string_view bytes);

/// The library that serves the store.
struct StoreLibrary {
  bool loaded = false;
  std::string path;      ///< as the loader found it
  std::string realPath;  ///< without links
  bool isReference = false;
  std::vector<std::string> missingSymbols;
  std::string error;  ///< the dynamic linker's message
  std::string fault;  ///< why nothing is known: "no answer within 2 s"
};

std::string packed(const StoreLibrary& library);
StoreLibrary unpackedLibrary(std::string_view bytes);

struct Facts {
  Environment environment;
  std::string user;  ///< name or number
  bool isRoot = false;
  std::map<std::string, FileFacts, std::less<>> files;     ///< by path
  std::map<std::string, StoreReply, std::less<>> replies;  ///< by key
  StoreLibrary library;
  std::string storeNotAsked;  ///< why the store was not read, such as "other root"; "" if it was

  /// Returns the facts of `path`; a file that was not examined counts as missing.
  const FileFacts& file(std::string_view path) const;
  std::string variable(std::string_view name) const { return valueOf(environment, name); }
  bool isSet(std::string_view name) const { return environment.count(name) != 0; }
};

/// Returns every path that answers may depend on in `environment`.
std::vector<std::string> pathsToExamine(const Environment& environment);

/// Returns every store key that answers may depend on in `environment`.
std::vector<std::string> keysToAsk(const Environment& environment);

}  // namespace settings
