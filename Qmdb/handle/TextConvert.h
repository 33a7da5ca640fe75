// Text at the class interface: the caller's external coding in and out.
//
// Each method that converts text keeps the result in a holding string of its
// own (HoldingString.h), so a converted result stays valid until the next
// call of the same method in the same thread. With a transparent stack
// nothing is copied: arguments pass as they are and results point into the
// page frame that holds the text; that test is in line and the conversion is
// not, so that the getters every walk calls stay small. A conversion that
// runs out of memory is a failure of the method, never an exception.
#ifndef QMDB_HANDLE_TEXTCONVERT_H
#define QMDB_HANDLE_TEXTCONVERT_H

#include "Qmdb/handle/HoldingString.h"
#include "Qmencoding/QmCEncoding.h"

namespace qmdb::handle {

/// The slow part of textIn(): converts `text` into the slot's string and
/// sets `out` to it. False when memory ran out.
bool textInConverted(const QmCEncoding& encoding, const char* text, HoldingSlot& slot,
                     const char*& out);

/// The slow part of textOut(): `stored` converted into the slot's string;
/// null when memory ran out (which also sets conversionRanOut()).
char* textOutConverted(const QmCEncoding& encoding, const char* stored, HoldingSlot& slot);

/// Sets `out` to the argument in the internal form: `text` itself, or its
/// conversion kept in the slot's string. False when memory ran out.
inline bool textIn(const QmCEncoding* encoding, const char* text, HoldingSlot& slot,
                   const char*& out) {
  if (text == nullptr || encoding == nullptr || encoding->IsTransparent()) {
    out = text;
    return true;
  }
  return textInConverted(*encoding, text, slot, out);
}

/// A result in the caller's coding: `stored` itself, or its conversion kept
/// in the slot's string; null when `stored` is null or memory ran out (which
/// also sets conversionRanOut()).
inline char* textOut(const QmCEncoding* encoding, const char* stored, HoldingSlot& slot) {
  if (stored == nullptr) return nullptr;
  if (encoding == nullptr || encoding->IsTransparent()) return const_cast<char*>(stored);
  return textOutConverted(*encoding, stored, slot);
}

}  // namespace qmdb::handle

#endif
