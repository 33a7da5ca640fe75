// Files through stdio, with a fault seam for tests.
//
// Once armed with QmCFileFailAfter(n), the n-th counted call (open, seek,
// read, write, flush) fails as it would on a broken disk, without touching
// the file, and with `sticky` every call after it fails too. Closing is never
// counted or failed, so a test can always release what it opened. Calls are
// counted whether or not the seam is armed; disarmed, each call costs one
// well-predicted branch more than stdio. The counters are process-wide and
// unsynchronised: the seam is for single-threaded tests.
#include "Qmencoding/QmCFile.h"

#include <errno.h>
#include <stdio_ext.h>

namespace {

long callCount = 0;
long failAt = 0;  // 0: disarmed
bool failSticky = false;

// Counts one call; true when it is to fail (errno is then EIO).
inline bool injectFault() {
  ++callCount;
  if (__builtin_expect(failAt == 0, 1)) return false;
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

int QmCFileClose(FILE* file) {
  return file != nullptr ? fclose(file) : 0;
}

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
  if (injectFault()) {
    // As on a broken disk, what was buffered never arrives.
    __fpurge(file);
    return EOF;
  }
  return fflush(file);
}

void QmCFileFailAfter(long n, bool sticky) {
  callCount = 0;
  failAt = n > 0 ? n : 0;
  failSticky = failAt != 0 && sticky;
}

long QmCFileCallCount() {
  return callCount;
}
