// Files through stdio and POSIX, with a fault seam and a replaceable layer for tests.
//
// Once armed with QmCFileFailAfter(n), the n-th counted call fails as it
// would on a broken disk, without touching the file, and with `sticky` every
// call after it fails too. Closing is never counted or failed, so a test can
// always release what it opened. Calls are counted whether or not the seam is
// armed; disarmed, each call costs one well-predicted branch more than the
// system call. The counter, the trigger and the installed layer are
// thread-local: databases used from different threads do not share them.
#include "Qmencoding/QmCFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>

namespace {

thread_local long callCount = 0;
thread_local long failAt = 0;  // 0: disarmed
thread_local bool failSticky = false;

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

// --- the system's layer ---

FILE* systemOpen(const char* name, const char* mode) {
  return fopen(name, mode);
}

int systemClose(FILE* file) {
  return fclose(file);
}

int systemSeek(FILE* file, long offset) {
  return fseek(file, offset, SEEK_SET);
}

size_t systemRead(void* buffer, size_t length, FILE* file) {
  return fread(buffer, 1, length, file);
}

size_t systemWrite(const void* buffer, size_t length, FILE* file) {
  return fwrite(buffer, 1, length, file);
}

int systemFlush(FILE* file) {
  return fflush(file);
}

int systemSync(FILE* file) {
  return fflush(file) == 0 && fsync(fileno(file)) == 0 ? 0 : -1;
}

int systemTruncate(FILE* file, long length) {
  return fflush(file) == 0 && ftruncate(fileno(file), length) == 0 ? 0 : -1;
}

int systemRemove(const char* name) {
  return unlink(name);
}

// Allocates nothing: saves call it after their point of no return.
int systemSyncDirectory(const char* name) {
  char directory[PATH_MAX];
  const char* slash = strrchr(name, '/');
  if (slash == nullptr) {
    strcpy(directory, ".");
  } else if (slash == name) {
    strcpy(directory, "/");
  } else {
    size_t length = static_cast<size_t>(slash - name);
    if (length >= sizeof directory) {
      errno = ENAMETOOLONG;
      return -1;
    }
    memcpy(directory, name, length);
    directory[length] = '\0';
  }
  int descriptor = ::open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return -1;
  int result = fsync(descriptor);
  ::close(descriptor);
  return result == 0 ? 0 : -1;
}

constexpr QmCFileLayer kSystemLayer = {systemOpen,   systemClose,        systemSeek, systemRead,
                                       systemWrite,  systemFlush,        systemSync, systemTruncate,
                                       systemRemove, systemSyncDirectory};

thread_local const QmCFileLayer* layer = &kSystemLayer;

}  // namespace

FILE* QmCFileOpen(const char* name, const char* mode) {
  if (injectFault()) return nullptr;
  return layer->open(name, mode);
}

int QmCFileClose(FILE* file) {
  return file != nullptr ? layer->close(file) : 0;
}

int QmCFileSeek(FILE* file, long offset) {
  if (injectFault()) return -1;
  return layer->seek(file, offset);
}

size_t QmCFileRead(void* buffer, size_t length, FILE* file) {
  if (injectFault()) return 0;
  return layer->read(buffer, length, file);
}

size_t QmCFileWrite(const void* buffer, size_t length, FILE* file) {
  if (injectFault()) return 0;
  return layer->write(buffer, length, file);
}

int QmCFileFlush(FILE* file) {
  if (injectFault()) {
    // As on a broken disk, what was buffered never arrives.
    __fpurge(file);
    return EOF;
  }
  return layer->flush(file);
}

int QmCFileSync(FILE* file) {
  if (injectFault()) {
    __fpurge(file);
    return -1;
  }
  return layer->sync(file);
}

int QmCFileTruncate(FILE* file, long length) {
  if (injectFault()) return -1;
  return layer->truncate(file, length);
}

void QmCFileStartWriteBack(FILE* file, long offset, long length) {
  if (file == nullptr || layer != &kSystemLayer || failAt != 0 || offset < 0 || length <= 0) return;
  // Only a hint: a failure here means the later sync does the writing.
  sync_file_range(fileno(file), offset, length, SYNC_FILE_RANGE_WRITE);
}

long QmCFileLength(FILE* file) {
  struct stat info;
  if (fflush(file) != 0 || fstat(fileno(file), &info) != 0) return -1;
  return static_cast<long>(info.st_size);
}

int QmCFileRemove(const char* name) {
  if (injectFault()) return -1;
  return layer->remove(name);
}

int QmCFileSyncDirectory(const char* name) {
  if (injectFault()) return -1;
  return layer->syncDirectory(name);
}

bool QmCFileExists(const char* name) {
  struct stat info;
  return stat(name, &info) == 0;
}

void* QmCFileMap(FILE* file, long offset, size_t length) {
  // A test's fault or layer stands for the disk: the bytes must come through it.
  if (failAt != 0 || layer != &kSystemLayer || file == nullptr || offset < 0 || length == 0) {
    return nullptr;
  }
  // Touching a mapped page that lies past the end of the file would kill the
  // process (SIGBUS): only bytes the file holds now are mapped.
  struct stat info;
  int descriptor = fileno(file);
  if (descriptor < 0 || fstat(descriptor, &info) != 0 ||
      static_cast<unsigned long>(info.st_size) < static_cast<unsigned long>(offset) + length) {
    return nullptr;
  }
  void* view = mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, offset);
  return view != MAP_FAILED ? view : nullptr;
}

void QmCFileUnmap(void* address, size_t length) {
  if (address != nullptr) munmap(address, length);
}

int QmCFileLockOpen(const char* name, bool create) {
  int flags = O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0);
  int descriptor = ::open(name, flags, 0666);
  // A file we may only read can still be shared; taking it exclusively will fail.
  if (descriptor < 0 && (errno == EACCES || errno == EROFS) && !create) {
    descriptor = ::open(name, O_RDONLY | O_CLOEXEC);
  }
  return descriptor;
}

int QmCFileLock(int descriptor, QmCLockKind kind) {
  // Open-file-description locks: they belong to the opening, not the process,
  // and changing one kind into another is atomic (a refused change keeps the
  // old lock, which flock does not promise).
  struct flock request;
  memset(&request, 0, sizeof request);
  request.l_type = kind == QmCExclusiveLock ? F_WRLCK : kind == QmCSharedLock ? F_RDLCK : F_UNLCK;
  request.l_whence = SEEK_SET;
  request.l_start = 0;
  request.l_len = 0;  // the whole file, however long it grows
  return fcntl(descriptor, F_OFD_SETLK, &request) == 0 ? 0 : -1;
}

void QmCFileLockClose(int descriptor) {
  if (descriptor >= 0) ::close(descriptor);
}

void QmCFileFailAfter(long n, bool sticky) {
  callCount = 0;
  failAt = n > 0 ? n : 0;
  failSticky = failAt != 0 && sticky;
}

long QmCFileCallCount() {
  return callCount;
}

const QmCFileLayer* QmCFileUseLayer(const QmCFileLayer* replacement) {
  const QmCFileLayer* old = layer;
  layer = replacement != nullptr ? replacement : &kSystemLayer;
  return old;
}

const QmCFileLayer* QmCFileSystemLayer() {
  return &kSystemLayer;
}
