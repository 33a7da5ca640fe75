#include "Qmdb/indexes/IndexCleanup.h"

#include <new>
#include <vector>

#include "Qmdb/indexes/IndexEntry.h"
#include "Qmdb/indexes/KeyNode.h"
#include "Qmdb/indexes/KeyTree.h"
#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"
#include "Qmdb/qmdb.h"

namespace qmdb::indexes {

namespace {

namespace object = objects::object;

void clearLink(store::Store& s, long o) {
  if (object::link(s, o) != 0) object::setLink(s, o, 0);
}

// Clears the links of `o` and, when it is a detached node, of its subtree.
// Attached objects of the document tree were cleared by the save's own walk;
// clearing their (already 0) link again changes nothing.
void clearLinksOf(store::Store& s, long o) {
  clearLink(s, o);
  if (object::parent(s, o) != 0 || object::kind(s, o) != QmdbNode) return;
  long list = object::body(s, o);
  if (list == 0) return;
  long steps = objects::walkLimit(s);
  for (long p = objects::treeStep(s, list, 0, true); p != 0 && steps-- > 0;
       p = objects::treeStep(s, list, p, true)) {
    if (p > 0) clearLink(s, p);
  }
}

void cleanUpEntries(store::Store& s, long firstEntry, long& budget) {
  for (long e = firstEntry; e != 0 && budget-- > 0; e = indexEntry::next(s, e)) {
    long o = indexEntry::object(s, e);
    if (o == 0) continue;
    if (indexEntry::database(s, e) != 0) {
      indexEntry::setObject(s, e, 0);
    } else {
      clearLinksOf(s, o);
    }
  }
}

// Visits the key nodes of every index depth first: a node's entries, then
// its children, then its next sibling.
void cleanUpAll(store::Store& s, long& budget) {
  std::vector<long> pending;  // key nodes still to visit, the next one on top
  for (long index = s.firstIndex; index != 0 && budget-- > 0; index = keyNode::next(s, index)) {
    long first = keyNode::firstChild(s, index);
    if (first == 0) continue;
    pending.assign(1, first);
    while (!pending.empty() && budget-- > 0) {
      long node = pending.back();
      pending.pop_back();
      cleanUpEntries(s, keyNode::firstEntry(s, node), budget);
      long next = keyNode::next(s, node);
      long child = keyNode::firstChild(s, node);
      if (next != 0) pending.push_back(next);
      if (child != 0) pending.push_back(child);
    }
  }
}

}  // namespace

void cleanUpIndexes(store::Store& s) {
  long budget = keyWalkLimit(s);
  try {
    cleanUpAll(s, budget);
  } catch (const std::bad_alloc&) {
    // Without memory for the stack of nodes the clean-up ends where it is.
  }
}

}  // namespace qmdb::indexes
