// Qmdb methods that copy objects and trees, from this database or another.
// A copy reads the source only through its public (virtual) operations and
// makes the copy through this database's, so texts leave through the
// source's coding and enter through this one's. Every text is copied out of
// its page frame or holding string before anything is stored: the next
// store may reuse that frame, and the next call of the getter that string.
#include "Qmdb/Qmdb"
#include "Qmdb/edits/Attributes.h"
#include "Qmdb/edits/Links.h"
#include "Qmdb/handle/HoldingString.h"
#include "Qmdb/handle/Internal.h"
#include "Qmdb/handle/Placement.h"
#include "Qmdb/objects/ChildList.h"
#include "Qmdb/objects/Navigation.h"
#include "Qmdb/objects/Records.h"
#include "Qmencoding/QmCString.h"

using qmdb::handle::Internal;
using qmdb::handle::placeMade;
namespace objects = qmdb::objects;
namespace store = qmdb::store;

namespace {

// An owned copy of a text that may be null; not ok() when memory ran out,
// either for the copy or for the getter's conversion that gave it (a null
// text may mean either "none" or "no memory"), and then the copy fails.
class Text {
 public:
  explicit Text(const char* text)
      : absent_(text == nullptr), ranOut_(qmdb::handle::conversionRanOut()), text_(text, -1) {
    qmdb::handle::conversionRanOut() = false;
  }
  bool ok() const { return !ranOut_ && !text_.Failed(); }
  const char* get() const { return absent_ ? nullptr : text_.Data(); }

 private:
  bool absent_;
  bool ranOut_;
  QmTString text_;
};

}  // namespace

long Qmdb::copy(const Qmdb* db, long object, bool copyAttributes, bool copyValues, bool copyLink,
                bool linkToSource) {
  store::Store* s = Internal::writable(*this);
  if (s == nullptr || db == nullptr || !db->isValid()) return 0;
  Qmdb& source = *const_cast<Qmdb*>(db);
  long o = objects::handleOf(object);
  if (o == 0 || o == objects::kRoot) return 0;
  QmdbObjectType kind = source.objectType(o);
  qmdb::handle::conversionRanOut() = false;  // each Text below reads its getter's mark
  long n = 0;
  long a = 0;
  bool carriesAttributes = kind == QmdbNode || kind == QmdbEntity || kind == QmdbPi;
  if (carriesAttributes && copyAttributes) {
    a = source.attribute(o, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass, true);
  }
  switch (kind) {
    case QmdbNode: {
      Text id(source.getId(o));
      if (!id.ok()) return 0;
      n = node(id.get());
      break;
    }
    case QmdbString: {
      Text value(copyValues ? source.getValue(o) : nullptr);
      if (!value.ok()) return 0;
      n = string(value.get());
      break;
    }
    case QmdbEntity: {
      Text name(source.getId(o));
      Text value(copyValues ? source.getValue(o) : nullptr);
      if (!name.ok() || !value.ok()) return 0;
      n = entity(name.get(), value.get(), source.entityType(o));
      if (n != 0 && copyValues) {
        Text notation(source.getNotation(o));
        n = notation.ok() ? setNotation(n, notation.get()) : 0;
      }
      break;
    }
    case QmdbPi: {
      Text target(source.getId(o));
      Text data(copyValues ? source.getValue(o) : nullptr);
      if (!target.ok() || !data.ok()) return 0;
      n = pi(target.get(), data.get());
      break;
    }
    default:
      return 0;  // a dropped object, or no object at all
  }
  if (n == 0) return 0;
  const store::Store* from = Internal::store(source);
  long steps = from != nullptr ? qmdb::edits::attributeWalkLimit(*from) : 0;
  for (; a != 0; a = source.nextAttribute(a)) {
    if (--steps < 0) return 0;
    Text name(source.attrName(a));
    Text value(source.attrValue(a));
    if (!name.ok() || !value.ok()) return 0;
    if (addAttribute(n, name.get(), value.get(), source.attrType(a), source.attrClass(a)) == 0) {
      return 0;
    }
  }
  if (copyLink) {
    long target = source.getLinkedObject(o);
    if (target == 0) return n;
    Qmdb* linked = source.getLinkedDatabase(o);
    if (!qmdb::edits::setLink(*s, n, linked != nullptr ? Internal::id(*linked) : 0, target))
      return 0;
  } else if (linkToSource) {
    if (!qmdb::edits::setLink(*s, n, Internal::id(source), o)) return 0;
  }
  return n;
}

long Qmdb::copy(long object, bool copyAttributes, bool copyValues, bool copyLink,
                bool linkToSource) {
  return copy(this, object, copyAttributes, copyValues, copyLink, linkToSource);
}

long Qmdb::treeCopy(const Qmdb* db, long object, bool copyAttributes, bool copyValues,
                    bool copyLink, bool linkToSource) {
  if (Internal::writable(*this) == nullptr) return 0;
  long o = objects::handleOf(object);
  long c = copy(db, o, copyAttributes, copyValues, copyLink, linkToSource);
  if (c == 0) return 0;
  Qmdb& source = *const_cast<Qmdb*>(db);
  long steps = objects::walkLimit(*Internal::store(source));
  long current = c;
  // The copy grows detached, so a tree may be copied into a place inside itself.
  for (long x = source.first(o); x != 0 && x != -o; x = source.next(x, QmdbTree)) {
    if (--steps < 0) return 0;
    if (x > 0) {
      if (addCopy(current, db, x, copyAttributes, copyValues, copyLink, linkToSource) == 0)
        return 0;
      if (source.objectType(x) == QmdbNode) current = last(current);
    } else {
      current = parent(current);
    }
  }
  return c;
}

long Qmdb::treeCopy(long object, bool copyAttributes, bool copyValues, bool copyLink,
                    bool linkToSource) {
  return treeCopy(this, object, copyAttributes, copyValues, copyLink, linkToSource);
}

long Qmdb::addCopy(long parent, const Qmdb* db, long object, bool copyAttributes, bool copyValues,
                   bool copyLink, bool linkToSource) {
  return placeMade(*this, parent, 0, true, [&](bool) {
    return copy(db, object, copyAttributes, copyValues, copyLink, linkToSource);
  });
}

long Qmdb::addCopy(long parent, long object, bool copyAttributes, bool copyValues, bool copyLink,
                   bool linkToSource) {
  return addCopy(parent, this, object, copyAttributes, copyValues, copyLink, linkToSource);
}

long Qmdb::addTreeCopy(long parent, const Qmdb* db, long object, bool copyAttributes,
                       bool copyValues, bool copyLink, bool linkToSource) {
  return placeMade(*this, parent, 0, true, [&](bool) {
    return treeCopy(db, object, copyAttributes, copyValues, copyLink, linkToSource);
  });
}

long Qmdb::addTreeCopy(long parent, long object, bool copyAttributes, bool copyValues,
                       bool copyLink, bool linkToSource) {
  return addTreeCopy(parent, this, object, copyAttributes, copyValues, copyLink, linkToSource);
}

long Qmdb::insertCopy(long parent, long after, const Qmdb* db, long object, bool copyAttributes,
                      bool copyValues, bool copyLink, bool linkToSource) {
  return placeMade(*this, parent, after, false, [&](bool) {
    return copy(db, object, copyAttributes, copyValues, copyLink, linkToSource);
  });
}

long Qmdb::insertCopy(long parent, long after, long object, bool copyAttributes, bool copyValues,
                      bool copyLink, bool linkToSource) {
  return insertCopy(parent, after, this, object, copyAttributes, copyValues, copyLink,
                    linkToSource);
}

long Qmdb::insertTreeCopy(long parent, long after, const Qmdb* db, long object, bool copyAttributes,
                          bool copyValues, bool copyLink, bool linkToSource) {
  return placeMade(*this, parent, after, false, [&](bool) {
    return treeCopy(db, object, copyAttributes, copyValues, copyLink, linkToSource);
  });
}

long Qmdb::insertTreeCopy(long parent, long after, long object, bool copyAttributes,
                          bool copyValues, bool copyLink, bool linkToSource) {
  return insertTreeCopy(parent, after, this, object, copyAttributes, copyValues, copyLink,
                        linkToSource);
}
