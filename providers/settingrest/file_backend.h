#pragma once

#include <memory>
#include <optional>
#include <string>

#include "backend.h"
#include "document.h"
#include "file_identity.h"
#include "published.h"

namespace settingrest {

/// Settings in a JSON file that is read again when it changes. A malformed document leaves the last
/// good one in use and is reported once.
class FileBackend : public Backend {
 public:
  explicit FileBackend(std::string path);

  Answer findValue(const std::string& key, std::string& value) override;
  Answer findGroup(const std::string& group, std::map<std::string, std::string>& params) override;

 private:
  using DocumentPointer = std::shared_ptr<const Document>;

  /// What was read last.
  struct Contents {
    std::optional<FileIdentity> identity;
    DocumentPointer document;             // the last good one
    std::optional<std::size_t> rejected;  // hash of the text reported last
  };

  /// The document for one lookup: a published one, or one that only this lookup has read.
  struct Reading {
    Published<Contents>::Pin pin;
    DocumentPointer own;

    const Document* document() const {
      return own ? own.get() : pin ? pin->document.get() : nullptr;
    }
  };

  Reading current();
  Reading reload(Published<Contents>::Pin last);
  void report(const std::string& reason, bool hasDocument) const;

  const std::string m_path;
  OwnedPublished<Contents> m_contents;
};

}  // namespace settingrest
