// Axis cursors (see Axes.h).
#include "Axes.h"

#include <algorithm>

namespace qmdbxpath {

AxisCursor::AxisCursor(Qmdb& db, Axis axis, const Node& origin)
    : db_(db), axis_(axis), origin_(origin) {}

// Children, or the following siblings: the sibling list from pos_, one node
// for each run of text.
bool AxisCursor::nextChild(Node& out) {
  while (pos_ != 0) {
    long h = pos_;
    pos_ = db_.next(h, QmdbSiblings);
    NodeKind kind = objectKind(db_, h);
    if (kind == NodeKind::Hidden || kind == NodeKind::None) continue;
    bool text = kind == NodeKind::Text;
    bool skip = text && lastText_;
    lastText_ = text;
    if (skip) continue;
    out = Node{h, 0};
    kind_ = kind;
    return true;
  }
  return false;
}

// A forward walk over tree positions from pos_ up to end_ (descendants or
// following): start positions are nodes, end positions are passed over.
bool AxisCursor::nextInWalk(Node& out) {
  while (pos_ != 0 && pos_ != end_) {
    long p = pos_;
    pos_ = db_.next(p, QmdbTree);
    if (p < 0) {
      lastText_ = false;
      continue;
    }
    NodeKind kind = objectKind(db_, p);
    if (kind == NodeKind::Hidden || kind == NodeKind::None) {
      lastText_ = false;
      continue;
    }
    bool text = kind == NodeKind::Text;
    bool skip = text && lastText_;
    lastText_ = text;
    if (skip) continue;
    out = Node{p, 0};
    kind_ = kind;
    return true;
  }
  return false;
}

// A backward walk: a node is met at its end first (positive) and at its start
// last (negative), after its descendants, which is where it belongs in
// reverse document order; the ancestors of the origin are met only at their
// start, by climbing, and are left out.
bool AxisCursor::nextPreceding(Node& out) {
  while (pos_ != 0) {
    pos_ = db_.previous(pos_, QmdbTree);
    long p = pos_;
    if (p == 0) break;
    if (p < 0) {
      if (std::find(ancestors_.begin(), ancestors_.end(), -p) != ancestors_.end()) continue;
      out = Node{-p, 0};
      kind_ = NodeKind::Element;
      return true;
    }
    NodeKind kind = objectKind(db_, p);
    if (kind == NodeKind::Element || kind == NodeKind::Hidden || kind == NodeKind::None) continue;
    if (kind == NodeKind::Text) {
      long before = db_.previous(p, QmdbSiblings);
      if (before != 0 && objectKind(db_, before) == NodeKind::Text) continue;
    }
    out = Node{p, 0};
    kind_ = kind;
    return true;
  }
  return false;
}

bool AxisCursor::nextPrecedingSibling(Node& out) {
  while (pos_ != 0) {
    long h = pos_;
    pos_ = db_.previous(h, QmdbSiblings);
    NodeKind kind = objectKind(db_, h);
    if (kind == NodeKind::Hidden || kind == NodeKind::None) continue;
    if (kind == NodeKind::Text && pos_ != 0 && objectKind(db_, pos_) == NodeKind::Text) continue;
    out = Node{h, 0};
    kind_ = kind;
    return true;
  }
  return false;
}

bool AxisCursor::nextAttribute(Node& out) {
  while (pos_ != 0) {
    long a = pos_;
    pos_ = db_.nextAttribute(a);
    if (isNamespaceDeclaration(db_.attrName(a))) continue;
    out = Node{origin_.object, a};
    kind_ = NodeKind::Attribute;
    return true;
  }
  return false;
}

bool AxisCursor::next(Node& out) {
  kind_ = NodeKind::None;
  if (done_) return false;
  bool first = !started_;
  started_ = true;
  NodeKind kind = first ? kindOf(db_, origin_) : NodeKind::None;
  bool hasChildren = kind == NodeKind::Root || kind == NodeKind::Element;
  switch (axis_) {
    case Axis::Self:
      done_ = true;
      out = origin_;
      return true;
    case Axis::Parent:
    case Axis::Ancestor:
    case Axis::AncestorOrSelf:
      if (first && axis_ == Axis::AncestorOrSelf) {
        out = origin_;
        pos_ = origin_.object;
        if (origin_.attribute == 0) pos_ = parentOf(db_, origin_).object;
        return true;
      }
      if (first) pos_ = parentOf(db_, origin_).object;
      if (pos_ == 0 || (!first && axis_ == Axis::Parent)) break;
      out = Node{pos_, 0};
      pos_ = parentOf(db_, out).object;
      return true;
    case Axis::Child:
      if (first) {
        if (!hasChildren) break;
        pos_ = db_.first(origin_.object);
      }
      if (nextChild(out)) return true;
      break;
    case Axis::FollowingSibling:
      if (first) {
        if (kind == NodeKind::Attribute || kind == NodeKind::Root) break;
        pos_ = db_.next(origin_.object, QmdbSiblings);
        lastText_ = kind == NodeKind::Text;
      }
      if (nextChild(out)) return true;
      break;
    case Axis::PrecedingSibling:
      if (first) {
        if (kind == NodeKind::Attribute || kind == NodeKind::Root) break;
        pos_ = db_.previous(origin_.object, QmdbSiblings);
      }
      if (nextPrecedingSibling(out)) return true;
      break;
    case Axis::Descendant:
    case Axis::DescendantOrSelf:
      if (first) {
        if (axis_ == Axis::DescendantOrSelf) {
          out = origin_;
          if (hasChildren) {
            pos_ = db_.first(origin_.object);
            end_ = -origin_.object;
          } else {
            done_ = true;
          }
          return true;
        }
        if (!hasChildren) break;
        pos_ = db_.first(origin_.object);
        end_ = -origin_.object;
      }
      if (nextInWalk(out)) return true;
      break;
    case Axis::Following:
      if (first) {
        if (kind == NodeKind::Root) break;
        if (kind == NodeKind::Attribute) {
          pos_ = origin_.object;  // the owner's start: its children follow
        } else {
          pos_ = kind == NodeKind::Element ? -origin_.object : origin_.object;
          lastText_ = kind == NodeKind::Text;
        }
        pos_ = db_.next(pos_, QmdbTree);
        end_ = 0;
      }
      if (nextInWalk(out)) return true;
      break;
    case Axis::Preceding:
      if (first) {
        if (kind == NodeKind::Root) break;
        long h = origin_.object;
        for (long a = db_.parent(h); a != 0; a = db_.parent(a)) ancestors_.push_back(a);
        pos_ = objectKind(db_, h) == NodeKind::Element ? -h : h;
      }
      if (nextPreceding(out)) return true;
      break;
    case Axis::Attribute:
      if (first) {
        if (kind != NodeKind::Element) break;
        pos_ = db_.attribute(origin_.object, nullptr, QmdbNoAttributeType, QmdbNoAttributeClass,
                             false);
      }
      if (nextAttribute(out)) return true;
      break;
    case Axis::Namespace:
      break;
  }
  done_ = true;
  return false;
}

}  // namespace qmdbxpath
