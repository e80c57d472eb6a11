#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

#include "settings/catalog.h"
#include "settings/facts.h"
#include "settings/file_state.h"
#include "settings/store_document.h"

// What the library answers according to the catalog, and why.

namespace settings {

/// One source of an answer, as found.
struct SourceState {
  std::string place;                 ///< a path, "store KEY", or a variable's name
  std::string state;                 ///< "readable; no section [IP]"
  std::optional<std::string> value;  ///< the raw value, if it has one
  bool decides = false;
  std::vector<Note> notes;  ///< near misses and other remarks
};

struct Explanation {
  const Answer* answer = nullptr;
  Json::Value value;      ///< true or false, a string, an array of strings; null if unknown
  std::string decidedBy;  ///< the deciding source, or why no source does
  std::vector<SourceState> sources;
};

/// Explains answers from facts, which must outlive it.
class Explainer {
 public:
  explicit Explainer(const Facts& facts);

  Explanation explain(const Answer& answer) const;

  const StoreDocument& document() const { return m_document; }

  /// The SSL option file that the library would write.
  struct SslFile {
    std::string text;
    std::string fault;   ///< why nothing can be written, "" if it can
    std::string remedy;  ///< for the fault
    std::string remark;  ///< why it will not do what is meant, "" if nothing is known
  };
  SslFile sslFile() const;

 private:
  class Source;

  Explanation listenSwitch(const Answer& answer) const;
  Explanation corbaSwitch(const Answer& answer) const;
  Explanation tsMode(const Answer& answer) const;
  Explanation distribution(const Answer& answer) const;
  Explanation databaseType(const Answer& answer) const;
  Explanation sslOption(const Answer& answer) const;
  Explanation searchedFile(const Answer& answer) const;
  Explanation directory(const Answer& answer) const;
  Explanation tracePath(const Answer& answer) const;
  Explanation lockDump(const Answer& answer) const;
  Explanation clusterNodes(const Answer& answer) const;
  Explanation unsafeWords(const Answer& answer) const;

  SourceState fileSource(const std::string& path) const;
  SourceState searchedSource(std::string_view name) const;
  SourceState iniSource(SourceState source, const FileFacts& file, const Item& key) const;
  SourceState storeSource(const Item& item, std::string_view branch) const;
  SourceState variableSource(std::string_view name) const;
  std::string siteSetting(const Item& item, std::string value, std::vector<SourceState>& sources,
                          std::string& decidedBy) const;
  void noteBranch(const Item& item, SourceState& source) const;
  const StoreReply* reply(const std::string& key) const;

  const Facts& m_facts;
  StoreDocument m_document;
};

}  // namespace settings
