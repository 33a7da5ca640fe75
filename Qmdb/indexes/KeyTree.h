// Storing entries in an index's key tree: a radix tree of key nodes whose
// labels are key fragments.
//
// Invariants of a tree (the file format depends on them):
//  1. Every label is non-empty except that of the empty key's node, which is
//     then the first child of the index record.
//  2. The children of a node begin with different bytes and stand in ascending
//     order of their first byte, compared unsigned.
//  3. A key's entries stand in the order they were stored; nodes whose entries
//     were all pulled, and branch points made by splits, stay in the tree.
// Records are never freed: a split shortens a label by moving its address
// into the old heap string, and a failed insertion leaves what it made.
#ifndef QMDB_INDEXES_KEYTREE_H
#define QMDB_INDEXES_KEYTREE_H

#include <cstddef>
#include <cstdint>

#include "Qmdb/indexes/IndexEntry.h"
#include "Qmdb/store/Store.h"

namespace qmdb::indexes {

/// More key nodes and entries than a sound heap of this size can hold: every
/// walk over a key tree takes at most this many steps, so a damaged file
/// cannot make it loop.
inline long keyWalkLimit(const store::Store& s) {
  return store::readableHeap(s) / indexEntry::kSize + 16;
}

/// The label text of key node `node`, pointing into its page frame; "" when
/// it cannot be read. Valid only until another address is resolved.
const char* labelText(store::Store& s, long node);

/// The first byte of key node `node`'s label, read without the rest of it; -1
/// when the node has no label address or its first byte lies at or above the
/// heap top (then labelText tells).
int labelFirstByte(store::Store& s, long node);

/// A new key node with the given fields and no entries; its address, or 0.
long makeKeyNode(store::Store& s, long label, long firstChild, long next);

/// Stores (database, object) under the `length` bytes of `key` in the tree of
/// index record `index`, splitting labels as needed. With `unique`, a key that
/// already has an entry is left alone (and that counts as success). False when
/// a record could not be made; what was made before stays in the tree.
bool insertKey(store::Store& s, long index, const char* key, size_t length, uint32_t database,
               long object, bool unique);

}  // namespace qmdb::indexes

#endif
