#include "Qmdb/store/HookTable.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "Qmdb/store/Allocation.h"
#include "Qmdb/store/Messages.h"
#include "Qmdb/store/Store.h"
#include "Qmencoding/QmCLibrary.h"

namespace qmdb::store {

namespace {

unsigned char firstByte(const char* name) {
  return static_cast<unsigned char>(name[0]);
}

// The pointer getHook hands out for a name that is not there; reset on every call.
thread_local void* scratchHook = nullptr;

}  // namespace

HookTable::Node* HookTable::find(const char* name) const {
  if (name == nullptr) return nullptr;
  Node* node = first_;
  while (node != nullptr && firstByte(node->name.c_str()) < firstByte(name)) node = node->next;
  for (; node != nullptr && firstByte(node->name.c_str()) == firstByte(name); node = node->next) {
    if (node->name == name) return node;
  }
  return nullptr;
}

void HookTable::add(void* data, const char* name, const char* library, const char* procedure) {
  if (name == nullptr) return;
  Node* after = nullptr;  // the new node goes after this one (null: first)
  Node* node = first_;
  while (node != nullptr && firstByte(node->name.c_str()) < firstByte(name)) {
    after = node;
    node = node->next;
  }
  while (node != nullptr && firstByte(node->name.c_str()) == firstByte(name)) {
    if (node->name == name) return;  // the existing hook keeps its data
    after = node;
    node = node->next;
  }
  Node* added = nullptr;
  try {
    added = new Node{nullptr,
                     nullptr,
                     name,
                     library != nullptr ? library : "",
                     procedure != nullptr ? procedure : "",
                     library != nullptr,
                     procedure != nullptr,
                     data};
  } catch (const std::bad_alloc&) {
    return;  // out of memory: no hook is added
  }
  added->previous = after;
  added->next = after != nullptr ? after->next : first_;
  if (added->previous != nullptr) {
    added->previous->next = added;
  } else {
    first_ = added;
  }
  if (added->next != nullptr) {
    added->next->previous = added;
  } else {
    last_ = added;
  }
  ++count_;
}

void*& HookTable::get(const char* name) const {
  scratchHook = nullptr;
  Node* node = find(name);
  return node != nullptr ? node->data : scratchHook;
}

void HookTable::unlink(Node* node) {
  if (node->previous != nullptr) {
    node->previous->next = node->next;
  } else {
    first_ = node->next;
  }
  if (node->next != nullptr) {
    node->next->previous = node->previous;
  } else {
    last_ = node->previous;
  }
  --count_;
}

void HookTable::runDestroy(const Node& node) {
  if (node.data == nullptr || !node.hasLibrary || !node.hasProcedure) return;
  // The library is loaded afresh for every call and unloaded right after.
  QmCLibrary library(nullptr, nullptr);
  if (!library.Load(node.library.c_str())) {
    report(store_, kFatalError, "NOHOOKDESTROYMETHOD", kMsgLibraryNotFound, node.library.c_str(),
           node.procedure.c_str());
    return;
  }
  if (!library.LoadProc(node.procedure.c_str())) {
    report(store_, kFatalError, "NODESTROYMETHOD", kMsgProcedureNotFound, node.library.c_str(),
           node.procedure.c_str());
    return;
  }
  library()(node.data);
}

void HookTable::destroy(const char* name) {
  Node* node = find(name);
  if (node == nullptr) return;
  unlink(node);
  runDestroy(*node);
  delete node;
}

void* HookTable::take(const char* name) {
  Node* node = find(name);
  if (node == nullptr) return nullptr;
  unlink(node);
  void* data = node->data;
  delete node;
  return data;
}

char** HookTable::names() const {
  char** array =
      static_cast<char**>(allocateZeroed((static_cast<size_t>(count_) + 1) * sizeof(char*)));
  if (array == nullptr) return nullptr;
  long i = 0;
  for (Node* node = first_; node != nullptr; node = node->next) {
    array[i] = copyText(node->name.c_str());
    if (array[i] == nullptr) {
      for (long j = 0; j < i; ++j) free(array[j]);
      free(array);
      return nullptr;
    }
    ++i;
  }
  return array;
}

void HookTable::destroyAll() {
  for (Node* node = first_; node != nullptr; node = node->next) runDestroy(*node);
  while (first_ != nullptr) {
    Node* node = first_;
    first_ = node->next;
    delete node;
  }
  last_ = nullptr;
  count_ = 0;
}

}  // namespace qmdb::store
