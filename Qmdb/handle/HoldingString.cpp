// Holding strings, made once per thread and method without throwing.
//
// Invariants: a slot's string is non-null only while the slot is on its
// thread's chain; the chain's head is the thread's value of the key, so the
// key's destructor frees exactly the strings of the thread that ends.
#include "Qmdb/handle/HoldingString.h"

#include <pthread.h>

#include <new>

namespace qmdb::handle {

namespace {

pthread_once_t keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t chainKey;
bool keyMade = false;

thread_local HoldingSlot* chain = nullptr;
thread_local bool ranOut = false;

void freeChain(void* first) {
  for (HoldingSlot* slot = static_cast<HoldingSlot*>(first); slot != nullptr;) {
    HoldingSlot* next = slot->next;
    delete slot->string;
    slot->string = nullptr;
    slot->next = nullptr;
    slot = next;
  }
  chain = nullptr;
}

void makeKey() {
  keyMade = pthread_key_create(&chainKey, freeChain) == 0;
}

// When the library is unloaded (or the process ends) the key goes first, so
// that no thread ending later calls into code that is no longer there; the
// strings of threads still running then stay allocated.
__attribute__((destructor)) void deleteKey() {
  if (keyMade) pthread_key_delete(chainKey);
  keyMade = false;
}

}  // namespace

bool& conversionRanOut() {
  return ranOut;
}

QmTString* holdingString(HoldingSlot& slot) {
  if (slot.string != nullptr) return slot.string;
  QmTString* made = new (std::nothrow) QmTString;
  if (made == nullptr) return nullptr;
  pthread_once(&keyOnce, makeKey);
  slot.string = made;
  slot.next = chain;
  chain = &slot;
  // Without the key (or its memory) the string outlives its thread: a leak,
  // never a failure of the call.
  if (keyMade) pthread_setspecific(chainKey, chain);
  return made;
}

}  // namespace qmdb::handle
