// The expression tree an XPath expression is parsed into. Every node records
// the byte offset where its text begins, so that errors found later can still
// point into the expression. Static types are worked out by the parser; they
// let the evaluator stream node-sets and skip positions where nothing asks
// for them.
#ifndef QMDBXPATH_AST_H
#define QMDBXPATH_AST_H

#include <memory>
#include <string>
#include <vector>

namespace qmdbxpath {

enum class Axis {
  Ancestor,
  AncestorOrSelf,
  Attribute,
  Child,
  Descendant,
  DescendantOrSelf,
  Following,
  FollowingSibling,
  Namespace,
  Parent,
  Preceding,
  PrecedingSibling,
  Self
};

/// True for the axes whose proximity order is reverse document order.
inline bool isReverseAxis(Axis axis) {
  return axis == Axis::Ancestor || axis == Axis::AncestorOrSelf || axis == Axis::Preceding ||
         axis == Axis::PrecedingSibling;
}

enum class TestKind { Name, AnyName, PrefixAny, AnyNode, Text, Comment, Pi };

struct NodeTest {
  TestKind kind = TestKind::AnyNode;
  std::string name;  // the QName, the prefix of `p:*`, or the literal of processing-instruction()
  bool hasLiteral = false;
};

enum class Op {
  Or,
  And,
  Eq,
  Ne,
  Lt,
  Le,
  Gt,
  Ge,
  Add,
  Sub,
  Mul,
  Div,
  Mod,
  Neg,
  Union,
  Number,
  Literal,
  Variable,
  Function,
  Filter,
  Path
};

enum class StaticType { NodeSet, Number, String, Boolean, Unknown };

struct Expr;
using ExprPtr = std::unique_ptr<Expr>;

/// A predicate with what the evaluator needs to know about it.
struct Predicate {
  ExprPtr expr;
  bool positional = false;  // may depend on the position (a number, or position()/last())
  bool usesLast = false;    // calls last() in its own context
};

struct Step {
  Axis axis = Axis::Child;
  NodeTest test;
  std::vector<Predicate> predicates;
  long offset = 0;
  bool anyPositional() const {
    for (const Predicate& p : predicates) {
      if (p.positional) return true;
    }
    return false;
  }
};

enum class Function {
  Last,
  Position,
  Count,
  Id,
  LocalName,
  NamespaceUri,
  Name,
  String,
  Concat,
  StartsWith,
  Contains,
  SubstringBefore,
  SubstringAfter,
  Substring,
  StringLength,
  NormalizeSpace,
  Translate,
  Boolean,
  Not,
  True,
  False,
  Lang,
  Number,
  Sum,
  Floor,
  Ceiling,
  Round
};

struct Expr {
  Op op = Op::Number;
  long offset = 0;
  StaticType type = StaticType::Unknown;
  std::vector<ExprPtr> args;          // operands, function arguments, or a filter's primary
  std::vector<Predicate> predicates;  // of a Filter
  double number = 0;                  // Number
  std::string text;                   // Literal text, Variable name
  Function function = Function::Last;
  // Path: starts at the root (absolute), at a filter (args[0]) or at the context node.
  bool absolute = false;
  std::vector<Step> steps;
};

}  // namespace qmdbxpath

#endif
