/* A caller that has nothing but what was installed, on the registry of install_test.cmake: the log
 * tells that the start-up ran. */
#include <devprep/devprep.h>
#include <stdio.h>

int main(void) {
  uint16_t count = 9;
  const uint16_t passed = SetUpInitTapesvrConfig();
  const uint16_t counted = SetUpGetNoOfDevices(&count);
  printf("status %u and %u, %u devices\n", (unsigned)passed, (unsigned)counted, (unsigned)count);
  return 0;
}
