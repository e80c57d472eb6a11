#include "VexaCommonUtils.h"
#include "startup/wait_for_input.h"

int main(int argc, char** /*argv*/) {
  const bool hasPath = !VexaCommonUtils::Vexagetenv("PATH").empty();
  return argc > 1 && hasPath ? waitForInput() : 0;
}
