/* A C program that lets the library's allocations fail, one after the other: whichever it is, the
 * program lives on, the registry is the old or the new one as the status says, and the next call
 * works. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "devprep/devprep.h"

static long until_failure = 0; /* 0: none fails */

static int Fails(void) { return until_failure > 0 && --until_failure == 0; }

/* In the place of the C library's own, for the library too. */
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* malloc(size_t size) { return Fails() ? NULL : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return Fails() ? NULL : __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) { return Fails() ? NULL : __libc_realloc(memory, size); }

#define ENGINE "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Tamberline\\Vaultkeep\\Base\\TapeEngine"
#define PORT "[HKEY_LOCAL_MACHINE\\HARDWARE\\DEVICEMAP\\Scsi\\Scsi Port 0"
#define UNIT PORT "\\Scsi Bus 0\\Target Id "
static const char kRegistry[] =
    "REGEDIT4\n" ENGINE
    "\\DEVICE0]\n\"Info\"=\"board-0,bus-0,scsiid-7,lun-0,type-5,ACME\"\n"
    "\"SerialNumber\"=hex:53,31\n" ENGINE "\\GROUP0]\n\"A\"=\"TAPE_GROUP,0\"\n" ENGINE
    "\\RAID0]\n\"Info\"=\"(0,0,7,0)\"\n" ENGINE "\\RAID1]\n\"Info\"=\"\"\n";
static const char kMachine[] =
    "REGEDIT4\n" PORT "]\n\"Driver\"=\"sas\"\n" UNIT
    "1\\Logical Unit Id 0]\n"
    "\"Identifier\"=\"ACME    CHANGER\"\n\"Type\"=\"MediumChangerPeripheral\"\n" UNIT
    "2\\Logical Unit Id 0]\n\"Identifier\"=\"ACME    DRIVE\"\n\"Type\"=\"TapePeripheral\"\n"
    "\"UnitSerialNumberPage\"=hex:01,80,00,02,53,31\n";

static void Write(const char* path, const char* text) {
  FILE* file = fopen(path, "w");
  if (file == NULL || fputs(text, file) < 0 || fclose(file) != 0) exit(2);
}

static void Read(char* text, size_t size) {
  FILE* file = fopen("registry.reg", "r");
  if (file == NULL) exit(2);
  text[fread(text, 1, size - 1, file)] = '\0';
  fclose(file);
}

/* Each gives the status of its last call. */
static unsigned Call(void* library, int scenario) {
  DeviceInfo device = {0};
  DeviceInfo untouched = {0};
  unsigned status = 0;
  switch (scenario) {
    case 0:
      return ((uint16_t(*)(void))dlsym(library, "SetUpInitTapesvrConfig"))();
    case 1:
      status =
          ((uint16_t(*)(uint16_t, DeviceInfo*))dlsym(library, "SetUpGetDeviceInfo"))(0, &device);
      return status != 0 && memcmp(&device, &untouched, sizeof device) != 0 ? 1 : status;
    default:
      return ((uint16_t(*)(uint16_t, uint16_t, uint8_t))dlsym(
          library, "RaidSetUpAssignDeviceToRaid"))(1, 0, 0);
  }
}

/* In a process of its own. Returns 0 when all is as it should be, 3 when so and no allocation was
 * left that could fail. */
static int Try(const char* path, int scenario, long nth, const char* before, char* after) {
  static char left[4096];
  void* library = dlopen(path, RTLD_NOW); /* the loader itself gives up without memory */
  if (library == NULL) return 1;
  until_failure = nth;
  const unsigned status = Call(library, scenario);
  const int none_failed = until_failure > 0; /* fewer than nth were made */
  until_failure = 0;
  Read(left, sizeof left);
  const int is_old = strcmp(left, before) == 0;
  const int is_new = strcmp(left, after) == 0;
  if (status != 0 && status != 65535) return 1;
  if (status != 0 ? !is_old : !is_new && (scenario != 0 || !is_old)) return 1;
  if (none_failed && !is_new) return 1;
  if (((uint16_t(*)(uint16_t, uint16_t))dlsym(library, "RaidSetUpSetRaidLevel"))(1, 0x1234) != 0) {
    return 1;
  }
  Read(left, sizeof left);
  return strstr(left, "\"Level\"=dword:00001234\n") == NULL ? 1 : none_failed ? 3 : 0;
}

int main(int argc, char** argv) {
  static char after[4096];
  char folder[] = "/tmp/devprep-memory-XXXXXX";
  char path[4096];
  if (argc != 2 || realpath(argv[1], path) == NULL || mkdtemp(folder) == NULL) return 2;
  if (chdir(folder) != 0) return 2;
  setenv("DEVPREP_REGISTRY", "registry.reg", 1);
  setenv("DEVPREP_HARDWARE", "machine.reg", 1);
  Write("machine.reg", kMachine);
  for (int scenario = 0; scenario < 3; ++scenario) {
    /* What a run without failures makes of it. */
    Write("registry.reg", kRegistry);
    pid_t child = fork();
    if (child == 0) _exit(Call(dlopen(path, RTLD_NOW), scenario) == 0 ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) return 1;
    Read(after, sizeof after);
    for (long nth = 1; WEXITSTATUS(status) != 3; ++nth) {
      Write("registry.reg", kRegistry);
      child = fork();
      if (child == 0) _exit(Try(path, scenario, nth, kRegistry, after));
      waitpid(child, &status, 0);
      if (!WIFEXITED(status) || (WEXITSTATUS(status) != 0 && WEXITSTATUS(status) != 3)) {
        printf("scenario %d, allocation %ld: status %#x\n", scenario, nth, (unsigned)status);
        return 1;
      }
      if (WEXITSTATUS(status) == 3) printf("scenario %d: %ld allocations\n", scenario, nth - 1);
    }
  }
  char command[64];
  snprintf(command, sizeof command, "rm -r %s", folder);
  return system(command) == 0 ? 0 : 2;
}
