// Memory for the engine's own buffers, with a seam for tests.
//
// Page frames, string-pool entries, result-list entries and string copies,
// and the work areas of path search and key listing are allocated here, so
// that a test can make the n-th allocation fail and check that the engine
// behaves as it must when memory runs out: the cache stops growing, a name is
// not stored, a list is left unchanged, a search reports MEMORYOVERFLOW.
// allocationAllowed() is the seam's one counter: a test program may route its
// global operator new through it too (tests/sweep/FailingNew.cpp), so that
// the growth of every std::string and container inside a library call is
// numbered with the engine's own buffers and can fail in its turn.
#ifndef QMDB_STORE_ALLOCATION_H
#define QMDB_STORE_ALLOCATION_H

#include <cstddef>

namespace qmdb::store {

/// malloc(size), or null when the seam makes this allocation fail.
void* allocate(size_t size);
/// calloc(1, size): zeroed memory, or null when the seam makes this allocation fail.
void* allocateZeroed(size_t size);
/// realloc(p, size), or null (p untouched) when the seam makes it fail.
void* reallocate(void* p, size_t size);
/// A malloc'ed copy of the zero-terminated `text`, or null when the seam makes it fail.
char* copyText(const char* text);
/// Counts one allocation made by a standard container; false when it is to fail.
bool allocationAllowed();

/// Test seam: the n-th allocation from now on fails (1: the next), and with
/// `sticky` every later one too; 0 disarms.
void failAllocationAfter(long n, bool sticky = false);
/// Test seam: the allocations counted since the seam was last armed.
long allocationsCounted();

}  // namespace qmdb::store

#endif
