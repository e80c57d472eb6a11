#include <VexaCommonUtils.h>
#include <VexaStringUtils.h>

#include <iostream>

int main() {
  std::cout << "Traces go to " << VexaCommonUtils::getTracePath() << '\n'
            << ToUpper("name") << " like '%" << VexaCommonUtils::transDBSearchString("100%_sure")
            << "%'" << VexaCommonUtils::getEscapeString() << '\n';
}
