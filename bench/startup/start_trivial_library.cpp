#include "startup/trivial_library.h"
#include "startup/wait_for_input.h"

int main(int argc, char** /*argv*/) { return argc > 1 && !trivial().empty() ? waitForInput() : 0; }
