#pragma once

#include <list>
#include <string>

class VexaIniReader {
 public:
  struct IniNode {
    std::string key;
    std::string value;
  };

  explicit VexaIniReader(const std::string& path);

  int initialize(bool flag);
  std::string getParamValue(const std::string& section, const std::string& key);
  int getParamList(const std::string& section, std::list<IniNode>& nodes);
};
