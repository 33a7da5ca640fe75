// The entry points: parse, check the variables, evaluate, and turn every
// internal failure into a Result.
#include <new>

#include "Error.h"
#include "Evaluator.h"
#include "Parser.h"

namespace QmdbXPath {

Value Value::ofNumber(double n) {
  Value v;
  v.kind = Number;
  v.number = n;
  return v;
}

Value Value::ofString(std::string s) {
  Value v;
  v.kind = String;
  v.string = std::move(s);
  return v;
}

Value Value::ofBoolean(bool b) {
  Value v;
  v.kind = Boolean;
  v.boolean = b;
  return v;
}

Value Value::ofNodes(std::vector<Node> nodes) {
  Value v;
  v.kind = NodeSet;
  v.nodes = std::move(nodes);
  return v;
}

namespace {

using qmdbxpath::Context;
using qmdbxpath::Evaluator;
using qmdbxpath::XPathError;

Result failure(const std::string& message, long offset) {
  Result r;
  r.ok = false;
  r.message = message;
  r.offset = offset;
  return r;
}

// Parses and evaluates; `visit` (when given) receives a node-set's nodes
// instead of Result.value.
Result run(Qmdb& db, const std::string& expression, long context, const Variables& variables,
           const std::function<bool(const Node&)>* visit) {
  try {
    if (!db.isValid()) return failure("the database is not usable", -1);
    qmdbxpath::ExprPtr tree = qmdbxpath::parse(expression);
    qmdbxpath::forEachVariable(*tree, [&](const std::string& name, long offset) {
      if (variables.count(name) == 0) qmdbxpath::fail("unbound variable $" + name, offset);
    });
    if (context == 0 || (context != 1 && !db.isObject(context, QmdbNoObject))) {
      return failure("the context is not an object of the database", -1);
    }
    Evaluator evaluator(db, variables);
    Context c;
    c.node = Node{qmdbxpath::firstOfRun(db, context), 0};
    Result result;
    if (tree->type == qmdbxpath::StaticType::NodeSet) {
      qmdbxpath::StreamPtr nodes = evaluator.stream(*tree, c);
      Node n;
      result.value.kind = Value::NodeSet;
      while (nodes->next(n)) {
        if (visit == nullptr) {
          result.value.nodes.push_back(n);
        } else if (!(*visit)(n)) {
          break;
        }
      }
    } else {
      result.value = evaluator.eval(*tree, c);
      if (visit != nullptr && result.value.kind == Value::NodeSet) {
        std::vector<Node> nodes = std::move(result.value.nodes);
        result.value.nodes.clear();
        for (const Node& n : nodes) {
          if (!(*visit)(n)) break;
        }
      }
    }
    if (!db.isValid()) return failure("the database failed during the evaluation", -1);
    return result;
  } catch (const XPathError& e) {
    return failure(e.message, e.offset);
  } catch (const std::bad_alloc&) {
    return failure("out of memory", -1);
  } catch (...) {
    return failure("internal failure", -1);
  }
}

}  // namespace

Result evaluate(Qmdb& db, const std::string& expression, long context, const Variables& variables) {
  return run(db, expression, context, variables, nullptr);
}

Result forEach(Qmdb& db, const std::string& expression, long context, const Variables& variables,
               const std::function<bool(const Node&)>& visit) {
  return run(db, expression, context, variables, &visit);
}

std::string stringValue(Qmdb& db, const Node& node) {
  try {
    return qmdbxpath::stringValueOf(db, node);
  } catch (...) {
    return std::string();
  }
}

std::string name(Qmdb& db, const Node& node) {
  try {
    return qmdbxpath::nameOf(db, node);
  } catch (...) {
    return std::string();
  }
}

std::string toString(Qmdb& db, const Value& value) {
  try {
    Variables none;
    Evaluator evaluator(db, none);
    return evaluator.stringOf(value);
  } catch (...) {
    return std::string();
  }
}

}  // namespace QmdbXPath
