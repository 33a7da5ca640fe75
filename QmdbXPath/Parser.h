// Parsing XPath 1.0 text into an expression tree (Ast.h). The lexer applies
// the recommendation's disambiguation rules (a `*` or a name after an operand
// is an operator); the parser is recursive descent over the grammar, expands
// the abbreviations (`//`, `.`, `..`, `@`), checks function names and arity,
// and folds `//name` into one descendant step when no predicate needs a
// position.
#ifndef QMDBXPATH_PARSER_H
#define QMDBXPATH_PARSER_H

#include <string>

#include "Ast.h"

namespace qmdbxpath {

/// The tree of `text`; throws XPathError (message, offset) when it is malformed.
ExprPtr parse(const std::string& text);

/// Calls `visit` with the name and offset of every variable reference.
template <typename Visit>
void forEachVariable(const Expr& expr, Visit&& visit) {
  if (expr.op == Op::Variable) visit(expr.text, expr.offset);
  for (const ExprPtr& arg : expr.args) forEachVariable(*arg, visit);
  for (const Predicate& p : expr.predicates) forEachVariable(*p.expr, visit);
  for (const Step& step : expr.steps) {
    for (const Predicate& p : step.predicates) forEachVariable(*p.expr, visit);
  }
}

}  // namespace qmdbxpath

#endif
