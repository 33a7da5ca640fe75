// Walking one axis from one node, in the axis's own order (document order for
// forward axes, reverse document order for reverse ones), one node at a time.
// A cursor holds a few handles, never a list: the descendant, following and
// preceding axes are walks of the store's tree positions (start and end of
// each node), so they cost time in the size of the part walked and memory in
// its depth at most (the ancestors kept by the preceding axis).
#ifndef QMDBXPATH_AXES_H
#define QMDBXPATH_AXES_H

#include <vector>

#include "Ast.h"
#include "DataModel.h"

namespace qmdbxpath {

class AxisCursor {
 public:
  /// A cursor over `axis` from `origin` (a text node must be the first of its run).
  AxisCursor(Qmdb& db, Axis axis, const Node& origin);
  /// The next node of the axis into `out`; false when there are no more.
  bool next(Node& out);
  /// The kind of the node that next() gave, when the walk learnt it; None otherwise.
  NodeKind lastKind() const { return kind_; }

 private:
  bool nextChild(Node& out);
  bool nextInWalk(Node& out);
  bool nextPreceding(Node& out);
  bool nextPrecedingSibling(Node& out);
  bool nextAttribute(Node& out);

  Qmdb& db_;
  Axis axis_;
  Node origin_;
  bool started_ = false;
  bool done_ = false;
  long pos_ = 0;           // the next position to look at
  long end_ = 0;           // the walk's end position (descendants), 0 for the tree's end
  bool lastText_ = false;  // the position before pos_ was a string or entity
  std::vector<long> ancestors_;
  NodeKind kind_ = NodeKind::None;
};

}  // namespace qmdbxpath

#endif
