// The conversions behind textIn() and textOut(), out of line: only a
// database with a non-transparent coding reaches them.
#include "Qmdb/handle/TextConvert.h"

namespace qmdb::handle {

bool textInConverted(const QmCEncoding& encoding, const char* text, HoldingSlot& slot,
                     const char*& out) {
  QmTString* holder = holdingString(slot);
  if (holder == nullptr) return false;
  *holder = encoding.Decoder()(text, -1);
  if (holder->Failed()) return false;
  out = holder->Data();
  return true;
}

char* textOutConverted(const QmCEncoding& encoding, const char* stored, HoldingSlot& slot) {
  QmTString* holder = holdingString(slot);
  if (holder != nullptr) *holder = encoding.Encoder()(stored, -1);
  if (holder == nullptr || holder->Failed()) {
    conversionRanOut() = true;
    return nullptr;
  }
  return const_cast<char*>(holder->Data());
}

}  // namespace qmdb::handle
