// Text at the class interface: the caller's external coding in and out.
//
// Each method that converts text keeps the result in a holding string of its
// own (a thread_local in the method), so a converted result stays valid until
// the next call of the same method in the same thread. With a transparent
// stack nothing is copied: arguments pass as they are and results point into
// the page frame that holds the text.
#ifndef QMDB_HANDLE_TEXTCONVERT_H
#define QMDB_HANDLE_TEXTCONVERT_H

#include "Qmencoding/QmCEncoding.h"

namespace qmdb::handle {

/// An argument in the internal form: `text` itself, or its conversion kept in `holder`.
inline const char* textIn(const QmCEncoding* encoding, const char* text, QmCString& holder) {
  if (text == nullptr || encoding == nullptr || encoding->IsTransparent()) return text;
  holder = encoding->Decoder()(text, -1);
  return holder.Data();
}

/// A result in the caller's coding: `stored` itself, or its conversion kept in `holder`.
inline char* textOut(const QmCEncoding* encoding, const char* stored, QmCExternString& holder) {
  if (stored == nullptr) return nullptr;
  if (encoding == nullptr || encoding->IsTransparent()) return const_cast<char*>(stored);
  holder = encoding->Encoder()(stored, -1);
  return const_cast<char*>(holder.Data());
}

}  // namespace qmdb::handle

#endif
