#include <ace/Thread_Mutex.h>

#include "startup/wait_for_input.h"

int main(int argc, char** /*argv*/) {
  ACE_Thread_Mutex mutex;
  mutex.acquire();
  mutex.release();
  return argc > 1 ? waitForInput() : 0;
}
