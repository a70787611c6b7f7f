/* Loaded ahead of the C library, lets one allocation of a program fail: the nth, by the environment
 * variable FAIL_ALLOCATION. Into the file that COUNT_ALLOCATIONS names it writes how many there
 * were. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
static long seen, fail_at = -1;
static int fails(void) {
  if (fail_at < 0) {
    const char* text = getenv("FAIL_ALLOCATION");
    fail_at = text ? atol(text) : 0;
  }
  return ++seen == fail_at;
}
void* malloc(size_t size) { return fails() ? NULL : __libc_malloc(size); }
void* calloc(size_t n, size_t size) { return fails() ? NULL : __libc_calloc(n, size); }
void* realloc(void* old, size_t size) { return fails() ? NULL : __libc_realloc(old, size); }
__attribute__((destructor)) static void tell(void) {
  const char* name = getenv("COUNT_ALLOCATIONS");
  FILE* file = name ? fopen(name, "w") : NULL;
  if (file) {
    fprintf(file, "%ld", seen);
    fclose(file);
  }
}
