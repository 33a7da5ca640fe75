// Global operator new and delete for the out-of-memory program: every C++
// allocation passes the library's allocation seam, so that a test can make any
// one fail. Every form is replaced (the sanitizers' own would bypass the seam);
// memory comes from malloc, so the sanitizers still see every block.
#include <cstdlib>
#include <new>

#include "Qmdb/store/Allocation.h"

namespace {
void* obtain(size_t size) noexcept {
  if (!qmdb::store::allocationAllowed()) return nullptr;
  return malloc(size != 0 ? size : 1);
}
}  // namespace

void* operator new(size_t size) {
  void* p = obtain(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new[](size_t size) {
  void* p = obtain(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return obtain(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return obtain(size);
}
void operator delete(void* p) noexcept {
  free(p);
}
void operator delete[](void* p) noexcept {
  free(p);
}
void operator delete(void* p, size_t) noexcept {
  free(p);
}
void operator delete[](void* p, size_t) noexcept {
  free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  free(p);
}
