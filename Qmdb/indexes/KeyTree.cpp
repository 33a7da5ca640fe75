#include "Qmdb/indexes/KeyTree.h"

#include <cstring>

#include "Qmdb/indexes/KeyNode.h"
#include "Qmdb/store/HeapString.h"
#include "Qmdb/store/PageCache.h"

namespace qmdb::indexes {

namespace {

// Reserves `size` bytes and moves the heap top past them before anything is
// written, so that every field write lies below the heap top.
// Makes `node` the child after `previous`, or the first child of `parent`.
bool linkAfter(store::Store& s, long parent, long previous, long node) {
  return previous != 0 ? keyNode::setNext(s, previous, node)
                       : keyNode::setFirstChild(s, parent, node);
}

// Appends a new entry (database, object) to the chain of key node `node`.
bool appendEntry(store::Store& s, long node, uint32_t database, long object, long& budget) {
  long entry = store::reserveRecord(s, indexEntry::kSize);
  if (entry == 0) return false;
  indexEntry::setNext(s, entry, 0);
  indexEntry::setDatabase(s, entry, 0);
  indexEntry::setObject(s, entry, 0);
  long last = keyNode::firstEntry(s, node);
  if (last == 0) {
    if (!keyNode::setFirstEntry(s, node, entry)) return false;
  } else {
    for (long after = indexEntry::next(s, last); after != 0; after = indexEntry::next(s, last)) {
      if (--budget < 0) return false;
      last = after;
    }
    if (!indexEntry::setNext(s, last, entry)) return false;
  }
  return indexEntry::setDatabase(s, entry, database) && indexEntry::setObject(s, entry, object);
}

}  // namespace

const char* labelText(store::Store& s, long node) {
  const char* text = store::readHeapString(s, keyNode::label(s, node));
  return text != nullptr ? text : "";
}

int labelFirstByte(store::Store& s, long node) {
  return store::heapStringFirstByte(s, keyNode::label(s, node));
}

long makeKeyNode(store::Store& s, long label, long firstChild, long next) {
  long node = store::reserveRecord(s, keyNode::kSize);
  if (node == 0) return 0;
  keyNode::setLabel(s, node, label);
  keyNode::setFirstEntry(s, node, 0);
  keyNode::setFirstChild(s, node, firstChild);
  keyNode::setNext(s, node, next);
  return node;
}

// Descending one level per turn of the outer loop is the recursion of the
// insertion written as a loop: each level consumes at least one byte of the
// key (only the empty key stops at an empty label).
bool insertKey(store::Store& s, long index, const char* key, size_t length, uint32_t database,
               long object, bool unique) {
  long budget = keyWalkLimit(s);
  long parent = index;
  for (;;) {
    const unsigned char first = length > 0 ? static_cast<unsigned char>(key[0]) : 0;
    long previous = 0;
    long x = keyNode::firstChild(s, parent);
    const char* label = "";
    while (x != 0) {
      if (--budget < 0) return false;
      label = labelText(s, x);
      if (static_cast<unsigned char>(label[0]) >= first) break;
      previous = x;
      x = keyNode::next(s, x);
    }
    if (x == 0 || static_cast<unsigned char>(label[0]) != first) {
      long text = store::writeHeapString(s, key, length);
      if (text == 0) return false;
      long node = makeKeyNode(s, text, 0, x);
      if (node == 0 || !linkAfter(s, parent, previous, node)) return false;
      return appendEntry(s, node, database, object, budget);
    }
    // `label` still points into its frame: nothing was resolved since it was read.
    size_t common = 0;
    while (common < length && label[common] != 0 && label[common] == key[common]) ++common;
    if (label[common] != 0) {
      // Split: a new node M takes the common prefix (whose bytes are the
      // key's own) and x keeps the rest of its label, as M's only child.
      long labelAddress = keyNode::label(s, x);
      long xNext = keyNode::next(s, x);
      long text = store::writeHeapString(s, key, common);
      if (text == 0) return false;
      long m = makeKeyNode(s, text, 0, xNext);
      if (m == 0 || !linkAfter(s, parent, previous, m)) return false;
      keyNode::setLabel(s, x, labelAddress + static_cast<long>(common));
      keyNode::setNext(s, x, 0);
      keyNode::setFirstChild(s, m, x);
      x = m;
    }
    if (length > common) {
      parent = x;
      key += common;
      length -= common;
      continue;
    }
    if (unique && keyNode::firstEntry(s, x) != 0) return true;
    return appendEntry(s, x, database, object, budget);
  }
}

}  // namespace qmdb::indexes
