// The 27 functions of the core library, with the recommendation's conversions.
// Strings are UTF-8: lengths, positions and translate work on characters.
#include <cctype>
#include <cmath>
#include <set>

#include "Axes.h"
#include "Error.h"
#include "Evaluator.h"

namespace qmdbxpath {
namespace {

// The byte offsets where each character of `s` begins, and s.size() last.
std::vector<size_t> characterStarts(const std::string& s) {
  std::vector<size_t> starts;
  for (size_t i = 0; i < s.size(); ++i) {
    if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) starts.push_back(i);
  }
  starts.push_back(s.size());
  return starts;
}

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string normalizeSpace(const std::string& s) {
  std::string out;
  bool pendingSpace = false;
  for (char c : s) {
    if (isSpace(c)) {
      pendingSpace = !out.empty();
    } else {
      if (pendingSpace) out += ' ';
      pendingSpace = false;
      out += c;
    }
  }
  return out;
}

std::string translate(const std::string& s, const std::string& from, const std::string& to) {
  std::vector<size_t> f = characterStarts(from);
  std::vector<size_t> t = characterStarts(to);
  std::vector<size_t> c = characterStarts(s);
  std::string out;
  for (size_t i = 0; i + 1 < c.size(); ++i) {
    std::string ch = s.substr(c[i], c[i + 1] - c[i]);
    size_t found = f.size();
    for (size_t j = 0; j + 1 < f.size(); ++j) {
      if (from.compare(f[j], f[j + 1] - f[j], ch) == 0) {
        found = j;
        break;
      }
    }
    if (found == f.size()) {
      out += ch;
    } else if (found + 1 < t.size()) {
      out.append(to, t[found], t[found + 1] - t[found]);
    }
  }
  return out;
}

double xpathRound(double x) {
  if (std::isnan(x) || std::isinf(x) || x == 0) return x;
  if (x < 0 && x >= -0.5) return -0.0;
  return std::floor(x + 0.5);
}

// Characters at positions p with round(start) <= p < round(start) + round(length);
// NaN and infinities fall out of the comparisons.
std::string substring(const std::string& s, double start, double length, bool hasLength) {
  std::vector<size_t> c = characterStarts(s);
  double first = xpathRound(start);
  double end = hasLength ? first + xpathRound(length) : INFINITY;
  std::string out;
  for (size_t i = 0; i + 1 < c.size(); ++i) {
    double position = static_cast<double>(i + 1);
    if (position >= first && position < end) out.append(s, c[i], c[i + 1] - c[i]);
  }
  return out;
}

bool sameLanguage(const std::string& lang, const std::string& wanted) {
  if (lang.size() < wanted.size()) return false;
  for (size_t i = 0; i < wanted.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(lang[i])) !=
        std::tolower(static_cast<unsigned char>(wanted[i]))) {
      return false;
    }
  }
  return lang.size() == wanted.size() || lang[wanted.size()] == '-';
}

}  // namespace

// Elements whose xml:id is one of the whitespace-separated tokens, in document order.
std::vector<Node> Evaluator::idNodes(const Value& argument, const Context& context) {
  (void)context;
  std::set<std::string> wanted;
  auto addTokens = [&](const std::string& text) {
    size_t i = 0;
    while (i < text.size()) {
      while (i < text.size() && isSpace(text[i])) ++i;
      size_t start = i;
      while (i < text.size() && !isSpace(text[i])) ++i;
      if (i > start) wanted.insert(text.substr(start, i - start));
    }
  };
  if (argument.kind == Value::NodeSet) {
    for (const Node& n : argument.nodes) addTokens(stringValueOf(db_, n));
  } else {
    addTokens(stringOf(argument));
  }
  std::vector<Node> found;
  if (wanted.empty()) return found;
  AxisCursor walk(db_, Axis::Descendant, Node{1, 0});
  Node n;
  while (walk.next(n)) {
    if (objectKind(db_, n.object) != NodeKind::Element) continue;
    long a = db_.attribute(n.object, "xml:id", QmdbNoAttributeType, QmdbNoAttributeClass, true);
    const char* value = a != 0 ? db_.attrValue(a) : nullptr;
    if (value != nullptr && wanted.count(value) != 0) found.push_back(n);
  }
  return found;
}

Value Evaluator::call(const Expr& expr, const Context& context) {
  const auto& args = expr.args;
  auto str = [&](size_t i) { return evalString(*args[i], context); };
  auto num = [&](size_t i) { return evalNumber(*args[i], context); };
  auto contextString = [&]() { return args.empty() ? stringValueOf(db_, context.node) : str(0); };
  // The first node of the optional node-set argument (the context node without one).
  auto firstNode = [&](Node& out) {
    if (args.empty()) {
      out = context.node;
      return true;
    }
    return stream(*args[0], context)->next(out);
  };
  Node n;
  switch (expr.function) {
    case Function::Last:
      return Value::ofNumber(context.size);
    case Function::Position:
      return Value::ofNumber(context.position);
    case Function::Count: {
      StreamPtr s = stream(*args[0], context);
      double count = 0;
      while (s->next(n)) ++count;
      return Value::ofNumber(count);
    }
    case Function::Id:
      return Value::ofNodes(idNodes(eval(*args[0], context), context));
    case Function::LocalName: {
      if (!firstNode(n)) return Value::ofString("");
      std::string name = nameOf(db_, n);
      size_t colon = kindOf(db_, n) == NodeKind::Pi ? std::string::npos : name.find(':');
      return Value::ofString(colon == std::string::npos ? name : name.substr(colon + 1));
    }
    case Function::NamespaceUri:
      return Value::ofString(firstNode(n) ? namespaceUriOf(db_, n) : "");
    case Function::Name:
      return Value::ofString(firstNode(n) ? nameOf(db_, n) : "");
    case Function::String:
      return Value::ofString(contextString());
    case Function::Concat: {
      std::string out;
      for (size_t i = 0; i < args.size(); ++i) out += str(i);
      return Value::ofString(out);
    }
    case Function::StartsWith: {
      std::string s = str(0), prefix = str(1);
      return Value::ofBoolean(s.compare(0, prefix.size(), prefix) == 0);
    }
    case Function::Contains:
      return Value::ofBoolean(str(0).find(str(1)) != std::string::npos);
    case Function::SubstringBefore: {
      std::string s = str(0), t = str(1);
      size_t at = s.find(t);
      return Value::ofString(at == std::string::npos ? "" : s.substr(0, at));
    }
    case Function::SubstringAfter: {
      std::string s = str(0), t = str(1);
      size_t at = s.find(t);
      return Value::ofString(at == std::string::npos ? "" : s.substr(at + t.size()));
    }
    case Function::Substring: {
      std::string s = str(0);
      double start = num(1);
      bool hasLength = args.size() == 3;
      return Value::ofString(substring(s, start, hasLength ? num(2) : 0, hasLength));
    }
    case Function::StringLength:
      return Value::ofNumber(static_cast<double>(characterStarts(contextString()).size() - 1));
    case Function::NormalizeSpace:
      return Value::ofString(normalizeSpace(contextString()));
    case Function::Translate: {
      std::string s = str(0), from = str(1), to = str(2);
      return Value::ofString(translate(s, from, to));
    }
    case Function::Boolean:
      return Value::ofBoolean(evalBoolean(*args[0], context));
    case Function::Not:
      return Value::ofBoolean(!evalBoolean(*args[0], context));
    case Function::True:
      return Value::ofBoolean(true);
    case Function::False:
      return Value::ofBoolean(false);
    case Function::Lang: {
      std::string wanted = str(0);
      Node e = context.node;
      for (Node at = e; at.object != 0; at = parentOf(db_, at)) {
        if (at.attribute != 0) continue;
        if (kindOf(db_, at) != NodeKind::Element) continue;
        long a =
            db_.attribute(at.object, "xml:lang", QmdbNoAttributeType, QmdbNoAttributeClass, true);
        const char* value = a != 0 ? db_.attrValue(a) : nullptr;
        if (value != nullptr) return Value::ofBoolean(sameLanguage(value, wanted));
      }
      return Value::ofBoolean(false);
    }
    case Function::Number:
      return Value::ofNumber(args.empty() ? QmdbXPath::stringToNumber(contextString()) : num(0));
    case Function::Sum: {
      StreamPtr s = stream(*args[0], context);
      double sum = 0;
      while (s->next(n)) sum += QmdbXPath::stringToNumber(stringValueOf(db_, n));
      return Value::ofNumber(sum);
    }
    case Function::Floor:
      return Value::ofNumber(std::floor(num(0)));
    case Function::Ceiling:
      return Value::ofNumber(std::ceil(num(0)));
    case Function::Round:
      return Value::ofNumber(xpathRound(num(0)));
  }
  fail("unknown function", expr.offset);
}

}  // namespace qmdbxpath
