// Lexer and recursive-descent parser for XPath 1.0 (see Parser.h).
#include "Parser.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "Error.h"
#include <Qmdb/QmdbXPath>

namespace qmdbxpath {
namespace {

enum class Tok {
  End,
  LParen,
  RParen,
  LBracket,
  RBracket,
  Dot,
  DotDot,
  At,
  Comma,
  ColonColon,
  Slash,
  SlashSlash,
  Pipe,
  Plus,
  Minus,
  Eq,
  Ne,
  Lt,
  Le,
  Gt,
  Ge,
  Star,
  And,
  Or,
  Mod,
  Div,   // operator names
  Name,  // a QName, `*` test, or `p:*` (NameTest)
  Literal,
  Number,
  Variable,
  FunctionName,
  NodeType,
  AxisName
};

struct Token {
  Tok kind = Tok::End;
  std::string text;
  double number = 0;
  long offset = 0;
};

bool isNameStart(unsigned char c) {
  return std::isalpha(c) || c == '_' || c >= 0x80;
}
bool isNameChar(unsigned char c) {
  return isNameStart(c) || std::isdigit(c) || c == '.' || c == '-';
}
bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The recommendation's rule: after an operand, `*` multiplies and a name is an operator.
bool operandEnded(const std::vector<Token>& tokens) {
  if (tokens.empty()) return false;
  switch (tokens.back().kind) {
    case Tok::At:
    case Tok::ColonColon:
    case Tok::LParen:
    case Tok::LBracket:
    case Tok::Comma:
    case Tok::Slash:
    case Tok::SlashSlash:
    case Tok::Pipe:
    case Tok::Plus:
    case Tok::Minus:
    case Tok::Eq:
    case Tok::Ne:
    case Tok::Lt:
    case Tok::Le:
    case Tok::Gt:
    case Tok::Ge:
    case Tok::Star:
    case Tok::And:
    case Tok::Or:
    case Tok::Mod:
    case Tok::Div:
      return false;
    default:
      return true;
  }
}

size_t scanNcName(const std::string& s, size_t i) {
  if (i >= s.size() || !isNameStart(static_cast<unsigned char>(s[i]))) return i;
  while (i < s.size() && isNameChar(static_cast<unsigned char>(s[i]))) ++i;
  return i;
}

std::vector<Token> tokenize(const std::string& s) {
  std::vector<Token> out;
  size_t i = 0;
  auto push = [&](Tok kind, size_t start, size_t length) {
    Token t;
    t.kind = kind;
    t.offset = static_cast<long>(start);
    t.text = s.substr(start, length);
    out.push_back(std::move(t));
    i = start + length;
  };
  while (true) {
    while (i < s.size() && isSpace(s[i])) ++i;
    if (i >= s.size()) break;
    char c = s[i];
    char d = i + 1 < s.size() ? s[i + 1] : '\0';
    switch (c) {
      case '(':
        push(Tok::LParen, i, 1);
        continue;
      case ')':
        push(Tok::RParen, i, 1);
        continue;
      case '[':
        push(Tok::LBracket, i, 1);
        continue;
      case ']':
        push(Tok::RBracket, i, 1);
        continue;
      case '@':
        push(Tok::At, i, 1);
        continue;
      case ',':
        push(Tok::Comma, i, 1);
        continue;
      case '|':
        push(Tok::Pipe, i, 1);
        continue;
      case '+':
        push(Tok::Plus, i, 1);
        continue;
      case '-':
        push(Tok::Minus, i, 1);
        continue;
      case '=':
        push(Tok::Eq, i, 1);
        continue;
      case '/':
        push(d == '/' ? Tok::SlashSlash : Tok::Slash, i, d == '/' ? 2 : 1);
        continue;
      case '<':
        push(d == '=' ? Tok::Le : Tok::Lt, i, d == '=' ? 2 : 1);
        continue;
      case '>':
        push(d == '=' ? Tok::Ge : Tok::Gt, i, d == '=' ? 2 : 1);
        continue;
      case '!':
        if (d != '=') fail("'!' must be followed by '='", static_cast<long>(i));
        push(Tok::Ne, i, 2);
        continue;
      case ':':
        if (d != ':') fail("unexpected ':'", static_cast<long>(i));
        push(Tok::ColonColon, i, 2);
        continue;
      case '*':
        push(operandEnded(out) ? Tok::Star : Tok::Name, i, 1);
        continue;
      case '"':
      case '\'': {
        size_t end = s.find(c, i + 1);
        if (end == std::string::npos) fail("unterminated literal", static_cast<long>(i));
        Token t;
        t.kind = Tok::Literal;
        t.offset = static_cast<long>(i);
        t.text = s.substr(i + 1, end - i - 1);
        out.push_back(std::move(t));
        i = end + 1;
        continue;
      }
      case '$': {
        size_t start = i;
        size_t end = scanNcName(s, i + 1);
        if (end == i + 1) fail("expected a variable name after '$'", static_cast<long>(i + 1));
        if (end + 1 < s.size() && s[end] == ':' && s[end + 1] != ':') {
          size_t local = scanNcName(s, end + 1);
          if (local == end + 1) fail("expected a name after ':'", static_cast<long>(end + 1));
          end = local;
        }
        Token t;
        t.kind = Tok::Variable;
        t.offset = static_cast<long>(start);
        t.text = s.substr(start + 1, end - start - 1);
        out.push_back(std::move(t));
        i = end;
        continue;
      }
      default:
        break;
    }
    if (c == '.' && d == '.') {
      push(Tok::DotDot, i, 2);
      continue;
    }
    if (std::isdigit(static_cast<unsigned char>(c)) ||
        (c == '.' && std::isdigit(static_cast<unsigned char>(d)))) {
      size_t start = i;
      while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) ++i;
      if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) ++i;
      }
      Token t;
      t.kind = Tok::Number;
      t.offset = static_cast<long>(start);
      t.text = s.substr(start, i - start);
      t.number = QmdbXPath::stringToNumber(t.text);
      out.push_back(std::move(t));
      continue;
    }
    if (c == '.') {
      push(Tok::Dot, i, 1);
      continue;
    }
    if (!isNameStart(static_cast<unsigned char>(c))) {
      fail(std::string("unexpected character '") + c + "'", static_cast<long>(i));
    }
    size_t start = i;
    size_t end = scanNcName(s, i);
    if (operandEnded(out)) {
      std::string word = s.substr(start, end - start);
      Tok kind = word == "and"   ? Tok::And
                 : word == "or"  ? Tok::Or
                 : word == "mod" ? Tok::Mod
                 : word == "div" ? Tok::Div
                                 : Tok::End;
      if (kind == Tok::End) {
        fail("expected an operator, found '" + word + "'", static_cast<long>(start));
      }
      push(kind, start, end - start);
      continue;
    }
    if (end < s.size() && s[end] == ':' && end + 1 < s.size() && s[end + 1] != ':') {
      if (s[end + 1] == '*') {
        end += 2;
      } else {
        size_t local = scanNcName(s, end + 1);
        if (local == end + 1) fail("expected a name after ':'", static_cast<long>(end + 1));
        end = local;
      }
    }
    std::string word = s.substr(start, end - start);
    size_t j = end;
    while (j < s.size() && isSpace(s[j])) ++j;
    Tok kind = Tok::Name;
    if (j + 1 < s.size() && s[j] == ':' && s[j + 1] == ':') {
      kind = Tok::AxisName;
    } else if (j < s.size() && s[j] == '(') {
      kind = (word == "node" || word == "text" || word == "comment" ||
              word == "processing-instruction")
                 ? Tok::NodeType
                 : Tok::FunctionName;
    }
    push(kind, start, end - start);
  }
  Token end;
  end.kind = Tok::End;
  end.offset = static_cast<long>(s.size());
  out.push_back(end);
  return out;
}

struct FunctionInfo {
  const char* name;
  Function function;
  int minArgs;
  int maxArgs;  // -1: any number
  StaticType type;
};

const FunctionInfo kFunctions[] = {
    {"last", Function::Last, 0, 0, StaticType::Number},
    {"position", Function::Position, 0, 0, StaticType::Number},
    {"count", Function::Count, 1, 1, StaticType::Number},
    {"id", Function::Id, 1, 1, StaticType::NodeSet},
    {"local-name", Function::LocalName, 0, 1, StaticType::String},
    {"namespace-uri", Function::NamespaceUri, 0, 1, StaticType::String},
    {"name", Function::Name, 0, 1, StaticType::String},
    {"string", Function::String, 0, 1, StaticType::String},
    {"concat", Function::Concat, 2, -1, StaticType::String},
    {"starts-with", Function::StartsWith, 2, 2, StaticType::Boolean},
    {"contains", Function::Contains, 2, 2, StaticType::Boolean},
    {"substring-before", Function::SubstringBefore, 2, 2, StaticType::String},
    {"substring-after", Function::SubstringAfter, 2, 2, StaticType::String},
    {"substring", Function::Substring, 2, 3, StaticType::String},
    {"string-length", Function::StringLength, 0, 1, StaticType::Number},
    {"normalize-space", Function::NormalizeSpace, 0, 1, StaticType::String},
    {"translate", Function::Translate, 3, 3, StaticType::String},
    {"boolean", Function::Boolean, 1, 1, StaticType::Boolean},
    {"not", Function::Not, 1, 1, StaticType::Boolean},
    {"true", Function::True, 0, 0, StaticType::Boolean},
    {"false", Function::False, 0, 0, StaticType::Boolean},
    {"lang", Function::Lang, 1, 1, StaticType::Boolean},
    {"number", Function::Number, 0, 1, StaticType::Number},
    {"sum", Function::Sum, 1, 1, StaticType::Number},
    {"floor", Function::Floor, 1, 1, StaticType::Number},
    {"ceiling", Function::Ceiling, 1, 1, StaticType::Number},
    {"round", Function::Round, 1, 1, StaticType::Number},
};

const struct {
  const char* name;
  Axis axis;
} kAxes[] = {
    {"ancestor", Axis::Ancestor},
    {"ancestor-or-self", Axis::AncestorOrSelf},
    {"attribute", Axis::Attribute},
    {"child", Axis::Child},
    {"descendant", Axis::Descendant},
    {"descendant-or-self", Axis::DescendantOrSelf},
    {"following", Axis::Following},
    {"following-sibling", Axis::FollowingSibling},
    {"namespace", Axis::Namespace},
    {"parent", Axis::Parent},
    {"preceding", Axis::Preceding},
    {"preceding-sibling", Axis::PrecedingSibling},
    {"self", Axis::Self},
};

// Whether `expr` reads the position or size of its own context (nested
// predicates have contexts of their own and are not looked into).
void contextUse(const Expr& expr, bool& position, bool& last) {
  if (expr.op == Op::Function) {
    if (expr.function == Function::Position) position = true;
    if (expr.function == Function::Last) last = true;
  }
  for (const ExprPtr& arg : expr.args) contextUse(*arg, position, last);
}

class Parser {
 public:
  explicit Parser(const std::string& text) : tokens_(tokenize(text)) {}

  ExprPtr parseAll() {
    ExprPtr e = orExpr();
    if (peek().kind != Tok::End) fail("unexpected '" + peek().text + "'", peek().offset);
    return e;
  }

 private:
  const Token& peek(size_t ahead = 0) const {
    size_t i = pos_ + ahead;
    return i < tokens_.size() ? tokens_[i] : tokens_.back();
  }
  const Token& take() {
    const Token& t = peek();
    if (pos_ < tokens_.size() - 1) ++pos_;
    return t;
  }
  void expect(Tok kind, const char* what) {
    if (peek().kind != kind) {
      fail(std::string("expected ") + what +
               (peek().kind == Tok::End ? " at the end" : ", found '" + peek().text + "'"),
           peek().offset);
    }
    take();
  }

  static ExprPtr binary(Op op, long offset, ExprPtr a, ExprPtr b, StaticType type) {
    auto e = std::make_unique<Expr>();
    e->op = op;
    e->offset = offset;
    e->type = type;
    e->args.push_back(std::move(a));
    e->args.push_back(std::move(b));
    return e;
  }

  ExprPtr orExpr() {
    ExprPtr e = andExpr();
    while (peek().kind == Tok::Or) {
      long at = take().offset;
      e = binary(Op::Or, at, std::move(e), andExpr(), StaticType::Boolean);
    }
    return e;
  }
  ExprPtr andExpr() {
    ExprPtr e = equalityExpr();
    while (peek().kind == Tok::And) {
      long at = take().offset;
      e = binary(Op::And, at, std::move(e), equalityExpr(), StaticType::Boolean);
    }
    return e;
  }
  ExprPtr equalityExpr() {
    ExprPtr e = relationalExpr();
    while (peek().kind == Tok::Eq || peek().kind == Tok::Ne) {
      Op op = peek().kind == Tok::Eq ? Op::Eq : Op::Ne;
      long at = take().offset;
      e = binary(op, at, std::move(e), relationalExpr(), StaticType::Boolean);
    }
    return e;
  }
  ExprPtr relationalExpr() {
    ExprPtr e = additiveExpr();
    while (true) {
      Op op;
      switch (peek().kind) {
        case Tok::Lt:
          op = Op::Lt;
          break;
        case Tok::Le:
          op = Op::Le;
          break;
        case Tok::Gt:
          op = Op::Gt;
          break;
        case Tok::Ge:
          op = Op::Ge;
          break;
        default:
          return e;
      }
      long at = take().offset;
      e = binary(op, at, std::move(e), additiveExpr(), StaticType::Boolean);
    }
  }
  ExprPtr additiveExpr() {
    ExprPtr e = multiplicativeExpr();
    while (peek().kind == Tok::Plus || peek().kind == Tok::Minus) {
      Op op = peek().kind == Tok::Plus ? Op::Add : Op::Sub;
      long at = take().offset;
      e = binary(op, at, std::move(e), multiplicativeExpr(), StaticType::Number);
    }
    return e;
  }
  ExprPtr multiplicativeExpr() {
    ExprPtr e = unaryExpr();
    while (peek().kind == Tok::Star || peek().kind == Tok::Div || peek().kind == Tok::Mod) {
      Op op = peek().kind == Tok::Star ? Op::Mul : peek().kind == Tok::Div ? Op::Div : Op::Mod;
      long at = take().offset;
      e = binary(op, at, std::move(e), unaryExpr(), StaticType::Number);
    }
    return e;
  }
  ExprPtr unaryExpr() {
    if (peek().kind == Tok::Minus) {
      long at = take().offset;
      auto e = std::make_unique<Expr>();
      e->op = Op::Neg;
      e->offset = at;
      e->type = StaticType::Number;
      e->args.push_back(unaryExpr());
      return e;
    }
    return unionExpr();
  }
  ExprPtr unionExpr() {
    ExprPtr e = pathExpr();
    while (peek().kind == Tok::Pipe) {
      long at = take().offset;
      e = binary(Op::Union, at, std::move(e), pathExpr(), StaticType::NodeSet);
    }
    return e;
  }

  bool startsStep(Tok kind) const {
    return kind == Tok::Name || kind == Tok::Dot || kind == Tok::DotDot || kind == Tok::At ||
           kind == Tok::AxisName || kind == Tok::NodeType;
  }

  ExprPtr pathExpr() {
    const Token& t = peek();
    if (t.kind == Tok::Variable || t.kind == Tok::LParen || t.kind == Tok::Literal ||
        t.kind == Tok::Number || t.kind == Tok::FunctionName) {
      ExprPtr filter = filterExpr();
      if (peek().kind != Tok::Slash && peek().kind != Tok::SlashSlash) return filter;
      auto path = std::make_unique<Expr>();
      path->op = Op::Path;
      path->offset = filter->offset;
      path->type = StaticType::NodeSet;
      path->args.push_back(std::move(filter));
      relativePath(*path, true);
      fold(*path);
      return path;
    }
    auto path = std::make_unique<Expr>();
    path->op = Op::Path;
    path->offset = t.offset;
    path->type = StaticType::NodeSet;
    if (t.kind == Tok::Slash) {
      take();
      path->absolute = true;
      if (startsStep(peek().kind)) relativePath(*path, false);
    } else if (t.kind == Tok::SlashSlash) {
      path->absolute = true;
      relativePath(*path, true);
    } else if (startsStep(t.kind)) {
      relativePath(*path, false);
    } else {
      fail(t.kind == Tok::End ? "expected an expression at the end"
                              : "expected an expression, found '" + t.text + "'",
           t.offset);
    }
    fold(*path);
    return path;
  }

  // Steps joined by '/' or '//'; `separatorFirst` when a separator comes first.
  void relativePath(Expr& path, bool separatorFirst) {
    bool needStep = !separatorFirst;
    while (true) {
      if (!needStep) {
        if (peek().kind == Tok::SlashSlash) {
          Step any;
          any.axis = Axis::DescendantOrSelf;
          any.offset = take().offset;
          path.steps.push_back(std::move(any));
        } else if (peek().kind == Tok::Slash) {
          take();
        } else {
          return;
        }
      }
      needStep = false;
      path.steps.push_back(step());
    }
  }

  // `descendant-or-self::node()/child::T[p]` becomes `descendant::T[p]` when no
  // predicate needs a position: the same nodes, found by one walk.
  static void fold(Expr& path) {
    std::vector<Step> out;
    for (Step& s : path.steps) {
      if (!out.empty() && s.axis == Axis::Child && !s.anyPositional()) {
        Step& prev = out.back();
        if (prev.axis == Axis::DescendantOrSelf && prev.test.kind == TestKind::AnyNode &&
            prev.predicates.empty()) {
          long offset = prev.offset;
          prev = std::move(s);
          prev.axis = Axis::Descendant;
          prev.offset = offset;
          continue;
        }
      }
      out.push_back(std::move(s));
    }
    path.steps = std::move(out);
  }

  Step step() {
    Step s;
    const Token& t = peek();
    s.offset = t.offset;
    if (t.kind == Tok::Dot) {
      take();
      s.axis = Axis::Self;
      return s;
    }
    if (t.kind == Tok::DotDot) {
      take();
      s.axis = Axis::Parent;
      return s;
    }
    if (t.kind == Tok::At) {
      take();
      s.axis = Axis::Attribute;
    } else if (t.kind == Tok::AxisName) {
      bool found = false;
      for (const auto& a : kAxes) {
        if (t.text == a.name) {
          s.axis = a.axis;
          found = true;
        }
      }
      if (!found) fail("unknown axis '" + t.text + "'", t.offset);
      take();
      expect(Tok::ColonColon, "'::'");
    }
    const Token& n = peek();
    if (n.kind == Tok::Name) {
      take();
      if (n.text == "*") {
        s.test.kind = TestKind::AnyName;
      } else if (n.text.size() > 2 && n.text.compare(n.text.size() - 2, 2, ":*") == 0) {
        s.test.kind = TestKind::PrefixAny;
        s.test.name = n.text.substr(0, n.text.size() - 1);  // "p:"
      } else {
        s.test.kind = TestKind::Name;
        s.test.name = n.text;
      }
    } else if (n.kind == Tok::NodeType) {
      take();
      expect(Tok::LParen, "'('");
      if (n.text == "node") s.test.kind = TestKind::AnyNode;
      if (n.text == "text") s.test.kind = TestKind::Text;
      if (n.text == "comment") s.test.kind = TestKind::Comment;
      if (n.text == "processing-instruction") {
        s.test.kind = TestKind::Pi;
        if (peek().kind == Tok::Literal) {
          s.test.name = take().text;
          s.test.hasLiteral = true;
        }
      }
      expect(Tok::RParen, "')'");
    } else {
      fail(n.kind == Tok::End ? "expected a node test at the end"
                              : "expected a node test, found '" + n.text + "'",
           n.offset);
    }
    while (peek().kind == Tok::LBracket) s.predicates.push_back(predicate());
    return s;
  }

  Predicate predicate() {
    take();  // '['
    Predicate p;
    p.expr = orExpr();
    expect(Tok::RBracket, "']'");
    bool position = false, last = false;
    contextUse(*p.expr, position, last);
    p.usesLast = last;
    StaticType type = p.expr->type;
    p.positional = position || last || type == StaticType::Number || type == StaticType::Unknown;
    return p;
  }

  ExprPtr filterExpr() {
    ExprPtr primary = primaryExpr();
    if (peek().kind != Tok::LBracket) return primary;
    auto e = std::make_unique<Expr>();
    e->op = Op::Filter;
    e->offset = primary->offset;
    e->type = primary->type == StaticType::Unknown ? StaticType::Unknown : StaticType::NodeSet;
    e->args.push_back(std::move(primary));
    while (peek().kind == Tok::LBracket) e->predicates.push_back(predicate());
    return e;
  }

  ExprPtr primaryExpr() {
    const Token& t = take();
    auto e = std::make_unique<Expr>();
    e->offset = t.offset;
    switch (t.kind) {
      case Tok::Variable:
        e->op = Op::Variable;
        e->text = t.text;
        e->type = StaticType::Unknown;
        return e;
      case Tok::Literal:
        e->op = Op::Literal;
        e->text = t.text;
        e->type = StaticType::String;
        return e;
      case Tok::Number:
        e->op = Op::Number;
        e->number = t.number;
        e->type = StaticType::Number;
        return e;
      case Tok::LParen: {
        ExprPtr inner = orExpr();
        expect(Tok::RParen, "')'");
        return inner;
      }
      case Tok::FunctionName:
        return functionCall(t);
      default:
        fail("expected an expression", t.offset);
    }
  }

  ExprPtr functionCall(const Token& name) {
    const FunctionInfo* info = nullptr;
    for (const FunctionInfo& f : kFunctions) {
      if (name.text == f.name) info = &f;
    }
    if (info == nullptr) fail("unknown function '" + name.text + "'", name.offset);
    auto e = std::make_unique<Expr>();
    e->op = Op::Function;
    e->offset = name.offset;
    e->function = info->function;
    e->type = info->type;
    e->text = name.text;
    expect(Tok::LParen, "'('");
    if (peek().kind != Tok::RParen) {
      e->args.push_back(orExpr());
      while (peek().kind == Tok::Comma) {
        take();
        e->args.push_back(orExpr());
      }
    }
    expect(Tok::RParen, "')' or ','");
    int n = static_cast<int>(e->args.size());
    if (n < info->minArgs || (info->maxArgs >= 0 && n > info->maxArgs)) {
      fail(name.text + "() does not take " + std::to_string(n) + " argument" + (n == 1 ? "" : "s"),
           name.offset);
    }
    return e;
  }

  std::vector<Token> tokens_;
  size_t pos_ = 0;
};

}  // namespace

ExprPtr parse(const std::string& text) {
  return Parser(text).parseAll();
}

}  // namespace qmdbxpath
