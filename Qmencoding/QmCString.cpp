// Owned byte strings, the results of every conversion.
//
// Invariants: the bytes are always zero-terminated (std::string keeps the
// terminator), counted texts may hold zero bytes, and a null text is empty.
// Copying from or appending a string's own bytes is safe: std::string handles
// the overlap.
#include "Qmencoding/QmCString.h"

#include <cstring>

namespace {
size_t lengthOf(const char* text, long length) {
  return length < 0 ? strlen(text) : static_cast<size_t>(length);
}
}  // namespace

void QmTString::Copy(const char* text, long length) {
  if (text == nullptr) {
    bytes_.clear();
    return;
  }
  bytes_.assign(text, lengthOf(text, length));
}

void QmTString::Append(const char* text, long length) {
  if (text == nullptr) return;
  bytes_.append(text, lengthOf(text, length));
}
