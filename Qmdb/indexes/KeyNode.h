// The key node: one node of an index's key tree, and the form of the index
// record (the root of one index's tree, linked into the catalogue).
//
// A node's key is the concatenation of the labels from the first level below
// the index record down to the node. Labels are heap strings of their own,
// never pooled; after a split a label may point into the middle of one, which
// still reads correctly because the string's zero lies further on in the page.
// All fields are little-endian 32-bit words; the offsets are the file format.
#ifndef QMDB_INDEXES_KEYNODE_H
#define QMDB_INDEXES_KEYNODE_H

#include <cstdint>

#include "Qmdb/store/PageCache.h"

namespace qmdb::indexes {

// Key node (16 bytes)
//   OFFSET  SIZE  MEANING
//        0     4  label: heap address of text; in an index record the index name,
//                 else the key fragment between the parent and this node
//        4     4  first entry: first index entry of the key ending here; 0 for none
//                 (always 0 in an index record)
//        8     4  first child: the first child key node; 0 for none
//       12     4  next: the next sibling; in an index record the next index; 0 for none
namespace keyNode {
constexpr long kLabel = 0;
constexpr long kFirstEntry = 4;
constexpr long kFirstChild = 4 + 4;
constexpr long kNext = 4 + 4 + 4;
constexpr long kSize = 4 + 4 + 4 + 4;

inline long label(store::Store& s, long n) {
  return store::get32(s, n + kLabel);
}
inline long firstEntry(store::Store& s, long n) {
  return store::get32(s, n + kFirstEntry);
}
inline long firstChild(store::Store& s, long n) {
  return store::get32(s, n + kFirstChild);
}
inline long next(store::Store& s, long n) {
  return store::get32(s, n + kNext);
}

inline bool setLabel(store::Store& s, long n, long v) {
  return store::put32(s, n + kLabel, static_cast<int32_t>(v));
}
inline bool setFirstEntry(store::Store& s, long n, long v) {
  return store::put32(s, n + kFirstEntry, static_cast<int32_t>(v));
}
inline bool setFirstChild(store::Store& s, long n, long v) {
  return store::put32(s, n + kFirstChild, static_cast<int32_t>(v));
}
inline bool setNext(store::Store& s, long n, long v) {
  return store::put32(s, n + kNext, static_cast<int32_t>(v));
}
}  // namespace keyNode

}  // namespace qmdb::indexes

#endif
