// Files through stdio, with a fault seam for tests: once armed, the n-th
// counted call (open, seek, read, write, flush) fails as a broken disk would,
// and with `sticky` every call after it too. Disarmed, each call costs one
// well-predicted branch more than stdio.
#include "Qmencoding/QmCFile.h"

#include <errno.h>

namespace {

long callCount = 0;
long failAt = 0;  // 0: disarmed
bool failSticky = false;

// Counts one call; true when it is to fail.
bool injectFault() {
  ++callCount;
  if (failAt == 0) return false;
  if (callCount == failAt || (failSticky && callCount > failAt)) {
    errno = EIO;
    return true;
  }
  return false;
}

}  // namespace

FILE* QmCFileOpen(const char* name, const char* mode) {
  if (injectFault()) return nullptr;
  return fopen(name, mode);
}

int QmCFileClose(FILE* file) { return file != nullptr ? fclose(file) : 0; }

int QmCFileSeek(FILE* file, long offset) {
  if (injectFault()) return -1;
  return fseek(file, offset, SEEK_SET);
}

size_t QmCFileRead(void* buffer, size_t length, FILE* file) {
  if (injectFault()) return 0;
  return fread(buffer, 1, length, file);
}

size_t QmCFileWrite(const void* buffer, size_t length, FILE* file) {
  if (injectFault()) return 0;
  return fwrite(buffer, 1, length, file);
}

int QmCFileFlush(FILE* file) {
  if (injectFault()) return EOF;
  return fflush(file);
}

void QmCFileFailAfter(long n, bool sticky) {
  callCount = 0;
  failAt = n > 0 ? n : 0;
  failSticky = sticky;
}

long QmCFileCallCount() { return callCount; }
