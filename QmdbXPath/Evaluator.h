// Evaluating an expression tree over a database.
//
// Node-set expressions are evaluated as streams (NodeStream) that give their
// nodes one at a time in document order without duplicates; a node-set is
// collected into a vector only where the caller asks for the whole value or
// where order has to be restored by sorting (DocumentOrder), and then it holds
// the result only. Streams carry two facts that let a following step keep
// streaming: `flat` (no node is an ancestor of another) and `objectsOnly` (no
// attribute nodes).
#ifndef QMDBXPATH_EVALUATOR_H
#define QMDBXPATH_EVALUATOR_H

#include <memory>
#include <string>
#include <vector>

#include "Ast.h"
#include "DataModel.h"

namespace qmdbxpath {

using QmdbXPath::Value;
using QmdbXPath::Variables;

/// The context of an evaluation: the node, its position and the size.
struct Context {
  Node node;
  double position = 1;
  double size = 1;
};

class NodeStream {
 public:
  virtual ~NodeStream() = default;
  /// The next node into `out`; false at the end.
  virtual bool next(Node& out) = 0;
  bool flat = false;
  bool objectsOnly = false;
};
using StreamPtr = std::unique_ptr<NodeStream>;

/// A stream over nodes already collected in document order.
class VectorStream : public NodeStream {
 public:
  explicit VectorStream(std::vector<Node> nodes) : nodes_(std::move(nodes)) {}
  bool next(Node& out) override {
    if (at_ >= nodes_.size()) return false;
    out = nodes_[at_++];
    return true;
  }

 private:
  std::vector<Node> nodes_;
  size_t at_ = 0;
};

class Evaluator {
 public:
  Evaluator(Qmdb& db, const Variables& variables) : db_(db), variables_(variables) {}
  Evaluator(const Evaluator&) = delete;
  Evaluator& operator=(const Evaluator&) = delete;

  Qmdb& db() { return db_; }

  /// The value of `expr`; node-sets collected in document order.
  Value eval(const Expr& expr, const Context& context);
  /// The nodes of a node-set expression as a stream; fails (XPathError) for others.
  StreamPtr stream(const Expr& expr, const Context& context);
  /// The expression converted to a boolean, number or string.
  bool evalBoolean(const Expr& expr, const Context& context);
  double evalNumber(const Expr& expr, const Context& context);
  std::string evalString(const Expr& expr, const Context& context);
  /// Whether a predicate holds for the node at `position` (a number compares
  /// with the position, anything else is converted to a boolean).
  bool predicateHolds(const Expr& expr, const Context& context);

  bool booleanOf(const Value& value);
  double numberOf(const Value& value);
  std::string stringOf(const Value& value);

  /// Sorts nodes into document order without duplicates.
  void sortNodes(std::vector<Node>& nodes);
  /// A stream of one node.
  StreamPtr single(const Node& node);
  /// Collects a stream into a vector.
  static std::vector<Node> collect(NodeStream& stream);

 private:
  Value call(const Expr& expr, const Context& context);
  bool compare(const Expr& expr, const Context& context);
  std::vector<Node> idNodes(const Value& argument, const Context& context);
  StreamPtr filter(StreamPtr input, const std::vector<Predicate>& predicates);

  Qmdb& db_;
  const Variables& variables_;
};

/// A stream applying one location step to every node of `input`.
StreamPtr makeStepStream(Evaluator& evaluator, StreamPtr input, const Step& step);
/// A stream of the nodes of `input` that pass `predicates`, positions counted
/// over the whole of `input` in document order.
StreamPtr makeFilterStream(Evaluator& evaluator, StreamPtr input,
                           const std::vector<Predicate>& predicates);

}  // namespace qmdbxpath

#endif
