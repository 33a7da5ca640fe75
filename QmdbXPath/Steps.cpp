// Location steps and filters as streams (see Evaluator.h).
//
// A step takes its context nodes from the input stream in document order. It
// streams its result straight through when that keeps document order without
// duplicates: one context node; an attribute or self step; a child or
// descendant step over a flat input; a descendant step over any input of
// objects when no predicate needs a position (a context inside the subtree of
// the previous one adds nothing and is skipped); a child step over any input
// of objects until a context lies inside the one before it. Otherwise it
// collects its result (the rest of it, for that child step) and sorts it. Positions are counted per
// context node in the axis's order; a context's nodes are collected only when a predicate asks for
// last() or a reverse axis has to be turned round.
#include <algorithm>
#include <cstring>

#include "Axes.h"
#include "Error.h"
#include "Evaluator.h"

namespace qmdbxpath {
namespace {

// Whether the node passes the step's node test; `kind` is the node's kind
// when the caller knows it (None: not known).
bool matches(Qmdb& db, const Step& step, const Node& node, NodeKind kind = NodeKind::None) {
  if (kind == NodeKind::None) kind = kindOf(db, node);
  const NodeTest& test = step.test;
  switch (test.kind) {
    case TestKind::AnyNode:
      return true;
    case TestKind::Text:
      return kind == NodeKind::Text;
    case TestKind::Comment:
      return kind == NodeKind::Comment;
    case TestKind::Pi:
      if (kind != NodeKind::Pi) return false;
      if (!test.hasLiteral) return true;
      {
        const char* target = db.getGid(node.object);
        return target != nullptr && test.name == target;
      }
    default:
      break;
  }
  NodeKind principal = step.axis == Axis::Attribute ? NodeKind::Attribute : NodeKind::Element;
  if (kind != principal) return false;
  if (test.kind == TestKind::AnyName) return true;
  const char* name =
      kind == NodeKind::Attribute ? db.attrName(node.attribute) : db.getGid(node.object);
  if (name == nullptr) return false;
  if (test.kind == TestKind::PrefixAny) {
    return std::strncmp(name, test.name.c_str(), test.name.size()) == 0;
  }
  return test.name == name;
}

// Whether `a` is a proper ancestor of the object `h`.
bool isAncestor(Qmdb& db, long a, long h) {
  if (a == 1) return h != 1 && db.isAttached(db.root(h));
  for (long p = db.parent(h); p != 0; p = db.parent(p)) {
    if (p == a) return true;
  }
  return false;
}

// The index that answers the first predicate of a descendant step, if any:
// `E[@A = 'lit']` through an index named "E/@A", `E[. = 'lit']` through "E/text()".
struct IndexPlan {
  long index = 0;
  std::string key;
};

IndexPlan planIndex(Evaluator& ev, const Step& step) {
  IndexPlan plan;
  if (step.axis != Axis::Descendant || step.test.kind != TestKind::Name ||
      step.predicates.empty()) {
    return plan;
  }
  const Expr& eq = *step.predicates[0].expr;
  if (eq.op != Op::Eq) return plan;
  for (int side = 0; side < 2; ++side) {
    const Expr& path = *eq.args[side];
    const Expr& other = *eq.args[1 - side];
    if (path.op != Op::Path || path.absolute || !path.args.empty() || path.steps.size() != 1 ||
        !path.steps[0].predicates.empty()) {
      continue;
    }
    const Step& s = path.steps[0];
    std::string suffix;
    if (s.axis == Axis::Attribute && s.test.kind == TestKind::Name) {
      suffix = "/@" + s.test.name;
    } else if (s.axis == Axis::Self && s.test.kind == TestKind::AnyNode) {
      suffix = "/text()";
    } else {
      continue;
    }
    std::string key;
    if (other.op == Op::Literal) {
      key = other.text;
    } else if (other.op == Op::Variable) {
      Value v = ev.eval(other, Context{});
      if (v.kind != Value::String) continue;
      key = v.string;
    } else {
      continue;
    }
    long index = ev.db().index((step.test.name + suffix).c_str());
    if (index == 0) continue;
    plan.index = index;
    plan.key = key;
    return plan;
  }
  return plan;
}

// Whether the next node of a stream passes `predicates` in turn, each counting
// the positions of the nodes that reach it in `counters`. `reached` becomes
// true once the first predicate is a literal position now counted up to: no
// later node can pass, so the caller may stop reading.
bool passesCounting(Evaluator& ev, const std::vector<Predicate>& predicates,
                    std::vector<double>& counters, const Node& n, bool& reached) {
  bool pass = true;
  for (size_t k = 0; k < predicates.size() && pass; ++k) {
    double position = ++counters[k];
    pass = ev.predicateHolds(*predicates[k].expr, Context{n, position, position});
  }
  const Expr& first = *predicates[0].expr;
  reached = first.op == Op::Number && counters[0] >= first.number;
  return pass;
}

class StepStream : public NodeStream {
 public:
  StepStream(Evaluator& ev, StreamPtr input, const Step& step)
      : ev_(ev), db_(ev.db()), input_(std::move(input)), step_(step) {
    for (const Predicate& p : step_.predicates) usesLast_ = usesLast_ || p.usesLast;
    reverse_ = isReverseAxis(step_.axis);
    descendant_ = step_.axis == Axis::Descendant || step_.axis == Axis::DescendantOrSelf;
    objectsOnly =
        step_.axis != Axis::Attribute && !(step_.axis == Axis::Self && !input_->objectsOnly);
    flat = step_.axis == Axis::Attribute || step_.axis == Axis::Namespace ||
           (step_.axis == Axis::Self && input_->flat) ||
           (step_.axis == Axis::Child && input_->flat);
    plan_ = planIndex(ev_, step_);
  }

  bool next(Node& out) override {
    if (!begun_) begin();
    while (true) {
      if (at_ < buffer_.size()) {
        out = buffer_[at_++];
        return true;
      }
      if (sorted_) return false;
      if (cursor_ && pull(out)) return true;
      cursor_.reset();
      Node context;
      if (!nextContext(context)) return false;
      startContext(context);
    }
  }

 private:
  bool nextInput(Node& out) {
    if (!pending_.empty()) {
      out = pending_.front();
      pending_.erase(pending_.begin());
      return true;
    }
    return input_->next(out);
  }

  void begin() {
    begun_ = true;
    Node a, b;
    bool single = true;
    if (input_->next(a)) {
      pending_.push_back(a);
      if (input_->next(b)) {
        pending_.push_back(b);
        single = false;
      }
    }
    bool direct = single || step_.axis == Axis::Self || step_.axis == Axis::Attribute ||
                  step_.axis == Axis::Namespace ||
                  (input_->flat && (step_.axis == Axis::Child || descendant_));
    if (!direct && descendant_ && input_->objectsOnly && !step_.anyPositional()) {
      direct = true;
      prune_ = true;
    }
    if (!direct && step_.axis == Axis::Child && input_->objectsOnly) {
      direct = true;
      guarded_ = true;
    }
    if (single) flat = flat || step_.axis == Axis::Parent;
    if (direct) return;
    sorted_ = true;
    Node context;
    while (nextContext(context)) collectContext(context, buffer_);
    ev_.sortNodes(buffer_);
    at_ = 0;
  }

  bool nextContext(Node& out) {
    while (nextInput(out)) {
      if (out.attribute == 0) out.object = firstOfRun(db_, out.object);
      if (prune_) {
        if (havePrevious_ && out.attribute == 0 && isAncestor(db_, previous_, out.object)) {
          continue;
        }
        if (out.attribute == 0) {
          previous_ = out.object;
          havePrevious_ = true;
        }
      }
      return true;
    }
    return false;
  }

  void startContext(const Node& context) {
    buffer_.clear();
    at_ = 0;
    if (guarded_ && nextIsInside(context)) {
      // From here on children of nested contexts interleave: collect and sort.
      sorted_ = true;
      collectContext(context, buffer_);
      Node more;
      while (nextContext(more)) collectContext(more, buffer_);
      ev_.sortNodes(buffer_);
      return;
    }
    if (usesLast_ || reverse_ || plan_.index != 0) {
      collectContext(context, buffer_);
      if (reverse_) std::reverse(buffer_.begin(), buffer_.end());
      return;
    }
    cursor_ = std::make_unique<AxisCursor>(db_, step_.axis, context);
    counters_.assign(step_.predicates.size(), 0);
  }

  // Whether the next context lies inside `context`'s subtree; contexts come in
  // document order, so if none of the later ones does, the next one does not.
  bool nextIsInside(const Node& context) {
    if (pending_.empty()) {
      Node n;
      if (!input_->next(n)) return false;
      pending_.push_back(n);
    }
    const Node& next = pending_.front();
    return next.attribute == 0 && isAncestor(db_, context.object, next.object);
  }

  // Streams the current context's nodes, counting positions per predicate.
  bool pull(Node& out) {
    Node n;
    while (cursor_->next(n)) {
      if (!matches(db_, step_, n, cursor_->lastKind())) continue;
      if (step_.predicates.empty()) {
        out = n;
        return true;
      }
      bool reached = false;
      bool pass = passesCounting(ev_, step_.predicates, counters_, n, reached);
      if (reached) cursor_ = std::make_unique<AxisCursor>(db_, Axis::Namespace, n);
      if (pass) {
        out = n;
        return true;
      }
    }
    return false;
  }

  // The context's nodes in axis order, every predicate applied.
  void collectContext(const Node& context, std::vector<Node>& out) {
    std::vector<Node> nodes;
    size_t firstPredicate = 0;
    if (plan_.index != 0) {
      fromIndex(context, nodes);
      firstPredicate = 1;
    } else {
      AxisCursor cursor(db_, step_.axis, context);
      Node n;
      while (cursor.next(n)) {
        if (matches(db_, step_, n, cursor.lastKind())) nodes.push_back(n);
      }
    }
    for (size_t k = firstPredicate; k < step_.predicates.size(); ++k) {
      std::vector<Node> kept;
      double size = static_cast<double>(nodes.size());
      for (size_t i = 0; i < nodes.size(); ++i) {
        Context c{nodes[i], static_cast<double>(i + 1), size};
        if (ev_.predicateHolds(*step_.predicates[k].expr, c)) kept.push_back(nodes[i]);
      }
      nodes.swap(kept);
    }
    out.insert(out.end(), nodes.begin(), nodes.end());
  }

  // The descendants of `context` that the index lists under the key and that
  // pass the first predicate when checked again, in document order.
  void fromIndex(const Node& context, std::vector<Node>& nodes) {
    if (context.attribute != 0) return;
    QmdbList found;
    std::string key = plan_.key;
    db_.getIndex(&found, plan_.index, &key[0], nullptr);
    for (long h = found.first(); h != 0; h = found.next()) {
      if (found.db() != nullptr || !db_.isObject(h, QmdbNode)) continue;
      Node n{h, 0};
      if (!matches(db_, step_, n) || !isAncestor(db_, context.object, h)) continue;
      if (ev_.predicateHolds(*step_.predicates[0].expr, Context{n, 1, 1})) nodes.push_back(n);
    }
    ev_.sortNodes(nodes);
  }

  Evaluator& ev_;
  Qmdb& db_;
  StreamPtr input_;
  const Step& step_;
  IndexPlan plan_;
  bool usesLast_ = false;
  bool reverse_ = false;
  bool descendant_ = false;
  bool begun_ = false;
  bool sorted_ = false;
  bool prune_ = false;
  bool guarded_ = false;  // a child step streaming until a context nests in the previous one
  bool havePrevious_ = false;
  long previous_ = 0;
  std::vector<Node> pending_;
  std::vector<Node> buffer_;
  size_t at_ = 0;
  std::unique_ptr<AxisCursor> cursor_;
  std::vector<double> counters_;
};

class FilterStream : public NodeStream {
 public:
  FilterStream(Evaluator& ev, StreamPtr input, const std::vector<Predicate>& predicates)
      : ev_(ev), input_(std::move(input)), predicates_(predicates) {
    flat = input_->flat;
    objectsOnly = input_->objectsOnly;
    counters_.assign(predicates_.size(), 0);
    for (const Predicate& p : predicates_) usesLast_ = usesLast_ || p.usesLast;
  }

  bool next(Node& out) override {
    if (usesLast_) {
      if (!collected_) collectAll();
      if (at_ >= nodes_.size()) return false;
      out = nodes_[at_++];
      return true;
    }
    Node n;
    while (!exhausted_ && input_->next(n)) {
      if (passesCounting(ev_, predicates_, counters_, n, exhausted_)) {
        out = n;
        return true;
      }
    }
    return false;
  }

 private:
  void collectAll() {
    collected_ = true;
    nodes_ = Evaluator::collect(*input_);
    for (const Predicate& p : predicates_) {
      std::vector<Node> kept;
      double size = static_cast<double>(nodes_.size());
      for (size_t i = 0; i < nodes_.size(); ++i) {
        if (ev_.predicateHolds(*p.expr, Context{nodes_[i], static_cast<double>(i + 1), size})) {
          kept.push_back(nodes_[i]);
        }
      }
      nodes_.swap(kept);
    }
  }

  Evaluator& ev_;
  StreamPtr input_;
  const std::vector<Predicate>& predicates_;
  std::vector<double> counters_;
  bool usesLast_ = false;
  bool exhausted_ = false;
  bool collected_ = false;
  std::vector<Node> nodes_;
  size_t at_ = 0;
};

}  // namespace

StreamPtr makeStepStream(Evaluator& evaluator, StreamPtr input, const Step& step) {
  return std::make_unique<StepStream>(evaluator, std::move(input), step);
}

StreamPtr makeFilterStream(Evaluator& evaluator, StreamPtr input,
                           const std::vector<Predicate>& predicates) {
  return std::make_unique<FilterStream>(evaluator, std::move(input), predicates);
}

}  // namespace qmdbxpath
