/* A caller that has nothing but what was installed. */
#include <devprep/devprep.h>
#include <stdio.h>

int main(void) {
  uint16_t count = 9;
  const uint16_t status = SetUpGetNoOfDevices(&count);
  printf("status %u, %u devices\n", (unsigned)status, (unsigned)count);
  return status == DEVPREP_OK && count == 0 ? 0 : 1;
}
