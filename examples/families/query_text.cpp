// Composes SQL by hand from untrusted strings, for an Oracle database.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <iostream>

#include "scratch.h"

int main() {
  const Scratch scratch;
  const std::string file =
      scratch.write("service.json", R"({"databases": {"main": [{"type": "oracle"}]}})");
  ::setenv("APP_CONF_FILE", file.c_str(), 1);

  const std::string name = "100%_o'clock";

  // A literal: doubled quotes, between our own quotes.
  std::cout << "update node set name = '" << VexaCommonUtils::transDBUpdateString(name) << "'\n";

  // A whole LIKE operand with its clause, and wildcards on both sides.
  std::cout << "select * from node where name like "
            << VexaCommonUtils_i::TransferLikeSql(name, Vexacommon::FUZZY_QUERY_BOTH) << '\n';

  // The same composed by hand, for a pattern with a wildcard in the middle.
  const auto part = [](const std::string& text) {
    return VexaCommonUtils::transDBSearchString(VexaCommonUtils::transDBUpdateString(text));
  };
  std::cout << "select * from node where name like '" << part("50%") << "%" << part("_x") << "'"
            << VexaCommonUtils::getEscapeString() << '\n';
}
