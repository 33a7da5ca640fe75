// Owned byte strings, the results of every conversion.
//
// Invariants: the bytes are always zero-terminated (std::string keeps the
// terminator), counted texts may hold zero bytes, and a null text is empty.
// Copying from or appending a string's own bytes is safe: std::string handles
// the overlap. std::bad_alloc is caught here and nowhere else: it becomes the
// Failed() mark, so no caller of the text library sees an exception.
#include "Qmencoding/QmCString.h"

#include <cstring>
#include <new>

namespace {
size_t lengthOf(const char* text, long length) {
  return length < 0 ? strlen(text) : static_cast<size_t>(length);
}
}  // namespace

QmTString& QmTString::operator=(const QmTString& other) {
  if (this != &other && Copy(other.Data(), other.Size())) failed_ = other.failed_;
  return *this;
}

bool QmTString::Copy(const char* text, long length) {
  failed_ = false;
  if (text == nullptr) {
    bytes_.clear();
    return true;
  }
  try {
    bytes_.assign(text, lengthOf(text, length));
  } catch (const std::bad_alloc&) {
    bytes_.clear();
    failed_ = true;
  }
  return !failed_;
}

bool QmTString::Append(const char* text, long length) {
  if (text == nullptr) return true;
  try {
    bytes_.append(text, lengthOf(text, length));
    return true;
  } catch (const std::bad_alloc&) {
    failed_ = true;
    return false;
  }
}

bool QmTString::Append(char c) {
  try {
    bytes_.push_back(c);
    return true;
  } catch (const std::bad_alloc&) {
    failed_ = true;
    return false;
  }
}
