#include <string>

#include "startup/wait_for_input.h"

int main(int argc, char** argv) {
  const std::string name = argv[0];
  return argc > 1 && !name.empty() ? waitForInput() : 0;
}
