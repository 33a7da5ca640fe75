// File opening and closing of the text library, with a seam for tests.
//
// Every file the database opens goes through QmCFileOpen and QmCFileClose.
// Positioning, reading, writing and flushing go through the QmCFile* calls
// below, which are the standard stdio calls unless a test has armed a fault:
// then the n-th such call (counted from the arming) fails as the real call
// would fail on a broken disk.
#ifndef QMENCODING_QMCFILE_H
#define QMENCODING_QMCFILE_H

#include <cstddef>
#include <cstdio>

/// Opens `name` with the stdio `mode`; null on failure.
FILE* QmCFileOpen(const char* name, const char* mode);
/// Closes a stream from QmCFileOpen; null is ignored. Returns fclose's result.
int QmCFileClose(FILE* file);
/// fseek with SEEK_SET; 0 on success.
int QmCFileSeek(FILE* file, long offset);
/// fread of one block; the number of bytes read.
size_t QmCFileRead(void* buffer, size_t length, FILE* file);
/// fwrite of one block; the number of bytes written.
size_t QmCFileWrite(const void* buffer, size_t length, FILE* file);
/// fflush; 0 on success.
int QmCFileFlush(FILE* file);

/// Test seam: the `n`-th file call from now on (1 = the next) fails, and so does
/// every later one while `sticky` is set. 0 disarms. Counts opens, seeks, reads,
/// writes and flushes.
void QmCFileFailAfter(long n, bool sticky = false);
/// Test seam: the number of file calls made since the last QmCFileFailAfter.
long QmCFileCallCount();

#endif
