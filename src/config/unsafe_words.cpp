#include <string.h>

#include <algorithm>
#include <list>
#include <string>
#include <string_view>

#include "VexaCommonUtils_i.h"
#include "os/standard_streams.h"
#include "platform/ini_reader.h"

namespace {

bool contains(std::string_view text, std::string_view word) {
  return ::memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
}

}  // namespace

bool VexaCommonUtils_i::checkUnSafeStr(const std::string& text) {
  if (text.empty()) return true;
  const std::string path = getConfFile("secure.cfg");
  VexaIniReader list(path);
  if (list.initialize(false) != 0) {
    commutil::printErrorLine("file open fail, " + path);
    return true;  // by contract: a missing file accepts every string
  }
  std::list<VexaIniReader::IniNode> words;
  list.getParamList("[UnsafeWord]", words);
  return std::none_of(words.begin(), words.end(), [&text](const VexaIniReader::IniNode& word) {
    return !word.value.empty() && contains(text, word.value);
  });
}
