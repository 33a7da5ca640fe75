// Owned byte strings: the results of every conversion.
#include "Qmencoding/QmCString.h"

#include <cstring>

void QmTString::Copy(const char* text, long length) {
  bytes_.clear();
  Append(text, length);
}

void QmTString::Append(const char* text, long length) {
  if (text == nullptr) return;
  size_t n = length < 0 ? strlen(text) : static_cast<size_t>(length);
  bytes_.append(text, n);
}
