// File opening and closing of the text library, with a seam for tests.
//
// Every file the database opens goes through QmCFileOpen and QmCFileClose.
// Positioning, reading, writing, flushing, syncing, cutting, removing and
// locking go through the QmCFile* calls below, which are the plain system
// calls unless a test has armed a fault or installed a file layer of its own:
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
/// Flushes the stream and makes its content durable (fsync); 0 on success.
int QmCFileSync(FILE* file);
/// Flushes the stream and cuts (or extends) the file to `length` bytes; 0 on success.
int QmCFileTruncate(FILE* file, long length);
/// Asks the system to start writing `length` bytes at `offset` of the file to
/// the disk now, without waiting (what stdio still buffers is not included).
/// A hint that changes nothing a later sync must do, so that sync finds less
/// left to write; not counted, and skipped while a test layer or fault is in place.
void QmCFileStartWriteBack(FILE* file, long offset, long length);
/// The file's length in bytes, or -1 when it cannot be told. Not counted.
long QmCFileLength(FILE* file);
/// Removes the file `name`; 0 on success.
int QmCFileRemove(const char* name);
/// Makes the directory entries of the directory holding `name` durable (the
/// file's creation or removal survives a power cut); 0 on success.
int QmCFileSyncDirectory(const char* name);
/// Whether `name` exists. Not counted.
bool QmCFileExists(const char* name);
/// Maps the `length` bytes of `file` at `offset` (a multiple of the system's
/// page size) into memory that may only be read, all of it at once (writing
/// there is a fault, and nothing could reach the file). Null when those bytes
/// do not all lie in the file, when the system refuses, or while a test has
/// armed the fault seam or installed a layer: the caller then reads instead,
/// through the counted calls. Not counted. The mapping outlives the stream's
/// closing.
void* QmCFileMap(FILE* file, long offset, size_t length);
/// Unmaps what QmCFileMap gave; null is ignored.
void QmCFileUnmap(void* address, size_t length);

/// Kinds of advisory lock on a whole file.
enum QmCLockKind { QmCUnlocked = 0, QmCSharedLock = 1, QmCExclusiveLock = 2 };
/// Opens a descriptor that holds the advisory lock on `name` (creating an
/// empty file first when `create` is set); -1 on failure (errno tells why).
/// The lock belongs to the descriptor, so two openings in one process exclude
/// each other like two processes do.
int QmCFileLockOpen(const char* name, bool create);
/// Takes, changes or drops the lock of a descriptor from QmCFileLockOpen
/// without waiting; 0 on success, -1 when another holder conflicts (errno
/// EAGAIN) or the change is not possible. A failed change keeps the lock held.
int QmCFileLock(int descriptor, QmCLockKind kind);
/// Closes a descriptor from QmCFileLockOpen, dropping its lock; -1 is ignored.
void QmCFileLockClose(int descriptor);

/// Test seam: the `n`-th file call from now on (1 = the next) fails, and so does
/// every later one while `sticky` is set. 0 disarms. Counts opens, seeks, reads,
/// writes, flushes, syncs, truncations, removals and directory syncs, not
/// closing, lengths, existence tests or locks. The counter belongs to the
/// calling thread.
void QmCFileFailAfter(long n, bool sticky = false);
/// Test seam: the number of file calls this thread made since the last QmCFileFailAfter.
long QmCFileCallCount();

/// Test seam: a file layer that stands in for the system below every counted
/// call (the fault above still applies first). Each member behaves like the
/// QmCFile call of the same name.
struct QmCFileLayer {
  FILE* (*open)(const char* name, const char* mode);
  int (*close)(FILE* file);
  int (*seek)(FILE* file, long offset);
  size_t (*read)(void* buffer, size_t length, FILE* file);
  size_t (*write)(const void* buffer, size_t length, FILE* file);
  int (*flush)(FILE* file);
  int (*sync)(FILE* file);
  int (*truncate)(FILE* file, long length);
  int (*remove)(const char* name);
  int (*syncDirectory)(const char* name);
};
/// Installs `layer` for the calling thread (null: the system again); the
/// layer must outlive its use. Returns the layer it replaces.
const QmCFileLayer* QmCFileUseLayer(const QmCFileLayer* layer);
/// The system's own layer, for test layers that wrap it.
const QmCFileLayer* QmCFileSystemLayer();

#endif
