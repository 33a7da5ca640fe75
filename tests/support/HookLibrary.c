/* Destroy procedures for the hook tests: each records the data it was called with
 * in the file named by the environment variable QMDB_HOOK_LOG, one line a call. */
#include <stdio.h>
#include <stdlib.h>

static void logCall(const char* procedure, void* data) {
  const char* path = getenv("QMDB_HOOK_LOG");
  if (path == NULL) return;
  FILE* log = fopen(path, "a");
  if (log == NULL) return;
  fprintf(log, "%s %s\n", procedure, (const char*)data);
  fclose(log);
}

void destroyText(void* data) { logCall("destroyText", data); }
void destroyOther(void* data) { logCall("destroyOther", data); }
