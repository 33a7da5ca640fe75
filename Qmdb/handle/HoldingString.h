// Holding strings: where a method keeps the text it converted, per thread.
//
// Each method that converts text has one holding slot per text (a
// thread_local HoldingSlot). The slot is plain data, so a thread's first call
// registers no destructor (that registration needs memory and aborts inside
// the C library when there is none). The string itself is made on first need
// without throwing, and chained to the thread's slots; one process-wide
// thread key frees the chain when the thread ends. The main thread's strings
// live until the process ends.
#ifndef QMDB_HANDLE_HOLDINGSTRING_H
#define QMDB_HANDLE_HOLDINGSTRING_H

#include "Qmencoding/QmCString.h"

namespace qmdb::handle {

/// One holding string of one method, in one thread; zero until first used.
struct HoldingSlot {
  QmTString* string;  ///< made on first need; owned through the thread's chain
  HoldingSlot* next;  ///< the thread's previously made slot
};

/// The slot's string, made on first need; null when memory runs out.
QmTString* holdingString(HoldingSlot& slot);

/// This thread's mark that a text result could not be converted for want of
/// memory (its getter then gave null). Set by the conversion; a caller that
/// must tell "no text" from "no memory" (copying) clears it first.
bool& conversionRanOut();

}  // namespace qmdb::handle

#endif
