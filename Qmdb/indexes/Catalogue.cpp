#include "Qmdb/indexes/Catalogue.h"

#include <cstring>

#include "Qmdb/indexes/KeyNode.h"
#include "Qmdb/indexes/KeyTree.h"
#include "Qmdb/store/HeapString.h"

namespace qmdb::indexes {

namespace {

// More index records than a sound heap of this size can hold.
long catalogueLimit(const store::Store& s) {
  return store::readableHeap(s) / keyNode::kSize + 16;
}

}  // namespace

long findIndex(store::Store& s, const char* name) {
  long budget = catalogueLimit(s);
  for (long i = s.firstIndex; i != 0 && budget-- > 0; i = keyNode::next(s, i)) {
    const char* text = indexNameText(s, i);
    if (text != nullptr && strcmp(text, name) == 0) return i;
  }
  return 0;
}

long appendIndex(store::Store& s, const char* name) {
  long text = store::writeHeapString(s, name, strlen(name));
  if (text == 0) return 0;
  long index = makeKeyNode(s, text, 0, 0);
  if (index == 0) return 0;
  if (s.firstIndex == 0) {
    s.firstIndex = static_cast<int32_t>(index);
    return index;
  }
  long last = s.firstIndex;
  long budget = catalogueLimit(s);
  for (long after = keyNode::next(s, last); after != 0; after = keyNode::next(s, last)) {
    if (--budget < 0) return 0;
    last = after;
  }
  return keyNode::setNext(s, last, index) ? index : 0;
}

bool unlinkIndex(store::Store& s, long index) {
  if (index == s.firstIndex) {
    s.firstIndex = static_cast<int32_t>(keyNode::next(s, index));
  } else {
    long previous = s.firstIndex;
    long budget = catalogueLimit(s);
    while (previous != 0 && keyNode::next(s, previous) != index) {
      if (--budget < 0) return false;
      previous = keyNode::next(s, previous);
    }
    if (previous == 0) return false;
    keyNode::setNext(s, previous, keyNode::next(s, index));
  }
  return keyNode::setNext(s, index, 0);
}

long renameIndex(store::Store& s, long index, const char* name) {
  long text = store::writeHeapString(s, name, strlen(name));
  if (text == 0) return 0;
  return keyNode::setLabel(s, index, text) ? index : 0;
}

const char* indexNameText(store::Store& s, long index) {
  return store::readHeapString(s, keyNode::label(s, index));
}

}  // namespace qmdb::indexes
