// Expressions, operators and comparisons (see Evaluator.h).
#include "Evaluator.h"

#include <cmath>
#include <limits>
#include <unordered_set>

#include "Error.h"

namespace qmdbxpath {
namespace {

class SingleStream : public NodeStream {
 public:
  explicit SingleStream(const Node& node) : node_(node) {
    flat = true;
    objectsOnly = node.attribute == 0;
  }
  bool next(Node& out) override {
    if (done_) return false;
    done_ = true;
    out = node_;
    return true;
  }

 private:
  Node node_;
  bool done_ = false;
};

bool compareNumbers(Op op, double a, double b) {
  switch (op) {
    case Op::Eq:
      return a == b;
    case Op::Ne:
      return a != b;
    case Op::Lt:
      return a < b;
    case Op::Le:
      return a <= b;
    case Op::Gt:
      return a > b;
    default:
      return a >= b;
  }
}

Op mirror(Op op) {
  switch (op) {
    case Op::Lt:
      return Op::Gt;
    case Op::Le:
      return Op::Ge;
    case Op::Gt:
      return Op::Lt;
    case Op::Ge:
      return Op::Le;
    default:
      return op;
  }
}

}  // namespace

StreamPtr Evaluator::single(const Node& node) {
  return std::make_unique<SingleStream>(node);
}

std::vector<Node> Evaluator::collect(NodeStream& stream) {
  std::vector<Node> nodes;
  Node n;
  while (stream.next(n)) nodes.push_back(n);
  return nodes;
}

void Evaluator::sortNodes(std::vector<Node>& nodes) {
  DocumentOrder order(db_);
  order.sort(nodes);
}

bool Evaluator::booleanOf(const Value& v) {
  switch (v.kind) {
    case Value::NodeSet:
      return !v.nodes.empty();
    case Value::Number:
      return v.number != 0 && !std::isnan(v.number);
    case Value::String:
      return !v.string.empty();
    default:
      return v.boolean;
  }
}

double Evaluator::numberOf(const Value& v) {
  switch (v.kind) {
    case Value::Number:
      return v.number;
    case Value::Boolean:
      return v.boolean ? 1 : 0;
    default:
      return QmdbXPath::stringToNumber(stringOf(v));
  }
}

std::string Evaluator::stringOf(const Value& v) {
  switch (v.kind) {
    case Value::NodeSet:
      return v.nodes.empty() ? "" : stringValueOf(db_, v.nodes[0]);
    case Value::Number:
      return QmdbXPath::numberToString(v.number);
    case Value::String:
      return v.string;
    default:
      return v.boolean ? "true" : "false";
  }
}

bool Evaluator::evalBoolean(const Expr& expr, const Context& context) {
  if (expr.type == StaticType::NodeSet) {
    Node n;
    return stream(expr, context)->next(n);
  }
  return booleanOf(eval(expr, context));
}

double Evaluator::evalNumber(const Expr& expr, const Context& context) {
  if (expr.op == Op::Number) return expr.number;
  return numberOf(eval(expr, context));
}

std::string Evaluator::evalString(const Expr& expr, const Context& context) {
  if (expr.op == Op::Literal) return expr.text;
  if (expr.type == StaticType::NodeSet) {
    Node n;
    return stream(expr, context)->next(n) ? stringValueOf(db_, n) : "";
  }
  return stringOf(eval(expr, context));
}

bool Evaluator::predicateHolds(const Expr& expr, const Context& context) {
  if (expr.op == Op::Number) return expr.number == context.position;
  if (expr.type == StaticType::Boolean || expr.type == StaticType::NodeSet) {
    return evalBoolean(expr, context);
  }
  Value v = eval(expr, context);
  if (v.kind == Value::Number) return v.number == context.position;
  return booleanOf(v);
}

// One side of a comparison: a stream of nodes or a plain value.
struct Operand {
  StreamPtr nodes;
  Value value;
};

bool Evaluator::compare(const Expr& expr, const Context& context) {
  Operand sides[2];
  for (int i = 0; i < 2; ++i) {
    const Expr& e = *expr.args[i];
    if (e.type == StaticType::NodeSet) {
      sides[i].nodes = stream(e, context);
    } else {
      sides[i].value = eval(e, context);
      if (sides[i].value.kind == Value::NodeSet) {
        sides[i].nodes = std::make_unique<VectorStream>(std::move(sides[i].value.nodes));
      }
    }
  }
  Op op = expr.op;
  bool equality = op == Op::Eq || op == Op::Ne;
  if (!sides[0].nodes && sides[1].nodes) {
    std::swap(sides[0], sides[1]);
    op = mirror(op);
  }
  Node n;
  if (sides[0].nodes && sides[1].nodes) {
    // Both node-sets: some pair of string-values (or numbers) compares true.
    if (equality) {
      std::unordered_set<std::string> right;
      while (sides[1].nodes->next(n)) right.insert(stringValueOf(db_, n));
      if (right.empty()) return false;
      while (sides[0].nodes->next(n)) {
        std::string s = stringValueOf(db_, n);
        if (op == Op::Eq ? right.count(s) != 0 : (right.size() > 1 || right.count(s) == 0)) {
          return true;
        }
      }
      return false;
    }
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    bool any = false;
    while (sides[1].nodes->next(n)) {
      double x = QmdbXPath::stringToNumber(stringValueOf(db_, n));
      if (std::isnan(x)) continue;
      any = true;
      low = std::min(low, x);
      high = std::max(high, x);
    }
    if (!any) return false;
    while (sides[0].nodes->next(n)) {
      double x = QmdbXPath::stringToNumber(stringValueOf(db_, n));
      bool hit =
          (op == Op::Lt || op == Op::Le) ? compareNumbers(op, x, high) : compareNumbers(op, x, low);
      if (hit) return true;
    }
    return false;
  }
  if (sides[0].nodes) {
    const Value& other = sides[1].value;
    if (other.kind == Value::Boolean) {
      bool some = sides[0].nodes->next(n);
      if (equality) return (some == other.boolean) == (op == Op::Eq);
      return compareNumbers(op, some ? 1 : 0, other.boolean ? 1 : 0);
    }
    if (other.kind == Value::String && equality) {
      while (sides[0].nodes->next(n)) {
        if ((stringValueOf(db_, n) == other.string) == (op == Op::Eq)) return true;
      }
      return false;
    }
    double y = numberOf(other);
    while (sides[0].nodes->next(n)) {
      if (compareNumbers(op, QmdbXPath::stringToNumber(stringValueOf(db_, n)), y)) return true;
    }
    return false;
  }
  const Value& a = sides[0].value;
  const Value& b = sides[1].value;
  if (equality) {
    if (a.kind == Value::Boolean || b.kind == Value::Boolean) {
      return (booleanOf(a) == booleanOf(b)) == (op == Op::Eq);
    }
    if (a.kind == Value::Number || b.kind == Value::Number) {
      return compareNumbers(op, numberOf(a), numberOf(b));
    }
    return (stringOf(a) == stringOf(b)) == (op == Op::Eq);
  }
  return compareNumbers(op, numberOf(a), numberOf(b));
}

StreamPtr Evaluator::stream(const Expr& expr, const Context& context) {
  switch (expr.op) {
    case Op::Path: {
      StreamPtr s;
      if (expr.absolute) {
        s = single(Node{1, 0});
      } else if (!expr.args.empty()) {
        s = stream(*expr.args[0], context);
      } else {
        s = single(context.node);
      }
      for (const Step& step : expr.steps) s = makeStepStream(*this, std::move(s), step);
      return s;
    }
    case Op::Filter: {
      StreamPtr s = stream(*expr.args[0], context);
      return makeFilterStream(*this, std::move(s), expr.predicates);
    }
    case Op::Union: {
      std::vector<Node> all = collect(*stream(*expr.args[0], context));
      std::vector<Node> right = collect(*stream(*expr.args[1], context));
      all.insert(all.end(), right.begin(), right.end());
      sortNodes(all);
      return std::make_unique<VectorStream>(std::move(all));
    }
    default: {
      Value v = eval(expr, context);
      if (v.kind != Value::NodeSet) fail("expected a node-set", expr.offset);
      return std::make_unique<VectorStream>(std::move(v.nodes));
    }
  }
}

Value Evaluator::eval(const Expr& expr, const Context& context) {
  switch (expr.op) {
    case Op::Or:
      return Value::ofBoolean(evalBoolean(*expr.args[0], context) ||
                              evalBoolean(*expr.args[1], context));
    case Op::And:
      return Value::ofBoolean(evalBoolean(*expr.args[0], context) &&
                              evalBoolean(*expr.args[1], context));
    case Op::Eq:
    case Op::Ne:
    case Op::Lt:
    case Op::Le:
    case Op::Gt:
    case Op::Ge:
      return Value::ofBoolean(compare(expr, context));
    case Op::Add:
    case Op::Sub:
    case Op::Mul:
    case Op::Div:
    case Op::Mod: {
      double a = evalNumber(*expr.args[0], context);
      double b = evalNumber(*expr.args[1], context);
      switch (expr.op) {
        case Op::Add:
          return Value::ofNumber(a + b);
        case Op::Sub:
          return Value::ofNumber(a - b);
        case Op::Mul:
          return Value::ofNumber(a * b);
        case Op::Div:
          return Value::ofNumber(a / b);
        default:
          return Value::ofNumber(std::fmod(a, b));
      }
    }
    case Op::Neg:
      return Value::ofNumber(-evalNumber(*expr.args[0], context));
    case Op::Number:
      return Value::ofNumber(expr.number);
    case Op::Literal:
      return Value::ofString(expr.text);
    case Op::Variable: {
      auto found = variables_.find(expr.text);
      if (found == variables_.end()) fail("unbound variable $" + expr.text, expr.offset);
      if (found->second.kind != Value::NodeSet) return found->second;
      std::vector<Node> nodes = found->second.nodes;
      sortNodes(nodes);
      return Value::ofNodes(std::move(nodes));
    }
    case Op::Function:
      return call(expr, context);
    case Op::Filter: {
      if (expr.args[0]->type != StaticType::NodeSet) {
        Value v = eval(*expr.args[0], context);
        if (v.kind != Value::NodeSet) fail("a predicate needs a node-set", expr.offset);
      }
      return Value::ofNodes(collect(*stream(expr, context)));
    }
    case Op::Path:
    case Op::Union:
      return Value::ofNodes(collect(*stream(expr, context)));
  }
  return Value{};
}

}  // namespace qmdbxpath
