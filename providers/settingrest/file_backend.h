#pragma once

#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <sys/stat.h>

#include "backend.h"
#include "document.h"

namespace settingrest {

/// Settings in a JSON file that is read again when it changes. A malformed document leaves the last
/// good one in use and is said once on standard error.
class FileBackend : public Backend {
 public:
  explicit FileBackend(std::string path);

  bool findValue(const std::string& key, std::string& value) override;
  bool findGroup(const std::string& group, std::map<std::string, std::string>& params) override;

 private:
  /// What tells one state of the file from another.
  struct Identity {
    dev_t device;
    ino_t inode;
    off_t size;
    std::timespec modified;

    explicit Identity(const struct stat& status);
    bool operator==(const Identity& other) const;
  };

  std::shared_ptr<const Document> current();
  std::shared_ptr<const Document> reload();
  void accept(const std::string& text);
  void reject(const std::string& text, const char* reason);

  const std::string m_path;
  std::mutex m_mutex;                          // guards what follows
  std::optional<Identity> m_identity;          // of the contents read last
  std::shared_ptr<const Document> m_document;  // the last good one
  std::optional<std::size_t> m_rejected;       // hash of the contents complained of last
};

}  // namespace settingrest
