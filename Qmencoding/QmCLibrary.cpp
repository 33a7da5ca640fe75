// The library loader over dlopen/dlsym.
//
// Invariants: the object holds at most one library handle, released by the
// next Load and by the destructor; procedure_ is either null or a symbol of
// the library held now, so it never outlives the code it points into.
#include "Qmencoding/QmCLibrary.h"

#include <dlfcn.h>

QmCLibrary::QmCLibrary(const char* library, const char* procedure) {
  if (library != nullptr && Load(library) && procedure != nullptr) LoadProc(procedure);
}

QmCLibrary::~QmCLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

bool QmCLibrary::Load(const char* library) {
  procedure_ = nullptr;
  if (handle_ != nullptr) dlclose(handle_);
  handle_ = nullptr;
  if (library == nullptr) return false;
  handle_ = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  return handle_ != nullptr;
}

bool QmCLibrary::LoadProc(const char* procedure) {
  procedure_ = nullptr;
  if (handle_ == nullptr || procedure == nullptr) return false;
  void* symbol = dlsym(handle_, procedure);
  if (symbol == nullptr) return false;
  procedure_ = reinterpret_cast<QmCProcedure>(symbol);
  return true;
}
